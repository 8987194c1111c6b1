#include "refcntr/core/ContainerUtils.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

namespace {

constexpr UINT16 ImageReferenceGroup = 0x0008;
constexpr UINT16 ReferencedImageSequenceElement = 0x1140;
constexpr UINT16 ReferencedFrameNumberElement = 0x1160;

template <class T>
T* copyOf(const T* source, unsigned count) {
    if (source == nullptr || count == 0) {
        return nullptr;
    }
    T* copy = new T[count];
    std::memcpy(copy, source, count * sizeof(T));
    return copy;
}

// The decimal digits a string stream writes in the classic locale, without the stream: a dump
// formats every item number and array value, and building a stream cost most of the dump's time.
template <class T>
RWCString decimal(T value) {
    char digits[24];
    return RWCString(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

// "%.15G" prints exactly what "%-0.15G" does (both flags are void without a field width) and
// keeps the compiler's format check quiet.
RWCString formatDS(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.15G", value);
    return buffer;
}

template <class T, class Format>
RWCString joined(const T* values, unsigned count, Format format) {
    RWCString result;
    for (unsigned i = 0; values != nullptr && i < count; ++i) {
        if (i != 0) {
            result += '\\';
        }
        result += format(values[i]);
    }
    return result;
}

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

const char* skipBlanks(const char* position, const char* stop) {
    while (position < stop && *position == ' ') {
        ++position;
    }
    return position;
}

// One integer at `position`; fails on a malformed value and on overflow.
bool scanInteger(const char* position, const char* stop, int& value) {
    const char* end = nullptr;
    errno = 0;
    return ContainerUtils::stringToINT32(position, unsigned(stop - position), value, &end) != 0 && errno != ERANGE;
}

// One double at `position` of a text terminated at `stop`; the value must end at a backslash, a
// blank or the end of the text.
bool scanDouble(const char* position, const char* stop, double& value) {
    char* end = nullptr;
    errno = 0;
    value = std::strtod(position, &end);
    if (errno == ERANGE || end == position) {
        return false;
    }
    return end == stop || *end == '\\' || *end == ' ';
}

// Walks a multi-valued text: blanks and empty values are skipped, every other value is scanned
// and then everything up to the next backslash is passed over. The text is copied so that the
// scanner always finds a terminator.
template <class T, class Scan>
int parseValues(const char* text, unsigned length, T*& values, unsigned& count, Scan scan) {
    values = nullptr;
    count = 0;
    const RWCString copy(text, length);
    const char* position = copy.c_str();
    const char* const stop = position + length;
    std::unique_ptr<T[]> parsed(new T[std::count(position, stop, '\\') + 1]);
    unsigned parsedCount = 0;
    while (position < stop) {
        if (*position == ' ' || *position == '\\') {
            ++position;
            continue;
        }
        if (!scan(position, stop, parsed[parsedCount])) {
            return 0;
        }
        ++parsedCount;
        position = std::find(position, stop, '\\');
    }
    if (parsedCount != 0) {
        values = parsed.release();
        count = parsedCount;
    }
    return 1;
}

}  // namespace

RWCString ContainerUtils::toString(int value) { return decimal(value); }

RWCString ContainerUtils::toString(unsigned value) { return decimal(value); }

RWCString ContainerUtils::toString(long long value) { return decimal(value); }

RWCString ContainerUtils::toString(unsigned long long value) { return decimal(value); }

RWCString ContainerUtils::toString(double value) { return formatDS(value); }

void* ContainerUtils::copyArray(const void* source, unsigned byteCount) {
    return copyOf(static_cast<const unsigned char*>(source), byteCount);
}

unsigned char* ContainerUtils::copyArray(const unsigned char* source, unsigned byteCount) {
    return copyOf(source, byteCount);
}

short* ContainerUtils::copyArray(const short* source, unsigned count) { return copyOf(source, count); }

unsigned short* ContainerUtils::copyArray(const unsigned short* source, unsigned count) {
    return copyOf(source, count);
}

int* ContainerUtils::copyArray(const int* source, unsigned count) { return copyOf(source, count); }

unsigned int* ContainerUtils::copyArray(const unsigned int* source, unsigned count) { return copyOf(source, count); }

float* ContainerUtils::copyArray(const float* source, unsigned count) { return copyOf(source, count); }

double* ContainerUtils::copyArray(const double* source, unsigned count) { return copyOf(source, count); }

int ContainerUtils::stringToINT32(const char* text, unsigned length, int& out, const char** end) {
    out = 0;
    const char* position = text;
    auto finish = [&](int result) {
        if (end != nullptr) {
            *end = position;
        }
        return result;
    };
    if (text == nullptr || length == 0) {
        return finish(0);
    }
    const char* const stop = text + length;
    position = skipBlanks(position, stop);
    if (position == stop) {
        return finish(0);
    }
    char byte = *position++;
    const bool negative = byte == '-';
    if (byte == '-' || byte == '+') {
        if (position == stop) {
            return finish(0);
        }
        byte = *position++;
    }
    // A lone last digit is refused: DICOM values carry a trailing pad.
    if (position == stop || !isDigit(byte)) {
        return finish(0);
    }

    // The negative bounds are the bit patterns of -214748364 and -8; compared unsigned they
    // never trip in practice, and negative magnitudes wrap instead.
    const UINT32 limit = negative ? 4080218932u : 214748364u;
    const UINT32 lastDigitBound = negative ? 4294967288u : 7u;
    UINT32 magnitude = 0;
    for (;;) {
        const UINT32 digit = UINT32(byte - '0');
        if (magnitude > limit || (magnitude == limit && digit > lastDigitBound)) {
            out = negative ? INT32(0x80000000u) : 2147483647;
            errno = ERANGE;
            return finish(1);
        }
        magnitude = magnitude * 10 + digit;
        if (position == stop) {
            break;
        }
        byte = *position++;
        if (!isDigit(byte)) {
            break;
        }
    }
    // Reaching the last byte succeeds whatever that byte is.
    if (position == stop || byte == '\\' || byte == ' ') {
        out = negative ? INT32(0u - magnitude) : INT32(magnitude);
        return finish(1);
    }
    return finish(0);
}

int ContainerUtils::parseIS(const char* text, unsigned length, int& out) {
    out = 0;
    if (text == nullptr || length == 0 || length % 2 != 0) {
        return 0;
    }
    const char* const stop = text + length;
    const char* const position = skipBlanks(text, stop);
    int value = 0;
    // The scanner itself refuses a value that stops at anything but a backslash or a blank.
    if (position == stop || !scanInteger(position, stop, value)) {
        return 0;
    }
    out = value;
    return 1;
}

int ContainerUtils::parseDS(const char* text, unsigned length, double& out) {
    out = 0.0;
    if (text == nullptr || length == 0 || length % 2 != 0) {
        return 0;
    }
    const RWCString copy(text, length);
    const char* const stop = copy.c_str() + length;
    const char* const position = skipBlanks(copy.c_str(), stop);
    double value = 0.0;
    if (position == stop || !scanDouble(position, stop, value)) {
        return 0;
    }
    out = value;
    return 1;
}

int ContainerUtils::parseISToArray(const char* text, unsigned length, int*& values, unsigned& count) {
    if (text == nullptr || length == 0) {
        values = nullptr;
        count = 0;
        return 1;
    }
    return parseValues(text, length, values, count, scanInteger);
}

int ContainerUtils::parseDSToArray(const char* text, unsigned length, double*& values, unsigned& count) {
    if (text == nullptr || length == 0 || length % 2 != 0) {
        values = nullptr;
        count = 0;
        return 1;
    }
    return parseValues(text, length, values, count, scanDouble);
}

RWCString ContainerUtils::escapeString(RWCString text, bool quote) {
    RWCString result;
    result.reserve(text.size() + 2);
    if (quote) {
        result += '"';
    }
    for (const char character : text) {
        const unsigned char byte = static_cast<unsigned char>(character);
        switch (byte) {
        case '\a': result += "\\a"; break;
        case '\b': result += "\\b"; break;
        case '\t': result += "\\t"; break;
        case '\n': result += "\\n"; break;
        case '\v': result += "\\v"; break;
        case '\f': result += "\\f"; break;
        case '\r': result += "\\r"; break;
        case '"': result += "\\\""; break;
        default:
            if (byte == '\\' || std::isprint(byte)) {
                result += character;
            } else {
                char octal[8];
                std::snprintf(octal, sizeof octal, "\\%03o", unsigned(byte));
                result += octal;
            }
        }
    }
    if (quote) {
        result += '"';
    }
    return result;
}

RWCString ContainerUtils::INT32ArrayToIS(const int* values, unsigned count) {
    return joined(values, count, [](int value) { return std::to_string(value); });
}

RWCString ContainerUtils::doubleArrayToDS(const double* values, unsigned count) {
    return joined(values, count, formatDS);
}

unsigned ContainerUtils::computeSuggestedReferencedImageSequenceItemIndexSize(
    const RWTPtrOrderedVector<DICOMDataObject>& items) {
    unsigned size = 0;
    for (const DICOMDataObject* item : items) {
        const char* frames = nullptr;
        std::size_t length = 0;
        unsigned separators = 0;
        if (item != nullptr && item->GetText(ImageReferenceGroup, ReferencedFrameNumberElement, frames, length)) {
            separators = unsigned(std::count(frames, frames + length, '\\'));
        }
        size += std::max(separators, 1u);
    }
    return size;
}

unsigned ContainerUtils::computeSuggestedSequenceIndexSize(const RWTPtrOrderedVector<DICOMDataObject>& items) {
    unsigned size = 0;
    for (const DICOMDataObject* item : items) {
        const VR* element =
            item != nullptr ? item->GetVR(ImageReferenceGroup, ReferencedImageSequenceElement) : nullptr;
        const SequenceVR* sequence = element != nullptr ? element->GetAsSequenceVR() : nullptr;
        if (sequence != nullptr && sequence->GetNumberOfItems() != 0) {
            size += computeSuggestedReferencedImageSequenceItemIndexSize(sequence->GetSequenceItems());
        }
    }
    return size;
}

}  // namespace refcntr
