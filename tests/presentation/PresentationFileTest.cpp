// Presentation states made by independent tools (tests/data/files), read into the containers and
// written back:
// - DCMTK's dcmpsmk makes states from CT images; one is edited in several modules, one (with
//   LUTs, shutters and an overlay) saved into a fresh data set; DCMTK's dcmpschk checks what is
//   written and DCMTK's parse is compared element by element.
// - dump2dcm makes the three kinds of state with the hard parts (annotations, layers, shutters,
//   overlays in 6000 and 6002, LUTs in US, SS and OW, mask subtraction, palette, ICC profile, the
//   viewer's private block) in each transfer syntax; saved into the data set read and into a
//   fresh one, written in each transfer syntax, they equal the original.
// - The shipped sample saved into a fresh data set equals the original.
#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "support/TestFiles.h"
#include "support/BuiltFiles.h"
#include "support/SameDataSet.h"
#include "refcntr/factory/CompositeIODFactory.h"
#include "refcntr/factory/UnmodelledAttributes.h"
#include "refcntr/general/InformationEntities.h"
#include "refcntr/general/SOPCommonModule.h"
#include "refcntr/general/StudyModules.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/presentation/DisplayedAreaModule.h"
#include "refcntr/presentation/GraphicAnnotationModule.h"
#include "refcntr/presentation/IdentificationModules.h"
#include "refcntr/presentation/LUTModules.h"
#include "refcntr/presentation/MaskModules.h"
#include "refcntr/presentation/OverlayModules.h"
#include "refcntr/presentation/PresentationEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"
#include "refcntr/presentation/ShutterModules.h"
#include "refcntr/presentation/ViewerPrivateModules.h"

namespace refcntr {
namespace {

using namespace testfiles;

using testing::Comparison;
using testing::FlatElements;

std::unique_ptr<DcmFileFormat> loadWithDcmtk(const std::string& path) {
    auto file = std::make_unique<DcmFileFormat>();
    EXPECT_TRUE(file->loadFile(path.c_str()).good()) << path;
    return file;
}

// Values compared as DCMTK reads them: decimal and integer strings as the numbers they hold,
// whatever the byte order and the VR chosen among US, SS and OW.
Comparison byValue(bool sameVRs) {
    Comparison how(sameVRs);
    how.numbersAsValues = true;
    return how;
}

// The meta headers are the same but for the transfer syntax, which is the one written, and the
// group length, which follows from it.
void expectSameMeta(DcmFileFormat& original, DcmFileFormat& written, TransferSyntax syntax) {
    OFString transferSyntax;
    written.getMetaInfo()->findAndGetOFString(DCM_TransferSyntaxUID, transferSyntax);
    EXPECT_EQ(transferSyntax, DcmXfer(dcmtkSyntax(syntax)).getXferID());
    Comparison how = byValue(true);
    how.anyValue = {DCM_FileMetaInformationGroupLength, DCM_TransferSyntaxUID};
    testing::expectSameDataSet(*original.getMetaInfo(), *written.getMetaInfo(), "meta ", how);
}

// The file written holds the original's elements and meta header, in the transfer syntax written.
void expectSameFile(const std::string& originalPath, const std::string& writtenPath, TransferSyntax syntax,
                    bool sameVRs) {
    const auto original = loadWithDcmtk(originalPath);
    const auto written = loadWithDcmtk(writtenPath);
    testing::expectSameDataSet(*original->getDataset(), *written->getDataset(), "", byValue(sameVRs));
    expectSameMeta(*original, *written, syntax);
}

// Runs dcmpschk on the file: it passes when it says so and reports no error.
void expectDcmpschkPasses(const std::string& path) {
    ScratchDirectory scratch;
    const Outcome run = runProgram(REFCNTR_DCMTK_BIN_DIR "/dcmpschk", quoted(path), scratch);
    const std::string output = run.out + run.err;
    EXPECT_EQ(run.exitCode, 0) << output;
    EXPECT_NE(output.find("Test passed."), std::string::npos) << output;
    EXPECT_EQ(output.find("\nE: "), std::string::npos) << output;
    EXPECT_EQ(output.find("\nF: "), std::string::npos) << output;
    EXPECT_EQ(output.find("failed"), std::string::npos) << output;
}

// --- dcmpsmk's state, edited in several modules ------------------------------------------------

struct Edited {
    DcmTagKey sequence;  // the first item of this sequence holds the element; none: the data set
    DcmTagKey tag;
    const char* value;  // as the comparison by value gives it after the edit
};
const Edited editedElements[] = {
    {DcmTagKey(), DCM_ContentLabel, "EDITED_LABEL"},
    {DcmTagKey(), DCM_ContentDescription, "Soft tissue, zoomed"},
    {DCM_DisplayedAreaSelectionSequence, DCM_PresentationSizeMode, "TRUE SIZE"},
    {DCM_DisplayedAreaSelectionSequence, DCM_PresentationPixelSpacing, "0.25\\0.3125\\"},
    {DCM_SoftcopyVOILUTSequence, DCM_WindowCenter, "-60.5\\"},
    {DCM_SoftcopyVOILUTSequence, DCM_WindowWidth, "350\\"},
    {DcmTagKey(), DCM_PresentationLUTShape, "INVERSE"},
    {DcmTagKey(), DCM_StudyDescription, "CT HEAD EDITED"},
    {DcmTagKey(), DCM_InstanceCreationTime, "235959"},
};

// Where the comparison of data sets finds the element.
std::string pathOf(const Edited& edited) {
    const std::string holder =
        edited.sequence == DcmTagKey() ? "" : edited.sequence.toString().c_str() + std::string("[0]");
    return holder + edited.tag.toString().c_str();
}

class DcmpsmkState : public ::testing::TestWithParam<TransferSyntax> {};

TEST_P(DcmpsmkState, EditedInSeveralModulesPassesDcmpschkAndKeepsEveryOtherElement) {
    const TransferSyntax syntax = GetParam();
    const std::string source = builtFile("dcmpsmk", syntax);
    expectDcmpschkPasses(source);
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(source);
    ASSERT_EQ(read->GetEndian(), syntax == TransferSyntax::ExplicitBig ? BigEndian : LittleEndian);
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
        GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
    PresentationInformationEntity& presentation = *state->getPresentationInformationEntity();
    presentation.getPresentationStateIdentificationModule()->setContentLabelElement("EDITED_LABEL");
    presentation.getPresentationStateIdentificationModule()->setContentDescriptionElement("Soft tissue, zoomed");
    DisplayedAreaSelectionSequence& areas =
        presentation.getDisplayedAreaModule()->getDisplayedAreaSelectionSequenceElement();
    ASSERT_EQ(areas.length(), 1u);
    areas.at(0)->setPresentationSizeModeElement("TRUE SIZE");
    areas.at(0)->setPresentationPixelSpacingElement(new double[2]{0.25, 0.3125}, 2);
    SoftcopyVOILUTSequence& windows = presentation.getSoftcopyVOILUTModule()->getSoftcopyVOILUTSequenceElement();
    ASSERT_EQ(windows.length(), 1u);
    ASSERT_EQ(windows.at(0)->getWindowCenterElementLength(), 1u);
    windows.at(0)->setWindowCenterElement(-60.5, 0);
    windows.at(0)->setWindowWidthElement(350.0, 0);
    presentation.getSoftcopyPresentationLUTModule()->setPresentationLUTShapeElement("INVERSE");
    state->getStudyInformationEntity()->getGeneralStudyModule()->setStudyDescriptionElement("CT HEAD EDITED");
    presentation.getSOPCommonModule()->setInstanceCreationTimeElement("235959");
    state->save(*read);
    ScratchDirectory scratch;
    const std::string written = scratch.File("edited.dcm");
    writeDicomFile(written, *read, syntax);

    expectDcmpschkPasses(written);
    const auto original = loadWithDcmtk(source);
    const auto edited = loadWithDcmtk(written);
    EXPECT_EQ(DcmXfer(edited->getDataset()->getOriginalXfer()).getXfer(), dcmtkSyntax(syntax));
    FlatElements before, after;
    testing::flatten(*original->getDataset(), "", byValue(true), before);
    testing::flatten(*edited->getDataset(), "", byValue(true), after);
    for (const Edited& element : editedElements) {
        const std::string path = pathOf(element);
        EXPECT_EQ(after[path].value, element.value) << path;
        EXPECT_NE(before[path].value, element.value) << path;
        before.erase(path);
        after.erase(path);
    }
    testing::expectSameElements(before, after, "", byValue(true));
    expectSameMeta(*original, *edited, syntax);
}

INSTANTIATE_TEST_SUITE_P(EachByteOrder, DcmpsmkState,
                         ::testing::Values(TransferSyntax::ExplicitLittle, TransferSyntax::ExplicitBig),
                         syntaxParamName);

class DcmpsmkStateWithTables : public ::testing::TestWithParam<std::tuple<TransferSyntax, TransferSyntax>> {};

// dcmpsmk's state of an image with a modality LUT, a VOI LUT, shutters and an overlay holds
// tables in OW, type 2 elements without value and the overlay's activation layer: saved into a
// fresh data set it is the same file, in any transfer syntax, and dcmpschk still passes.
TEST_P(DcmpsmkStateWithTables, SavedIntoAFreshDataSetIsTheSame) {
    const auto [from, to] = GetParam();
    const std::string source = builtFile("dcmpsmk-tables", from);
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(source);
    DICOMDataObject fresh(read->GetEndian());
    createCompositeIOD(*read)->save(fresh);
    ScratchDirectory scratch;
    const std::string written = scratch.File("fresh.dcm");
    writeDicomFile(written, fresh, to);
    // dcmpschk misses the VOI LUT of any implicit VR file, dcmpsmk's own included.
    if (to != TransferSyntax::ImplicitLittle) expectDcmpschkPasses(written);
    expectSameFile(source, written, to, to != TransferSyntax::ImplicitLittle);
}

INSTANTIATE_TEST_SUITE_P(EachByteOrderToEachTransferSyntax, DcmpsmkStateWithTables,
                         ::testing::Combine(::testing::Values(TransferSyntax::ExplicitLittle,
                                                              TransferSyntax::ExplicitBig),
                                            ::testing::ValuesIn(writtenSyntaxes)),
                         syntaxPairParamName);

// dcmpsmk -lm writes the file set of each referenced series inside its item, which no container
// models. Carried from what was read into what was saved, they stay, in an edited item too, and
// the state round-trips element for element.
TEST(PresentationFile, DcmpsmkMediaLocationsInsideItemsAreCarriedIntoTheSavedState) {
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(builtFile("dcmpsmk-media"));
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
        GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
    ReferencedSeriesSequence& series = state->getPresentationInformationEntity()
                                           ->getPresentationStateRelationshipModule()
                                           ->getReferencedSeriesSequenceElement();
    ASSERT_EQ(1u, series.length());
    series.at(0)->setSeriesInstanceUIDElement(series.at(0)->getSeriesInstanceUIDElement());
    DICOMDataObject fresh(read->GetEndian());
    state->save(fresh);
    EXPECT_EQ(std::vector<std::string>{}, carryUnmodelledAttributes(*read, fresh));
    ScratchDirectory scratch;
    writeDicomFile(scratch.File("saved.dcm"), fresh, TransferSyntax::ExplicitLittle);
    expectSameFile(builtFile("dcmpsmk-media"), scratch.File("saved.dcm"), TransferSyntax::ExplicitLittle, true);
}

// --- the three kinds of state with the hard parts ----------------------------------------------

const char* const kinds[] = {"grayscale-state", "color-state", "pseudo-color-state"};

// What the containers of a state hold, the meta header aside (it names the transfer syntax).
std::string heldValues(const DICOMDataObject& read) {
    DICOMDataObject data(read);
    for (UINT16 element : {0x0000, 0x0001, 0x0002, 0x0003, 0x0010, 0x0012, 0x0013}) data.RemoveVR(0x0002, element);
    return createCompositeIOD(data)->toString(0);
}

enum class Target { Fresh, Read };
using StateCase = std::tuple<const char*, TransferSyntax, Target, TransferSyntax>;
class StateFile : public ::testing::TestWithParam<StateCase> {};

// A state read in one transfer syntax holds what it holds in any other; saved into a fresh data
// set (of the other byte order, so that save converts every value) or into the data set read,
// and written in each transfer syntax, it is the original.
TEST_P(StateFile, SavedAndWrittenEqualsTheOriginal) {
    const auto [kind, from, target, to] = GetParam();
    const std::string source = builtFile(kind, from);
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(source);
    EXPECT_EQ(heldValues(*read), heldValues(*readDicomFile(builtFile(kind, TransferSyntax::ExplicitLittle))));
    DICOMDataObject saved = target == Target::Read
                                ? DICOMDataObject(*read)
                                : DICOMDataObject(read->GetEndian() == BigEndian ? LittleEndian : BigEndian);
    createCompositeIOD(*read)->save(saved);
    ScratchDirectory scratch;
    writeDicomFile(scratch.File("written.dcm"), saved, to);
    const auto original = loadWithDcmtk(source);
    const auto written = loadWithDcmtk(scratch.File("written.dcm"));
    DcmDataset& expected = *original->getDataset();
    // Group 6002 is no container's: kept in the data set read, absent from a fresh one.
    unsigned overlay6002 = 0;
    for (unsigned long i = expected.card(); i-- > 0;) {
        if (expected.getElement(i)->getGTag() != 0x6002) continue;
        ++overlay6002;
        if (target == Target::Fresh) delete expected.remove(i);
    }
    EXPECT_EQ(overlay6002, 9u);
    const bool explicitVRs = from != TransferSyntax::ImplicitLittle && to != TransferSyntax::ImplicitLittle;
    testing::expectSameDataSet(expected, *written->getDataset(), "", byValue(explicitVRs));
    expectSameMeta(*original, *written, to);
}

INSTANTIATE_TEST_SUITE_P(EachKindFromAndToEachTransferSyntax, StateFile,
                         ::testing::Combine(::testing::ValuesIn(kinds), ::testing::ValuesIn(writtenSyntaxes),
                                            ::testing::Values(Target::Fresh, Target::Read),
                                            ::testing::ValuesIn(writtenSyntaxes)),
                         [](const ::testing::TestParamInfo<StateCase>& info) {
                             std::string kind = std::get<0>(info.param);
                             kind.erase(kind.find("-state"));
                             kind.erase(std::remove(kind.begin(), kind.end(), '-'), kind.end());
                             return kind + "_" + syntaxName(std::get<1>(info.param)) +
                                    (std::get<2>(info.param) == Target::Fresh ? "_IntoFresh_" : "_IntoRead_") +
                                    syntaxName(std::get<3>(info.param));
                         });

class HeldNumbers : public ::testing::TestWithParam<TransferSyntax> {};

// A round trip would hide a misreading that save undoes: these are the numbers DCMTK wrote, as
// the containers hold them after reading each transfer syntax.
TEST_P(HeldNumbers, AreDCMTKs) {
    const TransferSyntax syntax = GetParam();
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(builtFile("grayscale-state", syntax));
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
        GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
    const PresentationInformationEntity& presentation = *state->getPresentationInformationEntity();

    const MaskSubtractionSequenceItem& tid =
        *presentation.getPresentationStateMaskModule()->getMaskSubtractionSequenceElement().at(0);
    EXPECT_EQ(tid.getTIDOffsetElement(), -2);
    ASSERT_EQ(tid.getMaskSubPixelShiftElementLength(), 2u);
    EXPECT_EQ(tid.getMaskSubPixelShiftElement(1), -1.25f);
    EXPECT_EQ(tid.getApplicableFrameRangeElement(1), 4);

    const DisplayShutterModule& shutter = *presentation.getDisplayShutterModule();
    EXPECT_EQ(shutter.getShutterShapeElement(),
              (RWTValOrderedVector<RWCString>{"RECTANGULAR", "CIRCULAR", "POLYGONAL"}));
    ASSERT_EQ(shutter.getVerticesOfPolygonalShutterElementLength(), 6u);
    EXPECT_EQ(shutter.getVerticesOfPolygonalShutterElement(5), 16);
    ASSERT_EQ(shutter.getShutterPresentationColorCIELabValueElementLength(), 3u);
    EXPECT_EQ(shutter.getShutterPresentationColorCIELabValueElement(0), 50000);

    const OverlayPlaneModule& overlay = *presentation.getOverlayPlaneModule();
    EXPECT_EQ(overlay.getOverlayOriginElement(0), 1);
    ASSERT_EQ(overlay.getOverlayDataElementLength(), 16u);
    EXPECT_EQ(overlay.getOverlayDataElement(0), 0x8001 + 0x6000);
    EXPECT_DOUBLE_EQ(overlay.getROIStandardDeviationElement(), -0.5);

    const GraphicObjectSequenceItem& polyline = *presentation.getGraphicAnnotationModule()
                                                     ->getGraphicAnnotationSequenceElement()
                                                     .at(1)
                                                     ->getGraphicObjectSequenceElement()
                                                     .at(0);
    ASSERT_EQ(polyline.getGraphicDataElementLength(), 8u);
    EXPECT_EQ(polyline.getGraphicDataElement(7), 30.0f);
    EXPECT_EQ(polyline.getGraphicDataElement(6), 31.75f);

    const SoftcopyVOILUTSequenceItem& window =
        *presentation.getSoftcopyVOILUTModule()->getSoftcopyVOILUTSequenceElement().at(0);
    EXPECT_DOUBLE_EQ(window.getWindowCenterElement(1), -50.5);
    const VOILUTSequence& tables =
        presentation.getSoftcopyVOILUTModule()->getSoftcopyVOILUTSequenceElement().at(1)->getVOILUTSequenceElement();
    ASSERT_EQ(tables.length(), 2u);
    EXPECT_EQ(tables.at(1)->getLUTDataElement(1), 0x0A0B);
    EXPECT_EQ(INT16(tables.at(1)->getLUTDescriptorElement(1)), -2);
    if (syntax != TransferSyntax::ImplicitLittle) {
        EXPECT_EQ(tables.at(0)->getLUTDataElementActualDataTypeCode(), "US");
        EXPECT_EQ(tables.at(1)->getLUTDataElementActualDataTypeCode(), "OW");
        EXPECT_EQ(tables.at(1)->getLUTDescriptorElementActualDataTypeCode(), "SS");
    }

    const SharpenModule& sharpen = *presentation.getSharpenModule();
    EXPECT_EQ(sharpen.getZORVIKSharpenKernelRowsElement(), 3);
    ASSERT_EQ(sharpen.getZORVIKSharpenKernelDataElementLength(), 9u);
    EXPECT_EQ(sharpen.getZORVIKSharpenKernelDataElement(4), 1.5f);
    EXPECT_EQ(presentation.getZORVIKViewerStateModule()->getZORVIKSpineLabelSetElement(), "C1\\C2\\C3\\T1");

    std::unique_ptr<PseudoColorSoftcopyPresentationStateCompositeIOD> pseudoColor(
        PseudoColorSoftcopyPresentationStateCompositeIOD::create(
            *readDicomFile(builtFile("pseudo-color-state", syntax))));
    const PseudoColorPresentationInformationEntity& pseudo =
        *pseudoColor->getPseudoColorPresentationInformationEntity();
    const PaletteColorLookupTableModule& palette = *pseudo.getPaletteColorLookupTableModule();
    EXPECT_EQ(INT16(palette.getBluePaletteColorLookupTableDescriptorElement(1)), -4);
    ASSERT_EQ(palette.getGreenPaletteColorLookupTableDataElementLength(), 16u);
    EXPECT_EQ(palette.getGreenPaletteColorLookupTableDataElement(7), 0xC1E7);
    EXPECT_EQ(palette.getSegmentedBluePaletteColorLookupTableDataElement(2), 32768);
    ASSERT_EQ(pseudo.getICCProfileModule()->getICCProfileElementLength(), 16u);
    EXPECT_EQ(pseudo.getICCProfileModule()->getICCProfileElement(15), 0x30);

    std::unique_ptr<ColorSoftcopyPresentationStateCompositeIOD> color(
        ColorSoftcopyPresentationStateCompositeIOD::create(*readDicomFile(builtFile("color-state", syntax))));
    const BitmapDisplayShutterModule& bitmap =
        *color->getColorPresentationInformationEntity()->getBitmapDisplayShutterModule();
    EXPECT_EQ(bitmap.getShutterShapeElement(), RWTValOrderedVector<RWCString>{"BITMAP"});
    EXPECT_EQ(bitmap.getShutterOverlayGroupElement(), 0x6000);
    EXPECT_EQ(bitmap.getShutterPresentationColorCIELabValueElement(1), 32768);
}

INSTANTIATE_TEST_SUITE_P(EachTransferSyntax, HeldNumbers, ::testing::ValuesIn(writtenSyntaxes), syntaxParamName);

class ViewerBlocks : public ::testing::TestWithParam<TransferSyntax> {};

// A file that two viewers edited (two-viewer-blocks.dump): another creator holds block 0x10 of
// group 0023, ZORVIK0 block 0x11. The viewer's values come from block 0x11; saving into the data
// set read writes them back there and leaves the other block alone; a fresh data set gets them in
// block 0x10 (two-viewer-blocks-saved-fresh.dump).
TEST_P(ViewerBlocks, BehindAnotherCreatorsBlockAreReadAndWrittenBackInPlace) {
    const TransferSyntax syntax = GetParam();
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(builtFile("two-viewer-blocks", syntax));
    const std::unique_ptr<CompositeIOD> state = createCompositeIOD(*read);
    DICOMDataObject fresh;
    state->save(fresh);
    state->save(*read);
    ScratchDirectory scratch;
    const std::string written = scratch.File("written.dcm");
    for (const auto& [saved, expected] :
         {std::pair(read.get(), "two-viewer-blocks"), std::pair(&fresh, "two-viewer-blocks-saved-fresh")}) {
        SCOPED_TRACE(expected);
        writeDicomFile(written, *saved, syntax);
        // In implicit VR files DCMTK knows no VR for the other creator's elements.
        expectSameFile(builtFile(expected, syntax), written, syntax, syntax != TransferSyntax::ImplicitLittle);
    }
}

INSTANTIATE_TEST_SUITE_P(EachTransferSyntax, ViewerBlocks, ::testing::ValuesIn(writtenSyntaxes), syntaxParamName);

// The shipped sample holds only attributes of the grayscale state's modules and the viewer's
// private block: saved into a fresh data set, it is the original.
TEST(PresentationSample, SavedIntoAFreshDataSetEqualsTheOriginal) {
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(samplePath());
    DICOMDataObject fresh;
    createCompositeIOD(*read)->save(fresh);
    ScratchDirectory scratch;
    writeDicomFile(scratch.File("sample.dcm"), fresh, TransferSyntax::ExplicitLittle);
    expectSameFile(samplePath(), scratch.File("sample.dcm"), TransferSyntax::ExplicitLittle, true);
}

}  // namespace
}  // namespace refcntr
