// Static helpers of the containers: DS and IS values to numbers and back, array copies, text
// escaping for dumps and size estimates for the referenced-image frame index.
#pragma once

#include "refcntr/platform/Types.h"

namespace refcntr {

class DICOMDataObject;

class ContainerUtils {
public:
    ContainerUtils& operator=(const ContainerUtils&) { return *this; }

    // The value in decimal.
    static RWCString toString(int value);
    static RWCString toString(unsigned value);
    static RWCString toString(long long value);
    static RWCString toString(unsigned long long value);
    // One value formatted like a DS value ("%-0.15G").
    static RWCString toString(double value);

    // New arrays (array new, owned by the caller) holding a copy of the source; null for a count
    // of 0. The void and unsigned char forms count bytes; the void form allocates unsigned char,
    // so release it as unsigned char[].
    static void* copyArray(const void* source, unsigned byteCount);
    static unsigned char* copyArray(const unsigned char* source, unsigned byteCount);
    static short* copyArray(const short* source, unsigned count);
    static unsigned short* copyArray(const unsigned short* source, unsigned count);
    static int* copyArray(const int* source, unsigned count);
    static unsigned int* copyArray(const unsigned int* source, unsigned count);
    static float* copyArray(const float* source, unsigned count);
    static double* copyArray(const double* source, unsigned count);

    // Scans one signed decimal integer from at most `length` bytes (no terminator needed).
    // Leading blanks and one sign are accepted. The first digit must not be the last byte (a
    // value relies on its even-length pad). The scan succeeds when it ends at the last byte
    // (whatever that byte is) or stops at a backslash or blank; `end` then points past the
    // stopping byte. Overflow returns 1 with the value clamped and errno set to ERANGE.
    static int stringToINT32(const char* text, unsigned length, int& out, const char** end);

    // The first value of an IS or DS text. Odd lengths, empty or all-blank text, trailing
    // garbage and out-of-range values fail with out = 0.
    static int parseIS(const char* text, unsigned length, int& out);
    static int parseDS(const char* text, unsigned length, double& out);

    // Every value of a multi-valued IS or DS text into a new array. Absent text succeeds with no
    // values; empty values between backslashes are skipped. parseISToArray accepts odd lengths,
    // parseDSToArray treats an odd length as no values. On failure values = null, count = 0.
    static int parseISToArray(const char* text, unsigned length, int*& values, unsigned& count);
    static int parseDSToArray(const char* text, unsigned length, double*& values, unsigned& count);

    // The text with control characters in C escape form (backslashes are not doubled),
    // optionally in double quotes.
    static RWCString escapeString(RWCString text, bool quote);

    // The values joined with single backslashes ("%d" and "%-0.15G"); "" for no values.
    static RWCString INT32ArrayToIS(const int* values, unsigned count);
    static RWCString doubleArrayToDS(const double* values, unsigned count);

    // Expected number of frame-index entries for the Referenced Image Sequences (0008,1140)
    // held by the items of a sequence.
    static unsigned computeSuggestedSequenceIndexSize(const RWTPtrOrderedVector<DICOMDataObject>& items);
    // Expected number of frame-index entries for the items of one Referenced Image Sequence:
    // per item the backslashes of its Referenced Frame Number (0008,1160), at least 1.
    static unsigned computeSuggestedReferencedImageSequenceItemIndexSize(
        const RWTPtrOrderedVector<DICOMDataObject>& items);
};

}  // namespace refcntr
