// The refcntr commands run as a separate process on the shipped presentation state, on
// variants of it made with DCMTK, and on a DICOMDIR that dcmmkdir made from DCMTK-built images.
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "refcntr/Version.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "platform/TestFiles.h"
#include "support/DirectoryFiles.h"
#include "support/RunProgram.h"
#include "support/SameDataSet.h"
#include "refcntr/platform/DcmtkBridge.h"

namespace {

using refcntr::testfiles::contains;
using refcntr::testfiles::dcmtkHierarchy;
using refcntr::testfiles::Outcome;
using refcntr::testfiles::quoted;
using refcntr::testfiles::readWholeFile;
using refcntr::testfiles::runCommand;
using refcntr::testfiles::ScratchDirectory;
using refcntr::testfiles::writeWholeFile;
using refcntr::testing::expectSameDataSet;

const char* const frames = "2.25.182736450918273645091827364509182736451";  // referenced with frames 1 to 3
const char* const single = "2.25.182736450918273645091827364509182736452";  // referenced without frames

class RefcntrTool : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        refcntr::registerPrivateEntriesWithDcmtk();  // private values read back typed in implicit VR
        files = new ScratchDirectory;
        refcntr::testfiles::makeDirectory(
            files->Path(),
            {{"IM1", {"P1", "Doe^Jane", "2.25.101", "S1", "20240102", "", "2.25.1011", "OT", "1", "2.25.91", "1"}}});

        // An element that no graphic object item holds, inside the annotation's graphic
        // object, and a private element at the top that no module holds.
        DcmFileFormat state;
        ASSERT_TRUE(state.loadFile(Sample().c_str()).good());
        DcmItem* graphic = nullptr;
        ASSERT_TRUE(state.getDataset()->findAndGetSequenceItem(DCM_GraphicAnnotationSequence, graphic, 0).good());
        DcmItem* object = nullptr;
        ASSERT_TRUE(graphic->findAndGetSequenceItem(DCM_GraphicObjectSequence, object, 0).good());
        ASSERT_TRUE(object->putAndInsertUint32(DCM_GraphicGroupID, 7).good());
        ASSERT_TRUE(state.getDataset()->putAndInsertString(DcmTag(0x0029, 0x0010, EVR_LO), "ACME 1").good());
        ASSERT_TRUE(state.getDataset()->putAndInsertString(DcmTag(0x0029, 0x1001, EVR_LO), "kept").good());
        ASSERT_TRUE(state.saveFile(files->File("extra.dcm").c_str(), EXS_LittleEndianExplicit).good());
        // And an annotation item that holds only a private element: no container saves it.
        DcmItem* privateOnly = nullptr;
        ASSERT_TRUE(
            state.getDataset()->findOrCreateSequenceItem(DCM_GraphicAnnotationSequence, privateOnly, -2).good());
        ASSERT_TRUE(privateOnly->putAndInsertString(DcmTag(0x0029, 0x0010, EVR_LO), "ACME 1").good());
        ASSERT_TRUE(privateOnly->putAndInsertString(DcmTag(0x0029, 0x1001, EVR_LO), "lost").good());
        ASSERT_TRUE(state.saveFile(files->File("lost.dcm").c_str(), EXS_LittleEndianExplicit).good());

        // The sample in the other two transfer syntaxes; the color state with a meta header,
        // the pseudo-color state as a bare data set whose class is only in (0008,0016).
        ASSERT_TRUE(state.loadFile(Sample().c_str()).good());
        ASSERT_TRUE(state.saveFile(files->File("big.dcm").c_str(), EXS_BigEndianExplicit).good());
        ASSERT_TRUE(state.saveFile(files->File("implicit.dcm").c_str(), EXS_LittleEndianImplicit).good());
        ASSERT_TRUE(state.getMetaInfo()
                        ->putAndInsertString(DCM_MediaStorageSOPClassUID, UID_ColorSoftcopyPresentationStateStorage)
                        .good());
        ASSERT_TRUE(
            state.getDataset()->putAndInsertString(DCM_SOPClassUID, UID_ColorSoftcopyPresentationStateStorage).good());
        ASSERT_TRUE(state.saveFile(files->File("color.dcm").c_str(), EXS_LittleEndianExplicit).good());
        ASSERT_TRUE(state.getDataset()
                        ->putAndInsertString(DCM_SOPClassUID, UID_PseudoColorSoftcopyPresentationStateStorage)
                        .good());
        ASSERT_TRUE(state.getDataset()->saveFile(files->File("pseudo.dcm").c_str(), EXS_LittleEndianExplicit).good());

        // The sample with the viewer's private block reserved at (0023,0011) instead of (0023,0010).
        ASSERT_TRUE(state.loadFile(Sample().c_str()).good());
        DcmDataset& moved = *state.getDataset();
        for (Uint16 element = 0x1000; element <= 0x10FF; ++element) {
            DcmElement* original = nullptr;
            if (moved.findAndGetElement(DcmTagKey(0x0023, element), original).bad()) continue;
            OFString value;
            ASSERT_TRUE(original->getOFStringArray(value).good());
            const DcmTag tag(0x0023, Uint16(element + 0x100), original->ident());
            ASSERT_TRUE(moved.findAndDeleteElement(DcmTagKey(0x0023, element)).good());
            ASSERT_TRUE(moved.putAndInsertString(tag, value.c_str()).good()) << tag.toString();
        }
        ASSERT_TRUE(moved.findAndDeleteElement(DcmTagKey(0x0023, 0x0010)).good());
        ASSERT_TRUE(moved.putAndInsertString(DcmTag(0x0023, 0x0011, EVR_LO), "ZORVIK0").good());
        ASSERT_TRUE(state.saveFile(files->File("moved.dcm").c_str(), EXS_LittleEndianExplicit).good());

        // The sample in Latin-1, with a patient name outside ASCII.
        ASSERT_TRUE(state.loadFile(Sample().c_str()).good());
        ASSERT_TRUE(state.getDataset()->putAndInsertString(DCM_SpecificCharacterSet, "ISO_IR 100").good());
        ASSERT_TRUE(state.getDataset()->putAndInsertString(DCM_PatientName, "Buc^J\xe9r\xf4me").good());
        ASSERT_TRUE(state.saveFile(files->File("latin1.dcm").c_str(), EXS_LittleEndianExplicit).good());

        writeWholeFile(files->File("notes.txt"), "not a DICOM file at all\n");
    }
    static void TearDownTestSuite() { delete files; }

    Outcome Run(const std::string& arguments) { return refcntr::testfiles::runRefcntr(arguments, scratch); }

    static std::string Sample() { return refcntr::testfiles::samplePath(); }
    static std::string File(const std::string& name) { return files->File(name); }
    std::string Output(const std::string& name) const { return scratch.File(name); }

    // The names in the output directory: what a command left behind.
    std::vector<std::string> OutputNames() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(scratch.Path()))
            if (entry.path().filename() != "stdout" && entry.path().filename() != "stderr")
                names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    static ScratchDirectory* files;
    ScratchDirectory scratch;
};
ScratchDirectory* RefcntrTool::files = nullptr;

// The text without the lines that name the DCMTK release that wrote the sample's meta header.
std::string withoutImplementation(const std::string& text) {
    std::string kept;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        const std::string line = text.substr(start, end - start);
        if (!contains(line, "Implementation") && !contains(line, "FileMetaInformationGroupLength")) kept += line;
        start = end;
    }
    return kept;
}

// The sample's dumps, through its containers and element by element, are the golden copies in
// tests/data/golden (after a deliberate change, write them anew with the same commands).
TEST_F(RefcntrTool, DumpsOfTheSampleAreTheGoldenCopies) {
    const std::pair<const char*, const char*> cases[] = {{"dump ", "sample-dump.txt"},
                                                         {"dump --raw ", "sample-dump-raw.txt"}};
    for (const auto& [command, golden] : cases) {
        const Outcome result = Run(command + quoted(Sample()));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(withoutImplementation(result.out),
                  withoutImplementation(readWholeFile(std::string(REFCNTR_TEST_DATA_DIR) + "/golden/" + golden)))
            << command;
    }
}

TEST_F(RefcntrTool, DumpShowsDirectoriesAndPresentationStatesThroughTheirContainers) {
    const struct {
        std::string arguments;
        bool containers;  // else element by element
        std::vector<std::string> shown;
    } cases[] = {
        {"dump " + quoted(File("DICOMDIR")),
         true,
         {"itsFileSetIDElement = \"REFCNTR_TEST\"", "itsDirectoryRecordTypeElement = \"IMAGE\"", "\"2.25.91\""}},
        {"dump " + quoted(File("color.dcm")), true, {"itsColorPresentationInformationEntity ="}},
        {"dump " + quoted(File("pseudo.dcm")), true, {"itsPseudoColorPresentationInformationEntity ="}},
        {"dump " + quoted(File("IMAGES/IM1")),
         false,
         {"(0008,0016) UI \"1.2.840.10008.5.1.4.1.1.7\"  # SOPClassUID\n"}},
    };
    for (const auto& each : cases) {
        const Outcome result = Run(each.arguments);
        ASSERT_EQ(result.exitCode, 0) << each.arguments << "\n" << result.err;
        EXPECT_EQ(result.err, "");
        for (const std::string& part : each.shown)
            EXPECT_TRUE(contains(result.out, part)) << each.arguments << ": " << part;
        EXPECT_EQ(result.out.compare(0, 3, "its") == 0, each.containers) << each.arguments;
    }
}

TEST_F(RefcntrTool, RoundtripInEachTransferSyntaxLosesNothingAndReadsBackWithDCMTK) {
    const struct {
        const char* option;
        E_TransferSyntax syntax;
    } syntaxes[] = {{"explicit-le", EXS_LittleEndianExplicit},
                    {"explicit-be", EXS_BigEndianExplicit},
                    {"implicit-le", EXS_LittleEndianImplicit}};
    for (const std::string& input : {Sample(), File("DICOMDIR")}) {
        DcmFileFormat original;
        ASSERT_TRUE(original.loadFile(input.c_str()).good());
        for (const auto& each : syntaxes) {
            const std::string where = input + " " + each.option;
            const std::string out = Output(std::string(each.option) + ".dcm");
            const Outcome result =
                Run("roundtrip " + quoted(input) + " " + quoted(out) + " --transfer-syntax " + each.option);
            ASSERT_EQ(result.exitCode, 0) << where << "\n" << result.err;
            const bool directory = input == File("DICOMDIR");
            EXPECT_EQ(result.out,
                      (directory ? "record offsets recomputed for " + std::string(each.option) + "\n" : "") +
                          "0 attributes missing, 0 changed\n")
                << where;
            EXPECT_EQ(result.err, "") << where;
            DcmFileFormat written;
            ASSERT_TRUE(written.loadFile(out.c_str()).good()) << where;
            EXPECT_EQ(written.getDataset()->getOriginalXfer(), each.syntax) << where;
            // The meta header's length follows from the transfer syntax UID, a directory's offsets
            // from the encoding (they are checked through the hierarchy they give).
            refcntr::testing::Comparison how(each.syntax != EXS_LittleEndianImplicit);
            how.anyValue = {DCM_TransferSyntaxUID,
                            DCM_FileMetaInformationGroupLength,
                            DCM_OffsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity,
                            DCM_OffsetOfTheLastDirectoryRecordOfTheRootDirectoryEntity,
                            DCM_OffsetOfTheNextDirectoryRecord,
                            DCM_OffsetOfReferencedLowerLevelDirectoryEntity};
            expectSameDataSet(*original.getDataset(), *written.getDataset(), where + " ", how);
            expectSameDataSet(*original.getMetaInfo(), *written.getMetaInfo(), where + " meta ", how);
            // The offsets are those of the file as written: DCMTK finds the same hierarchy in it.
            if (directory) {
                EXPECT_EQ(dcmtkHierarchy(out), dcmtkHierarchy(input)) << where;
            }
        }
    }
}

TEST_F(RefcntrTool, RoundtripKeepsTheInputsTransferSyntaxUnlessToldAndReplacesAnExistingOutput) {
    const std::pair<std::string, E_TransferSyntax> inputs[] = {{Sample(), EXS_LittleEndianExplicit},
                                                               {File("big.dcm"), EXS_BigEndianExplicit},
                                                               {File("implicit.dcm"), EXS_LittleEndianImplicit}};
    const std::string out = Output("out.dcm");
    writeWholeFile(out, "an older file");
    for (const auto& [input, syntax] : inputs) {
        const Outcome result = Run("roundtrip " + quoted(input) + " " + quoted(out));
        ASSERT_EQ(result.exitCode, 0) << input << "\n" << result.err;
        DcmFileFormat written;
        ASSERT_TRUE(written.loadFile(out.c_str()).good()) << input;
        EXPECT_EQ(written.getDataset()->getOriginalXfer(), syntax) << input;
    }
    EXPECT_EQ(OutputNames(), std::vector<std::string>{"out.dcm"});
}

// What no container holds is carried across, inside items too; what has no item to go to any
// more is listed, and --strict then writes nothing.
TEST_F(RefcntrTool, RoundtripCarriesWhatNoItemHoldsListsWhatItCannotPlaceAndStrictWritesNothing) {
    const std::string out = Output("out.dcm");
    const Outcome written = Run("roundtrip " + quoted(File("extra.dcm")) + " " + quoted(out));
    ASSERT_EQ(written.exitCode, 0) << written.err;
    EXPECT_EQ(written.out, "0 attributes missing, 0 changed\n");
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    OFString kept;
    EXPECT_TRUE(
        file.getDataset()->findAndGetOFString(DcmTagKey(0x0029, 0x1001), kept).good());  // no module holds it either
    EXPECT_EQ(kept, "kept");
    DcmItem* annotation = nullptr;
    DcmItem* object = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetSequenceItem(DCM_GraphicAnnotationSequence, annotation, 0).good());
    ASSERT_TRUE(annotation->findAndGetSequenceItem(DCM_GraphicObjectSequence, object, 0).good());
    Uint32 group = 0;
    EXPECT_TRUE(object->findAndGetUint32(DCM_GraphicGroupID, group).good() && group == 7);

    DcmFileFormat lost;
    ASSERT_TRUE(lost.loadFile(File("lost.dcm").c_str()).good());
    DcmSequenceOfItems* annotations = nullptr;
    ASSERT_TRUE(lost.getDataset()->findAndGetSequence(DCM_GraphicAnnotationSequence, annotations).good());
    const std::string listing =
        "(0070,0001)[" + std::to_string(annotations->card() - 1) + "] missing\n1 attribute missing, 0 changed\n";
    const std::string refused = Output("refused.dcm");
    const Outcome strict = Run("roundtrip --strict " + quoted(File("lost.dcm")) + " " + quoted(refused));
    EXPECT_EQ(strict.exitCode, 1);
    EXPECT_EQ(strict.out, listing);
    EXPECT_TRUE(contains(strict.err, refused) && contains(strict.err, File("lost.dcm"))) << strict.err;
    EXPECT_FALSE(std::filesystem::exists(refused));

    // An existing output stays as it was, and no temporary file is left beside it.
    const std::string before = readWholeFile(out);
    EXPECT_EQ(
        Run("roundtrip " + quoted(File("lost.dcm")) + " " + quoted(out) + " --strict --transfer-syntax explicit-be")
            .exitCode,
        1);
    EXPECT_EQ(readWholeFile(out), before);
    EXPECT_EQ(OutputNames(), std::vector<std::string>{"out.dcm"});
}

TEST_F(RefcntrTool, UnreadableAndUnsupportedFilesFailNamingTheFile) {
    const std::string out = Output("out.dcm");
    const struct {
        std::string file;
        std::string reason;
        std::vector<std::string> commands;  // "roundtrip" writes to out
    } cases[] = {
        {File("missing.dcm"), "no such file", {"dump", "roundtrip", "applies", "check", "tree"}},
        {File("notes.txt"), "not a DICOM file", {"dump", "roundtrip", "applies", "check", "tree"}},
        {File("IMAGES/IM1"), "SOP class 1.2.840.10008.5.1.4.1.1.7", {"roundtrip", "applies", "check"}},
        {File("DICOMDIR"), "not a softcopy presentation state (it is a media directory)", {"applies"}},
    };
    for (const auto& each : cases) {
        for (const std::string& command : each.commands) {
            std::string arguments = command + " " + quoted(each.file);
            if (command == "roundtrip") arguments += " " + quoted(out);
            if (command == "applies") arguments += " --image 1.2.3";
            const Outcome result = Run(arguments);
            EXPECT_EQ(result.exitCode, 1) << arguments;
            EXPECT_EQ(result.out, "") << arguments;
            EXPECT_TRUE(contains(result.err, "'" + each.file + "'") && contains(result.err, each.reason))
                << arguments << ": " << result.err;
        }
    }
    EXPECT_EQ(OutputNames(), std::vector<std::string>());
}

TEST_F(RefcntrTool, BadUsageExitsWithTwoAndTheUsage) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "usage: refcntr dump FILE"},
        {"list x.dcm", "usage: refcntr dump FILE"},
        {"dump a.dcm --strict", "usage: refcntr dump FILE... [--depth N] [--module NAME] [--raw]"},
        {"roundtrip a.dcm", "usage: refcntr roundtrip IN OUT"},
        {"roundtrip a.dcm b.dcm c.dcm", "usage: refcntr roundtrip IN OUT"},
        {"roundtrip a.dcm b.dcm --transfer-syntax", "needs a value"},
        {"roundtrip a.dcm b.dcm --transfer-syntax deflated", "unknown transfer syntax 'deflated'"},
        {"applies a.dcm", "--image UID is required"},
        {"applies a.dcm --image 1.2 --frame 2x", "--frame needs a frame number"},
        {"dump a.dcm --depth 0", "--depth needs a number of levels from 1 up, not '0'"},
        {"dump a.dcm --depth two", "--depth needs a number of levels from 1 up, not 'two'"},
        {"dump a.dcm --module Display", "unknown module 'Display'"},
        {"dump a.dcm --raw --depth 2", "--raw prints elements, not containers"},
        {"tree", "usage: refcntr tree DICOMDIR"},
        {"tree --stored-bytes", "expected 1 or more files, got 0"},
        {"check a.dcm --strict", "usage: refcntr check FILE"},
    };
    for (const auto& [arguments, message] : cases) {
        const Outcome result = Run(arguments);
        EXPECT_EQ(result.exitCode, 2) << "'" << arguments << "'";
        EXPECT_TRUE(contains(result.err, message)) << arguments << ": " << result.err;
        EXPECT_EQ(result.out, "");
    }
}

// dump, check and tree take several files: each output under its name, every file tried, and
// the exit code the worst of them.
TEST_F(RefcntrTool, SeveralFilesAreEachHeadedByTheirNameAndTheWorstExitCodeIsReturned) {
    const std::string sample = Sample(), missing = Output("missing.dcm");
    const Outcome checked = Run("check " + quoted(sample) + " " + quoted(missing) + " " + quoted(sample));
    EXPECT_EQ(checked.exitCode, 1);
    const std::string held = "every attribute is held by a container of the grayscale softcopy presentation state\n";
    EXPECT_EQ(checked.out,
              "==> " + sample + " <==\n" + held + "\n==> " + missing + " <==\n\n==> " + sample + " <==\n" + held);
    EXPECT_TRUE(contains(checked.err, "cannot read '" + missing + "'")) << checked.err;
    // "-" is standard input, and messages name it so.
    const Outcome piped = Run("check - < " + quoted(sample));
    EXPECT_EQ(piped.exitCode, 0) << piped.err;
    EXPECT_EQ(piped.out, held);
    const Outcome notDicom = Run("dump - < " + quoted(File("notes.txt")));
    EXPECT_EQ(notDicom.exitCode, 1);
    EXPECT_EQ(notDicom.err, "refcntr: cannot read '-': not a DICOM file\n");
    const Outcome dumped = Run("dump --depth 1 " + quoted(sample) + " " + quoted(sample));
    EXPECT_EQ(dumped.exitCode, 0) << dumped.err;
    const std::string header = "==> " + sample + " <==\n";
    EXPECT_EQ(0u, dumped.out.find(header)) << dumped.out;
    EXPECT_NE(std::string::npos, dumped.out.find("\n\n" + header)) << dumped.out;
}

// check lists the values dcmpschk would reject, by path, keyword and reason, and fails for them.
TEST_F(RefcntrTool, CheckListsValuesThatTheirVRForbids) {
    DcmFileFormat state;
    ASSERT_TRUE(state.loadFile(Sample().c_str()).good());
    ASSERT_TRUE(state.getDataset()->putAndInsertString(DCM_StudyDate, "2024-01-02").good());
    ASSERT_TRUE(state.getDataset()->putAndInsertString(DCM_Modality, "pr").good());
    DcmItem* series = nullptr;
    ASSERT_TRUE(state.getDataset()->findAndGetSequenceItem(DCM_ReferencedSeriesSequence, series, 0).good());
    ASSERT_TRUE(series->putAndInsertString(DCM_SeriesInstanceUID, "2.25.x").good());
    const std::string path = Output("faults.dcm");
    ASSERT_TRUE(state.saveFile(path.c_str(), EXS_LittleEndianExplicit).good());
    const Outcome checked = Run("check " + quoted(path));
    EXPECT_EQ(checked.exitCode, 1);
    EXPECT_EQ(checked.out,
              "every attribute is held by a container of the grayscale softcopy presentation state\n"
              "(0008,0020)  # StudyDate: '2024-01-02' is not a valid DA value\n"
              "(0008,0060)  # Modality: 'pr' is not a valid CS value\n"
              "(0008,1115)[0]/(0020,000E)  # SeriesInstanceUID: '2.25.x' is not a valid UI value\n"
              "3 values not valid for their VR\n");
    const Outcome json = Run("check --json " + quoted(path));
    EXPECT_EQ(json.exitCode, 1);
    EXPECT_EQ(json.out,
              "{\"file\": \"" + path +
                  "\", \"iod\": \"grayscale softcopy presentation state\",\n"
                  " \"unheld\": [],\n"
                  " \"invalid\": [\n"
                  "  \"(0008,0020)  # StudyDate: '2024-01-02' is not a valid DA value\",\n"
                  "  \"(0008,0060)  # Modality: 'pr' is not a valid CS value\",\n"
                  "  \"(0008,1115)[0]/(0020,000E)  # SeriesInstanceUID: '2.25.x' is not a valid UI value\"]}\n");
}

// Work that takes over a second shows a progress line on a terminal's standard error while the
// output goes elsewhere, and clears it at the end; without a terminal there is none (every other
// test checks an empty standard error). script(1) gives the command a terminal.
TEST_F(RefcntrTool, LongWorkShowsAProgressLineOnATerminalAndClearsIt) {
    if (refcntr::testfiles::runCommand("command -v script >/dev/null") != 0) GTEST_SKIP() << "no script(1)";
    const std::string tool = std::string(REFCNTR_BINARY_DIR) + "/tools/refcntr";
    const std::string out = Output("checked.txt"), terminal = Output("terminal.txt");
    const std::string slowInput =
        "(sleep 2; cat " + quoted(Sample()) + ") | " + quoted(tool) + " check - > " + quoted(out);
    ASSERT_EQ(0,
              refcntr::testfiles::runCommand("script -qc " + quoted(slowInput) + " /dev/null > " + quoted(terminal)));
    const std::string shown = readWholeFile(terminal);
    EXPECT_TRUE(contains(shown, "\r\033[Krefcntr: '-' ... 1 s")) << shown;
    EXPECT_EQ(shown.size() - 4, shown.rfind("\r\033[K")) << shown;
    EXPECT_TRUE(contains(readWholeFile(out), "every attribute is held")) << readWholeFile(out);
}

TEST_F(RefcntrTool, HelpListsEveryCommandAndEachCommandExplainsItself) {
    const Outcome overall = Run("--help");
    EXPECT_EQ(overall.exitCode, 0);
    EXPECT_EQ(overall.err, "");
    EXPECT_TRUE(contains(overall.out, "exit codes: 0 done, 1 bad input or a failed check, 2 usage error"))
        << overall.out;
    const Outcome version = Run("--version");
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, std::string("refcntr ") + REFCNTR_VERSION + " (DCMTK " + OFFIS_DCMTK_VERSION_STRING + ")\n");
    const std::pair<std::string, std::string> commands[] = {{"dump", "--module NAME"},
                                                            {"tree", "following the offsets"},
                                                            {"check", "Exit code: 0 when every"},
                                                            {"roundtrip", "--strict"},
                                                            {"applies", "--frame N"}};
    for (const auto& [name, detail] : commands) {
        EXPECT_TRUE(contains(overall.out, "\n  " + name + " ")) << name << "\n" << overall.out;
        for (const std::string& arguments : {name + " --help", name + " a.dcm -h"}) {
            const Outcome help = Run(arguments);
            EXPECT_EQ(help.exitCode, 0) << arguments;
            EXPECT_EQ(help.out.rfind("usage: refcntr " + name + " ", 0), 0u) << help.out;
            EXPECT_TRUE(contains(help.out, detail)) << help.out;
        }
        // The manual page documents every option the command's help names.
        const std::string manual = readWholeFile(REFCNTR_SOURCE_DIR "/docs/refcntr.1");
        const std::string help = Run(name + " --help").out;
        for (std::size_t at = help.find("--"); at != std::string::npos; at = help.find("--", at + 2)) {
            const std::size_t end = help.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at + 2);
            std::string option = help.substr(at, end - at), escaped;
            for (char c : option) escaped += c == '-' ? std::string("\\-") : std::string(1, c);
            EXPECT_TRUE(contains(manual, escaped)) << name << " " << option;
        }
    }
}

// Texts are shown in UTF-8 whatever the file's character set, or as stored when asked.
TEST_F(RefcntrTool, DumpShowsTextsInUTF8OrAsStored) {
    const std::string latin1 = quoted(files->File("latin1.dcm"));
    const Outcome containers = Run("dump " + latin1);
    EXPECT_TRUE(contains(containers.out, "itsPatientNameElement = \"Buc^J\u00e9r\u00f4me\"")) << containers.out;
    const Outcome raw = Run("dump --raw " + latin1);
    EXPECT_TRUE(contains(raw.out, "PN \"Buc^J\u00e9r\u00f4me\"")) << raw.out;
    const Outcome stored = Run("dump --stored-bytes " + latin1);
    EXPECT_TRUE(contains(stored.out, "itsPatientNameElement = \"Buc^J\\351r\\364me\"")) << stored.out;
    EXPECT_EQ("", containers.err + raw.err + stored.err);
}

// The JSON model as DCMTK writes it, byte for byte, with texts in UTF-8.
TEST_F(RefcntrTool, DumpAsJsonWritesWhatDcm2jsonWrites) {
    const Outcome ours = Run("dump --json " + quoted(Sample()));
    ASSERT_EQ(0, ours.exitCode) << ours.err;
    const Outcome dcmtk = refcntr::testfiles::runProgram("/usr/bin/dcm2json", quoted(Sample()), scratch);
    ASSERT_EQ(0, dcmtk.exitCode) << dcmtk.err;
    EXPECT_EQ(dcmtk.out, ours.out);
    const Outcome latin1 = Run("dump --json " + quoted(File("latin1.dcm")));
    EXPECT_TRUE(contains(latin1.out, "\"Alphabetic\": \"Buc^J\u00e9r\u00f4me\"")) << latin1.out;
    EXPECT_EQ(2, Run("dump --json --raw " + quoted(Sample())).exitCode);
}

TEST_F(RefcntrTool, DumpShowsTheFirstLevelsOrOneModule) {
    const Outcome entities = Run("dump --depth 1 " + quoted(Sample()));
    ASSERT_EQ(entities.exitCode, 0) << entities.err;
    EXPECT_EQ(
        entities.out,
        "itsFileInformationEntity = {...}\nitsPatientInformationEntity = {...}\nitsStudyInformationEntity = {...}\n"
        "itsSeriesInformationEntity = {...}\nitsEquipmentInformationEntity = {...}\n"
        "itsPresentationInformationEntity = {...}\n");

    const Outcome directory = Run("dump " + quoted(File("DICOMDIR")) + " --depth 2");
    ASSERT_EQ(directory.exitCode, 0) << directory.err;
    EXPECT_TRUE(contains(directory.out,
                         "{\n  itsFileSetIdentificationModule = {...}\n  itsDirectoryInformationModule = {...}\n}\n"))
        << directory.out;

    // The module as the state holds it; --depth counts from its attributes.
    const Outcome area = Run("dump --module DisplayedAreaModule --depth 3 " + quoted(Sample()));
    ASSERT_EQ(area.exitCode, 0) << area.err;
    EXPECT_EQ(area.out.rfind("itsDisplayedAreaSelectionSequenceElement = \n{\n  Item 0:\n  {\n"
                             "    itsReferencedImageSequenceElement = {...}\n    itsDisplayedAreaTLHCElement = {...}\n",
                             0),
              0u)
        << area.out;
    EXPECT_TRUE(contains(area.out, "  },\n  Item 1:\n")) << area.out;
    const Outcome study = Run("dump --module GeneralStudyModule " + quoted(Sample()));
    EXPECT_EQ(study.out.rfind("itsStudyInstanceUIDElement = \"2.25.301298871265240957173304958824463180542\"\n", 0), 0u)
        << study.out;
    EXPECT_TRUE(contains(Run("dump --module FileSetIdentificationModule " + quoted(File("DICOMDIR"))).out,
                         "itsFileSetIDElement = \"REFCNTR_TEST\""));
}

TEST_F(RefcntrTool, DumpOptionsNeedContainersAndAModuleOfTheFilesIOD) {
    const std::pair<std::string, std::string> cases[] = {
        {"dump --module DirectoryInformationModule " + quoted(Sample()),
         "is a grayscale softcopy presentation state, which has no DirectoryInformationModule; its modules are "
         "FileMetaInformationModule, PatientModule, "},
        {"dump --module SoftcopyVOILUTModule " + quoted(File("color.dcm")), "which has no SoftcopyVOILUTModule"},
        {"dump --depth 2 " + quoted(File("IMAGES/IM1")),
         "has no containers to show (SOP class 1.2.840.10008.5.1.4.1.1.7)"},
    };
    for (const auto& [arguments, message] : cases) {
        const Outcome result = Run(arguments);
        EXPECT_EQ(result.exitCode, 1) << arguments;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(contains(result.err, message)) << arguments << ": " << result.err;
    }
}

TEST_F(RefcntrTool, CheckListsWhatNoContainerHoldsAndFailsWhenThereIsAny) {
    const Outcome extra = Run("check " + quoted(File("extra.dcm")));
    EXPECT_EQ(extra.exitCode, 1) << extra.err;
    EXPECT_EQ(extra.err, "");
    EXPECT_EQ(extra.out,
              "(0029,0010)  # PrivateCreator\n"
              "(0029,1001)\n"
              "(0070,0001)[0]/(0070,0009)[0]/(0070,0295)  # GraphicGroupID\n"
              "3 attributes held by no container of the grayscale softcopy presentation state\n");

    // The viewer's own private block is held wherever its creator reserved it.
    const std::pair<std::string, std::string> held[] = {{Sample(), "grayscale softcopy presentation state"},
                                                        {File("moved.dcm"), "grayscale softcopy presentation state"},
                                                        {File("big.dcm"), "grayscale softcopy presentation state"},
                                                        {File("DICOMDIR"), "media directory"}};
    for (const auto& [file, kind] : held) {
        const Outcome result = Run("check " + quoted(file));
        EXPECT_EQ(result.exitCode, 0) << file << "\n" << result.out << result.err;
        EXPECT_EQ(result.out, "every attribute is held by a container of the " + kind + "\n");
    }

    // The sample read as the other two states: neither has a softcopy presentation LUT module,
    // and the color state has no softcopy VOI LUT module either.
    const Outcome pseudo = Run("check " + quoted(File("pseudo.dcm")));
    EXPECT_EQ(pseudo.exitCode, 1);
    EXPECT_EQ(pseudo.out,
              "(2050,0020)  # PresentationLUTShape\n"
              "1 attribute held by no container of the pseudo-color softcopy presentation state\n");
    const Outcome color = Run("check " + quoted(File("color.dcm")));
    EXPECT_EQ(color.exitCode, 1);
    EXPECT_TRUE(contains(color.out, "(0028,3110)  # SoftcopyVOILUTSequence\n")) << color.out;
    EXPECT_TRUE(contains(color.out, "(2050,0020)  # PresentationLUTShape\n")) << color.out;
}

// The items of the sample: displayed areas for frame 1 of the multi-frame image (item 0) and
// for all images (item 1), an annotation on the single-frame image, a window for all images.
TEST_F(RefcntrTool, AppliesListsTheItemsThatApplyToAnImageOrFrame) {
    const Outcome frame = Run("applies " + quoted(Sample()) + " --image " + frames + " --frame 1");
    ASSERT_EQ(frame.exitCode, 0) << frame.err;
    const std::string target = std::string("image ") + frames + ", frame 1: ";
    EXPECT_TRUE(contains(frame.out, "Displayed area selection items for " + target + "1\n  Item 0:\n")) << frame.out;
    EXPECT_TRUE(contains(frame.out, "itsDisplayedAreaTLHCElement[0] = 97")) << frame.out;
    EXPECT_TRUE(contains(frame.out, "Graphic annotation items for " + target + "none\n")) << frame.out;
    EXPECT_TRUE(contains(frame.out, "Softcopy VOI LUT items for " + target + "none\n")) << frame.out;

    // A frame of an image referenced without frames gets the whole-image items.
    const Outcome image = Run("applies " + quoted(Sample()) + " --frame 1 --image " + single);
    ASSERT_EQ(image.exitCode, 0) << image.err;
    EXPECT_TRUE(
        contains(image.out, "Graphic annotation items for image " + std::string(single) + ", frame 1: 1\n  Item 0:"))
        << image.out;
    EXPECT_TRUE(contains(image.out, "Nodule 8 mm, right upper lobe")) << image.out;

    const Outcome whole = Run("applies " + quoted(Sample()) + " --json --image " + single);
    ASSERT_EQ(whole.exitCode, 0) << whole.err;
    const std::string json = Output("applies.json");
    const std::string summary = Output("summary");
    writeWholeFile(json, whole.out);
    const std::string script =
        "import json, sys\n"
        "d = json.load(open(sys.argv[1]))\n"
        "lists = [d[k] for k in ('displayedAreaSelectionItems', 'graphicAnnotationItems', 'softcopyVOILUTItems')]\n"
        "print(d['image'], d['frame'], *map(len, lists), '512' in lists[0][0], 'MEDIASTINUM' in lists[2][0])\n";
    ASSERT_EQ(runCommand("python3 -c " + quoted(script) + " " + quoted(json) + " >" + quoted(summary)), 0) << whole.out;
    EXPECT_EQ(readWholeFile(summary), std::string(single) + " None 1 1 1 True True\n") << whole.out;
}

}  // namespace
