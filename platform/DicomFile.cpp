// Reading and writing DICOM files through DCMTK.
#include "refcntr/platform/DicomFile.h"

#include <atomic>
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

#include "refcntr/platform/DataSetDecoder.h"
#include "refcntr/platform/DataSetEncoder.h"
#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/DcmtkFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MAttributeTag.h"
#include "refcntr/platform/ReadNotes.h"

namespace refcntr {

namespace {

[[noreturn]] void failToRead(const std::string& path, const std::string& reason) {
    throw RuntimeException("cannot read '" + path + "': " + reason);
}

[[noreturn]] void failToWrite(const std::string& path, const std::string& reason) {
    throw RuntimeException("cannot write '" + path + "': " + reason);
}

std::string systemError(int error) {
    if (error == ENOENT) return "no such file";
    return std::strerror(error);
}

// A file is taken for DICOM when it has the "DICM" prefix after its 128-byte preamble, or, for
// a bare data set, when its first tag is in groups 0002 to 0008 in either byte order (where
// every stored data set starts). Text and other formats fail this before DCMTK guesses at them.
bool looksLikeDicom(const std::string& path) {
    unsigned char head[132];
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    std::size_t count = std::fread(head, 1, sizeof head, file);
    std::fclose(file);
    if (count == sizeof head && std::memcmp(head + 128, "DICM", 4) == 0) return true;
    if (count < 8) return false;
    auto plausibleGroup = [](unsigned group) { return group >= 0x0002 && group <= 0x0008 && group % 2 == 0; };
    return plausibleGroup(head[0] | (head[1] << 8)) || plausibleGroup((head[0] << 8) | head[1]);
}

bool isEndOfDataError(const OFCondition& status) {
    return status == EC_StreamNotifyClient || status == EC_EndOfStream || status == EC_InvalidStream ||
           status == EC_SequDelimitationItemMissing || status == EC_ItemDelimitationItemMissing ||
           status == EC_PrematureSequDelimitationItem;
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

E_TransferSyntax dcmtkTransferSyntax(TransferSyntax transferSyntax) {
    switch (transferSyntax) {
    case TransferSyntax::ExplicitBig: return EXS_BigEndianExplicit;
    case TransferSyntax::ImplicitLittle: return EXS_LittleEndianImplicit;
    case TransferSyntax::ExplicitLittle: break;
    }
    return EXS_LittleEndianExplicit;
}

// An empty file with a fresh name beside the destination, open for writing.
struct TemporaryFile {
    std::string name;
    int descriptor;
};

// Creates it with the permissions a new file gets.
TemporaryFile createTemporaryFile(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    const std::string::size_type slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string candidate = directory + "." + name + ".tmp" + std::to_string(getpid()) + "-" +
                                      std::to_string(counter.fetch_add(1));
        const int descriptor = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) return {candidate, descriptor};
        if (errno != EEXIST) failToWrite(path, errno == ENOENT ? "no such directory" : std::strerror(errno));
    }
    failToWrite(path, "cannot create a temporary file");
}

// Flushes the file (or directory) at `target` to disk.
void flushToDisk(const std::string& target, const std::string& path) {
    const int descriptor = ::open(target.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) failToWrite(path, std::string("cannot flush: ") + std::strerror(errno));
    const int flushed = ::fsync(descriptor);
    const int error = errno;
    ::close(descriptor);
    if (flushed != 0) failToWrite(path, std::string("cannot flush: ") + std::strerror(error));
}

std::string directoryOf(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
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

// Group 0002 goes into the meta header, everything else into the data set.
void splitIntoFile(const DICOMDataObject& dataSet, DcmMetaInfo& meta, DcmDataset& dataset) {
    for (const auto& element : dataSet) {
        std::unique_ptr<DcmElement> converted(newDcmElement(*element));
        DcmItem& destination = element->GetGroup() == 0x0002 ? static_cast<DcmItem&>(meta) : dataset;
        OFCondition status = destination.insert(converted.get(), OFTrue);
        if (status.bad()) throw RuntimeException("element " + element->GetTag().ToString() + ": " + status.text());
        converted.release();
    }
}

// The file decoded straight into a data set, or null when it is not in the common form (or
// cannot be read whole now; DCMTK's reading then reports why).
std::unique_ptr<DICOMDataObject> decodeWholeFile(const std::string& path, std::size_t size,
                                                 std::vector<UINT32>* recordOffsets) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return nullptr;
    std::unique_ptr<unsigned char[]> bytes(new (std::nothrow) unsigned char[size]);
    std::size_t filled = 0;
    while (bytes && filled < size) {
        const ssize_t count = ::read(descriptor, bytes.get() + filled, size - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        filled += std::size_t(count);
    }
    ::close(descriptor);
    if (!bytes || filled != size) return nullptr;
    return decodeCommonFile(bytes.get(), size, recordOffsets);
}

std::unique_ptr<DICOMDataObject> readFile(const std::string& path, std::vector<std::string>* notes,
                                          std::vector<UINT32>* recordOffsets) {
    registerPrivateEntriesWithDcmtk();

    struct stat status;
    if (::stat(path.c_str(), &status) != 0) failToRead(path, systemError(errno));
    if (S_ISDIR(status.st_mode)) failToRead(path, "is a directory");
    if (status.st_size == 0) failToRead(path, "empty file");
    if (::access(path.c_str(), R_OK) != 0) failToRead(path, systemError(errno));
    if (!looksLikeDicom(path)) failToRead(path, "not a DICOM file");
    // The common file is decoded straight into our data set; anything else goes through DCMTK.
    if (std::unique_ptr<DICOMDataObject> decoded = decodeWholeFile(path, std::size_t(status.st_size), recordOffsets))
        return decoded;

    DcmFileFormat file;
    OFCondition loaded = EC_Normal;
    // DCMTK 3.6.7 throws std::out_of_range while reading some malformed directory records.
    try {
        loaded = file.loadFile(path.c_str());
    } catch (const std::exception& error) {
        failToRead(path, std::string("not a valid DICOM file (") + error.what() + ")");
    }
    if (loaded.bad()) {
        if (isEndOfDataError(loaded)) failToRead(path, std::string("truncated (") + loaded.text() + ")");
        failToRead(path, std::string("not a valid DICOM file (") + loaded.text() + ")");
    }
    DcmMetaInfo& meta = *file.getMetaInfo();
    DcmDataset& dataset = *file.getDataset();
    const DcmXfer transferSyntax(dataset.getOriginalXfer());

    // Large values are still on disk; make sure none claims more than the file can hold
    // before they are read into memory.
    const Uint32 limit = longestPossibleValue(std::uint64_t(status.st_size), transferSyntax.getStreamCompression() != ESC_none);
    if (DcmElement* overlong = findOverlongElement(dataset, limit)) {
        const RWCString tag = MAttributeTag(overlong->getGTag(), overlong->getETag()).ToString();
        failToRead(path, "truncated (element " + tag + " is longer than the file)");
    }
    OFCondition inMemory = file.loadAllDataIntoMemory();
    if (inMemory.bad()) {
        if (isEndOfDataError(inMemory)) failToRead(path, std::string("truncated (") + inMemory.text() + ")");
        failToRead(path, inMemory.text());
    }
    if (transferSyntax.isEncapsulated() && dataset.tagExists(DCM_PixelData))
        failToRead(path, std::string("encapsulated pixel data (") + transferSyntax.getXferName() + ") is not supported");

    if (recordOffsets) collectRecordOffsets(dataset, *recordOffsets);
    if (notes) {
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

void toDcmFileFormat(const DICOMDataObject& dataSet, DcmFileFormat& file, TransferSyntax transferSyntax) {
    DcmMetaInfo& meta = *file.getMetaInfo();
    splitIntoFile(dataSet, meta, *file.getDataset());
    const DcmXfer target(dcmtkTransferSyntax(transferSyntax));
    const OFCondition status = meta.putAndInsertString(DCM_TransferSyntaxUID, target.getXferID());
    if (status.bad()) throw RuntimeException(std::string("transfer syntax UID: ") + status.text());
}

namespace {

// Writes a file through `write`, which fills the temporary file it is given (by its name or its
// descriptor); the temporary file is flushed to disk and renamed into place, then the
// directory flushed.
template <typename Write>
void replaceAtomically(const std::string& path, Write write) {
    const TemporaryFile temporary = createTemporaryFile(path);
    try {
        write(temporary);
        if (::fsync(temporary.descriptor) != 0) failToWrite(path, std::string("cannot flush: ") + std::strerror(errno));
    } catch (...) {
        ::close(temporary.descriptor);
        std::remove(temporary.name.c_str());
        throw;
    }
    const bool closed = ::close(temporary.descriptor) == 0;
    if (!closed || std::rename(temporary.name.c_str(), path.c_str()) != 0) {
        const int error = errno;
        std::remove(temporary.name.c_str());
        failToWrite(path, std::strerror(error));
    }
    flushToDisk(directoryOf(path), path);
}

}  // namespace

void saveDcmFileFormat(const std::string& path, DcmFileFormat& file, TransferSyntax transferSyntax,
                       SequenceLengths lengths) {
    replaceAtomically(path, [&](const TemporaryFile& temporary) {
        const OFCondition status = file.saveFile(temporary.name.c_str(), dcmtkTransferSyntax(transferSyntax),
                                                 lengths == SequenceLengths::Explicit ? EET_ExplicitLength : EET_UndefinedLength,
                                                 EGL_recalcGL, EPD_noChange, 0, 0, EWM_fileformat);
        if (status.bad()) failToWrite(path, status.text());
    });
}

void writeDicomFile(const std::string& path, const DICOMDataObject& dataSet, TransferSyntax transferSyntax) {
    // A media directory's record offsets count the bytes of the explicit-length items DCMTK lays out.
    if (dataSet.GetVR(0x0004, 0x1220) != nullptr) {
        DcmFileFormat file;
        try {
            toDcmFileFormat(dataSet, file, transferSyntax);
        } catch (const RuntimeException& error) {
            failToWrite(path, error.GetMessage());
        }
        saveDcmFileFormat(path, file, transferSyntax, SequenceLengths::Explicit);
        return;
    }
    // Anything else is encoded straight from the data set, after DCMTK's meta header.
    std::string header;
    try {
        header = encodeFileHeader(dataSet, transferSyntax);
    } catch (const RuntimeException& error) {
        failToWrite(path, error.GetMessage());
    }
    replaceAtomically(path, [&](const TemporaryFile& temporary) {
        FileSink sink(temporary.descriptor, path);
        sink.Put(header.data(), header.size());
        encodeDataSet(dataSet, transferSyntax, sink);
        sink.Flush();
    });
}

}  // namespace refcntr
