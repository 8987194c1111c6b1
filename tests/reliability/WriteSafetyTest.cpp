// Writes that respect what they replace: links, special files, permissions, long names, a
// write in progress or killed, a file system that refuses more bytes, and signals.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/Failures.h"
#include "support/PutElement.h"
#include "support/TestFiles.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/MDDEntry.h"

namespace refcntr {
namespace {

using testfiles::contains;
using testfiles::failureOf;
using testfiles::namesIn;
using testfiles::quoted;
using testfiles::readWholeFile;
using testfiles::ScratchDirectory;
using testfiles::writeWholeFile;

// A small data set; with `padding` bytes of OB value, a large one.
DICOMDataObject dataSet(std::size_t padding = 0) {
    DICOMDataObject data;
    testfiles::putElement(data, 0x0010, 0x0010, VRCode::PN, "Doe^Jane");
    if (padding > 0) testfiles::putElement(data, 0x0009, 0x1010, VRCode::OB, std::string(padding, 'x'));
    return data;
}

// A link is followed; a target that is not a regular file, or not in a directory, is refused by
// name, and the write leaves nothing behind (not its temporary file when the final rename fails:
// the target is a non-empty directory).
TEST(WriteSafety, ALinkIsFollowedAndOtherTargetsAreRefusedLeavingNothing) {
    ScratchDirectory scratch;
    const std::string target = scratch.File("target.dcm"), link = scratch.File("link.dcm");
    writeWholeFile(target, "old");
    std::filesystem::create_symlink("target.dcm", link);
    writeDicomFile(link, dataSet(), TransferSyntax::ExplicitLittle);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_NE(readWholeFile(target), "old");

    const std::string fifo = scratch.File("fifo.dcm");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(failureOf([&] { writeDicomFile(fifo, dataSet(), TransferSyntax::ExplicitLittle); }),
              "cannot write '" + fifo + "': it is not a regular file");
    EXPECT_EQ(failureOf([&] { writeDicomFile("/dev/null", dataSet(), TransferSyntax::ExplicitLittle); }),
              "cannot write '/dev/null': it is not a regular file");
    const std::string missing = scratch.File("no-such-directory/out.dcm");
    EXPECT_EQ(failureOf([&] { writeDicomFile(missing, dataSet(), TransferSyntax::ExplicitLittle); }),
              "cannot write '" + missing + "': no such directory");
    const std::string occupied = scratch.File("occupied");
    std::filesystem::create_directory(occupied);
    writeWholeFile(occupied + "/keep", "x");
    EXPECT_NE(failureOf([&] { writeDicomFile(occupied, dataSet(), TransferSyntax::ExplicitLittle); }), "");
    EXPECT_TRUE(std::filesystem::is_fifo(fifo));
    EXPECT_EQ(namesIn(scratch.Path()), (std::vector<std::string>{"fifo.dcm", "link.dcm", "occupied", "target.dcm"}));
}

TEST(WriteSafety, AReplacedFileKeepsItsPermissionsAndALongNameIsWritten) {
    ScratchDirectory scratch;
    for (mode_t mode : {mode_t(0600), mode_t(0640), mode_t(0604)}) {
        const std::string path = scratch.File("private.dcm");
        writeWholeFile(path, "old");
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        writeDicomFile(path, dataSet(), TransferSyntax::ExplicitLittle);
        struct stat status;
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, mode);
    }
    const std::string longName = scratch.File(std::string(250, 'n') + ".dcm");
    writeDicomFile(longName, dataSet(), TransferSyntax::ExplicitLittle);
    EXPECT_TRUE(std::filesystem::is_regular_file(longName));
    EXPECT_EQ(namesIn(scratch.Path()).size(), 2u);
}

// The temporary file is locked while written: one left by a killed write is taken over, one
// still being written is left alone and the second write fails.
TEST(WriteSafety, AKilledWritesLeftoverIsRemovedAndAWriteInProgressIsNotDisturbed) {
    ScratchDirectory scratch;
    const std::string path = scratch.File("state.dcm"), temporary = scratch.File(".state.dcm.refcntr-tmp");
    writeWholeFile(temporary, "left by a killed write");
    writeDicomFile(path, dataSet(), TransferSyntax::ExplicitLittle);
    EXPECT_EQ(namesIn(scratch.Path()), std::vector<std::string>{"state.dcm"});

    writeWholeFile(temporary, "being written");
    const int held = ::open(temporary.c_str(), O_RDONLY);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    EXPECT_EQ(failureOf([&] { writeDicomFile(path, dataSet(), TransferSyntax::ExplicitLittle); }),
              "cannot write '" + path + "': another write to it is in progress");
    EXPECT_EQ(readWholeFile(temporary), "being written");
    ::close(held);
}

// A file system that takes no more bytes (here a file size limit) fails the write by name,
// leaves the destination as it was and no temporary file.
TEST(WriteSafety, AWriteThatCannotGrowTheFileFailsByNameAndLeavesTheOldFile) {
    ScratchDirectory scratch;
    const std::string path = scratch.File("state.dcm");
    writeWholeFile(path, "old");
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1 << 16, 1 << 16};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const std::string message =
            failureOf([&] { writeDicomFile(path, dataSet(1 << 20), TransferSyntax::ExplicitLittle); });
        if (message == "cannot write '" + path + "': file too large") ::_exit(0);
        std::fprintf(stderr, "%s\n", message.c_str());
        ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(readWholeFile(path), "old");
    EXPECT_EQ(namesIn(scratch.Path()), std::vector<std::string>{"state.dcm"});
}

// roundtrip of a large state, stopped at random moments: by SIGTERM the temporary file is
// removed at once; by SIGKILL it may be left, and the next write takes it over. The destination
// is always either the old file or the whole new one.
TEST(WriteSafety, ARoundtripStoppedBySignalsLeavesTheOldFileOrTheNewOne) {
    ScratchDirectory scratch;
    const std::string input = scratch.File("large.dcm"), output = scratch.File("out.dcm");
    std::unique_ptr<DICOMDataObject> state = readDicomFile(testfiles::samplePath());
    for (const auto& element : dataSet(1 << 24)) state->ReplaceVR(element->Clone());
    writeDicomFile(input, *state, TransferSyntax::ExplicitLittle);
    writeWholeFile(output, "old");
    const std::string program = std::string(REFCNTR_BINARY_DIR) + "/tools/refcntr";
    std::mt19937 random(15);
    for (int round = 0; round < 6; ++round) {
        const int signalNumber = round < 3 ? SIGTERM : SIGKILL;
        const pid_t child = ::fork();
        if (child == 0) {
            ::execl(program.c_str(), program.c_str(), "roundtrip", input.c_str(), output.c_str(), (char*)nullptr);
            ::_exit(127);
        }
        ::usleep(std::uniform_int_distribution<int>(0, 60000)(random));
        ::kill(child, signalNumber);
        int status = 0;
        ::waitpid(child, &status, 0);
        const std::string written = readWholeFile(output);
        EXPECT_TRUE(written == "old" || written.size() > (1u << 24)) << written.size();
        const std::vector<std::string> names = namesIn(scratch.Path());
        if (signalNumber == SIGTERM || !WIFSIGNALED(status)) {
            EXPECT_EQ(names, (std::vector<std::string>{"large.dcm", "out.dcm"})) << "round " << round;
        }
    }
    const testfiles::Outcome last = testfiles::runRefcntr("roundtrip " + quoted(input) + " " + quoted(output), scratch);
    EXPECT_EQ(last.exitCode, 0) << last.err;
    EXPECT_EQ(namesIn(scratch.Path()), (std::vector<std::string>{"large.dcm", "out.dcm", "stderr", "stdout"}));
}

}  // namespace
}  // namespace refcntr
