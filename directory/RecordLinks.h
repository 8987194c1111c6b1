// The record hierarchy that a directory's offsets describe, found by following them once.
#pragma once

#include <string>
#include <vector>

#include "refcntr/platform/Types.h"

namespace refcntr {

// One record as read: where it starts in the file and where its links lead (0: nowhere).
struct RecordPosition {
    UINT32 offset = 0;      // of its item tag, from the start of the file
    UINT32 next = 0;        // (0004,1400)
    UINT32 lowerLevel = 0;  // (0004,1420)
    bool inUse = true;      // (0004,1410) is not 0
};

// The hierarchy by record index: each record's parent (noParent at the root level) and each
// level's records in link order.
struct RecordHierarchy {
    static constexpr unsigned noParent = ~0u;
    std::vector<unsigned> roots;
    std::vector<unsigned> parents;
    std::vector<std::vector<unsigned>> children;
};

// Follows the links from the root offset (0004,1200). A link that leads to no record, or to a
// record already reached, is cut; records no link reaches are put at the root level, in file
// order, with the records their own links lead to. One line of `notes` per fault (a record no
// link reaches is no fault when it is not in use). Linear in the number of records.
RecordHierarchy resolveRecordLinks(const std::vector<RecordPosition>& records, UINT32 rootOffset,
                                   std::vector<std::string>& notes);

}  // namespace refcntr
