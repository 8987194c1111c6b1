// Reading the common file straight into a data set, without building DCMTK's elements first.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

// The data set of a file in the form nearly every presentation state has: preamble, meta
// header, explicit VR little or big endian, every element in ascending order with a VR this
// library knows, of even length, within its item and its file, and nothing DCMTK would change
// or note while reading it (a VR other than the dictionary's, a NUL in a text, a blank in a
// UID, UN). Texts are kept as DCMTK hands them over: without trailing pad, padded again to even
// length. The meta group is merged in front, in the data set's byte order.
//
// Null for any other file: readDicomFile then reads it through DCMTK, which takes what this
// refuses and reports what is wrong with it. So for every file this accepts, the result is the
// one DCMTK's reading gives.
//
// When `recordOffsets` is given, it receives the position in the file of the item tag of each
// item of a directory record sequence (0004,1220), in sequence order.
std::unique_ptr<DICOMDataObject> decodeCommonFile(const unsigned char* bytes, std::size_t size,
                                                  std::vector<UINT32>* recordOffsets = nullptr);

}  // namespace refcntr
