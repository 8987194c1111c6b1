// Every ContainerUtils parser and formatter on the raw input bytes, with the input at its own
// length and one byte shorter (so that both even and odd lengths are seen). Besides memory
// errors, each result is checked against what the parser promises.
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "IODExercise.h"
#include "refcntr/core/AttributeWriter.h"
#include "refcntr/core/ContainerUtils.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

using namespace refcntr;

namespace {

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
    std::abort();
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// stringToINT32: `end` stays inside the text, and a successful scan of a value that fits in
// 31 bits gives exactly the digits it passed over.
void checkStringToINT32(const char* text, unsigned length) {
    int value = -1;
    const char* end = nullptr;
    errno = 0;
    const int ok = ContainerUtils::stringToINT32(text, length, value, &end);
    const bool overflow = errno == ERANGE;
    require(end == text || (end != nullptr && end >= text && end <= text + length),
            "stringToINT32: end outside the text");
    if (!ok) {
        require(value == 0, "stringToINT32: failure leaves a value");
        return;
    }
    if (overflow) return;
    unsigned position = 0;
    while (position < length && text[position] == ' ') ++position;
    bool negative = false;
    if (position < length && (text[position] == '-' || text[position] == '+')) negative = text[position++] == '-';
    std::uint64_t magnitude = 0;
    while (position < length && isDigit(text[position]) && magnitude <= 0x7FFFFFFF)
        magnitude = magnitude * 10 + unsigned(text[position++] - '0');
    if (magnitude <= 0x7FFFFFFF)
        require(value == (negative ? -std::int64_t(magnitude) : std::int64_t(magnitude)),
                "stringToINT32: value differs from its digits");
}

// The array parsers: failure means no array and no count, success means an array exactly when
// there are values, never more values than backslashes plus one.
template <class T>
void checkArrayResult(int ok, T* values, unsigned count, const char* text, unsigned length, const char* name) {
    if (!ok) {
        require(values == nullptr && count == 0, name);
        return;
    }
    require((values != nullptr) == (count != 0), name);
    unsigned separators = 0;
    for (unsigned i = 0; i < length; ++i) separators += text[i] == '\\';
    require(count <= separators + 1, name);
}

void checkIS(const char* text, unsigned length) {
    int single = -1;
    const int singleOk = ContainerUtils::parseIS(text, length, single);
    if (!singleOk) require(single == 0, "parseIS: failure leaves a value");
    if (singleOk) require(length % 2 == 0 && length > 0, "parseIS: accepted an odd or empty length");

    int* values = reinterpret_cast<int*>(1);
    unsigned count = 7;
    const int arrayOk = ContainerUtils::parseISToArray(text, length, values, count);
    std::unique_ptr<int[]> owned(values);
    checkArrayResult(arrayOk, values, count, text, length, "parseISToArray: inconsistent result");

    // A text whose first value is not empty reads the same first value either way.
    unsigned first = 0;
    while (first < length && text[first] == ' ') ++first;
    if (arrayOk && count > 0 && length % 2 == 0 && first < length && text[first] != '\\') {
        require(singleOk, "parseIS refuses what parseISToArray reads");
        require(single == values[0], "parseIS and parseISToArray disagree");
    }

    // The values written back as IS by the attribute writer (as save does) read back as the
    // same values.
    if (arrayOk && count > 0) {
        DICOMDataObject data;
        attribute::Factory factory(data.GetEndian());
        OwnedArray<int> array;
        array.assignCopy(values, count);
        attribute::writeISArray(data, factory, 0x0008, 0x1160, array);
        const VR* written = data.GetVR(0x0008, 0x1160);
        require(written != nullptr && written->GetLength() % 2 == 0, "IS written from parsed values is missing or odd");
        int* again = nullptr;
        unsigned againCount = 0;
        require(ContainerUtils::parseISToArray(reinterpret_cast<const char*>(written->GetData()), written->GetLength(),
                                               again, againCount),
                "IS written from parsed values does not parse");
        std::unique_ptr<int[]> ownedAgain(again);
        require(againCount == count && std::memcmp(again, values, count * sizeof(int)) == 0,
                "IS written from parsed values reads back differently");
    }
}

void checkDS(const char* text, unsigned length) {
    double single = -1.0;
    const int singleOk = ContainerUtils::parseDS(text, length, single);
    if (!singleOk) require(single == 0.0, "parseDS: failure leaves a value");
    if (singleOk) require(length % 2 == 0 && length > 0, "parseDS: accepted an odd or empty length");

    double* values = reinterpret_cast<double*>(8);
    unsigned count = 7;
    const int arrayOk = ContainerUtils::parseDSToArray(text, length, values, count);
    std::unique_ptr<double[]> owned(values);
    checkArrayResult(arrayOk, values, count, text, length, "parseDSToArray: inconsistent result");

    unsigned first = 0;
    while (first < length && text[first] == ' ') ++first;
    if (arrayOk && count > 0 && first < length && text[first] != '\\') {
        require(singleOk, "parseDS refuses what parseDSToArray reads");
        require(std::memcmp(&single, &values[0], sizeof single) == 0 || (std::isnan(single) && std::isnan(values[0])),
                "parseDS and parseDSToArray disagree");
    }
    // Formatting is stable: the text written from the values reads back as values that are
    // written as the same text.
    if (arrayOk && count > 0) {
        RWCString written = ContainerUtils::doubleArrayToDS(values, count);
        if (written.size() % 2) written += ' ';
        double* again = nullptr;
        unsigned againCount = 0;
        const int againOk = ContainerUtils::parseDSToArray(written.data(), unsigned(written.size()), again, againCount);
        std::unique_ptr<double[]> ownedAgain(again);
        require(againOk && againCount == count, "DS written from parsed values does not read back");
        RWCString rewritten = ContainerUtils::doubleArrayToDS(again, againCount);
        if (rewritten.size() % 2) rewritten += ' ';
        require(rewritten == written, "DS written twice from the same values differs");
    }
}

void checkEscape(const char* text, unsigned length) {
    for (bool quote : {false, true}) {
        const RWCString escaped = ContainerUtils::escapeString(RWCString(text, length), quote);
        require(escaped.size() <= 4 * std::size_t(length) + 2, "escapeString: output too long");
        for (char c : escaped) require(c >= 0x20 && c < 0x7F, "escapeString: unprintable output");
        if (quote)
            require(escaped.size() >= 2 && escaped.front() == '"' && escaped.back() == '"', "escapeString: quotes");
    }
}

void checkNumbersAndCopies(const unsigned char* bytes, unsigned length) {
    int integer = 0;
    unsigned natural = 0;
    double real = 0;
    std::memcpy(&integer, bytes, std::min<unsigned>(length, sizeof integer));
    std::memcpy(&natural, bytes, std::min<unsigned>(length, sizeof natural));
    std::memcpy(&real, bytes, std::min<unsigned>(length, sizeof real));
    require(ContainerUtils::toString(integer) == std::to_string(integer), "toString(int)");
    require(ContainerUtils::toString(natural) == std::to_string(natural), "toString(unsigned)");
    char expected[40];
    std::snprintf(expected, sizeof expected, "%.15G", real);
    require(ContainerUtils::toString(real) == expected, "toString(double)");

    std::unique_ptr<unsigned char[]> copy(ContainerUtils::copyArray(bytes, length));
    require((copy != nullptr) == (length != 0), "copyArray: null exactly for no bytes");
    if (length) require(std::memcmp(copy.get(), bytes, length) == 0, "copyArray: copy differs");
    const unsigned doubles = length / sizeof(double);
    std::unique_ptr<double[]> source(doubles ? new double[doubles] : nullptr);
    if (doubles) std::memcpy(source.get(), bytes, doubles * sizeof(double));
    std::unique_ptr<double[]> copied(ContainerUtils::copyArray(source.get(), doubles));
    require((copied != nullptr) == (doubles != 0), "copyArray(double): null exactly for no values");
    if (doubles) require(std::memcmp(copied.get(), source.get(), doubles * sizeof(double)) == 0, "copyArray(double)");
}

// The index size estimates: one entry per referenced frame (at least one per referenced image),
// here with the text split into items at newlines.
void checkIndexSizes(const char* text, unsigned length) {
    RWTPtrOrderedVector<DICOMDataObject> references;
    unsigned expected = 0;
    unsigned start = 0;
    for (unsigned i = 0; i <= length && references.size() < 64; ++i) {
        if (i < length && text[i] != '\n') continue;
        auto* item = new DICOMDataObject;
        auto* frames = new VR(0x0008, 0x1160, VRCode::IS, LittleEndian);
        frames->SetData(text + start, i - start);
        item->ReplaceVR(frames);
        references.push_back(item);
        RWCString stored;
        item->GetString(0x0008, 0x1160, stored);
        unsigned separators = 0;
        for (char c : stored) separators += c == '\\';
        expected += separators > 1 ? separators : 1;
        start = i + 1;
    }
    require(ContainerUtils::computeSuggestedReferencedImageSequenceItemIndexSize(references) == expected,
            "computeSuggestedReferencedImageSequenceItemIndexSize");

    DICOMDataObject holder;
    auto* sequence = new SequenceVR(0x0008, 0x1140);
    for (DICOMDataObject* item : references) sequence->AddSequenceItem(item);
    holder.ReplaceVR(sequence);
    const RWTPtrOrderedVector<DICOMDataObject> items{&holder, nullptr, &holder};
    require(ContainerUtils::computeSuggestedSequenceIndexSize(items) == 2 * expected,
            "computeSuggestedSequenceIndexSize");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    if (size > 4096) return 0;
    // A heap copy of exactly the input, so that reading past its end is caught.
    for (unsigned length : {unsigned(size), size ? unsigned(size - 1) : 0u}) {
        std::unique_ptr<char[]> copy(new char[length ? length : 1]);
        std::memcpy(copy.get(), bytes, length);
        const char* text = length ? copy.get() : nullptr;
        checkStringToINT32(text, length);
        checkIS(text, length);
        checkDS(text, length);
        if (text) checkEscape(text, length);
    }
    checkNumbersAndCopies(bytes, unsigned(size));
    checkIndexSizes(reinterpret_cast<const char*>(bytes), unsigned(size));
    return 0;
}
