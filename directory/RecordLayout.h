// Where the records of a directory land in the bytes DCMTK writes, and their offsets set there.
#pragma once

#include <vector>

#include "refcntr/platform/Types.h"

class DcmFileFormat;

namespace refcntr {

// Puts the items of the record sequence (0004,1220) of DCMTK's file in the order given
// (order[k]: the index, in the current order, of the item to write k-th) and returns the
// offset from the start of the file at which each will be written, in the new order: for the
// transfer syntax of its meta header, explicit lengths and the meta header DCMTK will write. The offsets are UL
// values, so filling them in changes no length. Linear in the number of records.
std::vector<UINT32> arrangeRecordItems(DcmFileFormat& file, const std::vector<unsigned>& order);

// The links of one record.
struct RecordOffsets {
    UINT32 next = 0;
    UINT32 lowerLevel = 0;
};

// Sets (0004,1400) and (0004,1420) of the k-th record item to records[k], and the root offsets
// (0004,1200) and (0004,1202) of the data set. The elements must be there already.
void fillRecordOffsets(DcmFileFormat& file, const std::vector<RecordOffsets>& records, UINT32 rootFirst,
                       UINT32 rootLast);

}  // namespace refcntr
