// The input is a program for DataSetCode's interpreter: the data set is built with this
// library's own model, so malformed values (any VR code, odd and huge lengths, deep nesting,
// twice-reserved private blocks, either byte order) reach the containers without passing
// DCMTK's checks. The IOD chosen by bits 1 and 2 of the first byte then reads, saves, reads
// again and dumps it.
#include <cstdint>

#include "DataSetCode.h"
#include "IODExercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const auto data = refcntr::fuzz::decodeDataSet(bytes, size);
    const auto iod = static_cast<refcntr::fuzz::IODChoice>(size ? (bytes[0] >> 1) & 3 : 0);
    refcntr::fuzz::exerciseIOD(*data, iod);
    return 0;
}
