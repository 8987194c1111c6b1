// What DCMTK let pass while reading a damaged file, for the reader to tell its user.
#pragma once

#include <string>
#include <vector>

class DcmItem;

namespace refcntr {

// One line per element of the item (sequences searched too) that DCMTK read despite a fault:
// a text of odd length (DCMTK pads it with a NUL, which the bridge drops) and a VR other than
// the dictionary's, kept as read. Each line names the tag and the keyword, for example
// "(0070,0042) ImageRotation: VR CS where the dictionary has US; kept as read".
void noteReadFaults(DcmItem& item, std::vector<std::string>& notes);

}  // namespace refcntr
