// A grayscale presentation state with 1,000 or 10,000 graphic annotation items (each
// referencing two images, with one text object and one graphic object of 32 points): our
// create, save, toString and getItems against the same work in DCMTK's presentation-state
// class, the whole road from file to IOD to file against DCMTK's bare load and save, and the
// peak memory of both roads.
#include <benchmark/benchmark.h>

#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmpstat/dcmpstat.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "PresentationStateFiles.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/presentation/GraphicAnnotationModule.h"
#include "refcntr/presentation/PresentationEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"

namespace refcntr {
namespace {

// The file of a state with `count` annotations, made once (kept in /tmp between runs).
const std::string& stateFile(long count) {
    static std::map<long, std::string> files;
    auto found = files.find(count);
    if (found != files.end()) return found->second;
    const std::string path = "/tmp/refcntr-presentation-benchmark-" + std::to_string(count) + ".dcm";
    bench::writePresentationState(path, bench::StateKind::Grayscale, count);
    return files[count] = path;
}

std::unique_ptr<DcmFileFormat> loadWithDcmtk(const std::string& path) {
    auto file = std::make_unique<DcmFileFormat>();
    if (file->loadFile(path.c_str()).bad()) throw std::runtime_error("DCMTK cannot read " + path);
    file->loadAllDataIntoMemory();
    return file;
}

void setCounters(benchmark::State& state) {
    state.counters["annotations"] = double(state.range(0));
    state.counters["per_annotation"] = benchmark::Counter(
        double(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// DCMTK's presentation-state class reading the parsed data set and writing it back.
void dcmtkReadWrite(benchmark::State& state) {
    auto file = loadWithDcmtk(stateFile(state.range(0)));
    for (auto _ : state) {
        DcmPresentationState presentation;
        if (presentation.read(*file->getDataset()).bad()) state.SkipWithError("DCMTK refused the state");
        DcmDataset written;
        presentation.write(written, OFFalse);
        benchmark::DoNotOptimize(written.card());
    }
    setCounters(state);
}
BENCHMARK(dcmtkReadWrite)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// Our create and save on the same data set, converted once.
void createAndSave(benchmark::State& state) {
    auto file = loadWithDcmtk(stateFile(state.range(0)));
    auto data = fromDcmItem(*file->getDataset());
    for (auto _ : state) {
        std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> iod(
            GrayscaleSoftcopyPresentationStateCompositeIOD::create(*data));
        DICOMDataObject saved;
        iod->save(saved);
        benchmark::DoNotOptimize(saved.GetNumberOfVRs());
    }
    setCounters(state);
}
BENCHMARK(createAndSave)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void dumpAsText(benchmark::State& state) {
    auto file = loadWithDcmtk(stateFile(state.range(0)));
    auto data = fromDcmItem(*file->getDataset());
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> iod(
        GrayscaleSoftcopyPresentationStateCompositeIOD::create(*data));
    for (auto _ : state) benchmark::DoNotOptimize(iod->toString(0).size());
    setCounters(state);
}
BENCHMARK(dumpAsText)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// The annotations that apply to each referenced image and its first frame, one lookup each.
void annotationsPerImage(benchmark::State& state) {
    auto file = loadWithDcmtk(stateFile(state.range(0)));
    auto data = fromDcmItem(*file->getDataset());
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> iod(
        GrayscaleSoftcopyPresentationStateCompositeIOD::create(*data));
    const GraphicAnnotationSequence& annotations =
        iod->getPresentationInformationEntity()->getGraphicAnnotationModule()->getGraphicAnnotationSequenceElement();
    std::vector<std::string> images;
    for (long i = 0; i < 2 * state.range(0); ++i) images.push_back(bench::imageUid(i));
    RWTPtrOrderedVector<GraphicAnnotationSequenceItem> result;
    std::size_t found = 0;
    for (auto _ : state) {
        for (const std::string& uid : images) {
            annotations.getItems(result, uid, 1);
            found += result.size();
        }
    }
    benchmark::DoNotOptimize(found);
    state.counters["lookups_per_second"] =
        benchmark::Counter(double(images.size()), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(annotationsPerImage)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// From file to IOD to file: DCMTK parse, bridge, create, save, bridge, DCMTK write.
void wholeRoad(const std::string& path, const std::string& output) {
    auto file = loadWithDcmtk(path);
    auto data = fromDcmItem(*file->getDataset());
    file.reset();
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> iod(
        GrayscaleSoftcopyPresentationStateCompositeIOD::create(*data));
    DICOMDataObject saved;
    iod->save(saved);
    iod.reset();
    data.reset();
    DcmFileFormat written;
    toDcmItem(saved, *written.getDataset());
    written.saveFile(output.c_str(), EXS_LittleEndianExplicit);
}

// DCMTK's bare load and save of the same file.
void bareRoad(const std::string& path, const std::string& output) {
    auto file = loadWithDcmtk(path);
    file->saveFile(output.c_str(), EXS_LittleEndianExplicit);
}

long residentKiB() {
    long pages = 0, resident = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(statm);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// The peak growth of resident memory of one road, measured in a fresh process (this program
// run with --peak-memory) so that memory freed by earlier benchmarks does not hide it.
long peakMemoryKiB(const char* road, long count) {
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) <= 0) return -1;
    const std::string command = std::string(self) + " --peak-memory " + road + " " + std::to_string(count);
    long growth = -1;
    if (FILE* output = popen(command.c_str(), "r")) {
        if (std::fscanf(output, "%ld", &growth) != 1) growth = -1;
        pclose(output);
    }
    return growth;
}

int measurePeakMemory(const std::string& road, long count) {
    const std::string& path = stateFile(count);
    const std::string output = path + ".peak.dcm";
    const long before = residentKiB();
    if (road == "road")
        wholeRoad(path, output);
    else
        bareRoad(path, output);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%ld\n", usage.ru_maxrss - before);
    return 0;
}

void roadThroughTheIOD(benchmark::State& state) {
    const std::string& path = stateFile(state.range(0));
    const std::string output = path + ".road.dcm";
    for (auto _ : state) wholeRoad(path, output);
    state.counters["peak_KiB"] = double(peakMemoryKiB("road", state.range(0)));
    setCounters(state);
}
BENCHMARK(roadThroughTheIOD)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void dcmtkLoadAndSave(benchmark::State& state) {
    const std::string& path = stateFile(state.range(0));
    const std::string output = path + ".bare.dcm";
    for (auto _ : state) bareRoad(path, output);
    state.counters["peak_KiB"] = double(peakMemoryKiB("bare", state.range(0)));
    setCounters(state);
}
BENCHMARK(dcmtkLoadAndSave)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace refcntr

int main(int argc, char** argv) {
    OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
    if (argc == 4 && std::string(argv[1]) == "--peak-memory")
        return refcntr::measurePeakMemory(argv[2], std::atol(argv[3]));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
