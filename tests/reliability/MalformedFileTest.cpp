// Damaged presentation-state files, one row per kind of damage: readDicomFile and the refcntr
// tool either refuse the file, naming it and the reason, or (where DCMTK reads the whole data
// set despite the damage) read it with a note; `roundtrip` never leaves a partial output behind.
// Then damages whose notes or values need a closer look.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "support/Failures.h"
#include "support/RawBytes.h"
#include "support/TestFiles.h"
#include "support/SameDataSet.h"
#include "refcntr/core/AttributeReader.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {
namespace {

using testfiles::contains;
using testfiles::failureOf;
using testfiles::namesIn;
using testfiles::Outcome;
using testfiles::quoted;
using testfiles::runRefcntr;
using testfiles::samplePath;
using testfiles::ScratchDirectory;
using testfiles::writeWholeFile;
using namespace testfiles::raw;

const char* const grayscaleStateClass = "1.2.840.10008.5.1.4.1.1.11.1";

// The start of a grayscale presentation state, up to group 0010.
const std::string stateStart = fileStart(grayscaleStateClass) + element(0x0008, 0x0016, "UI", grayscaleStateClass) +
                               element(0x0008, 0x0018, "UI", "2.25.77130") + element(0x0008, 0x0060, "CS", "PR");

// A referenced series item: series UID, then one referenced image.
const std::string referencedSeriesItemContent =
    undefinedLengthSequence(
        0x0008, 0x1140,
        element(0x0008, 0x1150, "UI", uid("1.2.840.10008.5.1.4.1.1.2")) + element(0x0008, 0x1155, "UI", "2.25.4510")) +
    element(0x0020, 0x000E, "UI", "2.25.4500");

struct Damage {
    const char* name;
    std::string bytes;
    std::string reason;      // empty when the file is read; else what the refusal must say
    std::string shown = "";  // for a file that is read: text the dump shows
    std::string noted = "";  // and the note on what was read past
};

std::string cut(const std::string& bytes, std::size_t count) { return bytes.substr(0, bytes.size() - count); }

const std::string reviewLabel = element(0x0070, 0x0080, "CS", "REVIEW");

const Damage damages[] = {
    {"TruncatedInsideAnElement", cut(stateStart + element(0x0010, 0x0010, "PN", "Lindqvist^Maja") + reviewLabel, 3),
     "truncated"},
    {"TruncatedInsideASequence",
     cut(stateStart + undefinedLengthSequence(0x0008, 0x1115, referencedSeriesItemContent), 40), "truncated"},
    {"OddValueLengths", stateStart + element(0x0010, 0x0010, "PN", "Doe^Jon") + element(0x0070, 0x0080, "CS", "ABC"),
     "", "itsContentLabelElement = \"ABC\"",
     "(0010,0010) PatientName: text of odd length, or padded with a NUL; read without the NUL"},
    {"LengthLargerThanTheFile",
     stateStart + element(0x0010, 0x0010, "PN", "Doe^Jon ") + header(0x0040, 0xA160, "UT", 0x00100000) + "short",
     "truncated"},
    {"SequenceItemWithoutDelimiter",
     stateStart + undefinedLengthSequenceStart(0x0008, 0x1115) + undefinedLengthItemStart() +
         referencedSeriesItemContent + sequenceDelimiter() + reviewLabel,
     "truncated"},
    // The item in implicit VR, as a UN element carries it, with a defined length.
    {"UNElementInPlaceOfASequence",
     stateStart + element(0x0008, 0x1115, "UN", item(element(0x0020, 0x000E, "", "2.25.45 "))) + reviewLabel, "",
     "itsSeriesInstanceUIDElement = \"2.25.45\"",
     "(0008,1115) ReferencedSeriesSequence: VR UN where the dictionary has SQ; converted to SQ"},
    // Found by fuzzing: DCMTK allocated the 4 GiB that an element inside a UN sequence claimed.
    // A UN value whose elements do not fit in it is kept as read, unparsed.
    {"UNSequenceWhoseElementClaimsMoreThanItHolds",
     stateStart + element(0x0008, 0x1115, "UN", item(header(0x0020, 0x000E, "", 0xFFFFFFF0) + "2.25.45") + " ") +
         reviewLabel,
     "", "itsContentLabelElement = \"REVIEW\"",
     "(0008,1115) ReferencedSeriesSequence: VR UN where the dictionary has SQ; kept as read"},
    // Found by fuzzing: DCMTK takes a UID starting with "=" for a UID's name, refuses to set it,
    // and the read failed without naming the file.
    {"UIDStoredAsUNThatDCMTKTakesForAName",
     stateStart + element(0x0020, 0x000E, "UN", "=I2.276.0.7230010.3 ") + reviewLabel, "",
     "itsContentLabelElement = \"REVIEW\"",
     "(0020,000E) SeriesInstanceUID: VR UN where the dictionary has UI; kept as read"},
    {"StringWhereUSIsExpected", stateStart + element(0x0070, 0x0042, "CS", "90") + reviewLabel, "",
     "itsImageRotationElement = 90", "(0070,0042) ImageRotation: VR CS where the dictionary has US; converted to US"},
    // Two damages DCMTK reads past without a word: the file ending right after a sequence's
    // header, and an item whose length runs past its sequence (swallowing what follows).
    {"FileEndingInASequence", stateStart + undefinedLengthSequenceStart(0x0008, 0x1115), "",
     "itsReferencedSeriesSequenceElement = \n    {\n    }\n",
     "(0008,1115) ReferencedSeriesSequence: the file ends inside this sequence; it was read as far as it goes"},
    {"ItemRunningPastItsSequence",
     stateStart + header(0x0008, 0x1115, "SQ", 8 + 17) + header(0xFFFE, 0xE000, "", 17 + 16) +
         element(0x0008, 0x1155, "UI", "2.25.4510") + element(0x0010, 0x0010, "PN", "Doe^Jane") + reviewLabel,
     "", "itsContentLabelElement = \"REVIEW\"",
     "(0008,1115) ReferencedSeriesSequence: an item's length runs past the end of this sequence; what follows the "
     "sequence was read into the item"},
    // "SERIES" and 58 NULs: DCMTK 3.6.7 throws std::out_of_range checking the record type.
    {"DirectoryRecordTypeThatMakesDCMTKThrow",
     fileStart("1.2.840.10008.1.3.10") +
         element(0x0004, 0x1220, "SQ", item(element(0x0004, 0x1430, "CS", "SERIES" + std::string(58, '\0')))),
     "not a valid DICOM file"},
    {"EmptyFile", "", "empty file"},
    {"TextFile", "Presentation state notes\nnothing DICOM here\n", "not a DICOM file"},
};

void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

class MalformedFile : public ::testing::TestWithParam<Damage> {};

TEST_P(MalformedFile, IsRefusedWithItsNameAndReasonOrReadWholeWithANote) {
    const Damage& damage = GetParam();
    ScratchDirectory directory, output;
    const std::string path = directory.File("state.dcm"), written = directory.File("out.dcm");
    writeWholeFile(path, damage.bytes);
    std::vector<std::string> notes;
    const std::string failure = failureOf([&] { readDicomFile(path, notes); });
    const Outcome dump = runRefcntr("dump " + quoted(path), output);
    const Outcome roundtrip = runRefcntr("roundtrip " + quoted(path) + " " + quoted(written), output);
    if (!damage.reason.empty()) {
        EXPECT_TRUE(contains(failure, path) && contains(failure, damage.reason)) << failure;
        EXPECT_EQ("", dump.out);
        for (const Outcome& run : {dump, roundtrip}) {
            EXPECT_EQ(1, run.exitCode) << run.err;
            EXPECT_TRUE(contains(run.err, path) && contains(run.err, damage.reason)) << run.err;
        }
        EXPECT_EQ(std::vector<std::string>{"state.dcm"}, namesIn(directory.Path()));
        return;
    }
    EXPECT_EQ("", failure);
    EXPECT_EQ(1, std::count(notes.begin(), notes.end(), damage.noted)) << ::testing::PrintToString(notes);
    EXPECT_TRUE(contains(dump.err, "refcntr: warning: '" + path + "': " + damage.noted)) << dump.err;
    EXPECT_TRUE(contains(roundtrip.err, damage.noted)) << roundtrip.err;
    EXPECT_NO_THROW(readDicomFile(written));
    EXPECT_EQ(2u, namesIn(directory.Path()).size());
    const Outcome dumpWritten = runRefcntr("dump " + quoted(written), output);
    for (const Outcome* run : {&dump, &roundtrip, &dumpWritten}) EXPECT_EQ(0, run->exitCode) << run->err;
    for (const Outcome* run : {&dump, &dumpWritten}) EXPECT_TRUE(contains(run->out, damage.shown)) << run->out;
}

INSTANTIATE_TEST_SUITE_P(EachDamage, MalformedFile, ::testing::ValuesIn(damages),
                         [](const ::testing::TestParamInfo<Damage>& info) { return std::string(info.param.name); });

// The data set read from a file of these bytes, and the notes on reading it.
std::unique_ptr<DICOMDataObject> readBytes(const std::string& bytes, std::vector<std::string>& notes) {
    ScratchDirectory directory;
    writeWholeFile(directory.File("state.dcm"), bytes);
    return readDicomFile(directory.File("state.dcm"), notes);
}

// DCMTK pads an odd-length text with a NUL; the bridge drops it and pads with a blank.
TEST(MalformedFiles, OddLengthTextIsReadWithoutAnAddedNul) {
    std::vector<std::string> notes;
    const auto data = readBytes(stateStart + element(0x0010, 0x0010, "PN", "Doe^Jon"), notes);
    const VR* name = data->GetVR(0x0010, 0x0010);
    ASSERT_EQ(8u, name->GetLength());
    EXPECT_EQ("Doe^Jon ", std::string(reinterpret_cast<const char*>(name->GetData()), 8));
}

TEST(MalformedFiles, ASoundFileGetsNoNotes) {
    std::vector<std::string> notes;
    readDicomFile(samplePath(), notes);
    EXPECT_TRUE(notes.empty()) << ::testing::PrintToString(notes);
}

// 150 items of a sequence, each with an image rotation written as CS: a note for each of the
// first 100, then one line that counts the rest, and the faults inside items are found.
TEST(MalformedFiles, ManyFaultsGetAHundredNotesAndACountOfTheRest) {
    std::string file = stateStart + undefinedLengthSequenceStart(0x0008, 0x1115);
    for (int item = 0; item < 150; ++item)
        file += undefinedLengthItemStart() + element(0x0070, 0x0042, "CS", "90") + itemDelimiter();
    std::vector<std::string> notes;
    readBytes(file + sequenceDelimiter(), notes);
    ASSERT_EQ(101u, notes.size());
    EXPECT_EQ("(0070,0042) ImageRotation: VR CS where the dictionary has US; converted to US", notes[99]);
    EXPECT_EQ("and 50 more", notes[100]);
}

// A value stored with a VR other than the dictionary's is converted by its meaning when that is
// exact, else kept as read; either way a note says which. A text kept where binary numbers
// belong is never taken for their bytes.
TEST(MalformedFiles, ValuesStoredWithAnotherVRAreConvertedByMeaningOrKeptAndNoted) {
    const double half = 0.5;
    const std::string spacing(reinterpret_cast<const char*>(&half), 8);
    std::vector<std::string> notes;
    const std::unique_ptr<DICOMDataObject> data =
        readBytes(stateStart + element(0x0018, 0x1164, "FD", spacing)  // DS in the dictionary
                      + element(0x0028, 0x0010, "IS", "512 ")          // US
                      + element(0x0028, 0x0011, "UL", u32(70000))      // US, 70000 does not fit
                      + element(0x0070, 0x0022, "DS", "280.5\\190 ")   // FL
                      + element(0x0070, 0x0041, "DS", "1.5e300 ")      // CS: text, kept
                      + element(0x0070, 0x0042, "DS", "abc "),         // US: not a number, kept
                  notes);
    EXPECT_EQ(notes, (std::vector<std::string>{
                         "(0018,1164) ImagerPixelSpacing: VR FD where the dictionary has DS; converted to DS",
                         "(0028,0010) Rows: VR IS where the dictionary has US; converted to US",
                         "(0028,0011) Columns: VR UL where the dictionary has US; kept as read",
                         "(0070,0022) GraphicData: VR DS where the dictionary has FL; converted to FL",
                         "(0070,0041) ImageHorizontalFlip: VR DS where the dictionary has CS; kept as read",
                         "(0070,0042) ImageRotation: VR DS where the dictionary has US; kept as read"}));
    // Converted, the values are what the dictionary's VRs would have held; kept, they are as read.
    const float points[] = {280.5f, 190.0f};
    std::vector<std::string> none;
    const std::unique_ptr<DICOMDataObject> expected =
        readBytes(stateStart + element(0x0018, 0x1164, "DS", "0.5 ") + element(0x0028, 0x0010, "US", u16(512)) +
                      element(0x0028, 0x0011, "UL", u32(70000)) +
                      element(0x0070, 0x0022, "FL", std::string(reinterpret_cast<const char*>(points), 8)) +
                      element(0x0070, 0x0041, "DS", "1.5e300 ") + element(0x0070, 0x0042, "DS", "abc "),
                  none);
    testing::expectSameDataSet(*expected, *data);

    // Graphic data kept as text is not read as floats.
    OwnedArray<float> graphicData;
    EXPECT_FALSE(attribute::readRawArray(*readBytes(stateStart + element(0x0070, 0x0022, "DS", "x\\y "), notes), 0x0070,
                                         0x0022, graphicData));
}

// DCMTK's log lines about the file being read are read notes, each once, and never reach the
// library user's standard error.
TEST(MalformedFiles, DCMTKsLogLinesAboutTheFileAreReadNotesNotStandardError) {
    ScratchDirectory directory;
    const std::string path = directory.File("spaces.dcm"), errors = directory.File("stderr");
    writeWholeFile(path,
                   stateStart + element(0x0020, 0x000D, "UI", "2.25. 7") + element(0x0020, 0x000E, "UI", "2.25. 8"));
    std::fflush(stderr);
    const int savedError = ::dup(2);
    const int errorFile = ::open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(errorFile, 2);
    std::vector<std::string> notes;
    readDicomFile(path, notes);
    readDicomFile(path);
    std::fflush(stderr);
    ::dup2(savedError, 2);
    ::close(savedError);
    ::close(errorFile);
    EXPECT_EQ("", testfiles::readWholeFile(errors));
    for (const char* uid : {"StudyInstanceUID", "SeriesInstanceUID"}) {
        EXPECT_EQ(
            1, std::count_if(notes.begin(), notes.end(),
                             [&](const std::string& note) { return contains(note, uid) && contains(note, "space"); }))
            << ::testing::PrintToString(notes);
    }
}

// A presentation state whose content sequence nests `depth` levels deep, in explicit VR with
// undefined lengths.
std::string nestedExplicitly(std::size_t depth) {
    std::string file = stateStart;
    for (std::size_t level = 0; level < depth; ++level)
        file += undefinedLengthSequenceStart(0x0040, 0xA730) + undefinedLengthItemStart();
    file += element(0x0040, 0xA040, "CS", "TEXT");
    for (std::size_t level = 0; level < depth; ++level) file += itemDelimiter() + sequenceDelimiter();
    return file;
}

// The same as a bare implicit VR data set with defined lengths.
std::string nestedImplicitly(std::size_t depth) {
    std::string file = element(0x0008, 0x0060, "", "PR");
    for (std::size_t level = 0; level < depth; ++level) {
        // An item holds the levels within it, 16 bytes of headers each, and the innermost element.
        const std::uint32_t itemLength = std::uint32_t(16 * (depth - level - 1) + 12);
        file += header(0x0040, 0xA730, "", 8 + itemLength) + header(0xFFFE, 0xE000, "", itemLength);
    }
    return file + element(0x0040, 0xA040, "", "TEXT");
}

// The same data set deflated, after a meta header that says so.
std::string nestedDeflated(std::size_t depth) {
    const std::string body = nestedExplicitly(depth).substr(fileStart(grayscaleStateClass).size());
    z_stream stream{};
    EXPECT_EQ(Z_OK, deflateInit2(&stream, 6, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY));
    std::string deflated(deflateBound(&stream, uLong(body.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
    stream.avail_in = uInt(body.size());
    stream.next_out = reinterpret_cast<Bytef*>(deflated.data());
    stream.avail_out = uInt(deflated.size());
    EXPECT_EQ(Z_STREAM_END, deflate(&stream, Z_FINISH));
    deflated.resize(stream.total_out);
    deflateEnd(&stream);
    return fileStart(grayscaleStateClass, "1.2.840.10008.1.2.1.99") + deflated;
}

// DCMTK's parser recurses once per level; nesting past the limit is refused by name before it
// runs out of stack, in either encoding, and up to the limit the file is read.
TEST(MalformedFiles, SequencesNestedPastTheLimitAreRefusedBeforeTheParserRunsOutOfStack) {
    ScratchDirectory directory;
    const std::pair<const char*, std::string (*)(std::size_t)> encodings[] = {
        {"explicit", nestedExplicitly}, {"implicit", nestedImplicitly}, {"deflated", nestedDeflated}};
    for (const auto& [name, nested] : encodings) {
        SCOPED_TRACE(name);
        const std::string path = directory.File(std::string(name) + ".dcm");
        writeWholeFile(path, nested(1000));
        const std::unique_ptr<DICOMDataObject> read = readDicomFile(path);
        std::size_t depth = 0;
        for (const DICOMObject* level = read.get(); level != nullptr; ++depth) {
            const VR* content = level->GetVR(0x0040, 0xA730);
            const SequenceVR* sequence = content != nullptr ? content->GetAsSequenceVR() : nullptr;
            level =
                sequence != nullptr && sequence->GetNumberOfItems() == 1 ? sequence->GetSequenceItems()[0] : nullptr;
        }
        EXPECT_EQ(depth, 1001u);
        for (std::size_t tooDeep : {std::size_t(1001), std::size_t(100000)}) {
            writeWholeFile(path, nested(tooDeep));
            EXPECT_EQ(failureOf([&] { readDicomFile(path); }),
                      "cannot read '" + path + "': sequences nested more than 1000 levels deep");
        }
        const Outcome dump = runRefcntr("dump " + quoted(path), directory);
        EXPECT_EQ(dump.exitCode, 1);
        EXPECT_TRUE(contains(dump.err, "nested more than 1000 levels deep")) << dump.err;
    }
}

}  // namespace
}  // namespace refcntr
