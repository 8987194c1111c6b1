#include "refcntr/core/ContainerUtils.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {
namespace {

// Scanner results for a text of the given bytes (not terminated at `length`).
struct Scan {
    int result;
    int value;
    long consumed;
    int error;
};

Scan scanInteger(const char* text, unsigned length) {
    Scan scan{};
    const char* end = nullptr;
    scan.value = -99;
    errno = 0;
    scan.result = ContainerUtils::stringToINT32(text, length, scan.value, &end);
    scan.error = errno;
    scan.consumed = end - text;
    return scan;
}

TEST(IntegerScanning, NeedsAByteAfterTheFirstDigit) {
    EXPECT_EQ(scanInteger("7", 1).result, 0);
    EXPECT_EQ(scanInteger("-7", 2).result, 0);
    EXPECT_EQ(scanInteger("- 7 ", 4).result, 0);
    const Scan padded = scanInteger("7 ", 2);
    EXPECT_EQ(padded.result, 1);
    EXPECT_EQ(padded.value, 7);
    EXPECT_EQ(padded.consumed, 2);
}

TEST(IntegerScanning, SignsAndLeadingBlanks) {
    EXPECT_EQ(scanInteger("  -42 ", 6).value, -42);
    EXPECT_EQ(scanInteger("+5 ", 3).value, 5);
    const Scan blanks = scanInteger("    ", 4);
    EXPECT_EQ(blanks.result, 0);
    EXPECT_EQ(blanks.value, 0);
    EXPECT_EQ(blanks.consumed, 4);
}

TEST(IntegerScanning, EmptyOrNullTextFails) {
    int value = 5;
    const char* end = "x";
    EXPECT_EQ(ContainerUtils::stringToINT32(nullptr, 4, value, &end), 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(end, nullptr);
    EXPECT_EQ(scanInteger("12", 0).result, 0);
}

TEST(IntegerScanning, StopsOnlyAtBackslashBlankOrLastByte) {
    const Scan atBackslash = scanInteger("12\\4", 4);
    EXPECT_EQ(atBackslash.result, 1);
    EXPECT_EQ(atBackslash.value, 12);
    EXPECT_EQ(atBackslash.consumed, 3);

    const Scan lastByte = scanInteger("1x", 2);
    EXPECT_EQ(lastByte.result, 1);
    EXPECT_EQ(lastByte.value, 1);

    const Scan inside = scanInteger("12x4", 4);
    EXPECT_EQ(inside.result, 0);
    EXPECT_EQ(inside.value, 0);
}

TEST(IntegerScanning, LooksOnlyAtLengthBytes) {
    const Scan scan = scanInteger("12345678", 2);
    EXPECT_EQ(scan.result, 1);
    EXPECT_EQ(scan.value, 12);
    EXPECT_EQ(scan.consumed, 2);
}

TEST(IntegerScanning, PositiveOverflowClampsAndSetsERANGE) {
    const Scan largest = scanInteger("2147483647 ", 11);
    EXPECT_EQ(largest.result, 1);
    EXPECT_EQ(largest.value, INT_MAX);
    EXPECT_EQ(largest.error, 0);

    for (const char* text : {"2147483648 ", "21474836470 ", "99999999999 "}) {
        const Scan scan = scanInteger(text, unsigned(std::strlen(text)));
        EXPECT_EQ(scan.result, 1) << text;
        EXPECT_EQ(scan.value, INT_MAX) << text;
        EXPECT_EQ(scan.error, ERANGE) << text;
    }
}

TEST(IntegerScanning, NegativeBoundsNeverTrip) {
    const Scan smallest = scanInteger("-2147483648 ", 12);
    EXPECT_EQ(smallest.result, 1);
    EXPECT_EQ(smallest.value, INT_MIN);
    EXPECT_EQ(smallest.error, 0);

    // The magnitude wraps in 32 bits instead of being clamped.
    const Scan beyond = scanInteger("-2147483649 ", 12);
    EXPECT_EQ(beyond.result, 1);
    EXPECT_EQ(beyond.value, INT_MAX);
    EXPECT_EQ(beyond.error, 0);
}

TEST(ISValues, ParsesEvenLengthValues) {
    int value = -1;
    EXPECT_EQ(ContainerUtils::parseIS("12", 2, value), 1);
    EXPECT_EQ(value, 12);
    EXPECT_EQ(ContainerUtils::parseIS(" -8 ", 4, value), 1);
    EXPECT_EQ(value, -8);
    EXPECT_EQ(ContainerUtils::parseIS("3\\4 ", 4, value), 1);
    EXPECT_EQ(value, 3);
}

TEST(ISValues, FailuresLeaveZero) {
    const struct {
        const char* text;
        unsigned length;
    } cases[] = {
        {"7", 1},            // a lone digit
        {"-7 ", 3},          // odd length, refused before scanning
        {"-7", 2},           // no pad after the digit
        {"    ", 4},         // only blanks
        {"", 0},             // empty
        {"12x ", 4},         // stops inside at another byte
        {"ab", 2},           // no digit
        {"2147483648", 10},  // out of range
    };
    for (const auto& c : cases) {
        int value = 99;
        EXPECT_EQ(ContainerUtils::parseIS(c.text, c.length, value), 0) << c.text;
        EXPECT_EQ(value, 0) << c.text;
    }
    int value = 99;
    EXPECT_EQ(ContainerUtils::parseIS(nullptr, 2, value), 0);
    EXPECT_EQ(value, 0);
}

TEST(DSValues, ParsesTheFirstValue) {
    double value = -1;
    EXPECT_EQ(ContainerUtils::parseDS("1.5\\2.5 ", 8, value), 1);
    EXPECT_DOUBLE_EQ(value, 1.5);
    EXPECT_EQ(ContainerUtils::parseDS("  0.25", 6, value), 1);
    EXPECT_DOUBLE_EQ(value, 0.25);
    EXPECT_EQ(ContainerUtils::parseDS("-2.5E3", 6, value), 1);
    EXPECT_DOUBLE_EQ(value, -2500.0);
}

TEST(DSValues, LooksOnlyAtLengthBytes) {
    double value = 0;
    EXPECT_EQ(ContainerUtils::parseDS("2.75123", 4, value), 1);
    EXPECT_DOUBLE_EQ(value, 2.75);
}

TEST(DSValues, FailuresLeaveZero) {
    const struct {
        const char* text;
        unsigned length;
    } cases[] = {
        {"1.5", 3},     // odd length
        {"1.5x", 4},    // stops inside at another byte
        {"abc ", 4},    // nothing consumed
        {"    ", 4},    // only blanks
        {"", 0},        // empty
        {"1e999 ", 6},  // out of range
    };
    for (const auto& c : cases) {
        double value = 99;
        EXPECT_EQ(ContainerUtils::parseDS(c.text, c.length, value), 0) << c.text;
        EXPECT_EQ(value, 0.0) << c.text;
    }
    double value = 99;
    EXPECT_EQ(ContainerUtils::parseDS(nullptr, 2, value), 0);
    EXPECT_EQ(value, 0.0);
}

// What a parser of multi-valued text returned; the out arguments start with a live array so
// that a parser which leaves them untouched is caught.
template <class T>
struct Parsed {
    int result = -1;
    bool isNull = false;
    std::vector<T> values;
};

template <class T, class Parser>
Parsed<T> parseWith(Parser parser, const char* text, unsigned length) {
    Parsed<T> parsed;
    T* const sentinel = new T[1]();
    T* values = sentinel;
    unsigned count = 77;
    parsed.result = parser(text, length, values, count);
    if (values == sentinel) {
        ADD_FAILURE() << "values left unset for " << (text != nullptr ? text : "null");
        values = nullptr;
        count = 0;
    }
    parsed.isNull = values == nullptr;
    EXPECT_TRUE(values != nullptr || count == 0);
    if (values != nullptr) {
        parsed.values.assign(values, values + count);
    }
    delete[] values;
    delete[] sentinel;
    return parsed;
}

Parsed<int> parseISArray(const char* text, unsigned length) {
    return parseWith<int>(ContainerUtils::parseISToArray, text, length);
}

Parsed<double> parseDSArray(const char* text, unsigned length) {
    return parseWith<double>(ContainerUtils::parseDSToArray, text, length);
}

TEST(ValueArrays, ISValuesSkipEmptyValues) {
    const Parsed<int> parsed = parseISArray("1\\\\2 ", 5);
    EXPECT_EQ(parsed.result, 1);
    EXPECT_EQ(parsed.values, (std::vector<int>{1, 2}));

    EXPECT_EQ(parseISArray("10\\-20\\ 30 ", 11).values, (std::vector<int>{10, -20, 30}));
    EXPECT_EQ(parseISArray(" 1 \\ 2 ", 7).values, (std::vector<int>{1, 2}));
}

TEST(ValueArrays, ISAcceptsOddLengths) {
    const Parsed<int> parsed = parseISArray("12\\34", 5);
    EXPECT_EQ(parsed.result, 1);
    EXPECT_EQ(parsed.values, (std::vector<int>{12, 34}));
}

TEST(ValueArrays, AbsentISTextIsNoValues) {
    for (const Parsed<int>& parsed : {parseISArray(nullptr, 4), parseISArray("", 0), parseISArray("    ", 4)}) {
        EXPECT_EQ(parsed.result, 1);
        EXPECT_TRUE(parsed.isNull);
    }
}

TEST(ValueArrays, ISFailureReleasesEverything) {
    // "1\\2": the last value is a lone digit without pad.
    for (const char* text : {"1\\x2 ", "1\\9999999999 ", "1\\2"}) {
        const Parsed<int> parsed = parseISArray(text, unsigned(std::strlen(text)));
        EXPECT_EQ(parsed.result, 0) << text;
        EXPECT_TRUE(parsed.isNull) << text;
    }
}

TEST(ValueArrays, DSValuesSkipEmptyValues) {
    const Parsed<double> parsed = parseDSArray("1.5\\\\-2 ", 8);
    EXPECT_EQ(parsed.result, 1);
    EXPECT_EQ(parsed.values, (std::vector<double>{1.5, -2.0}));
    EXPECT_EQ(parseDSArray("0.5\\2\\3.25", 10).values, (std::vector<double>{0.5, 2.0, 3.25}));
}

TEST(ValueArrays, DSLooksOnlyAtLengthBytes) {
    EXPECT_EQ(parseDSArray("1.5\\2.575", 8).values, (std::vector<double>{1.5, 2.57}));
}

TEST(ValueArrays, DSOddOrEmptyLengthIsNoValues) {
    for (const Parsed<double>& parsed : {parseDSArray("1.5", 3), parseDSArray("1\\x", 3), parseDSArray("", 0),
                                         parseDSArray(nullptr, 4)}) {
        EXPECT_EQ(parsed.result, 1);
        EXPECT_TRUE(parsed.isNull);
    }
}

TEST(ValueArrays, DSFailureReleasesEverything) {
    for (const char* text : {"1.5\\x ", "1e999\\2 ", "1.5\\2.5x\\3"}) {
        const Parsed<double> parsed = parseDSArray(text, unsigned(std::strlen(text)));
        EXPECT_EQ(parsed.result, 0) << text;
        EXPECT_TRUE(parsed.isNull) << text;
    }
}

TEST(ValueArrays, CopiesAreNewArraysOfTheSameValues) {
    const double source[] = {1.5, -2.0, 3.25};
    std::unique_ptr<double[]> copy(ContainerUtils::copyArray(source, 3));
    ASSERT_NE(copy.get(), nullptr);
    EXPECT_NE(copy.get(), source);
    EXPECT_EQ(std::memcmp(copy.get(), source, sizeof source), 0);

    EXPECT_EQ(ContainerUtils::copyArray(source, 0), nullptr);
    const unsigned short words[] = {1, 2};
    EXPECT_EQ(ContainerUtils::copyArray(words, 0), nullptr);
}

TEST(ValueArrays, UntypedAndByteCopiesCountBytes) {
    const unsigned char bytes[] = {1, 2, 3, 4, 5};
    std::unique_ptr<unsigned char[]> byteCopy(ContainerUtils::copyArray(bytes, 3));
    EXPECT_EQ(std::memcmp(byteCopy.get(), bytes, 3), 0);

    const UINT16 words[] = {0x0102, 0x0304};
    std::unique_ptr<unsigned char[]> untyped(static_cast<unsigned char*>(ContainerUtils::copyArray(
        static_cast<const void*>(words), 3)));
    EXPECT_EQ(std::memcmp(untyped.get(), words, 3), 0);
    EXPECT_EQ(ContainerUtils::copyArray(static_cast<const void*>(words), 0), nullptr);
}

TEST(NumberFormatting, ISJoinsWithSingleBackslashes) {
    const int values[] = {-3, 4, INT_MIN};
    EXPECT_EQ(ContainerUtils::INT32ArrayToIS(values, 2), "-3\\4");
    EXPECT_EQ(ContainerUtils::INT32ArrayToIS(values, 3), "-3\\4\\-2147483648");
    EXPECT_EQ(ContainerUtils::INT32ArrayToIS(values, 0), "");
    EXPECT_EQ(ContainerUtils::INT32ArrayToIS(nullptr, 2), "");
}

TEST(NumberFormatting, DSUsesFifteenSignificantDigits) {
    const double values[] = {0.5, 2.0};
    EXPECT_EQ(ContainerUtils::doubleArrayToDS(values, 2), "0.5\\2");
    EXPECT_EQ(ContainerUtils::doubleArrayToDS(nullptr, 2), "");

    const double special[] = {1.0 / 3.0, 1e20, 123456789012345678.0, -0.0, 0.0001, 0.00001};
    EXPECT_EQ(ContainerUtils::doubleArrayToDS(special, 6),
              "0.333333333333333\\1E+20\\1.23456789012346E+17\\-0\\0.0001\\1E-05");
    EXPECT_EQ(ContainerUtils::toString(0.25), "0.25");
}

TEST(NumberFormatting, IntegersInDecimal) {
    EXPECT_EQ(ContainerUtils::toString(-12), "-12");
    EXPECT_EQ(ContainerUtils::toString(INT_MIN), "-2147483648");
    EXPECT_EQ(ContainerUtils::toString(4000000000u), "4000000000");
}

TEST(DumpEscaping, QuotesAndEscapesControls) {
    EXPECT_EQ(ContainerUtils::escapeString("a\tb", true), "\"a\\tb\"");
    EXPECT_EQ(ContainerUtils::escapeString("\a\b\t\n\v\f\r", false), "\\a\\b\\t\\n\\v\\f\\r");
    EXPECT_EQ(ContainerUtils::escapeString("say \"hi\"", false), "say \\\"hi\\\"");
    EXPECT_EQ(ContainerUtils::escapeString("", true), "\"\"");
    EXPECT_EQ(ContainerUtils::escapeString("T-1", false), "T-1");
}

TEST(DumpEscaping, BackslashIsNotDoubled) {
    EXPECT_EQ(ContainerUtils::escapeString("A\\B", true), "\"A\\B\"");
}

TEST(DumpEscaping, OtherUnprintablesAsThreeOctalDigits) {
    EXPECT_EQ(ContainerUtils::escapeString(RWCString("\x01\x1b\x7f", 3), false), "\\001\\033\\177");
    EXPECT_EQ(ContainerUtils::escapeString(RWCString("a\0b", 3), false), "a\\000b");
    EXPECT_EQ(ContainerUtils::escapeString("\xff", false), "\\377");
}

// Owns the item data sets that the index-size functions look at.
class FrameIndexSizes : public ::testing::Test {
protected:
    DICOMDataObject* item() {
        itsItems.push_back(std::make_unique<DICOMDataObject>());
        return itsItems.back().get();
    }

    static DICOMDataObject* withFrames(DICOMDataObject* item, const char* frames) {
        auto* element = new VR(0x0008, 0x1160, VRCode::IS, LittleEndian);
        element->SetData(frames, UINT32(std::strlen(frames)));
        item->ReplaceVR(element);
        return item;
    }

    // A Referenced Image Sequence item for the given frame numbers (null: none).
    static DICOMDataObject* imageItem(const char* frames) {
        auto* imageItem = new DICOMDataObject;
        return frames != nullptr ? withFrames(imageItem, frames) : imageItem;
    }

    std::vector<std::unique_ptr<DICOMDataObject>> itsItems;
};

TEST_F(FrameIndexSizes, FrameCountIsTheNumberOfSeparators) {
    const RWTPtrOrderedVector<DICOMDataObject> twoItems{item(), withFrames(item(), "1\\2 ")};
    EXPECT_EQ(ContainerUtils::computeSuggestedReferencedImageSequenceItemIndexSize(twoItems), 2u);

    const RWTPtrOrderedVector<DICOMDataObject> threeFrames{withFrames(item(), "1\\2\\3 ")};
    EXPECT_EQ(ContainerUtils::computeSuggestedReferencedImageSequenceItemIndexSize(threeFrames), 2u);

    const RWTPtrOrderedVector<DICOMDataObject> singles{withFrames(item(), "7 "), withFrames(item(), "")};
    EXPECT_EQ(ContainerUtils::computeSuggestedReferencedImageSequenceItemIndexSize(singles), 2u);

    EXPECT_EQ(ContainerUtils::computeSuggestedReferencedImageSequenceItemIndexSize({}), 0u);
}

TEST_F(FrameIndexSizes, SequenceSumsItsReferencedImageSequences) {
    DICOMDataObject* referencing = item();
    auto* images = new SequenceVR(0x0008, 0x1140);
    images->AddSequenceItem(imageItem("1\\2\\3 "));
    images->AddSequenceItem(imageItem(nullptr));
    referencing->ReplaceVR(images);

    DICOMDataObject* emptySequence = item();
    emptySequence->ReplaceVR(new SequenceVR(0x0008, 0x1140));

    DICOMDataObject* notASequence = item();
    notASequence->ReplaceVR(new VR(0x0008, 0x1140, VRCode::UN, LittleEndian));

    const RWTPtrOrderedVector<DICOMDataObject> items{referencing, emptySequence, notASequence, item()};
    EXPECT_EQ(ContainerUtils::computeSuggestedSequenceIndexSize(items), 3u);
    EXPECT_EQ(ContainerUtils::computeSuggestedSequenceIndexSize({}), 0u);
}

}  // namespace
}  // namespace refcntr
