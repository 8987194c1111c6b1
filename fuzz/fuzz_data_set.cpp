// The input is a program for DataSetCode's interpreter: the data set is built with this
// library's own model, so malformed values (any VR code, odd and huge lengths, deep nesting,
// twice-reserved private blocks, either byte order) reach the containers without passing
// DCMTK's checks. Every IOD then reads, saves, reads again and dumps it.
#include <cstdint>

#include "DataSetCode.h"
#include "IODExercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const auto data = refcntr::fuzz::decodeDataSet(bytes, size);
    refcntr::fuzz::exerciseIODs(*data);
    return 0;
}
