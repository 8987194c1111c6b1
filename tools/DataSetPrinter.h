// Text rendering of a data set for the command-line tool: one element per line.
#pragma once

#include <ostream>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

// Writes each element as tag, VR and value, followed by its keyword when the dictionary knows
// it. Text is quoted, numbers are decimal, binary values show their length and first bytes in
// hexadecimal. Sequence items follow their sequence under "Item n" headers, indented two
// spaces per level.
void printDataSet(std::ostream& out, const DICOMObject& dataSet);

}  // namespace refcntr
