// refcntr tree as a separate process, on a directory that dcmmkdir made of DCMTK-built images,
// on copies of it whose record links were damaged byte by byte, and on a large directory that
// DCMTK's DcmDicomDir wrote.
#include <string>

#include <gtest/gtest.h>

#include "support/DirectoryFiles.h"
#include "support/GeneratedDirectory.h"
#include "support/Golden.h"
#include "support/TestFiles.h"

namespace {

using refcntr::testfiles::contains;
using refcntr::testfiles::expectGoldenCopy;
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

// The two-patient directory as lines and as JSON, each record's line with its children; and a
// directory of 2,000 records, 35 whole patients of 57 records and a 36th cut short after two
// images, which DCMTK's DcmDicomDir wrote.
TEST_F(TreeCommand, ListsEveryRecordUnderItsParentByFollowingTheLinks) {
    refcntr::testfiles::writeGeneratedDirectory(scratch.File("LARGE"), 2000);
    const std::pair<std::string, const char*> listings[] = {{quoted(Directory()), "tree.txt"},
                                                            {"--json " + quoted(Directory()), "tree.json"},
                                                            {quoted(scratch.File("LARGE")), "tree-large.txt"}};
    for (const auto& [arguments, golden] : listings) {
        const Outcome result = refcntr::testfiles::runRefcntr("tree " + arguments, scratch);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        expectGoldenCopy(golden, result.out);
    }
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

}  // namespace
