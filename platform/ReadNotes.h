// What DCMTK let pass while reading a damaged file, for the reader to tell its user.
#pragma once

#include <string>
#include <vector>

class DcmItem;

namespace refcntr {

// One line per element of the item (sequences searched too) that DCMTK read despite a fault: a
// text of odd length, which DCMTK pads with a NUL that the bridge drops. Each line names the tag
// and the keyword. VRs other than the dictionary's are noted where they are converted.
void noteReadFaults(DcmItem& item, std::vector<std::string>& notes);

}  // namespace refcntr
