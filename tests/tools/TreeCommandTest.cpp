// refcntr tree as a separate process, on a directory that dcmmkdir made of DCMTK-built images,
// on copies of it whose record links were damaged byte by byte, and on a large directory that
// DCMTK's DcmDicomDir wrote.
#include <cstring>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/DirectoryFiles.h"
#include "support/GeneratedDirectory.h"
#include "support/RunProgram.h"

namespace {

using refcntr::testfiles::contains;
using refcntr::testfiles::Outcome;
using refcntr::testfiles::quoted;
using refcntr::testfiles::readWholeFile;
using refcntr::testfiles::ScratchDirectory;
using refcntr::testfiles::writeWholeFile;

constexpr unsigned nextRecord = 0x1400;  // (0004,1400)
constexpr unsigned lowerLevel = 0x1420;  // (0004,1420)

// The copy of a directory (explicit VR little endian) in which the link `element` of record
// `record` (counted from 0 in file order) holds `offset`.
std::string withLink(const std::string& directory, unsigned record, unsigned element, unsigned offset) {
    const char header[] = {0x04, 0x00, char(element & 0xFF), char(element >> 8), 'U', 'L', 0x04, 0x00};
    std::string bytes = readWholeFile(directory);
    std::size_t at = 0;
    for (unsigned i = 0; i <= record; ++i) {
        at = bytes.find(std::string(header, sizeof header), i == 0 ? 0 : at + 1);
        if (at == std::string::npos) return std::string();
    }
    const unsigned char value[] = {static_cast<unsigned char>(offset), static_cast<unsigned char>(offset >> 8),
                                   static_cast<unsigned char>(offset >> 16), static_cast<unsigned char>(offset >> 24)};
    bytes.replace(at + sizeof header, 4, reinterpret_cast<const char*>(value), 4);
    return bytes;
}

class TreeCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        files = new ScratchDirectory;
        refcntr::testfiles::makeTwoPatientDirectory(files->Path());
    }
    static void TearDownTestSuite() { delete files; }

    Outcome Tree(const std::string& path) { return refcntr::testfiles::runRefcntr("tree " + quoted(path), scratch); }
    // The directory with one link changed, written to the scratch directory.
    std::string Damaged(unsigned record, unsigned element, unsigned offset) {
        const std::string bytes = withLink(Directory(), record, element, offset);
        EXPECT_FALSE(bytes.empty());
        const std::string path = scratch.File("DICOMDIR");
        writeWholeFile(path, bytes);
        return path;
    }
    static std::string Directory() { return files->File("DICOMDIR"); }
    static unsigned RootOffset() {
        DcmFileFormat file;
        Uint32 root = 0;
        EXPECT_TRUE(file.loadFile(Directory().c_str()).good());
        file.getDataset()->findAndGetUint32(DCM_OffsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity, root);
        return root;
    }

    static ScratchDirectory* files;
    ScratchDirectory scratch;
};
ScratchDirectory* TreeCommand::files = nullptr;

TEST_F(TreeCommand, ListsPatientsStudiesSeriesAndImagesByFollowingTheLinks) {
    const Outcome result = Tree(Directory());
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out,
              "PATIENT Doe^Jane [P1]\n"
              "  STUDY 20240102 S1 \"CT CHEST\" [2.25.101]\n"
              "    SERIES CT 1 [2.25.1011]\n"
              "      IMAGE 1 IMAGES/IM1 [2.25.10111]\n"
              "      IMAGE 2 IMAGES/IM2 [2.25.10112]\n"
              "PATIENT Roe^Richard [P2]\n"
              "  STUDY 20231130 S7 [2.25.201]\n"
              "    SERIES MR 3 [2.25.2011]\n"
              "      IMAGE 1 IMAGES/IM3 [2.25.20111]\n"
              "    SERIES OT 4 [2.25.2012]\n"
              "      IMAGE 1 IMAGES/IM4 [2.25.20121]\n");

    // The same hierarchy as JSON, each record's line with its children.
    const Outcome json = refcntr::testfiles::runRefcntr("tree --json " + quoted(Directory()), scratch);
    ASSERT_EQ(json.exitCode, 0) << json.err;
    const auto record = [](const std::string& line, const std::string& children) {
        return "\n{\"record\": \"" + line + "\", \"children\": [" + children + "]}";
    };
    EXPECT_EQ(json.out,
              "[" +
                  record("PATIENT Doe^Jane [P1]",
                         record("STUDY 20240102 S1 \\\"CT CHEST\\\" [2.25.101]",
                                record("SERIES CT 1 [2.25.1011]", record("IMAGE 1 IMAGES/IM1 [2.25.10111]", "") + "," +
                                                                      record("IMAGE 2 IMAGES/IM2 [2.25.10112]", "")))) +
                  "," +
                  record("PATIENT Roe^Richard [P2]",
                         record("STUDY 20231130 S7 [2.25.201]",
                                record("SERIES MR 3 [2.25.2011]", record("IMAGE 1 IMAGES/IM3 [2.25.20111]", "")) + "," +
                                    record("SERIES OT 4 [2.25.2012]", record("IMAGE 1 IMAGES/IM4 [2.25.20121]", "")))) +
                  "\n]\n");
}

// Records in file order: 0 the first patient, 1 its study, 2 its series, 3 and 4 its images,
// 5 the second patient. A damaged link is a warning naming the file and the offset; a record
// that no link reaches is listed at the root level, so the second patient stays last.
TEST_F(TreeCommand, DamagedLinksAreWarningsAndEveryRecordIsStillListed) {
    const std::string whole = Tree(Directory()).out;
    const struct {
        unsigned record, element, offset;
        std::string named;  // in the warning
    } cases[] = {
        {0, nextRecord, 12345, "12345"},                              // leads where no record starts
        {3, lowerLevel, RootOffset(), std::to_string(RootOffset())},  // leads back to the first patient
        {0, nextRecord, 0, "no link reaches it"},                     // the second patient is reached by none
    };
    for (const auto& each : cases) {
        const std::string path = Damaged(each.record, each.element, each.offset);
        const Outcome result = Tree(path);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out, whole) << each.offset;
        EXPECT_EQ(result.err.rfind("refcntr: warning: '" + path + "': ", 0), 0u) << result.err;
        EXPECT_TRUE(contains(result.err, each.named)) << result.err;
    }
}

// 2,000 records: 35 whole patients of 57 records, and a 36th cut short after two images.
TEST_F(TreeCommand, ListsEveryRecordOfALargeDirectoryUnderItsParent) {
    const std::string path = scratch.File("LARGE");
    refcntr::testfiles::writeGeneratedDirectory(path, 2000);
    const Outcome result = Tree(path);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");

    std::istringstream lines(result.out);
    std::string line;
    unsigned counts[4] = {};
    const char* const levels[] = {"PATIENT ", "  STUDY ", "    SERIES ", "      IMAGE "};
    while (std::getline(lines, line)) {
        unsigned level = 0;
        while (level < 4 && line.rfind(levels[level], 0) != 0) ++level;
        ASSERT_LT(level, 4u) << line;
        ++counts[level];
    }
    EXPECT_EQ(counts[0], 36u);
    EXPECT_EQ(counts[1], 71u);
    EXPECT_EQ(counts[2], 211u);
    EXPECT_EQ(counts[3], 1682u);
    EXPECT_EQ(result.out.substr(0, result.out.find("      IMAGE 1 IMAGES/P0/S0/E1/")),
              "PATIENT Patient^0 [P0]\n"
              "  STUDY 20240102 S0 \"STUDY 0\" [2.25.0.0]\n"
              "    SERIES CT 1 [2.25.0.0.0]\n"
              "      IMAGE 1 IMAGES/P0/S0/E0/I0 [2.25.0.0.0.0]\n"
              "      IMAGE 2 IMAGES/P0/S0/E0/I1 [2.25.0.0.0.1]\n"
              "      IMAGE 3 IMAGES/P0/S0/E0/I2 [2.25.0.0.0.2]\n"
              "      IMAGE 4 IMAGES/P0/S0/E0/I3 [2.25.0.0.0.3]\n"
              "      IMAGE 5 IMAGES/P0/S0/E0/I4 [2.25.0.0.0.4]\n"
              "      IMAGE 6 IMAGES/P0/S0/E0/I5 [2.25.0.0.0.5]\n"
              "      IMAGE 7 IMAGES/P0/S0/E0/I6 [2.25.0.0.0.6]\n"
              "      IMAGE 8 IMAGES/P0/S0/E0/I7 [2.25.0.0.0.7]\n"
              "    SERIES CT 2 [2.25.0.0.1]\n");
    EXPECT_EQ(result.out.substr(result.out.rfind("      IMAGE 8")),
              "      IMAGE 8 IMAGES/P34/S1/E2/I7 [2.25.34.1.2.7]\n"
              "PATIENT Patient^35 [P35]\n"
              "  STUDY 20240102 S0 \"STUDY 0\" [2.25.35.0]\n"
              "    SERIES CT 1 [2.25.35.0.0]\n"
              "      IMAGE 1 IMAGES/P35/S0/E0/I0 [2.25.35.0.0.0]\n"
              "      IMAGE 2 IMAGES/P35/S0/E0/I1 [2.25.35.0.0.1]\n");
}

TEST_F(TreeCommand, OtherFilesAreNotDirectories) {
    const std::string sample = refcntr::testfiles::samplePath();
    const std::pair<std::string, std::string> cases[] = {
        {sample, "not a media directory"},
        {files->File("IMAGES/IM1"), "not a media directory"},
        {files->File("missing"), "no such file"},
    };
    for (const auto& [path, message] : cases) {
        const Outcome result = Tree(path);
        EXPECT_EQ(result.exitCode, 1) << path;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(contains(result.err, "'" + path + "'") && contains(result.err, message)) << result.err;
    }
}

}  // namespace
