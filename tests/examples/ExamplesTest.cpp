// The example programs and the README's tour, run as separate processes: what they print, and
// what the files they write hold as DCMTK reads them.
#include <filesystem>
#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "support/DirectoryFiles.h"
#include "support/Golden.h"
#include "support/TestFiles.h"

namespace {

using refcntr::testfiles::contains;
using refcntr::testfiles::expectGoldenCopy;
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

    // Output compared with its golden copy, the paths of the sample and of the scratch directory
    // written as <sample> and <scratch>.
    void ExpectGoldenOutput(const std::string& name, std::string text) {
        for (const auto& [path, placeholder] :
             {std::pair<std::string, std::string>{Sample(), "<sample>"}, {scratch.Path().string(), "<scratch>"}})
            for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path, at))
                text.replace(at, path.size(), placeholder);
        expectGoldenCopy("example-" + name + ".txt", text);
    }

    ScratchDirectory scratch;
};

TEST_F(Examples, LoadEditSaveTellsEachListenerWhatConcernsItsImagesAndWritesTheEdits) {
    const std::string out = scratch.File("edited.dcm");
    const Outcome result = Run("load_edit_save", quoted(Sample()) + " " + quoted(out));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ExpectGoldenOutput("load-edit-save", result.out);

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
    ExpectGoldenOutput("build-from-nothing", result.out);

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
    ExpectGoldenOutput("walk-directory", result.out);

    const Outcome state = Run("walk_directory", quoted(Sample()));
    EXPECT_EQ(state.exitCode, 1);
    EXPECT_TRUE(contains(state.err, Sample())) << state.err;
}

TEST_F(Examples, EditDirectoryAddsASeriesRenamesAPatientAndRemovesAStudy) {
    refcntr::testfiles::makeTwoPatientDirectory(scratch.Path());
    const std::string out = scratch.File("EDITED");
    const Outcome result = Run("edit_directory", quoted(scratch.File("DICOMDIR")) + " " + quoted(out));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ExpectGoldenOutput("edit-directory", result.out + "\n" + refcntr::testfiles::dcmtkHierarchy(out));

    const Outcome missing = Run("edit_directory", quoted(scratch.File("missing")) + " " + quoted(out));
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(contains(missing.err, scratch.File("missing"))) << missing.err;
}

TEST_F(Examples, ReadmeTourReadsListensSavesAndDumps) {
    const std::string out = scratch.File("tour.dcm");
    const Outcome result = Run("readme_tour", quoted(Sample()) + " " + quoted(out));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ExpectGoldenOutput("readme-tour", result.out);
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    EXPECT_EQ(valueAt(*file.getDataset(), {}, DCM_ContentLabel), "REVIEWED");
}

}  // namespace
