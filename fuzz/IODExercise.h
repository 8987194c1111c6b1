// What every fuzz target does with a data set: read it into each composite IOD, save, read the
// saved data set again and compare the dumps, and look up the image-indexed sequences.
#pragma once

#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr::fuzz {

// The composite IODs, in the order of the bits that choose one.
enum class IODChoice { Directory, GrayscaleState, ColorState, PseudoColorState };

// The IOD of the data set's SOP class (media storage SOP class for a directory), or `fallback`.
IODChoice iodOf(const DICOMDataObject& data, IODChoice fallback);

// Runs `create`, `save` into a fresh data set of the same byte order, `create` again and
// `toString` for the chosen IOD, and `getItems` on every image-indexed sequence they hold.
// Aborts, after printing what differs, when `save` throws, when a value in the first dump is
// missing or changed in the second (the second may add the empty type 2 attributes save
// writes), when a copy of the second container saves a data set different from the first
// save, or when `getItems` returns an item that is not in its sequence or misses one filed
// under the key asked for.
void exerciseIOD(const DICOMDataObject& data, IODChoice iod);

// Every (group, element, VR text, private creator) row of the generated description tables,
// private rows with the offset as element number; creator is null for standard rows.
struct KnownAttribute {
    UINT16 group;
    UINT16 element;
    const char* vr;
    const char* privateCreator;
    bool isSequence;
};
const std::vector<KnownAttribute>& knownAttributes();

// Prints the first line where two dumps differ, with some context, to standard error.
void reportDifference(const std::string& what, const std::string& first, const std::string& second);

}  // namespace refcntr::fuzz
