// A data set in the DICOM JSON model, as DCMTK's dcm2json writes it.
#pragma once

#include <ostream>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/MAttributeTag.h"

namespace refcntr {

// Writes `data`, without its file meta group (0002), as one JSON object of the DICOM JSON model
// through DCMTK's writer: numbers as numbers, person names by component group, binary values
// in base64 (InlineBinary). The model's texts are UTF-8: convert them first
// (convertTextsToUTF8). Encapsulated pixel data are left out, since the model holds them only
// as a link to where they are kept; their tags are returned. Throws RuntimeException naming the
// element that cannot be written.
std::vector<MAttributeTag> writeJsonModel(std::ostream& out, const DICOMDataObject& data);

}  // namespace refcntr
