// Where the records of a directory land in the bytes written, and their offsets set there.
#pragma once

#include <vector>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"

namespace refcntr {

// The offset from the start of the file at which each item of the record sequence (0004,1220)
// of `data` is written when written in `order` (order[k]: the index, in the sequence, of the
// item written k-th), after a file header of `headerLength` bytes, with explicit lengths in
// `transferSyntax`. The offsets are UL values, so filling them in changes no length. Linear in
// the size of the data set.
std::vector<UINT32> recordItemOffsets(const DICOMDataObject& data, TransferSyntax transferSyntax, UINT32 headerLength,
                                      const std::vector<unsigned>& order);

// The links of one record.
struct RecordOffsets {
    UINT32 next = 0;
    UINT32 lowerLevel = 0;
};

// Sets (0004,1400) and (0004,1420) of the record item written k-th (the item order[k] of the
// sequence) to records[k], and the root offsets (0004,1200) and (0004,1202) of the data set.
void fillRecordOffsets(DICOMDataObject& data, const std::vector<unsigned>& order,
                       const std::vector<RecordOffsets>& records, UINT32 rootFirst, UINT32 rootLast);

}  // namespace refcntr
