// The input is a DICOM file (with or without preamble and meta header, any transfer syntax,
// deflated included): readDicomFile reads it, listing the faults it read past, and the IOD of its
// SOP class (any, for another class) reads, saves, reads again and dumps the data set, in the file's own byte order. A
// refused file must be refused with its name in the message. A file that the direct decoder takes must read through
// DCMTK and the bridge to the very same elements, without a note, and with its directory records at the same positions.
//
// The bytes go through a file rather than DCMTK's memory stream: from a file DCMTK leaves
// large values on disk until readDicomFile has checked that none claims more than the file
// holds, whereas from memory it allocates whatever length an element claims (up to 4 GiB)
// before it finds the stream too short, which made most inputs cost a huge allocation.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcdirrec.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcmetinf.h>
#include <dcmtk/oflog/oflog.h>

#include "DataSetCode.h"
#include "IODExercise.h"
#include "refcntr/platform/DataSetDecoder.h"
#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/ReadNotes.h"
#include "refcntr/platform/SequenceVR.h"

using namespace refcntr;

namespace {

std::string scratchFile;

void writeScratchFile(const uint8_t* bytes, size_t size) {
    std::FILE* file = std::fopen(scratchFile.c_str(), "wb");
    if (!file) std::abort();
    if (size && std::fwrite(bytes, 1, size, file) != size) std::abort();
    std::fclose(file);
}

bool sameElements(const DICOMObject& left, const DICOMObject& right) {
    if (left.GetNumberOfVRs() != right.GetNumberOfVRs()) return false;
    for (auto a = left.begin(), b = right.begin(); a != left.end(); ++a, ++b) {
        const VR& x = **a;
        const VR& y = **b;
        if (!(x.GetTag() == y.GetTag()) || x.GetVRCode() != y.GetVRCode() || x.GetEndian() != y.GetEndian() ||
            x.GetLength() != y.GetLength() || (x.GetLength() && std::memcmp(x.GetData(), y.GetData(), x.GetLength())))
            return false;
        const SequenceVR* xs = x.GetAsSequenceVR();
        const SequenceVR* ys = y.GetAsSequenceVR();
        if ((xs == nullptr) != (ys == nullptr)) return false;
        if (xs == nullptr) continue;
        if (xs->GetNumberOfItems() != ys->GetNumberOfItems()) return false;
        for (unsigned i = 0; i < xs->GetNumberOfItems(); ++i)
            if (!sameElements(*xs->GetSequenceItems()[i], *ys->GetSequenceItems()[i])) return false;
    }
    return true;
}

// A file the decoder takes reads the same through DCMTK, without a note.
void checkDecoderAgainstDcmtk(const uint8_t* bytes, size_t size) {
    std::vector<UINT32> recordOffsets;
    const std::unique_ptr<DICOMDataObject> decoded = decodeCommonFile(bytes, size, &recordOffsets);
    if (!decoded) return;
    DcmFileFormat file;
    if (file.loadFile(scratchFile.c_str()).bad() || file.loadAllDataIntoMemory().bad()) {
        std::fprintf(stderr, "the decoder took a file DCMTK cannot read\n");
        std::abort();
    }
    DICOMDataObject throughDcmtk(decoded->GetEndian());
    std::vector<std::string> notes;
    appendFromDcmItem(*file.getMetaInfo(), throughDcmtk);
    appendFromDcmItem(*file.getDataset(), throughDcmtk);
    noteReadFaults(*file.getMetaInfo(), notes);
    noteReadFaults(*file.getDataset(), notes);
    std::vector<UINT32> dcmtkOffsets;
    DcmSequenceOfItems* records = nullptr;
    if (file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).good() && records != nullptr)
        for (DcmObject* item = records->nextInContainer(nullptr); item; item = records->nextInContainer(item))
            if (const auto* record = dynamic_cast<const DcmDirectoryRecord*>(item))
                dcmtkOffsets.push_back(record->getFileOffset());
    if (recordOffsets != dcmtkOffsets) {
        std::fprintf(stderr, "the decoder and DCMTK place the directory records differently\n");
        std::abort();
    }
    if (!notes.empty() || !sameElements(*decoded, throughDcmtk)) {
        std::fprintf(stderr, "the decoder and DCMTK read the file differently%s%s\n", notes.empty() ? "" : ": ",
                     notes.empty() ? "" : notes.front().c_str());
        std::abort();
    }
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
    try {
        checkDecoderAgainstDcmtk(bytes, size);
    } catch (const RuntimeException&) {
        std::fprintf(stderr, "the decoder took a file that DCMTK's elements cannot be converted from\n");
        std::abort();
    }
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
    if (fuzz::valueBytes(*data) <= (std::size_t(1) << 22))
        fuzz::exerciseIOD(*data, fuzz::iodOf(*data, static_cast<fuzz::IODChoice>(size % 4)));
    return 0;
}
