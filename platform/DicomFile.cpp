// Reading and writing DICOM files through DCMTK.
#include "refcntr/platform/DicomFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcdirrec.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcmetinf.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include "refcntr/platform/Arena.h"
#include "refcntr/platform/DataSetDecoder.h"
#include "refcntr/platform/DataSetEncoder.h"
#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/DcmtkLogCapture.h"
#include "refcntr/platform/DictionaryVRConversion.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MAttributeTag.h"
#include "refcntr/platform/StructureScan.h"
#include "refcntr/platform/ReadNotes.h"

namespace refcntr {

namespace {

[[noreturn]] void failToRead(const std::string& path, const std::string& reason) {
    throw RuntimeException("cannot read '" + path + "': " + reason);
}

[[noreturn]] void failToWrite(const std::string& path, const std::string& reason) {
    throw RuntimeException("cannot write '" + path + "': " + reason);
}

// A file is taken for DICOM when it has the "DICM" prefix after its 128-byte preamble, or, for
// a bare data set, when its first tag is in groups 0002 to 0008 in either byte order (where
// every stored data set starts). Text and other formats fail this before DCMTK guesses at them.
bool looksLikeDicom(const unsigned char* head, std::size_t count) {
    if (count >= 132 && std::memcmp(head + 128, "DICM", 4) == 0) return true;
    if (count < 8) return false;
    auto plausibleGroup = [](unsigned group) { return group >= 0x0002 && group <= 0x0008 && group % 2 == 0; };
    return plausibleGroup(head[0] | (head[1] << 8)) || plausibleGroup((head[0] << 8) | head[1]);
}

// The same for a file that could not be read whole: only its start is read.
bool looksLikeDicom(const std::string& path) {
    unsigned char head[132];
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    const std::size_t count = std::fread(head, 1, sizeof head, file);
    std::fclose(file);
    return looksLikeDicom(head, count);
}

bool isEndOfDataError(const OFCondition& status) {
    return status == EC_StreamNotifyClient || status == EC_EndOfStream || status == EC_InvalidStream ||
           status == EC_SequDelimitationItemMissing || status == EC_ItemDelimitationItemMissing ||
           status == EC_PrematureSequDelimitationItem;
}

// Our own words for what stopped DCMTK's parse: its texts are written for its developers.
std::string whatStopsTheParse(const OFCondition& status) {
    if (isEndOfDataError(status)) return "truncated (the data end inside an element, item or sequence)";
    if (status == EC_InvalidTag) return "not a valid DICOM file (an element's tag cannot be read)";
    if (status == EC_InvalidVR) return "not a valid DICOM file (an element's VR cannot be read)";
    if (status == EC_CorruptedData) return "not a valid DICOM file (its data are corrupted)";
    if (status == EC_MemoryExhausted) return "not enough memory to read it";
    return "not a valid DICOM file (its elements cannot be parsed)";
}

// Whether a file whose size is reported as 0 holds nothing (a /proc file, say, holds text).
bool isEmpty(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return true;
    const bool empty = std::fgetc(file) == EOF;
    std::fclose(file);
    return empty;
}

// The longest value a file of `fileSize` bytes can hold: its own size, or for a deflated
// stream the size at the deflate format's maximum ratio.
Uint32 longestPossibleValue(std::uint64_t fileSize, bool deflated) {
    std::uint64_t limit = deflated ? fileSize * 1032 : fileSize;
    return limit > 0xFFFFFFFEu ? 0xFFFFFFFEu : Uint32(limit);
}

// The first element whose value length claims more than `limit` bytes, or null.
DcmElement* findOverlongElement(DcmItem& item, Uint32 limit) {
    for (DcmObject* object = item.nextInContainer(nullptr); object != nullptr; object = item.nextInContainer(object)) {
        if (object->ident() == EVR_SQ) {
            auto& sequence = static_cast<DcmSequenceOfItems&>(*object);
            for (DcmObject* child = sequence.nextInContainer(nullptr); child != nullptr;
                 child = sequence.nextInContainer(child))
                if (DcmElement* found = findOverlongElement(static_cast<DcmItem&>(*child), limit)) return found;
        } else if (object->getLengthField() != DCM_UndefinedLength && object->getLengthField() > limit) {
            return static_cast<DcmElement*>(object);
        }
    }
    return nullptr;
}

// Where DCMTK found each item of the directory record sequence, in sequence order.
void collectRecordOffsets(DcmDataset& dataset, std::vector<UINT32>& offsets) {
    DcmSequenceOfItems* records = nullptr;
    if (dataset.findAndGetSequence(DCM_DirectoryRecordSequence, records).bad() || records == nullptr) return;
    for (DcmObject* item = records->nextInContainer(nullptr); item != nullptr; item = records->nextInContainer(item)) {
        const auto* record = dynamic_cast<const DcmDirectoryRecord*>(item);
        offsets.push_back(record != nullptr ? record->getFileOffset() : 0);
    }
}

// The bytes of a file, in a buffer that the arenas to come take over once they go.
struct BufferRelease {
    std::size_t size;
    void operator()(unsigned char* buffer) const noexcept { releaseBuffer(buffer, size); }
};
using FileBytes = std::unique_ptr<unsigned char, BufferRelease>;

// The whole file, or null when it cannot be read whole now (DCMTK's reading then reports why).
FileBytes readWholeFile(const std::string& path, std::size_t size) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return FileBytes(nullptr, {size});
    FileBytes bytes(static_cast<unsigned char*>(allocateBuffer(size)), {size});
    std::size_t filled = 0;
    while (bytes && filled < size) {
        const ssize_t count = ::read(descriptor, bytes.get() + filled, size - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        filled += std::size_t(count);
    }
    ::close(descriptor);
    if (filled != size) bytes.reset();
    return bytes;
}

std::unique_ptr<DICOMDataObject> readFile(const std::string& path, std::vector<std::string>* notes,
                                          std::vector<UINT32>* recordOffsets) {
    registerPrivateEntriesWithDcmtk();
    // The data set read is one arena, which is given back whole when the data set goes.
    ArenaScope arena;

    struct stat status;
    if (::stat(path.c_str(), &status) != 0) failToRead(path, describeSystemError(errno));
    if (S_ISDIR(status.st_mode)) failToRead(path, "is a directory");
    if (!S_ISREG(status.st_mode)) failToRead(path, "not a regular file");
    if (status.st_size == 0) failToRead(path, isEmpty(path) ? "empty file" : "not a DICOM file");
    if (::access(path.c_str(), R_OK) != 0) failToRead(path, describeSystemError(errno));
    // The common file is decoded straight into our data set; anything else goes through DCMTK,
    // unless its sequences nest deeper than DCMTK's recursive parser can go.
    const std::size_t size = std::size_t(status.st_size);
    std::vector<std::string> structureFaults;
    if (const FileBytes bytes = readWholeFile(path, size)) {
        if (!looksLikeDicom(bytes.get(), size)) failToRead(path, "not a DICOM file");
        if (std::unique_ptr<DICOMDataObject> decoded = decodeCommonFile(bytes.get(), size, recordOffsets))
            return decoded;
        StructureScan scan = scanStructure(bytes.get(), size, deepestSequenceNesting);
        if (scan.deepestNesting > deepestSequenceNesting)
            failToRead(path, "sequences nested more than " + std::to_string(deepestSequenceNesting) + " levels deep");
        if (!scan.overlongDeflatedElement.empty())
            failToRead(path,
                       "truncated (element " + scan.overlongDeflatedElement + " is longer than the inflated data)");
        structureFaults = std::move(scan.faults);
    } else if (!looksLikeDicom(path)) {
        failToRead(path, "not a DICOM file");
    }

    // What DCMTK logs about this file becomes read notes (or nothing), not lines on stderr.
    const DcmtkLogCapture capture(notes);
    DcmFileFormat file;
    OFCondition loaded = EC_Normal;
    // DCMTK 3.6.7 throws std::out_of_range while reading some malformed directory records.
    try {
        loaded = file.loadFile(path.c_str());
    } catch (const std::exception&) {
        failToRead(path, "not a valid DICOM file (a directory record cannot be parsed)");
    }
    if (loaded.bad()) failToRead(path, whatStopsTheParse(loaded));
    DcmMetaInfo& meta = *file.getMetaInfo();
    DcmDataset& dataset = *file.getDataset();
    const DcmXfer transferSyntax(dataset.getOriginalXfer());

    // Large values are still on disk; make sure none claims more than the file can hold
    // before they are read into memory.
    const Uint32 limit =
        longestPossibleValue(std::uint64_t(status.st_size), transferSyntax.getStreamCompression() != ESC_none);
    if (DcmElement* overlong = findOverlongElement(dataset, limit)) {
        const RWCString tag = MAttributeTag(overlong->getGTag(), overlong->getETag()).ToString();
        failToRead(path, "truncated (element " + tag + " is longer than the file)");
    }
    OFCondition inMemory = file.loadAllDataIntoMemory();
    if (inMemory.bad()) failToRead(path, whatStopsTheParse(inMemory));

    if (recordOffsets) collectRecordOffsets(dataset, *recordOffsets);
    if (notes) {
        notes->insert(notes->end(), structureFaults.begin(), structureFaults.end());
        noteReadFaults(meta, *notes);
        noteReadFaults(dataset, *notes);
    }

    const EndianType endian = transferSyntax.getXfer() == EXS_BigEndianExplicit ? BigEndian : LittleEndian;
    auto result = std::make_unique<DICOMDataObject>(endian);
    try {
        appendFromDcmItem(meta, *result);
        appendFromDcmItem(dataset, *result);
    } catch (const RuntimeException& error) {
        failToRead(path, error.GetMessage());
    }
    convertToDictionaryVRs(*result, notes, deepestSequenceNesting);
    return result;
}

}  // namespace

std::unique_ptr<DICOMDataObject> readDicomFile(const std::string& path) { return readFile(path, nullptr, nullptr); }

std::unique_ptr<DICOMDataObject> readDicomFile(const std::string& path, std::vector<std::string>& notes) {
    return readFile(path, &notes, nullptr);
}

std::unique_ptr<DICOMDataObject> readDicomFile(const std::string& path, std::vector<std::string>* notes,
                                               std::vector<UINT32>& recordOffsets) {
    return readFile(path, notes, &recordOffsets);
}

void writeDicomFile(const std::string& path, const DICOMDataObject& dataSet, TransferSyntax transferSyntax) {
    std::string header;
    try {
        header = encodeFileHeader(dataSet, transferSyntax);
    } catch (const RuntimeException& error) {
        failToWrite(path, error.GetMessage());
    }
    // A media directory's record offsets count the bytes of explicit-length items.
    const bool mediaDirectory = dataSet.GetVR(0x0004, 0x1220) != nullptr;
    writeEncodedFile(path, header, dataSet, transferSyntax,
                     mediaDirectory ? SequenceLengths::Explicit : SequenceLengths::Undefined);
}

}  // namespace refcntr
