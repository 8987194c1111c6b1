// Text values in UTF-8. Data sets and containers keep the bytes a file stores, in the character
// set its Specific Character Set (0008,0005) names; these calls give a viewer the same texts in
// UTF-8, through DCMTK's character set conversion.
#pragma once

#include <string>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

// `text` (`length` bytes of an element of VR `vrCode`) in UTF-8, from the character set that
// `specificCharacterSet` names: the value of (0008,0005) as stored, its values joined by
// backslashes, empty for the default repertoire (ASCII). ISO 2022 escapes are reset where the VR
// says: at the component and group delimiters of a PN, the backslashes of a short text, the
// line breaks of LT, ST and UT. Throws RuntimeException naming the character set when it is
// unknown or this system cannot convert it, or when the text is not valid in it.
std::string textInUTF8(const char* text, std::size_t length, const RWCString& specificCharacterSet, UINT16 vrCode);

// Converts every text of `data` that a character set applies to (PN, SH, LO, UC, ST, LT, UT),
// in items too, each under the Specific Character Set in force there (an item's own replaces its
// parent's), and sets every Specific Character Set present to "ISO_IR 192" (UTF-8). A data set
// whose texts are all ASCII is left as it is. Throws as textInUTF8 does, leaving `data` changed
// only in the elements converted before the failure.
void convertTextsToUTF8(DICOMObject& data);

}  // namespace refcntr
