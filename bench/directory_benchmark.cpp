// The directory containers on a large media directory, against DCMTK's own parse of the same
// file: 10,000 records with a referenced file ID and a few keys, every tenth with a 64x64
// 8-bit icon. The per_record counter is the time per record.
//
// Then DirectoryFile against DCMTK's DcmDicomDir, each reading a generated directory of 1,000,
// 10,000 and 50,000 records and writing it back, and `refcntr tree` on 100,000 records. At the
// end the ratios: DirectoryFile over DcmDicomDir at each size (goal: 1.5 at most), and
// DirectoryFile at 50,000 over 10,000 records (goal: 6 at most, as the records grow fivefold).
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/oflog/oflog.h>

#include "GeneratedDirectory.h"
#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/directory/DirectoryFile.h"
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
        record->putAndInsertString(DCM_ReferencedFileID,
                                   ("PAT" + std::to_string(i / 1000) + "\\ST1\\SE1\\IM" + number).c_str());
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
std::string temporaryPath() {
    char pattern[] = "/tmp/refcntr-directory-benchmark-XXXXXX";
    const int descriptor = ::mkstemp(pattern);
    if (descriptor < 0) std::abort();
    ::close(descriptor);
    return pattern;
}

class IconDirectory {
public:
    IconDirectory() {
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        itsPath = temporaryPath();
        DcmFileFormat file;
        fillDirectory(file);
        if (file.saveFile(itsPath.c_str(), EXS_LittleEndianExplicit, EET_ExplicitLength).bad()) std::abort();
        itsData = refcntr::readDicomFile(itsPath);
    }
    ~IconDirectory() { std::remove(itsPath.c_str()); }
    const std::string& Path() const { return itsPath; }
    const refcntr::DICOMDataObject& Data() const { return *itsData; }

private:
    std::string itsPath;
    std::unique_ptr<refcntr::DICOMDataObject> itsData;
};

const IconDirectory& directoryFile() {
    static const IconDirectory file;
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
        std::unique_ptr<refcntr::BasicDirectoryCompositeIOD> directory(
            refcntr::BasicDirectoryCompositeIOD::create(data));
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

// Generated directories by record count, written once each and removed at exit, with a
// scratch path for what the benchmarks write.
class GeneratedDirectories {
public:
    ~GeneratedDirectories() {
        for (const auto& [count, path] : itsPaths) std::remove(path.c_str());
        std::remove(itsOutput.c_str());
    }
    const std::string& Path(unsigned recordCount) {
        std::string& path = itsPaths[recordCount];
        if (path.empty()) {
            OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
            path = temporaryPath();
            refcntr::testfiles::writeGeneratedDirectory(path, recordCount);
        }
        return path;
    }
    const std::string& Output() {
        if (itsOutput.empty()) itsOutput = temporaryPath();
        return itsOutput;
    }

private:
    std::map<unsigned, std::string> itsPaths;
    std::string itsOutput;
};

GeneratedDirectories& generatedDirectories() {
    static GeneratedDirectories directories;
    return directories;
}

void copyFile(const std::string& from, const std::string& to) {
    DcmFileFormat file;
    if (file.loadFile(from.c_str()).bad() || file.saveFile(to.c_str(), EXS_LittleEndianExplicit).bad()) std::abort();
}

// DcmDicomDir reads the file whole when constructed and writes it back in place.
void BM_DcmDicomDirReadWrite(benchmark::State& state) {
    const unsigned recordCount = unsigned(state.range(0));
    const std::string& output = generatedDirectories().Output();
    copyFile(generatedDirectories().Path(recordCount), output);
    for (auto _ : state) {
        DcmDicomDir directory(output.c_str());
        if (directory.write(EXS_LittleEndianExplicit).bad()) state.SkipWithError("DcmDicomDir write");
    }
    state.SetItemsProcessed(state.iterations() * recordCount);
}
BENCHMARK(BM_DcmDicomDirReadWrite)->Arg(1000)->Arg(10000)->Arg(50000)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DirectoryFileReadWrite(benchmark::State& state) {
    const unsigned recordCount = unsigned(state.range(0));
    const std::string& input = generatedDirectories().Path(recordCount);
    const std::string& output = generatedDirectories().Output();
    for (auto _ : state) {
        const std::unique_ptr<refcntr::DirectoryFile> directory = refcntr::DirectoryFile::read(input);
        directory->write(output, refcntr::TransferSyntax::ExplicitLittle);
    }
    state.SetItemsProcessed(state.iterations() * recordCount);
}
BENCHMARK(BM_DirectoryFileReadWrite)->Arg(1000)->Arg(10000)->Arg(50000)->Unit(benchmark::kMillisecond)->UseRealTime();

// The whole command, as a user runs it, its listing thrown away.
void BM_TreeCommand(benchmark::State& state) {
    const std::string command =
        std::string(REFCNTR_CLI) + " tree " + generatedDirectories().Path(unsigned(state.range(0))) + " >/dev/null";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) state.SkipWithError("refcntr tree failed");
}
BENCHMARK(BM_TreeCommand)->Arg(100000)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);

// The console report, keeping each benchmark's real and CPU time per iteration for the ratios.
// Real time includes the disk flush of an atomic write; CPU time is steadier on a busy machine.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            itsReal[run.benchmark_name()] = run.real_accumulated_time / double(run.iterations);
            itsCPU[run.benchmark_name()] = run.cpu_accumulated_time / double(run.iterations);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintRatios() const {
        std::cout << std::fixed << std::setprecision(2)
                  << "\nDirectoryFile / DcmDicomDir, read and write (real time, CPU time):\n";
        for (const std::string size : {"1000", "10000", "50000"})
            PrintRatio("  " + size + " records", "BM_DirectoryFileReadWrite/" + size, "BM_DcmDicomDirReadWrite/" + size,
                       1.5);
        PrintRatio("DirectoryFile, 50000 over 10000 records", "BM_DirectoryFileReadWrite/50000",
                   "BM_DirectoryFileReadWrite/10000", 6);
    }

private:
    using Times = std::map<std::string, double>;

    static double ratio(const Times& times, const std::string& over, const std::string& under) {
        const auto top = times.find(over + "/real_time");
        const auto bottom = times.find(under + "/real_time");
        return top == times.end() || bottom == times.end() ? -1 : top->second / bottom->second;
    }

    void PrintRatio(const std::string& label, const std::string& over, const std::string& under, double goal) const {
        const double real = ratio(itsReal, over, under);
        const double cpu = ratio(itsCPU, over, under);
        if (real < 0) return;
        std::cout << label << ": " << real << ", " << cpu << (real <= goal ? " (goal " : " (MISSES the goal ") << goal
                  << ")\n";
    }

    Times itsReal;
    Times itsCPU;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
}
