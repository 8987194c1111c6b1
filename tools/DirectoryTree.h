// The patient, study, series and image hierarchy of a media directory, as lines of text.
#pragma once

#include <ostream>
#include <string>

#include "refcntr/directory/DirectoryFile.h"

namespace refcntr {

// The deepest level shown by indentation; deeper records are indented as this level and start
// with their level in brackets, "[40] IMAGE ...", so a long chain costs no more per line.
constexpr unsigned deepestIndented = 32;

// Prints the directory's records in link order, one line per record and two spaces deeper per
// level, each record's lower level under it before its next record. Control characters from
// the file are escaped.
void printDirectoryTree(const DirectoryFile& directory, std::ostream& out);

// The same hierarchy as JSON: an array of {"record": LINE, "children": [...]}, LINE being the
// record's line of the tree.
void printDirectoryTreeAsJson(const DirectoryFile& directory, std::ostream& out);

// One record as a line of the tree: its type and the keys that tell it apart, for example
// PATIENT Doe^Jane [P1]
// STUDY 20240102 S1 "CT CHEST" [2.25.101]
// SERIES OT 3 [2.25.1011]
// IMAGE 1 IMAGES/IM1 [2.25.91]
// Other record types show their instance number, file and instance UID like an image. A record
// whose in-use flag is 0 ends with "(not in use)".
std::string describeRecord(const DirectoryRecordSequenceItem& record);

}  // namespace refcntr
