// Every command on large generated inputs (each well under 100 MB) stays within 1 GB of memory
// and 10 s of processor time: a million referenced frames, a directory of 100,000 records, and
// a chain of 30,000 lower-level records.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/RawBytes.h"
#include "support/RunProgram.h"

namespace refcntr {
namespace {

using testfiles::Outcome;
using testfiles::quoted;
using testfiles::runRefcntr;
using testfiles::ScratchDirectory;
using testfiles::writeWholeFile;
using namespace testfiles::raw;

// The bounds hold for an optimized build; sanitizers, coverage counters and -O0 multiply the
// work, so such builds run the commands without them.
#if defined(__SANITIZE_ADDRESS__) || !defined(__OPTIMIZE__)
constexpr bool instrumented = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool instrumented = true;
#else
constexpr bool instrumented = false;
#endif
#else
constexpr bool instrumented = false;
#endif

constexpr long mostKilobytes = 1024 * 1024;
constexpr int mostProcessorSeconds = 10;

const std::string stateClass = "1.2.840.10008.5.1.4.1.1.11.1";
const std::string referencedImageUID = "2.25.9200";

// A grayscale presentation state in implicit VR (IS values longer than 64 KiB need its 32-bit
// lengths) whose displayed area applies to `frames` frames of one image.
std::string stateWithFrames(unsigned frames) {
    std::string numbers;
    for (unsigned frame = 1; frame <= frames; ++frame) numbers += (frame > 1 ? "\\" : "") + std::to_string(frame);
    const std::string image = element(0x0008, 0x1150, "", uid("1.2.840.10008.5.1.4.1.1.2")) +
                              element(0x0008, 0x1155, "", uid(referencedImageUID));
    const std::string series = element(0x0008, 0x1140, "", item(image)) + element(0x0020, 0x000E, "", uid("2.25.9300"));
    const std::string area = element(0x0008, 0x1140, "", item(image + element(0x0008, 0x1160, "", even(numbers)))) +
                             element(0x0070, 0x0052, "", u32(1) + u32(1)) +
                             element(0x0070, 0x0053, "", u32(512) + u32(512)) +
                             element(0x0070, 0x0100, "", "SCALE TO FIT");
    return fileStart(stateClass, "1.2.840.10008.1.2") + element(0x0008, 0x0016, "", stateClass) +
           element(0x0008, 0x0018, "", uid("2.25.9400")) + element(0x0008, 0x0060, "", "PR") +
           element(0x0008, 0x1115, "", item(series)) + element(0x0070, 0x005A, "", item(area)) +
           element(0x0070, 0x0080, "", "FRAMES");
}

// A media directory of records given by type: record i is followed by record i + 1 (its next
// record when `chained` is false, its lower-level record when true).
std::string directoryOf(const std::vector<std::string>& types, bool chained) {
    const std::string start = fileStart("1.2.840.10008.1.3.10", "1.2.840.10008.1.2.1");
    // Records hold offsets, which depend on where the records are: each record's size is
    // known before its offsets are.
    std::vector<std::string> contents;
    contents.reserve(types.size());
    for (std::size_t i = 0; i < types.size(); ++i) {
        std::string content = element(0x0004, 0x1400, "UL", u32(0)) + element(0x0004, 0x1410, "US", u16(0xFFFF)) +
                              element(0x0004, 0x1420, "UL", u32(0)) + element(0x0004, 0x1430, "CS", even(types[i]));
        if (types[i] == "IMAGE")
            content += element(0x0004, 0x1500, "CS", even("IMAGES\\IM" + std::to_string(i))) +
                       element(0x0004, 0x1510, "UI", uid("1.2.840.10008.5.1.4.1.1.2")) +
                       element(0x0004, 0x1511, "UI", uid("2.25.95" + std::to_string(i)));
        contents.push_back(std::move(content));
    }
    const std::string head = element(0x0004, 0x1130, "CS", "BOUNDS") + element(0x0004, 0x1200, "UL", u32(0)) +
                             element(0x0004, 0x1202, "UL", u32(0)) + element(0x0004, 0x1212, "US", u16(0));
    std::size_t offset = start.size() + head.size() + 12;  // the sequence's header
    std::vector<std::uint32_t> offsets;
    for (const std::string& content : contents) {
        offsets.push_back(std::uint32_t(offset));
        offset += 8 + content.size();
    }
    std::string records;
    for (std::size_t i = 0; i < contents.size(); ++i) {
        const std::uint32_t following = i + 1 < contents.size() ? offsets[i + 1] : 0;
        std::string& content = contents[i];
        content.replace(chained ? 30 : 8, 4, u32(following));
        records += item(content);
    }
    std::string file = start + head + element(0x0004, 0x1220, "SQ", records);
    file.replace(start.size() + 22, 4, u32(offsets.front()));
    file.replace(start.size() + 34, 4, u32(chained ? offsets.front() : offsets.back()));
    return file;
}

class BoundedWork : public ::testing::Test {
protected:
    // Runs the command under a processor-time limit in a child process of its own, whose
    // children's peak resident size is then the command's.
    Outcome Run(const std::string& arguments) {
        const std::string limit = instrumented ? "" : "ulimit -t " + std::to_string(mostProcessorSeconds) + "; ";
        const std::string command =
            limit + quoted(std::string(REFCNTR_BINARY_DIR) + "/tools/refcntr") + " " + arguments;
        const std::string peakFile = scratch.File("peak");
        const pid_t child = ::fork();
        if (child == 0) {
            const Outcome outcome = testfiles::runProgram("sh", "-c " + quoted(command), scratch);
            struct rusage usage {};
            ::getrusage(RUSAGE_CHILDREN, &usage);
            writeWholeFile(peakFile, std::to_string(usage.ru_maxrss));
            ::_exit(outcome.exitCode);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        const long peakKilobytes = std::stol(testfiles::readWholeFile(peakFile));
        if (!instrumented) {
            EXPECT_LT(peakKilobytes, mostKilobytes) << arguments;
        }
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                testfiles::readWholeFile(scratch.File("stdout")), testfiles::readWholeFile(scratch.File("stderr"))};
    }

    ScratchDirectory scratch;
};

TEST_F(BoundedWork, AMillionReferencedFramesInEveryCommand) {
    const std::string path = scratch.File("frames.dcm");
    writeWholeFile(path, stateWithFrames(1000000));
    for (const std::string& command : {std::string("dump"), std::string("check")}) {
        const Outcome outcome = Run(command + " " + quoted(path) + " >/dev/null");
        EXPECT_EQ(0, outcome.exitCode) << command << ": " << outcome.err;
    }
    const Outcome applies = Run("applies " + quoted(path) + " --image " + referencedImageUID + " --frame 999999");
    EXPECT_EQ(0, applies.exitCode) << applies.err;
    EXPECT_NE(std::string::npos,
              applies.out.find("Displayed area selection items for image 2.25.9200, frame 999999: 1\n"))
        << applies.out;
    const Outcome roundtrip = Run("roundtrip " + quoted(path) + " " + quoted(scratch.File("out.dcm")));
    EXPECT_EQ(0, roundtrip.exitCode) << roundtrip.err;
    EXPECT_NE(std::string::npos, roundtrip.out.find("0 attributes missing, 0 changed")) << roundtrip.err;
}

TEST_F(BoundedWork, AHundredThousandRecordsInEveryCommand) {
    const std::string path = scratch.File("DICOMDIR");
    std::vector<std::string> types{"PATIENT", "STUDY", "SERIES"};
    types.resize(3 + 100000, "IMAGE");
    writeWholeFile(path, directoryOf(types, false));
    const Outcome tree = Run("tree " + quoted(path));
    EXPECT_EQ(0, tree.exitCode) << tree.err;
    EXPECT_NE(std::string::npos, tree.out.find("IM99999")) << tree.out.substr(0, 2000);
    for (const std::string& command : {std::string("dump"), std::string("check")}) {
        const Outcome outcome = Run(command + " " + quoted(path) + " >/dev/null");
        EXPECT_EQ(0, outcome.exitCode) << command << ": " << outcome.err;
    }
    const Outcome roundtrip = Run("roundtrip " + quoted(path) + " " + quoted(scratch.File("OUT")));
    EXPECT_EQ(0, roundtrip.exitCode) << roundtrip.err;
}

TEST_F(BoundedWork, ThirtyThousandLevelsOfLowerLevelRecords) {
    const std::string path = scratch.File("DICOMDIR");
    writeWholeFile(path, directoryOf(std::vector<std::string>(30000, "PRIVATE"), true));
    const Outcome tree = Run("tree " + quoted(path) + " | tail -n 1");
    EXPECT_EQ(0, tree.exitCode) << tree.err;
    EXPECT_NE(std::string::npos, tree.out.find("[29999] PRIVATE")) << tree.out;
    const Outcome dump = Run("dump " + quoted(path) + " >/dev/null");
    EXPECT_EQ(0, dump.exitCode) << dump.err;
}

}  // namespace
}  // namespace refcntr
