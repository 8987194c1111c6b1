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

#include "refcntr/platform/DicomFile.h"
#include "refcntr/presentation/GraphicAnnotationModule.h"
#include "refcntr/presentation/PresentationEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"

namespace refcntr {
namespace {

const char* const imageClass = "1.2.840.10008.5.1.4.1.1.2";

std::string imageUid(long image) {
    return "1.2.826.0.1.3680043.2.1125.9." + std::to_string(image);
}

// A small CT image for DCMTK to make the presentation state from.
void makeImage(DcmDataset& image) {
    image.putAndInsertString(DCM_SOPClassUID, imageClass);
    image.putAndInsertString(DCM_SOPInstanceUID, imageUid(0).c_str());
    image.putAndInsertString(DCM_StudyInstanceUID, "1.2.826.0.1.3680043.2.1125.9.100");
    image.putAndInsertString(DCM_SeriesInstanceUID, "1.2.826.0.1.3680043.2.1125.9.101");
    image.putAndInsertString(DCM_PatientName, "Bench^Mark");
    image.putAndInsertString(DCM_PatientID, "B1");
    image.putAndInsertString(DCM_Modality, "CT");
    image.putAndInsertUint16(DCM_SamplesPerPixel, 1);
    image.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
    image.putAndInsertUint16(DCM_Rows, 16);
    image.putAndInsertUint16(DCM_Columns, 16);
    image.putAndInsertUint16(DCM_BitsAllocated, 16);
    image.putAndInsertUint16(DCM_BitsStored, 12);
    image.putAndInsertUint16(DCM_HighBit, 11);
    image.putAndInsertUint16(DCM_PixelRepresentation, 0);
    std::vector<Uint16> pixels(256, 100);
    image.putAndInsertUint16Array(DCM_PixelData, pixels.data(), 256);
}

DcmItem* newItem(DcmItem& parent, const DcmTagKey& sequence) {
    DcmItem* item = nullptr;
    parent.findOrCreateSequenceItem(sequence, item, -2);
    return item;
}

// Annotation i references images 2i and 2i+1 (frame 1 of the second), both listed among the
// referenced images of the state's series so that DCMTK accepts them.
void addAnnotations(DcmDataset& state, long count) {
    DcmItem* series = nullptr;
    state.findOrCreateSequenceItem(DCM_ReferencedSeriesSequence, series, 0);
    for (long i = 0; i < 2 * count; ++i) {
        DcmItem* reference = newItem(*series, DCM_ReferencedImageSequence);
        reference->putAndInsertString(DCM_ReferencedSOPClassUID, imageClass);
        reference->putAndInsertString(DCM_ReferencedSOPInstanceUID, imageUid(i).c_str());
    }
    std::vector<Float32> points(64);
    for (unsigned i = 0; i < points.size(); ++i) points[i] = Float32(i % 16);
    for (long i = 0; i < count; ++i) {
        DcmItem* annotation = newItem(state, DCM_GraphicAnnotationSequence);
        for (long image = 2 * i; image < 2 * i + 2; ++image) {
            DcmItem* reference = newItem(*annotation, DCM_ReferencedImageSequence);
            reference->putAndInsertString(DCM_ReferencedSOPClassUID, imageClass);
            reference->putAndInsertString(DCM_ReferencedSOPInstanceUID, imageUid(image).c_str());
            if (image % 2) reference->putAndInsertString(DCM_ReferencedFrameNumber, "1");
        }
        annotation->putAndInsertString(DCM_GraphicLayer, "LAYER1");
        DcmItem* text = newItem(*annotation, DCM_TextObjectSequence);
        text->putAndInsertString(DCM_AnchorPointAnnotationUnits, "PIXEL");
        text->putAndInsertString(DCM_UnformattedTextValue, ("Finding " + std::to_string(i)).c_str());
        const Float32 anchor[2] = {4.0f, 5.0f};
        text->putAndInsertFloat32Array(DCM_AnchorPoint, anchor, 2);
        text->putAndInsertString(DCM_AnchorPointVisibility, "Y");
        DcmItem* graphic = newItem(*annotation, DCM_GraphicObjectSequence);
        graphic->putAndInsertString(DCM_GraphicAnnotationUnits, "PIXEL");
        graphic->putAndInsertUint16(DCM_GraphicDimensions, 2);
        graphic->putAndInsertUint16(DCM_NumberOfGraphicPoints, 32);
        graphic->putAndInsertFloat32Array(DCM_GraphicData, points.data(), 64);
        graphic->putAndInsertString(DCM_GraphicType, "POLYLINE");
        graphic->putAndInsertString(DCM_GraphicFilled, "N");
    }
    DcmItem* layer = nullptr;
    state.findOrCreateSequenceItem(DCM_GraphicLayerSequence, layer, 0);
    layer->putAndInsertString(DCM_GraphicLayer, "LAYER1");
    layer->putAndInsertString(DCM_GraphicLayerOrder, "1");
}

// The file of a state with `count` annotations, made once (kept in /tmp between runs).
const std::string& stateFile(long count) {
    static std::map<long, std::string> files;
    auto found = files.find(count);
    if (found != files.end()) return found->second;
    const std::string path = "/tmp/refcntr-presentation-benchmark-" + std::to_string(count) + ".dcm";
    if (std::ifstream(path).good()) return files[count] = path;
    DcmDataset image;
    makeImage(image);
    DcmPresentationState state;
    if (state.createFromImage(image).bad()) throw std::runtime_error("DCMTK could not make the presentation state");
    DcmFileFormat file;
    if (state.write(*file.getDataset(), OFTrue).bad()) throw std::runtime_error("DCMTK could not write the state");
    addAnnotations(*file.getDataset(), count);
    if (file.saveFile(path.c_str(), EXS_LittleEndianExplicit).bad()) throw std::runtime_error("cannot write " + path);
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
    state.counters["per_annotation"] =
        benchmark::Counter(double(state.range(0)), benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
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
    for (long i = 0; i < 2 * state.range(0); ++i) images.push_back(imageUid(i));
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
