// The example programs and the README's tour, run as separate processes: what they print, and
// what the files they write hold as DCMTK reads them.
#include <filesystem>
#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "support/DirectoryFiles.h"
#include "support/TestFiles.h"

namespace {

using refcntr::testfiles::contains;
using refcntr::testfiles::Outcome;
using refcntr::testfiles::quoted;
using refcntr::testfiles::runProgram;
using refcntr::testfiles::ScratchDirectory;

std::string Example(const std::string& name) { return std::string(REFCNTR_BINARY_DIR) + "/examples/" + name; }

std::string Sample() { return refcntr::testfiles::samplePath(); }

// The value of an element as DCMTK reads it, found by a path of (sequence, item) steps.
std::string valueAt(DcmItem& top, std::initializer_list<std::pair<DcmTagKey, int>> steps, const DcmTagKey& tag) {
    DcmItem* item = &top;
    for (const auto& [sequence, index] : steps) {
        DcmItem* next = nullptr;
        if (item->findAndGetSequenceItem(sequence, next, index).bad()) return "<no item>";
        item = next;
    }
    OFString value;
    if (item->findAndGetOFStringArray(tag, value).bad()) return "<absent>";
    return value.c_str();
}

class Examples : public ::testing::Test {
protected:
    static void SetUpTestSuite() { OFLog::configure(OFLogger::ERROR_LOG_LEVEL); }

    Outcome Run(const std::string& example, const std::string& arguments) {
        return runProgram(Example(example), arguments, scratch);
    }

    // dcmpschk exits 0 whatever it finds: its verdict is in its output.
    void ExpectDcmpschkAccepts(const std::string& path) {
        const Outcome checked = runProgram(std::string(REFCNTR_DCMTK_BIN_DIR) + "/dcmpschk", quoted(path), scratch);
        EXPECT_TRUE(contains(checked.out + checked.err, "Test passed.")) << path << checked.out << checked.err;
        EXPECT_FALSE(contains(checked.out + checked.err, "Test failed")) << path << checked.out << checked.err;
    }

    ScratchDirectory scratch;
};

TEST_F(Examples, LoadEditSaveTellsEachListenerWhatConcernsItsImagesAndWritesTheEdits) {
    const std::string out = scratch.File("edited.dcm");
    const Outcome result = Run("load_edit_save", quoted(Sample()) + " " + quoted(out));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    // {area} and {text} stand for the paths of a displayed area item and of a text object item.
    std::string expected = R"(Loaded {sample}
The viewer shows frame 1 of image 2.25.182736450918273645091827364509182736451

Edit 1: the displayed area of the shown frame now ends at column 400, row 420
  every image heard elementUpdated {area}DisplayedAreaBRHCElement
  shown image heard elementUpdated {area}DisplayedAreaBRHCElement
  shown frame heard elementUpdated {area}DisplayedAreaBRHCElement
Edit 2: graphic annotation 0 gets the text "Reviewed"
  every image heard elementUpdated {text}UnformattedTextValueElement
  shown image heard nothing
  shown frame heard nothing
Edit 3: a displayed area for the whole shown image is scaled to fit
  every image heard elementUpdated {area}PresentationSizeModeElement
  shown image heard elementUpdated {area}PresentationSizeModeElement
  shown frame heard nothing
Edit 4: the displayed area of every other image is shown at true size
  every image heard elementUpdated {area}PresentationSizeModeElement
  every image heard elementUpdated {area}PresentationPixelSpacingElement
  shown image heard nothing
  shown frame heard nothing

Wrote {out}
)";
    const std::string state = "GrayscaleSoftcopyPresentationStateCompositeIOD.PresentationInformationEntity.";
    for (const auto& [name, value] :
         {std::pair<std::string, std::string>{"{sample}", Sample()},
          {"{out}", out},
          {"{area}",
           state + "DisplayedAreaModule.DisplayedAreaSelectionSequenceElement.DisplayedAreaSelectionSequenceItem."},
          {"{text}", state + "GraphicAnnotationModule.GraphicAnnotationSequenceElement.GraphicAnnotationSequenceItem."
                             "GraphicAnnotationSequenceElement.TextObjectSequenceElement.TextObjectSequenceItem."}})
        for (std::size_t at = expected.find(name); at != std::string::npos; at = expected.find(name, at + value.size()))
            expected.replace(at, name.size(), value);
    EXPECT_EQ(result.out, expected);

    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    DcmDataset& data = *file.getDataset();
    EXPECT_EQ(valueAt(data, {{DCM_DisplayedAreaSelectionSequence, 0}}, DCM_DisplayedAreaBottomRightHandCorner),
              "400\\420");
    EXPECT_EQ(valueAt(data, {{DCM_DisplayedAreaSelectionSequence, 1}}, DCM_PresentationSizeMode), "TRUE SIZE");
    EXPECT_EQ(valueAt(data, {{DCM_DisplayedAreaSelectionSequence, 2}}, DCM_PresentationSizeMode), "SCALE TO FIT");
    EXPECT_EQ(
        valueAt(data, {{DCM_GraphicAnnotationSequence, 0}, {DCM_TextObjectSequence, 0}}, DCM_UnformattedTextValue),
        "Reviewed");
    // What was not edited is as it was, the viewer's private block included.
    EXPECT_EQ(valueAt(data, {{DCM_DisplayedAreaSelectionSequence, 0}}, DCM_DisplayedAreaTopLeftHandCorner), "97\\65");
    EXPECT_EQ(valueAt(data, {}, DcmTagKey(0x0023, 0x1046)), "UNSHARP_MASK");
    ExpectDcmpschkAccepts(Sample());
    ExpectDcmpschkAccepts(out);
}

TEST_F(Examples, LoadEditSaveDefaultsToTheSampleAndFailsOnAMissingFile) {
    EXPECT_EQ(refcntr::testfiles::runCommand("cd " + quoted(scratch.Path().string()) + " && " +
                                             quoted(Example("load_edit_save")) + " >/dev/null"),
              0);
    EXPECT_TRUE(std::filesystem::exists(scratch.File("edited-presentation-state.dcm")));

    const Outcome missing = Run("load_edit_save", quoted(scratch.File("missing.dcm")));
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(contains(missing.err, "missing.dcm") && contains(missing.err, "no such file")) << missing.err;
}

TEST_F(Examples, BuildFromNothingWritesAPresentationStateThatDcmpschkAccepts) {
    const std::string out = scratch.File("new.dcm");
    const Outcome result = Run("build_from_nothing", quoted(out));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(contains(result.out, "itsUnformattedTextValueElement = \"Nodule 8 mm, right upper lobe\""))
        << result.out;
    EXPECT_TRUE(contains(result.out, "\nWrote " + out + "\n")) << result.out;

    ExpectDcmpschkAccepts(out);

    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    OFString mediaClass;
    ASSERT_TRUE(file.getMetaInfo()->findAndGetOFString(DCM_MediaStorageSOPClassUID, mediaClass).good());
    EXPECT_EQ(mediaClass, UID_GrayscaleSoftcopyPresentationStateStorage);
    DcmDataset& data = *file.getDataset();
    const std::string image = "2.25.313797845411052139811213574113305297021";
    EXPECT_EQ(valueAt(data, {{DCM_ReferencedSeriesSequence, 0}, {DCM_ReferencedImageSequence, 0}},
                      DCM_ReferencedSOPInstanceUID),
              image);
    EXPECT_EQ(valueAt(data, {{DCM_GraphicAnnotationSequence, 0}, {DCM_ReferencedImageSequence, 0}},
                      DCM_ReferencedSOPInstanceUID),
              image);
    EXPECT_EQ(valueAt(data, {{DCM_GraphicLayerSequence, 0}}, DCM_GraphicLayer), "FINDINGS");
    EXPECT_EQ(valueAt(data, {}, DCM_PatientName), "Lindqvist^Maja");
}

TEST_F(Examples, WalkDirectoryFollowsTheRecordOffsetsOfADcmmkdirDirectory) {
    refcntr::testfiles::makeTwoPatientDirectory(scratch.Path());
    const Outcome result = Run("walk_directory", quoted(scratch.File("DICOMDIR")));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out,
              "Patient Doe^Jane (P1)\n"
              "  Study S1 of 20240102: CT CHEST\n"
              "    Series 1 (CT)\n"
              "      Image 1 in IMAGES/IM1\n"
              "      Image 2 in IMAGES/IM2\n"
              "Patient Roe^Richard (P2)\n"
              "  Study S7 of 20231130\n"
              "    Series 3 (MR)\n"
              "      Image 1 in IMAGES/IM3\n"
              "    Series 4 (OT)\n"
              "      Image 1 in IMAGES/IM4\n");

    const Outcome state = Run("walk_directory", quoted(Sample()));
    EXPECT_EQ(state.exitCode, 1);
    EXPECT_TRUE(contains(state.err, Sample())) << state.err;
}

TEST_F(Examples, EditDirectoryAddsASeriesRenamesAPatientAndRemovesAStudy) {
    refcntr::testfiles::makeTwoPatientDirectory(scratch.Path());
    const std::string out = scratch.File("EDITED");
    const Outcome result = Run("edit_directory", quoted(scratch.File("DICOMDIR")) + " " + quoted(out));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out,
              "Added series 99 with one image under study S1 of Doe^Jane\n"
              "Renamed patient Doe^Jane to Doe^Janet\n"
              "Removed study S7 of Roe^Richard\n"
              "Wrote " +
                  out + "\n");

    EXPECT_EQ(refcntr::testfiles::dcmtkHierarchy(out),
              "PATIENT Doe^Janet\n"
              "  STUDY S1\n"
              "    SERIES 1\n"
              "      IMAGE IMAGES\\IM1\n"
              "      IMAGE IMAGES\\IM2\n"
              "    SERIES 99\n"
              "      IMAGE IMAGES\\IM99\n"
              "PATIENT Roe^Richard\n");

    const Outcome missing = Run("edit_directory", quoted(scratch.File("missing")) + " " + quoted(out));
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(contains(missing.err, scratch.File("missing"))) << missing.err;
}

TEST_F(Examples, ReadmeTourReadsListensSavesAndDumps) {
    const std::string out = scratch.File("tour.dcm");
    const Outcome result = Run("readme_tour", quoted(Sample()) + " " + quoted(out));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.substr(0, result.out.find("itsInstanceNumberElement")),
              "label CHEST_REVIEW\n"
              "redraw after GrayscaleSoftcopyPresentationStateCompositeIOD.PresentationInformationEntity."
              "PresentationStateIdentificationModule.ContentLabelElement\n");
    EXPECT_TRUE(contains(result.out, "\nitsContentLabelElement = \"REVIEWED\"\n")) << result.out;
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    EXPECT_EQ(valueAt(*file.getDataset(), {}, DCM_ContentLabel), "REVIEWED");
}

}  // namespace
