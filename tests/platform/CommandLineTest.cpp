// The refcntr command-line tool, run as a separate process on the sample and on bad files.
#include <string>

#include <gtest/gtest.h>

#include "support/RunProgram.h"

using refcntr::testfiles::contains;
using refcntr::testfiles::Outcome;
using refcntr::testfiles::runRefcntr;
using refcntr::testfiles::samplePath;
using refcntr::testfiles::ScratchDirectory;
using refcntr::testfiles::quoted;
using refcntr::testfiles::readWholeFile;
using refcntr::testfiles::writeWholeFile;

namespace {

class CommandLine : public ::testing::Test {
protected:
    ScratchDirectory directory;

    Outcome Run(const std::string& arguments) { return runRefcntr(arguments, directory); }

    static std::string Sample() { return samplePath(); }
};

TEST_F(CommandLine, DumpPrintsTheSampleElementByElement) {
    const Outcome result = Run("dump --raw " + quoted(Sample()));
    ASSERT_EQ(0, result.exitCode) << result.err;
    EXPECT_EQ("", result.err);
    const std::string& out = result.out;
    EXPECT_TRUE(contains(out, "(0002,0001) OB 2 bytes: 00 01")) << out;
    EXPECT_TRUE(contains(out, "(0008,0016) UI \"1.2.840.10008.5.1.4.1.1.11.1\"  # SOPClassUID\n")) << out;
    EXPECT_TRUE(contains(out, "(0008,0060) CS \"PR\"")) << out;
    EXPECT_TRUE(contains(out, "(0070,0042) US 0  # ImageRotation\n")) << out;
    EXPECT_TRUE(contains(out, "(0070,0052) SL 97\\65")) << out;
    // Items under their sequence, two spaces deeper per level.
    EXPECT_TRUE(contains(out, "(0008,1115) SQ 1 item  # ReferencedSeriesSequence\n"
                              "  Item 0\n"
                              "    (0008,1140) SQ 2 items  # ReferencedImageSequence\n"
                              "      Item 0\n"
                              "        (0008,1150) UI \"1.2.840.10008.5.1.4.1.1.2.1\"")) << out;
    EXPECT_TRUE(contains(out, "        (0008,1160) IS \"1\\2\\3\"")) << out;
    EXPECT_TRUE(contains(out, "(0023,0010) LO \"ZORVIK0\"")) << out;
    EXPECT_TRUE(contains(out, "(0023,1047) US 3  # ZORVIKSharpenKernelRows\n")) << out;
    EXPECT_TRUE(contains(out, "(0023,1049) FL 0\\-0.125\\0\\-0.125\\1.5\\-0.125\\0\\-0.125\\0  # ZORVIKSharpenKernelData"))
        << out;
    EXPECT_TRUE(contains(out, "(2050,0020) CS \"IDENTITY\"")) << out;
}

TEST_F(CommandLine, UnreadableFilesFailWithTheFileAndTheReason) {
    const std::string missing = directory.File("missing.dcm");
    const std::string text = directory.File("notes.txt");
    writeWholeFile(text, "not a DICOM file at all\n");
    const std::string cut = directory.File("cut.dcm");
    const std::string sample = readWholeFile(Sample());
    writeWholeFile(cut, sample.substr(0, sample.size() / 2));

    const struct {
        std::string path;
        std::string reason;
    } cases[] = {{missing, "no such file"}, {text, "not a DICOM file"}, {cut, "truncated"}};
    for (const auto& failing : cases) {
        const Outcome result = Run("dump " + quoted(failing.path));
        EXPECT_EQ(1, result.exitCode) << failing.path;
        EXPECT_EQ("", result.out) << failing.path;
        EXPECT_TRUE(contains(result.err, failing.path)) << result.err;
        EXPECT_TRUE(contains(result.err, failing.reason)) << result.err;
    }
}

TEST_F(CommandLine, BadUsageExitsWithTwoAndUsage) {
    for (const std::string arguments : {"", "list x.dcm", "dump"}) {
        const Outcome result = Run(arguments);
        EXPECT_EQ(2, result.exitCode) << "'" << arguments << "'";
        EXPECT_TRUE(contains(result.err, "usage: refcntr dump FILE")) << result.err;
        EXPECT_EQ("", result.out);
    }
}

TEST_F(CommandLine, HelpGoesToStandardOutput) {
    for (const std::string arguments : {"--help", "dump --help"}) {
        const Outcome result = Run(arguments);
        EXPECT_EQ(0, result.exitCode) << arguments;
        EXPECT_TRUE(contains(result.out, "usage: refcntr dump FILE")) << result.out;
        EXPECT_EQ("", result.err);
    }
}

}  // namespace
