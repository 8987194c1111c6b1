// The directory containers on a large media directory, against DCMTK's own parse of the same
// file: 10,000 records with a referenced file ID and a few keys, every tenth with a 64x64
// 8-bit icon. The per_record counter is the time per record.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/oflog/oflog.h>

#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"

namespace {

constexpr int recordCount = 10000;
constexpr int iconSide = 64;

void addIcon(DcmItem& record, int number) {
    DcmItem* icon = nullptr;
    record.findOrCreateSequenceItem(DCM_IconImageSequence, icon, -2);
    icon->putAndInsertUint16(DCM_SamplesPerPixel, 1);
    icon->putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
    icon->putAndInsertUint16(DCM_Rows, iconSide);
    icon->putAndInsertUint16(DCM_Columns, iconSide);
    icon->putAndInsertUint16(DCM_BitsAllocated, 8);
    icon->putAndInsertUint16(DCM_BitsStored, 8);
    icon->putAndInsertUint16(DCM_HighBit, 7);
    icon->putAndInsertUint16(DCM_PixelRepresentation, 0);
    std::vector<Uint8> pixels(iconSide * iconSide);
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = Uint8(i + number);
    icon->putAndInsertUint8Array(DCM_PixelData, pixels.data(), Uint32(pixels.size()));
}

void fillDirectory(DcmFileFormat& file) {
    file.getMetaInfo()->putAndInsertString(DCM_MediaStorageSOPClassUID, UID_MediaStorageDirectoryStorage);
    file.getMetaInfo()->putAndInsertString(DCM_MediaStorageSOPInstanceUID, "2.25.77001");
    DcmDataset& data = *file.getDataset();
    data.putAndInsertString(DCM_FileSetID, "BENCHMARK");
    data.putAndInsertUint32(DCM_OffsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity, 400);
    data.putAndInsertUint32(DCM_OffsetOfTheLastDirectoryRecordOfTheRootDirectoryEntity, 900000);
    data.putAndInsertUint16(DCM_FileSetConsistencyFlag, 0);
    auto* records = new DcmSequenceOfItems(DCM_DirectoryRecordSequence);
    for (int i = 0; i < recordCount; ++i) {
        auto* record = new DcmItem;
        const std::string number = std::to_string(i);
        record->putAndInsertUint32(DCM_OffsetOfTheNextDirectoryRecord, Uint32(i + 1) * 200);
        record->putAndInsertUint16(DCM_RecordInUseFlag, 0xFFFF);
        record->putAndInsertUint32(DCM_OffsetOfReferencedLowerLevelDirectoryEntity, 0);
        record->putAndInsertString(DCM_DirectoryRecordType, "IMAGE");
        record->putAndInsertString(DCM_ReferencedFileID, ("PAT" + std::to_string(i / 1000) + "\\ST1\\SE1\\IM" + number).c_str());
        record->putAndInsertString(DCM_ReferencedSOPClassUIDInFile, UID_CTImageStorage);
        record->putAndInsertString(DCM_ReferencedSOPInstanceUIDInFile, ("2.25.4400" + number).c_str());
        record->putAndInsertString(DCM_ReferencedTransferSyntaxUIDInFile, UID_LittleEndianExplicitTransferSyntax);
        record->putAndInsertString(DCM_InstanceNumber, number.c_str());
        if (i % 10 == 0) addIcon(*record, i);
        records->append(record);
    }
    data.insert(records);
}

// The benchmark file, written once and removed at exit, and its conversion to our data set.
class DirectoryFile {
public:
    DirectoryFile() {
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        char pattern[] = "/tmp/refcntr-directory-benchmark-XXXXXX";
        const int descriptor = ::mkstemp(pattern);
        if (descriptor < 0) std::abort();
        ::close(descriptor);
        itsPath = pattern;
        DcmFileFormat file;
        fillDirectory(file);
        if (file.saveFile(itsPath.c_str(), EXS_LittleEndianExplicit, EET_ExplicitLength).bad()) std::abort();
        itsData = refcntr::readDicomFile(itsPath);
    }
    ~DirectoryFile() { std::remove(itsPath.c_str()); }
    const std::string& Path() const { return itsPath; }
    const refcntr::DICOMDataObject& Data() const { return *itsData; }

private:
    std::string itsPath;
    std::unique_ptr<refcntr::DICOMDataObject> itsData;
};

const DirectoryFile& directoryFile() {
    static const DirectoryFile file;
    return file;
}

void countRecords(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * recordCount);
    state.counters["per_record"] =
        benchmark::Counter(recordCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_DcmtkParse(benchmark::State& state) {
    const std::string& path = directoryFile().Path();
    for (auto _ : state) {
        DcmFileFormat file;
        if (file.loadFile(path.c_str()).bad() || file.loadAllDataIntoMemory().bad()) state.SkipWithError("parse");
        benchmark::DoNotOptimize(file.getDataset());
    }
    countRecords(state);
}
BENCHMARK(BM_DcmtkParse)->Unit(benchmark::kMillisecond);

void BM_Create(benchmark::State& state) {
    const refcntr::DICOMDataObject& data = directoryFile().Data();
    for (auto _ : state) {
        std::unique_ptr<refcntr::BasicDirectoryCompositeIOD> directory(refcntr::BasicDirectoryCompositeIOD::create(data));
        benchmark::DoNotOptimize(directory.get());
        state.PauseTiming();
        directory.reset();
        state.ResumeTiming();
    }
    countRecords(state);
}
BENCHMARK(BM_Create)->Unit(benchmark::kMillisecond);

void BM_Save(benchmark::State& state) {
    const std::unique_ptr<refcntr::BasicDirectoryCompositeIOD> directory(
        refcntr::BasicDirectoryCompositeIOD::create(directoryFile().Data()));
    for (auto _ : state) {
        auto saved = std::make_unique<refcntr::DICOMDataObject>();
        directory->save(*saved);
        benchmark::DoNotOptimize(saved.get());
        state.PauseTiming();
        saved.reset();
        state.ResumeTiming();
    }
    countRecords(state);
}
BENCHMARK(BM_Save)->Unit(benchmark::kMillisecond);

void BM_ToString(benchmark::State& state) {
    const std::unique_ptr<refcntr::BasicDirectoryCompositeIOD> directory(
        refcntr::BasicDirectoryCompositeIOD::create(directoryFile().Data()));
    for (auto _ : state) {
        const refcntr::RWCString dump = directory->toString(0);
        benchmark::DoNotOptimize(dump.data());
    }
    countRecords(state);
}
BENCHMARK(BM_ToString)->Unit(benchmark::kMillisecond);

}  // namespace
