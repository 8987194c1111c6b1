// The refcntr commands run as a separate process on the shipped presentation state, on
// variants of it made with DCMTK, and on a DICOMDIR that dcmmkdir made from DCMTK-built images.
#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "refcntr/Version.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "support/TestFiles.h"
#include "support/DirectoryFiles.h"
#include "support/Golden.h"
#include "support/SameDataSet.h"
#include "refcntr/platform/DcmtkBridge.h"

namespace {

using refcntr::testfiles::contains;
using refcntr::testfiles::dcmtkHierarchy;
using refcntr::testfiles::expectGoldenCopy;
using refcntr::testfiles::Outcome;
using refcntr::testfiles::quoted;
using refcntr::testfiles::readWholeFile;
using refcntr::testfiles::runCommand;
using refcntr::testfiles::ScratchDirectory;
using refcntr::testfiles::writeWholeFile;
using refcntr::testing::expectSameDataSet;

const char* const frames = "2.25.182736450918273645091827364509182736451";  // referenced with frames 1 to 3
const char* const single = "2.25.182736450918273645091827364509182736452";  // referenced without frames

// The text without the lines that name the DCMTK release that wrote a file's meta header.
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

        // The sample with values their VR forbids, at the top and inside an item.
        ASSERT_TRUE(state.loadFile(Sample().c_str()).good());
        ASSERT_TRUE(state.getDataset()->putAndInsertString(DCM_StudyDate, "2024-01-02").good());
        ASSERT_TRUE(state.getDataset()->putAndInsertString(DCM_Modality, "pr").good());
        DcmItem* series = nullptr;
        ASSERT_TRUE(state.getDataset()->findAndGetSequenceItem(DCM_ReferencedSeriesSequence, series, 0).good());
        ASSERT_TRUE(series->putAndInsertString(DCM_SeriesInstanceUID, "2.25.x").good());
        ASSERT_TRUE(state.saveFile(files->File("faults.dcm").c_str(), EXS_LittleEndianExplicit).good());

        writeWholeFile(files->File("notes.txt"), "not a DICOM file at all\n");
    }
    static void TearDownTestSuite() { delete files; }

    Outcome Run(const std::string& arguments) { return refcntr::testfiles::runRefcntr(arguments, scratch); }

    // Runs each command line, its paths written <sample>, <files>/NAME and <scratch>/NAME, and
    // gives what each printed and its exit code, the paths written back the same way.
    std::string Transcript(const std::vector<std::string>& commands) {
        const std::pair<std::string, std::string> places[] = {
            {"<sample>", Sample()}, {"<files>", files->Path().string()}, {"<scratch>", scratch.Path().string()}};
        std::string transcript;
        for (const std::string& command : commands) {
            std::istringstream words(command);
            std::string arguments, word;
            while (words >> word) {
                for (const auto& [place, path] : places)
                    if (word.rfind(place, 0) == 0) word = quoted(path + word.substr(place.size()));
                arguments += (arguments.empty() ? "" : " ") + word;
            }
            const Outcome result = Run(arguments);
            std::string shown = std::string("$ refcntr") + (command.empty() ? "" : " ") + command + "\n" +
                                withoutImplementation(result.out) +
                                (result.err.empty() ? "" : "[stderr]\n" + result.err) + "[exit " +
                                std::to_string(result.exitCode) + "]\n\n";
            for (const auto& [place, path] : places)
                for (std::size_t at = shown.find(path); at != std::string::npos; at = shown.find(path, at))
                    shown.replace(at, path.size(), place);
            transcript += shown;
        }
        return transcript;
    }

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

// The sample's dumps through its containers and element by element; levels, modules, texts as
// stored, several files at once and the files or modules that dump cannot show.
TEST_F(RefcntrTool, DumpsAreTheGoldenCopies) {
    expectGoldenCopy(
        "dump.txt",
        Transcript({"dump <sample>", "dump --raw <sample>", "dump --depth 1 <sample>",
                    "dump --depth 1 <files>/color.dcm", "dump --depth 1 <files>/pseudo.dcm",
                    "dump --raw <files>/IMAGES/IM1", "dump <files>/DICOMDIR --depth 2",
                    "dump --module DisplayedAreaModule --depth 3 <sample>", "dump --module GeneralStudyModule <sample>",
                    "dump --module FileSetIdentificationModule <files>/DICOMDIR",
                    "dump --module PatientModule <files>/latin1.dcm",
                    "dump --module PatientModule --stored-bytes <files>/latin1.dcm", "dump --depth 1 <sample> <sample>",
                    "dump - < <files>/notes.txt", "dump --module DirectoryInformationModule <sample>",
                    "dump --module SoftcopyVOILUTModule <files>/color.dcm", "dump --depth 2 <files>/IMAGES/IM1"}));
    const Outcome directory = Run("dump " + quoted(File("DICOMDIR")));
    EXPECT_TRUE(contains(directory.out, "itsDirectoryRecordTypeElement = \"IMAGE\"")) << directory.out;
    EXPECT_TRUE(contains(directory.out, "itsReferencedSOPInstanceUIDInFileElement = \"2.25.91\"")) << directory.out;
}

TEST_F(RefcntrTool, RoundtripInEachTransferSyntaxLosesNothingReadsBackWithDCMTKAndKeepsTheInputs) {
    const struct {
        const char* option;
        E_TransferSyntax syntax;
        std::string sampleInIt;
    } syntaxes[] = {{"explicit-le", EXS_LittleEndianExplicit, Sample()},
                    {"explicit-be", EXS_BigEndianExplicit, File("big.dcm")},
                    {"implicit-le", EXS_LittleEndianImplicit, File("implicit.dcm")}};
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
    // Without --transfer-syntax the input's is kept, and the output written above is replaced.
    for (const auto& each : syntaxes) {
        const std::string out = Output(std::string(each.option) + ".dcm");
        ASSERT_EQ(Run("roundtrip " + quoted(each.sampleInIt) + " " + quoted(out)).exitCode, 0) << each.sampleInIt;
        DcmFileFormat written;
        ASSERT_TRUE(written.loadFile(out.c_str()).good()) << each.sampleInIt;
        EXPECT_EQ(written.getDataset()->getOriginalXfer(), each.syntax) << each.sampleInIt;
    }
    EXPECT_EQ(OutputNames(), (std::vector<std::string>{"explicit-be.dcm", "explicit-le.dcm", "implicit-le.dcm"}));
}

// What no container holds is carried across, inside items too; what has no item to go to any
// more is listed, and --strict then writes nothing.
TEST_F(RefcntrTool, RoundtripCarriesWhatNoItemHoldsListsWhatItCannotPlaceAndStrictWritesNothing) {
    expectGoldenCopy(
        "roundtrip.txt",
        Transcript({"roundtrip <files>/extra.dcm <scratch>/out.dcm",
                    "roundtrip --strict <files>/lost.dcm <scratch>/refused.dcm",
                    "roundtrip <files>/lost.dcm <scratch>/out.dcm --strict --transfer-syntax explicit-be"}));
    // The private elements at the top and the group ID inside the annotation's graphic object are
    // carried, and the refused second write left the first as it was, with no temporary file.
    DcmFileFormat original, written;
    ASSERT_TRUE(original.loadFile(File("extra.dcm").c_str()).good());
    ASSERT_TRUE(written.loadFile(Output("out.dcm").c_str()).good());
    expectSameDataSet(*original.getDataset(), *written.getDataset(), "extra.dcm ");
    EXPECT_EQ(OutputNames(), std::vector<std::string>{"out.dcm"});
}

// Every command refuses files it cannot read or show, naming the file, and leaves no output
// behind; bad usage exits with 2 and the usage.
TEST_F(RefcntrTool, UnreadableFilesAndBadUsageAreTheGoldenCopies) {
    std::vector<std::string> commands;
    const std::pair<std::string, std::vector<std::string>> refused[] = {
        {"<files>/missing.dcm", {"dump", "roundtrip", "applies", "check", "tree"}},
        {"<files>/notes.txt", {"dump", "roundtrip", "applies", "check", "tree"}},
        {"<files>/IMAGES/IM1", {"roundtrip", "applies", "check", "tree"}},
        {"<sample>", {"tree"}},
        {"<files>/DICOMDIR", {"applies"}},
    };
    for (const auto& [file, names] : refused)
        for (const std::string& name : names)
            commands.push_back(name + " " + file + (name == "roundtrip" ? " <scratch>/out.dcm" : "") +
                               (name == "applies" ? " --image 1.2.3" : ""));
    for (const char* usage :
         {"", "list x.dcm", "dump a.dcm --strict", "roundtrip a.dcm", "roundtrip a.dcm b.dcm c.dcm",
          "roundtrip a.dcm b.dcm --transfer-syntax", "roundtrip a.dcm b.dcm --transfer-syntax deflated",
          "applies a.dcm", "applies a.dcm --image 1.2 --frame 2x", "dump a.dcm --depth 0", "dump a.dcm --depth two",
          "dump a.dcm --module Display", "dump a.dcm --raw --depth 2", "dump --json --raw a.dcm", "tree",
          "tree --stored-bytes", "check a.dcm --strict"})
        commands.push_back(usage);
    expectGoldenCopy("errors.txt", Transcript(commands));
    EXPECT_EQ(OutputNames(), std::vector<std::string>());
}

// check lists what no container holds and the values their VR forbids, for each file under its
// name, and fails for any; "-" is standard input.
TEST_F(RefcntrTool, ChecksAreTheGoldenCopies) {
    expectGoldenCopy("check.txt", Transcript({"check <files>/extra.dcm",
                                              "check <sample> <files>/moved.dcm <files>/big.dcm <files>/DICOMDIR",
                                              "check <files>/pseudo.dcm", "check <files>/color.dcm",
                                              "check <sample> <files>/missing.dcm <sample>", "check - < <sample>",
                                              "check <files>/faults.dcm", "check --json <files>/faults.dcm"}));
}

// The items of the sample: displayed areas for frame 1 of the multi-frame image (item 0) and
// for all images (item 1), an annotation on the single-frame image, a window for all images. A
// frame of an image referenced without frames gets the whole-image items.
TEST_F(RefcntrTool, AppliesListsAreTheGoldenCopies) {
    expectGoldenCopy("applies.txt", Transcript({"applies <sample> --image " + std::string(frames) + " --frame 1",
                                                "applies <sample> --frame 1 --image " + std::string(single),
                                                "applies <sample> --json --image " + std::string(single)}));
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
    const Outcome version = Run("--version");
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, std::string("refcntr ") + REFCNTR_VERSION + " (DCMTK " + OFFIS_DCMTK_VERSION_STRING + ")\n");
    const std::string names[] = {"dump", "tree", "check", "roundtrip", "applies"};
    std::vector<std::string> commands = {"--help"};
    const std::string manual = readWholeFile(REFCNTR_SOURCE_DIR "/docs/refcntr.1");
    for (const std::string& name : names) {
        commands.push_back(name + " --help");
        const std::string help = Run(name + " --help").out;
        EXPECT_EQ(Run(name + " a.dcm -h").out, help) << name;
        // The manual page documents every option the command's help names.
        for (std::size_t at = help.find("--"); at != std::string::npos; at = help.find("--", at + 2)) {
            const std::size_t end = help.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at + 2);
            std::string option = help.substr(at, end - at), escaped;
            for (char c : option) escaped += c == '-' ? std::string("\\-") : std::string(1, c);
            EXPECT_TRUE(contains(manual, escaped)) << name << " " << option;
        }
    }
    expectGoldenCopy("help.txt", Transcript(commands));
}

// The JSON model as DCMTK writes it, byte for byte; texts in UTF-8 whatever the file's
// character set, in every form of dump.
TEST_F(RefcntrTool, DumpAsJsonWritesWhatDcm2jsonWritesAndTextsInUTF8) {
    const Outcome ours = Run("dump --json " + quoted(Sample()));
    ASSERT_EQ(0, ours.exitCode) << ours.err;
    const Outcome dcmtk = refcntr::testfiles::runProgram("/usr/bin/dcm2json", quoted(Sample()), scratch);
    ASSERT_EQ(0, dcmtk.exitCode) << dcmtk.err;
    EXPECT_EQ(dcmtk.out, ours.out);
    const Outcome json = Run("dump --json " + quoted(File("latin1.dcm")));
    EXPECT_TRUE(contains(json.out, "\"Alphabetic\": \"Buc^J\u00e9r\u00f4me\"")) << json.out;
    const Outcome raw = Run("dump --raw " + quoted(File("latin1.dcm")));
    EXPECT_TRUE(contains(raw.out, "PN \"Buc^J\u00e9r\u00f4me\"")) << raw.out;
}

}  // namespace
