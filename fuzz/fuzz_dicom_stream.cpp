// The input is a DICOM stream (file or bare data set, any transfer syntax): DCMTK parses it
// from memory, fromDcmItem converts it, and every IOD reads, saves, reads again and dumps it.
// The same bytes also go through readDicomFile, which keeps a big-endian file big-endian.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcistrmb.h>
#include <dcmtk/dcmdata/dcmetinf.h>
#include <dcmtk/oflog/oflog.h>

#include "DataSetCode.h"
#include "IODExercise.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"

using namespace refcntr;

namespace {

std::string scratchFile;

// Meta header and data set, in that order, as one little-endian data set.
std::unique_ptr<DICOMDataObject> convert(DcmFileFormat& file) {
    std::unique_ptr<DICOMDataObject> merged = fromDcmItem(*file.getMetaInfo());
    std::unique_ptr<DICOMDataObject> dataSet = fromDcmItem(*file.getDataset());
    for (const auto& element : *dataSet) merged->ReplaceVR(element->Clone());
    return merged;
}

// A deflated stream expands up to a thousandfold; past 4 MiB of values the work grows only
// with their size.
void exercise(const DICOMDataObject& data) {
    if (fuzz::valueBytes(data) <= (std::size_t(1) << 22)) fuzz::exerciseIODs(data);
}

void parseFromMemory(const uint8_t* bytes, size_t size) {
    DcmInputBufferStream stream;
    stream.setBuffer(bytes, offile_off_t(size));
    stream.setEos();
    DcmFileFormat file;
    file.transferInit();
    OFCondition status = EC_Normal;
    try {
        status = file.read(stream, EXS_Unknown, EGL_noChange, DCM_MaxReadLength);
    } catch (const std::exception&) {
        return;  // DCMTK 3.6.7 throws on some malformed directory records; readDicomFile catches it
    }
    file.transferEnd();
    // A caller hands over only what DCMTK read without error (after an error, values can be
    // partly read).
    if (status.bad()) return;
    std::unique_ptr<DICOMDataObject> data;
    try {
        data = convert(file);
    } catch (const RuntimeException&) {
        return;  // an element DCMTK holds but cannot hand over (compressed pixel data)
    }
    exercise(*data);
}

void readAsFile(const uint8_t* bytes, size_t size) {
    std::FILE* file = std::fopen(scratchFile.c_str(), "wb");
    if (!file) std::abort();
    if (size && std::fwrite(bytes, 1, size, file) != size) std::abort();
    std::fclose(file);
    std::unique_ptr<DICOMDataObject> data;
    try {
        data = readDicomFile(scratchFile);
    } catch (const RuntimeException& error) {
        if (std::string(error.what()).find(scratchFile) == std::string::npos) {
            std::fprintf(stderr, "readDicomFile's message does not name the file: %s\n", error.what());
            std::abort();
        }
        return;
    }
    exercise(*data);
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
    parseFromMemory(bytes, size);
    readAsFile(bytes, size);
    return 0;
}
