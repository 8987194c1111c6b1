// Reading and writing DICOM files, and conversion between DCMTK's data sets and ours.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

class DcmItem;

namespace refcntr {

// How a data set is encoded in a file. Encapsulated is explicit VR little endian under the
// compressed transfer syntax that the data set's own (0002,0010) names, as read with its
// encapsulated pixel data; such pixel data are written in no other.
enum class TransferSyntax { ExplicitLittle, ExplicitBig, ImplicitLittle, Encapsulated };

// Reads a file (with or without a preamble and meta header). The file meta group (0002) is
// merged into the returned data set; the data set's byte order is the file's (big endian for
// explicit VR big endian, little otherwise). Throws RuntimeException naming the file and the
// reason when the file is missing, empty, truncated or not DICOM. A common file is decoded
// straight into the data set; any other is parsed by DCMTK. Either way the data set is the one
// DCMTK's reading gives.
std::unique_ptr<DICOMDataObject> readDicomFile(const std::string& path);
// The same, and in `notes` one line for each fault DCMTK read past (a value of odd length, a VR
// other than the dictionary's), naming the element and what was done with it.
std::unique_ptr<DICOMDataObject> readDicomFile(const std::string& path, std::vector<std::string>& notes);
// The same (notes only when `notes` is not null), and in `recordOffsets` the position of each
// item of the directory record sequence (0004,1220), in sequence order: the byte offset from the
// start of the file (preamble and meta header included) of its item tag, as found while
// parsing. Empty when there is no such sequence.
std::unique_ptr<DICOMDataObject> readDicomFile(const std::string& path, std::vector<std::string>* notes,
                                               std::vector<UINT32>& recordOffsets);

// Writes the data set as a DICOM file with a meta header built from its group 0002 elements.
// The transfer syntax UID is the one asked for; meta elements the data set lacks (media storage
// SOP class and instance, implementation) are filled in from the data set by DCMTK, so a data
// set saved from containers built from nothing needs only its SOP common module's UIDs.
// The data set is encoded as DCMTK encodes it, with undefined-length sequences and items;
// a media directory (a data set with a directory record sequence) is written with explicit
// lengths, which its record offsets count.
// The file is written to a temporary file beside `path`, flushed to disk and renamed into
// place, so a failure (or a crash) never leaves a partial file. Throws RuntimeException naming
// the file and the reason.
void writeDicomFile(const std::string& path, const DICOMDataObject& dataSet, TransferSyntax transferSyntax);

// DCMTK's item (values in native order) as a little-endian data set.
std::unique_ptr<DICOMDataObject> fromDcmItem(DcmItem& item);
// Copies every element of the data set, group 0002 and empty elements included, with its VR,
// into the DCMTK item.
void toDcmItem(const DICOMDataObject& dataSet, DcmItem& item);

}  // namespace refcntr
