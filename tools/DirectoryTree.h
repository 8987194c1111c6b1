// The patient, study, series and image hierarchy of a media directory, found by following the
// offsets that link its records.
#pragma once

#include <string>
#include <vector>

#include "refcntr/directory/DirectoryModules.h"

namespace refcntr {

struct DirectoryTree {
    std::string text;    // one line per record, two spaces deeper per level
    unsigned reached;    // the records the links lead to
};

// Follows the links of the module's records from the root record offset (0004,1200): the
// next-record offset (0004,1400) to the following record of a level, the lower-level offset
// (0004,1420) to the first record one level down, 0 ending either. `recordOffsets[i]` is the
// byte offset in the file at which record i starts; the containers do not know it, the caller
// finds it (with DCMTK's DcmDirectoryRecord::getFileOffset). Lower levels are listed under
// their record, before the record's next one.
//
// Throws cli::Failure when a link leads to an offset where no record starts, or back to a
// record already reached; std::invalid_argument when there is not one offset per record.
DirectoryTree directoryTree(const DirectoryInformationModule& module, const std::vector<UINT32>& recordOffsets);

// One record as a line of the tree: its type and the keys that tell it apart, for example
// PATIENT Doe^Jane [P1]
// STUDY 20240102 S1 "CT CHEST" [2.25.101]
// SERIES OT 3 [2.25.1011]
// IMAGE 1 IMAGES/IM1 [2.25.91]
// Other record types show their instance number, file and instance UID like an image. A record
// whose in-use flag is 0 ends with "(not in use)".
std::string describeRecord(const DirectoryRecordSequenceItem& record);

}  // namespace refcntr
