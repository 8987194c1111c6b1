// Values whose syntax or length their VR forbids (DA, TM, DT, UI, CS, AS, IS and DS), found
// with DCMTK's own checks, as dcmpschk would reject them.
#pragma once

#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr::cli {

// One line per faulty value, items searched too: its path as roundtrip writes it, the keyword
// and the reason, for example "(0008,0020)  # StudyDate: '2024-01-02' is not a valid DA value".
std::vector<std::string> valueFaults(const DICOMObject& data);

}  // namespace refcntr::cli
