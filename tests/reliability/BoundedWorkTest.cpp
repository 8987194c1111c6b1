// Every command on large generated inputs (each well under 100 MB) stays within 1 GB of memory
// and 10 s of processor time: a million referenced frames, a directory of 100,000 records, and
// a chain of 30,000 lower-level records.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/RawBytes.h"
#include "support/TestFiles.h"

namespace refcntr {
namespace {

using testfiles::contains;
using testfiles::Outcome;
using testfiles::quoted;
using testfiles::readWholeFile;
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
    // Runs each command line under a processor-time limit in a child process of its own, whose
    // children's peak resident size is then the command's: it succeeds within the bounds, and
    // prints its text when it has one.
    void ExpectEachSucceeds(const std::vector<std::pair<std::string, std::string>>& commands) {
        const std::string limit = instrumented ? "" : "ulimit -t " + std::to_string(mostProcessorSeconds) + "; ";
        const std::string peakFile = scratch.File("peak");
        for (const auto& [arguments, shown] : commands) {
            const std::string command =
                limit + quoted(std::string(REFCNTR_BINARY_DIR) + "/tools/refcntr") + " " + arguments;
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
            if (!instrumented) {
                EXPECT_LT(std::stol(readWholeFile(peakFile)), mostKilobytes) << arguments;
            }
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
                << arguments << ": " << readWholeFile(scratch.File("stderr"));
            const std::string out = readWholeFile(scratch.File("stdout"));
            if (!shown.empty()) {
                EXPECT_TRUE(contains(out, shown)) << arguments << ": " << out.substr(0, 2000);
            }
        }
    }

    ScratchDirectory scratch;
};

TEST_F(BoundedWork, AMillionReferencedFramesInEveryCommand) {
    writeWholeFile(scratch.File("frames.dcm"), stateWithFrames(1000000));
    const std::string path = quoted(scratch.File("frames.dcm"));
    ExpectEachSucceeds(
        {{"dump " + path + " >/dev/null", ""},
         {"check " + path + " >/dev/null", ""},
         {"applies " + path + " --image " + referencedImageUID + " --frame 999999",
          "Displayed area selection items for image 2.25.9200, frame 999999: 1\n"},
         {"roundtrip " + path + " " + quoted(scratch.File("out.dcm")), "0 attributes missing, 0 changed"}});
}

TEST_F(BoundedWork, AHundredThousandRecordsInEveryCommand) {
    std::vector<std::string> types{"PATIENT", "STUDY", "SERIES"};
    types.resize(3 + 100000, "IMAGE");
    writeWholeFile(scratch.File("DICOMDIR"), directoryOf(types, false));
    const std::string path = quoted(scratch.File("DICOMDIR"));
    ExpectEachSucceeds({{"tree " + path, "IM99999"},
                        {"dump " + path + " >/dev/null", ""},
                        {"check " + path + " >/dev/null", ""},
                        {"roundtrip " + path + " " + quoted(scratch.File("OUT")), ""}});
}

TEST_F(BoundedWork, ThirtyThousandLevelsOfLowerLevelRecords) {
    writeWholeFile(scratch.File("DICOMDIR"), directoryOf(std::vector<std::string>(30000, "PRIVATE"), true));
    const std::string path = quoted(scratch.File("DICOMDIR"));
    ExpectEachSucceeds({{"tree " + path + " | tail -n 1", "[29999] PRIVATE"}, {"dump " + path + " >/dev/null", ""}});
}

}  // namespace
}  // namespace refcntr
