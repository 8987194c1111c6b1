// The input is a DICOM file (with or without preamble and meta header, any transfer syntax,
// deflated included): readDicomFile reads it through DCMTK and the bridge, listing the faults
// it read past, and every IOD reads, saves, reads again and dumps the data set, in the file's
// own byte order. A refused file must be refused with its name in the message.
//
// The bytes go through a file rather than DCMTK's memory stream: from a file DCMTK leaves
// large values on disk until readDicomFile has checked that none claims more than the file
// holds, whereas from memory it allocates whatever length an element claims (up to 4 GiB)
// before it finds the stream too short, which made most inputs cost a huge allocation.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/oflog/oflog.h>

#include "DataSetCode.h"
#include "IODExercise.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"

using namespace refcntr;

namespace {

std::string scratchFile;

void writeScratchFile(const uint8_t* bytes, size_t size) {
    std::FILE* file = std::fopen(scratchFile.c_str(), "wb");
    if (!file) std::abort();
    if (size && std::fwrite(bytes, 1, size, file) != size) std::abort();
    std::fclose(file);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    const char* directory = std::getenv("TMPDIR");
    scratchFile = std::string(directory && *directory ? directory : "/tmp") + "/refcntr-fuzz-" +
                  std::to_string(::getpid()) + ".dcm";
    std::atexit([] { std::remove(scratchFile.c_str()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    writeScratchFile(bytes, size);
    std::unique_ptr<DICOMDataObject> data;
    std::vector<std::string> notes;
    try {
        data = readDicomFile(scratchFile, notes);
    } catch (const RuntimeException& error) {
        if (std::string(error.what()).find(scratchFile) == std::string::npos) {
            std::fprintf(stderr, "readDicomFile's message does not name the file: %s\n", error.what());
            std::abort();
        }
        return 0;
    }
    // A deflated stream expands up to a thousandfold; past 4 MiB of values the work grows only
    // with their size.
    if (fuzz::valueBytes(*data) <= (std::size_t(1) << 22)) fuzz::exerciseIODs(*data);
    return 0;
}
