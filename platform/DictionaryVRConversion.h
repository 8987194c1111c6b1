// Elements stored with a VR other than the dictionary's, converted by meaning where that loses
// nothing: a sequence stored as UN read as the sequence it holds, DS or IS text as the binary
// numbers the dictionary expects and back, one binary number type as another. Whatever cannot
// be converted exactly is kept as read. Either way a read note says so.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

// Converts the public elements of `data` (items searched too) whose VR differs from the
// dictionary's, adding one note per element to `notes` when given, for example
// "(0070,0022) GraphicData: VR DS where the dictionary has FL; converted to FL". Sequences read
// out of UN values nest at most `deepestNesting` levels below `data`. A text of any VR but UI
// whose every value is a number becomes the binary numbers the dictionary expects ("90" stored
// as CS where the dictionary has US).
void convertToDictionaryVRs(DICOMObject& data, std::vector<std::string>* notes, std::size_t deepestNesting);

// Whether an element of VR code `vrCode` agrees with a dictionary VR code: the same VR, one that
// an ambiguous dictionary VR allows, or any VR where the dictionary knows none.
bool agreesWithDictionary(UINT16 vrCode, UINT16 dictionaryCode);

}  // namespace refcntr
