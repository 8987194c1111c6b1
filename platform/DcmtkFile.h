// The two halves of writeDicomFile, for writers that adjust DCMTK's file in between.
#pragma once

#include <string>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"

class DcmFileFormat;

namespace refcntr {

// Fills DCMTK's file from the data set: group 0002 into the meta header, with the transfer
// syntax UID of `transferSyntax`, everything else into the data set. Throws RuntimeException
// naming the element that cannot be converted.
void toDcmFileFormat(const DICOMDataObject& dataSet, DcmFileFormat& file, TransferSyntax transferSyntax);

// How sequences and items are delimited in a written file: with an undefined length and a
// delimiter (what DCMTK writes by default, and cheapest, since no length is computed), or with
// explicit lengths (which a directory's record offsets are computed for).
enum class SequenceLengths { Undefined, Explicit };

// Writes DCMTK's file as writeDicomFile does: the meta header completed by DCMTK, through a
// temporary file beside `path` that is flushed to disk and renamed into place, then the
// directory flushed. Throws RuntimeException naming the file and the reason.
void saveDcmFileFormat(const std::string& path, DcmFileFormat& file, TransferSyntax transferSyntax,
                       SequenceLengths lengths);

}  // namespace refcntr
