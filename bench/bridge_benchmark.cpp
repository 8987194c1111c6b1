// The DCMTK bridge against DCMTK's own parse of the same file: a presentation state with tens of
// thousands of elements, most of them in nested sequences. The conversions should each take at
// most half the parse time.
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

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"

namespace {

constexpr int annotationCount = 2500;  // about 16 elements each, nested two levels deep

void fillDataSet(DcmDataset& dataset) {
    dataset.putAndInsertString(DCM_SOPClassUID, UID_GrayscaleSoftcopyPresentationStateStorage);
    dataset.putAndInsertString(DCM_SOPInstanceUID, "2.25.1234567890123456789");
    dataset.putAndInsertString(DCM_PatientName, "Lindqvist^Maja");
    dataset.putAndInsertString(DCM_PatientID, "PID-0042179");
    dataset.putAndInsertString(DCM_Modality, "PR");
    for (int i = 0; i < annotationCount; ++i) {
        DcmItem* annotation = nullptr;
        dataset.findOrCreateSequenceItem(DCM_GraphicAnnotationSequence, annotation, -2);
        DcmItem* reference = nullptr;
        annotation->findOrCreateSequenceItem(DCM_ReferencedImageSequence, reference, -2);
        reference->putAndInsertString(DCM_ReferencedSOPClassUID, UID_CTImageStorage);
        reference->putAndInsertString(DCM_ReferencedSOPInstanceUID,
                                      ("2.25.18273645091827364509182736" + std::to_string(i)).c_str());
        reference->putAndInsertString(DCM_ReferencedFrameNumber, "1\\2\\3");
        annotation->putAndInsertString(DCM_GraphicLayer, "FINDINGS");
        DcmItem* text = nullptr;
        annotation->findOrCreateSequenceItem(DCM_TextObjectSequence, text, -2);
        text->putAndInsertString(DCM_BoundingBoxAnnotationUnits, "PIXEL");
        text->putAndInsertString(DCM_UnformattedTextValue, ("Finding " + std::to_string(i)).c_str());
        const Float32 corners[2] = {float(i), 10.5f};
        text->putAndInsertFloat32Array(DCM_BoundingBoxTopLeftHandCorner, corners, 2);
        text->putAndInsertFloat32Array(DCM_BoundingBoxBottomRightHandCorner, corners, 2);
        text->putAndInsertString(DCM_BoundingBoxTextHorizontalJustification, "LEFT");
        DcmItem* graphic = nullptr;
        annotation->findOrCreateSequenceItem(DCM_GraphicObjectSequence, graphic, -2);
        graphic->putAndInsertString(DCM_GraphicAnnotationUnits, "PIXEL");
        graphic->putAndInsertUint16(DCM_GraphicDimensions, 2);
        graphic->putAndInsertUint16(DCM_NumberOfGraphicPoints, 5);
        const Float32 points[10] = {1, 2, 3, 4, 5, 6, 7, 8, 1, 2};
        graphic->putAndInsertFloat32Array(DCM_GraphicData, points, 10);
        graphic->putAndInsertString(DCM_GraphicType, "POLYLINE");
    }
    std::vector<Uint16> overlay(64 * 1024, 0x5555);
    dataset.putAndInsertUint16Array(DcmTagKey(0x6000, 0x3000), overlay.data(), Uint32(overlay.size()));
}

// The benchmark file, written once and removed at exit.
class LargeFile {
public:
    LargeFile() {
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        char pattern[] = "/tmp/refcntr-bridge-benchmark-XXXXXX";
        const int descriptor = ::mkstemp(pattern);
        if (descriptor < 0) std::abort();
        ::close(descriptor);
        itsPath = pattern;
        DcmFileFormat file;
        fillDataSet(*file.getDataset());
        if (file.saveFile(itsPath.c_str(), EXS_LittleEndianExplicit, EET_ExplicitLength).bad()) std::abort();
    }
    ~LargeFile() { std::remove(itsPath.c_str()); }
    const std::string& Path() const { return itsPath; }

private:
    std::string itsPath;
};

const LargeFile& largeFile() {
    static const LargeFile file;
    return file;
}

std::unique_ptr<DcmFileFormat> parse() {
    auto file = std::make_unique<DcmFileFormat>();
    if (file->loadFile(largeFile().Path().c_str()).bad() || file->loadAllDataIntoMemory().bad()) std::abort();
    return file;
}

// Each benchmark times only making its result; the previous result is destroyed with the
// clock stopped, since freeing tens of thousands of DCMTK objects would otherwise dominate.
void BM_DcmtkParse(benchmark::State& state) {
    largeFile();
    std::unique_ptr<DcmFileFormat> file;
    for (auto _ : state) {
        state.PauseTiming();
        file.reset();
        state.ResumeTiming();
        file = parse();
        benchmark::DoNotOptimize(file.get());
    }
}
BENCHMARK(BM_DcmtkParse)->Unit(benchmark::kMillisecond);

void BM_FromDcmItem(benchmark::State& state) {
    auto file = parse();
    std::unique_ptr<refcntr::DICOMDataObject> dataSet;
    for (auto _ : state) {
        state.PauseTiming();
        dataSet.reset();
        state.ResumeTiming();
        dataSet = refcntr::fromDcmItem(*file->getDataset());
        benchmark::DoNotOptimize(dataSet.get());
    }
}
BENCHMARK(BM_FromDcmItem)->Unit(benchmark::kMillisecond);

void BM_ToDcmItem(benchmark::State& state) {
    auto file = parse();
    auto dataSet = refcntr::fromDcmItem(*file->getDataset());
    file.reset();
    std::unique_ptr<DcmDataset> converted;
    for (auto _ : state) {
        state.PauseTiming();
        converted.reset();
        state.ResumeTiming();
        converted = std::make_unique<DcmDataset>();
        refcntr::toDcmItem(*dataSet, *converted);
        benchmark::DoNotOptimize(converted.get());
    }
}
BENCHMARK(BM_ToDcmItem)->Unit(benchmark::kMillisecond);

}  // namespace
