// Damaged presentation-state files, one test per kind of damage: readDicomFile and the refcntr
// tool either refuse the file, naming it and the reason, or (where DCMTK reads the whole data
// set despite the damage) read it; `roundtrip` never leaves a partial output behind.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "support/RunProgram.h"
#include "refcntr/core/AttributeReader.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/LengthField.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {
namespace {

using testfiles::contains;
using testfiles::Outcome;
using testfiles::quoted;
using testfiles::runRefcntr;
using testfiles::samplePath;
using testfiles::ScratchDirectory;
using testfiles::writeWholeFile;

const char* const grayscaleStateClass = "1.2.840.10008.5.1.4.1.1.11.1";

// Explicit VR little endian bytes, written exactly as told (lengths included).
class Bytes {
public:
    Bytes& u16(std::uint16_t value) {
        itsBytes += char(value & 0xFF);
        itsBytes += char(value >> 8);
        return *this;
    }
    Bytes& u32(std::uint32_t value) { return u16(std::uint16_t(value & 0xFFFF)).u16(std::uint16_t(value >> 16)); }
    Bytes& raw(const std::string& bytes) {
        itsBytes += bytes;
        return *this;
    }
    // An element whose length field says `length`, whatever the value holds.
    Bytes& header(std::uint16_t group, std::uint16_t element, const std::string& vr, std::uint32_t length) {
        u16(group).u16(element).raw(vr);
        return hasLongLengthField(VRCode::make(vr[0], vr[1])) ? u16(0).u32(length) : u16(std::uint16_t(length));
    }
    Bytes& element(std::uint16_t group, std::uint16_t element, const std::string& vr, const std::string& value) {
        return header(group, element, vr, std::uint32_t(value.size())).raw(value);
    }
    Bytes& undefinedLengthSequence(std::uint16_t group, std::uint16_t element) {
        return header(group, element, "SQ", 0xFFFFFFFF);
    }
    Bytes& undefinedLengthItem() { return u16(0xFFFE).u16(0xE000).u32(0xFFFFFFFF); }
    Bytes& itemDelimiter() { return u16(0xFFFE).u16(0xE00D).u32(0); }
    Bytes& sequenceDelimiter() { return u16(0xFFFE).u16(0xE0DD).u32(0); }
    const std::string& str() const { return itsBytes; }

private:
    std::string itsBytes;
};

const char* const mediaStorageDirectoryClass = "1.2.840.10008.1.3.10";

// Preamble and meta header of a file of the SOP class (the transfer syntax UID padded to even length).
Bytes fileStart(const char* sopClass, const std::string& transferSyntax = std::string("1.2.840.10008.1.2.1") + '\0') {
    Bytes meta;
    meta.element(0x0002, 0x0001, "OB", std::string("\0\1", 2))
        .element(0x0002, 0x0002, "UI", sopClass)
        .element(0x0002, 0x0003, "UI", "2.25.77130")
        .element(0x0002, 0x0010, "UI", transferSyntax);
    Bytes file;
    file.raw(std::string(128, '\0') + "DICM").header(0x0002, 0x0000, "UL", 4).u32(std::uint32_t(meta.str().size()));
    file.raw(meta.str());
    return file;
}

// The start of a grayscale presentation state, up to group 0010.
Bytes presentationStateStart() {
    return fileStart(grayscaleStateClass)
        .element(0x0008, 0x0016, "UI", grayscaleStateClass)
        .element(0x0008, 0x0018, "UI", "2.25.77130")
        .element(0x0008, 0x0060, "CS", "PR");
}

// A referenced series item: series UID, then one referenced image.
std::string referencedSeriesItemContent() {
    Bytes image;
    image.element(0x0008, 0x1150, "UI", std::string("1.2.840.10008.5.1.4.1.1.2") + '\0')
        .element(0x0008, 0x1155, "UI", "2.25.4510");
    Bytes item;
    item.undefinedLengthSequence(0x0008, 0x1140)
        .undefinedLengthItem()
        .raw(image.str())
        .itemDelimiter()
        .sequenceDelimiter()
        .element(0x0020, 0x000E, "UI", "2.25.4500");
    return item.str();
}

struct Damage {
    const char* name;
    std::function<std::string()> bytes;
    // Empty when the file is read; else what the refusal must say.
    std::string reason;
    // For a file that is read: text the dump shows, and the note on what was read past.
    std::string shown;
    std::string noted;
};

const Damage damages[] = {
    {"TruncatedInsideAnElement",
     [] {
         const std::string whole = presentationStateStart()
                                       .element(0x0010, 0x0010, "PN", "Lindqvist^Maja")
                                       .element(0x0070, 0x0080, "CS", "REVIEW")
                                       .str();
         return whole.substr(0, whole.size() - 3);
     },
     "truncated", "", ""},
    {"TruncatedInsideASequence",
     [] {
         const std::string whole = presentationStateStart()
                                       .undefinedLengthSequence(0x0008, 0x1115)
                                       .undefinedLengthItem()
                                       .raw(referencedSeriesItemContent())
                                       .itemDelimiter()
                                       .sequenceDelimiter()
                                       .str();
         return whole.substr(0, whole.size() - 40);
     },
     "truncated", "", ""},
    {"OddValueLengths",
     [] {
         return presentationStateStart()
             .element(0x0010, 0x0010, "PN", "Doe^Jon")
             .element(0x0070, 0x0080, "CS", "ABC")
             .str();
     },
     "", "itsContentLabelElement = \"ABC\"",
     "(0010,0010) PatientName: text of odd length, or padded with a NUL; read without the NUL"},
    {"LengthLargerThanTheFile",
     [] {
         return presentationStateStart()
             .element(0x0010, 0x0010, "PN", "Doe^Jon ")
             .header(0x0040, 0xA160, "UT", 0x00100000)
             .raw("short")
             .str();
     },
     "truncated", "", ""},
    {"SequenceItemWithoutDelimiter",
     [] {
         return presentationStateStart()
             .undefinedLengthSequence(0x0008, 0x1115)
             .undefinedLengthItem()
             .raw(referencedSeriesItemContent())
             .sequenceDelimiter()
             .element(0x0070, 0x0080, "CS", "REVIEW")
             .str();
     },
     "truncated", "", ""},
    {"UNElementInPlaceOfASequence",
     [] {
         // The item in implicit VR, as a UN element carries it, with a defined length.
         Bytes implicitItem;
         implicitItem.u16(0x0020).u16(0x000E).u32(8).raw("2.25.45 ");
         Bytes item;
         item.u16(0xFFFE).u16(0xE000).u32(std::uint32_t(implicitItem.str().size())).raw(implicitItem.str());
         return presentationStateStart()
             .element(0x0008, 0x1115, "UN", item.str())
             .element(0x0070, 0x0080, "CS", "REVIEW")
             .str();
     },
     "", "itsSeriesInstanceUIDElement = \"2.25.45\"",
     "(0008,1115) ReferencedSeriesSequence: VR UN where the dictionary has SQ; converted to SQ"},
    {"StringWhereUSIsExpected",
     [] {
         return presentationStateStart()
             .element(0x0070, 0x0042, "CS", "90")
             .element(0x0070, 0x0080, "CS", "REVIEW")
             .str();
     },
     "", "itsImageRotationElement = 90",
     "(0070,0042) ImageRotation: VR CS where the dictionary has US; converted to US"},
    {"DirectoryRecordTypeThatMakesDCMTKThrow",
     [] {
         // "SERIES" and 58 NULs: DCMTK 3.6.7 throws std::out_of_range checking the record type.
         Bytes record;
         record.element(0x0004, 0x1430, "CS", "SERIES" + std::string(58, '\0'));
         Bytes item;
         item.u16(0xFFFE).u16(0xE000).u32(std::uint32_t(record.str().size())).raw(record.str());
         return fileStart(mediaStorageDirectoryClass).element(0x0004, 0x1220, "SQ", item.str()).str();
     },
     "not a valid DICOM file", "", ""},
    {"EmptyFile", [] { return std::string(); }, "empty file", "", ""},
    {"TextFile", [] { return std::string("Presentation state notes\nnothing DICOM here\n"); }, "not a DICOM file", "",
     ""},
};

void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

class MalformedFile : public ::testing::TestWithParam<Damage> {
protected:
    ScratchDirectory directory;
    ScratchDirectory output;

    Outcome Run(const std::string& arguments) { return runRefcntr(arguments, output); }

    std::vector<std::string> FilesInDirectory() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory.Path()))
            names.push_back(entry.path().filename().string());
        return names;
    }
};

TEST_P(MalformedFile, IsRefusedWithItsNameAndReasonOrReadWhole) {
    const Damage& damage = GetParam();
    const std::string path = directory.File("state.dcm");
    writeWholeFile(path, damage.bytes());

    std::string failure;
    std::vector<std::string> notes;
    try {
        readDicomFile(path, notes);
    } catch (const RuntimeException& error) {
        failure = error.what();
    }
    if (!damage.reason.empty()) {
        EXPECT_TRUE(contains(failure, path)) << failure;
        EXPECT_TRUE(contains(failure, damage.reason)) << failure;
    } else {
        EXPECT_EQ("", failure);
        EXPECT_NE(std::find(notes.begin(), notes.end(), damage.noted), notes.end()) << testing::PrintToString(notes);
    }

    const Outcome dump = Run("dump " + quoted(path));
    if (!damage.reason.empty()) {
        EXPECT_EQ(1, dump.exitCode) << dump.err;
        EXPECT_EQ("", dump.out);
        EXPECT_TRUE(contains(dump.err, path) && contains(dump.err, damage.reason)) << dump.err;
    } else {
        EXPECT_EQ(0, dump.exitCode) << dump.err;
        EXPECT_TRUE(contains(dump.out, damage.shown)) << dump.out;
        EXPECT_TRUE(contains(dump.err, "refcntr: warning: '" + path + "': " + damage.noted)) << dump.err;
    }
}

TEST_P(MalformedFile, RoundtripWritesAWholeFileOrNothing) {
    const Damage& damage = GetParam();
    const std::string path = directory.File("state.dcm");
    const std::string written = directory.File("out.dcm");
    writeWholeFile(path, damage.bytes());

    const Outcome roundtrip = Run("roundtrip " + quoted(path) + " " + quoted(written));
    if (!damage.reason.empty()) {
        EXPECT_EQ(1, roundtrip.exitCode) << roundtrip.err;
        EXPECT_TRUE(contains(roundtrip.err, path) && contains(roundtrip.err, damage.reason)) << roundtrip.err;
        EXPECT_EQ(std::vector<std::string>{"state.dcm"}, FilesInDirectory());
        return;
    }
    EXPECT_EQ(0, roundtrip.exitCode) << roundtrip.err;
    EXPECT_TRUE(contains(roundtrip.err, damage.noted)) << roundtrip.err;
    EXPECT_NO_THROW(readDicomFile(written));
    EXPECT_EQ(2u, FilesInDirectory().size());
    const Outcome dump = Run("dump " + quoted(written));
    EXPECT_EQ(0, dump.exitCode) << dump.err;
    EXPECT_TRUE(contains(dump.out, damage.shown)) << dump.out;
}

// DCMTK pads an odd-length text with a NUL; the bridge drops it and pads with a blank, so
// "Doe^Jon" (7 bytes) reads as "Doe^Jon", not "Doe^Jon\0".
TEST(MalformedFiles, OddLengthTextIsReadWithoutAnAddedNul) {
    ScratchDirectory directory;
    const std::string path = directory.File("odd.dcm");
    writeWholeFile(path, presentationStateStart().element(0x0010, 0x0010, "PN", "Doe^Jon").str());
    const auto data = readDicomFile(path);
    RWCString name;
    ASSERT_EQ(1, data->GetString(0x0010, 0x0010, name));
    EXPECT_EQ("Doe^Jon", name);
    const VR* element = data->GetVR(0x0010, 0x0010);
    ASSERT_EQ(8u, element->GetLength());
    EXPECT_EQ(' ', element->GetData()[7]);
}

TEST(MalformedFiles, ASoundFileGetsNoNotes) {
    std::vector<std::string> notes;
    readDicomFile(samplePath(), notes);
    EXPECT_TRUE(notes.empty()) << testing::PrintToString(notes);
}

// 150 items of a sequence, each with an image rotation written as CS: a note for each of the
// first 100, then one line that counts the rest, and the faults inside items are found.
TEST(MalformedFiles, ManyFaultsGetAHundredNotesAndACountOfTheRest) {
    Bytes file = presentationStateStart();
    file.undefinedLengthSequence(0x0008, 0x1115);
    for (int item = 0; item < 150; ++item)
        file.undefinedLengthItem().element(0x0070, 0x0042, "CS", "90").itemDelimiter();
    file.sequenceDelimiter();
    ScratchDirectory directory;
    const std::string path = directory.File("many.dcm");
    writeWholeFile(path, file.str());
    std::vector<std::string> notes;
    readDicomFile(path, notes);
    ASSERT_EQ(101u, notes.size());
    EXPECT_EQ("(0070,0042) ImageRotation: VR CS where the dictionary has US; converted to US", notes[99]);
    EXPECT_EQ("and 50 more", notes[100]);
}

// A value stored with a VR other than the dictionary's is converted by its meaning when that is
// exact, else kept as read; either way a note says which. A text kept where binary numbers
// belong is never taken for their bytes.
TEST(MalformedFiles, ValuesStoredWithAnotherVRAreConvertedByMeaningOrKeptAndNoted) {
    Bytes file = presentationStateStart();
    std::string spacing(8, '\0');
    const double half = 0.5;
    std::memcpy(&spacing[0], &half, 8);
    file.element(0x0018, 0x1164, "FD", spacing)                             // DS in the dictionary
        .element(0x0028, 0x0010, "IS", "512 ")                              // US
        .element(0x0028, 0x0011, "UL", std::string("\x70\x11\x01\x00", 4))  // US, 70000 does not fit
        .element(0x0070, 0x0022, "DS", "280.5\\190 ")                       // FL
        .element(0x0070, 0x0041, "DS", "1.5e300 ")                          // CS: text, kept
        .element(0x0070, 0x0042, "DS", "abc ");                             // US: not a number, kept
    ScratchDirectory directory;
    const std::string path = directory.File("vrs.dcm");
    writeWholeFile(path, file.str());
    std::vector<std::string> notes;
    const std::unique_ptr<DICOMDataObject> data = readDicomFile(path, notes);
    EXPECT_EQ(notes, (std::vector<std::string>{
                         "(0018,1164) ImagerPixelSpacing: VR FD where the dictionary has DS; converted to DS",
                         "(0028,0010) Rows: VR IS where the dictionary has US; converted to US",
                         "(0028,0011) Columns: VR UL where the dictionary has US; kept as read",
                         "(0070,0022) GraphicData: VR DS where the dictionary has FL; converted to FL",
                         "(0070,0041) ImageHorizontalFlip: VR DS where the dictionary has CS; kept as read",
                         "(0070,0042) ImageRotation: VR DS where the dictionary has US; kept as read"}));
    RWCString text;
    ASSERT_TRUE(data->GetString(0x0018, 0x1164, text));
    EXPECT_EQ("0.5", text);
    UINT16 rows = 0;
    ASSERT_TRUE(data->GetUINT16(0x0028, 0x0010, rows));
    EXPECT_EQ(512, rows);
    const VR* graphic = data->GetVR(0x0070, 0x0022);
    ASSERT_EQ(VRCode::FL, graphic->GetVRCode());
    float points[2];
    ASSERT_EQ(8u, graphic->GetLength());
    std::memcpy(points, graphic->GetData(), 8);
    EXPECT_EQ(280.5f, points[0]);
    EXPECT_EQ(190.0f, points[1]);
    EXPECT_EQ(VRCode::UL, data->GetVR(0x0028, 0x0011)->GetVRCode());
    EXPECT_EQ(VRCode::DS, data->GetVR(0x0070, 0x0042)->GetVRCode());

    // Graphic data kept as text is not read as floats.
    Bytes kept = presentationStateStart();
    kept.element(0x0070, 0x0022, "DS", "x\\y ");
    writeWholeFile(path, kept.str());
    OwnedArray<float> graphicData;
    EXPECT_FALSE(attribute::readRawArray(*readDicomFile(path), 0x0070, 0x0022, graphicData));
}

// Found by fuzzing: DCMTK allocated the 4 GiB that an element inside a UN sequence claimed. A UN
// value whose elements do not fit in it is kept as read, unparsed.
TEST(MalformedFiles, AUNSequenceWhoseElementClaimsMoreThanItHoldsIsKeptAsRead) {
    Bytes implicitItem;
    implicitItem.u16(0x0020).u16(0x000E).u32(0xFFFFFFF0).raw("2.25.45");
    Bytes item;
    item.u16(0xFFFE).u16(0xE000).u32(std::uint32_t(implicitItem.str().size())).raw(implicitItem.str());
    Bytes file = presentationStateStart();
    file.element(0x0008, 0x1115, "UN", item.str() + " ");
    ScratchDirectory directory;
    const std::string path = directory.File("un.dcm");
    writeWholeFile(path, file.str());
    std::vector<std::string> notes;
    const std::unique_ptr<DICOMDataObject> data = readDicomFile(path, notes);
    EXPECT_EQ(VRCode::UN, data->GetVR(0x0008, 0x1115)->GetVRCode());
    EXPECT_NE(std::find(notes.begin(), notes.end(),
                        "(0008,1115) ReferencedSeriesSequence: VR UN where the dictionary has SQ; kept as read"),
              notes.end())
        << testing::PrintToString(notes);
}

// DCMTK's log lines about the file being read are read notes, each once, and never reach the
// library user's standard error.
TEST(MalformedFiles, DCMTKsLogLinesAboutTheFileAreReadNotesNotStandardError) {
    Bytes file = presentationStateStart();
    file.element(0x0020, 0x000D, "UI", "2.25. 7").element(0x0020, 0x000E, "UI", "2.25. 8");
    ScratchDirectory directory;
    const std::string path = directory.File("spaces.dcm");
    writeWholeFile(path, file.str());
    const std::string errors = directory.File("stderr");
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
    EXPECT_EQ(1, std::count_if(notes.begin(), notes.end(),
                               [](const std::string& note) {
                                   return contains(note, "StudyInstanceUID") && contains(note, "space");
                               }))
        << testing::PrintToString(notes);
    EXPECT_EQ(1, std::count_if(notes.begin(), notes.end(),
                               [](const std::string& note) {
                                   return contains(note, "SeriesInstanceUID") && contains(note, "space");
                               }))
        << testing::PrintToString(notes);
}

// A presentation state whose content sequence nests `depth` levels deep, in explicit VR with
// undefined lengths.
std::string nestedExplicitly(std::size_t depth) {
    Bytes file = presentationStateStart();
    for (std::size_t level = 0; level < depth; ++level)
        file.undefinedLengthSequence(0x0040, 0xA730).undefinedLengthItem();
    file.element(0x0040, 0xA040, "CS", "TEXT");
    for (std::size_t level = 0; level < depth; ++level) file.itemDelimiter().sequenceDelimiter();
    return file.str();
}

// The same as a bare implicit VR data set with defined lengths.
std::string nestedImplicitly(std::size_t depth) {
    auto implicitElement = [](Bytes& bytes, std::uint16_t group, std::uint16_t element, std::uint32_t length) {
        bytes.u16(group).u16(element).u32(length);
    };
    Bytes file;
    implicitElement(file, 0x0008, 0x0060, 2);
    file.raw("PR");
    // Lengths from the inside out: an item holds the level within, a sequence its one item.
    std::vector<std::uint32_t> itemLengths(depth);
    std::uint32_t inner = 8 + 4;  // the innermost element
    for (std::size_t level = depth; level-- > 0;) {
        itemLengths[level] = inner;
        inner = 8 + 8 + inner;
    }
    for (std::size_t level = 0; level < depth; ++level) {
        implicitElement(file, 0x0040, 0xA730, 8 + itemLengths[level]);
        implicitElement(file, 0xFFFE, 0xE000, itemLengths[level]);
    }
    implicitElement(file, 0x0040, 0xA040, 4);
    return file.raw("TEXT").str();
}

// The same data set deflated, after a meta header that says so.
std::string nestedDeflated(std::size_t depth) {
    const std::string plain = nestedExplicitly(depth).substr(presentationStateStart().str().size());
    Bytes body = Bytes()
                     .element(0x0008, 0x0016, "UI", grayscaleStateClass)
                     .element(0x0008, 0x0018, "UI", "2.25.77130")
                     .element(0x0008, 0x0060, "CS", "PR")
                     .raw(plain);
    z_stream stream{};
    EXPECT_EQ(Z_OK, deflateInit2(&stream, 6, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY));
    std::string deflated(deflateBound(&stream, uLong(body.str().size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.str().data()));
    stream.avail_in = uInt(body.str().size());
    stream.next_out = reinterpret_cast<Bytef*>(deflated.data());
    stream.avail_out = uInt(deflated.size());
    EXPECT_EQ(Z_STREAM_END, deflate(&stream, Z_FINISH));
    deflated.resize(stream.total_out);
    deflateEnd(&stream);
    return fileStart(grayscaleStateClass, "1.2.840.10008.1.2.1.99").raw(deflated).str();
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
            try {
                readDicomFile(path);
                ADD_FAILURE() << tooDeep << " levels were read";
            } catch (const RuntimeException& error) {
                EXPECT_EQ(error.GetMessage(),
                          "cannot read '" + path + "': sequences nested more than 1000 levels deep");
            }
        }
        const Outcome dump = runRefcntr("dump " + quoted(path), directory);
        EXPECT_EQ(dump.exitCode, 1);
        EXPECT_TRUE(contains(dump.err, "nested more than 1000 levels deep")) << dump.err;
    }
}

// Two damages DCMTK reads past without a word: the file ending right after a sequence's header,
// and an item whose length runs past its sequence (swallowing what follows). Both are noted.
TEST(MalformedFiles, AFileEndingInASequenceAndAnItemRunningPastItAreNoted) {
    ScratchDirectory directory;
    const std::string path = directory.File("damaged.dcm");

    writeWholeFile(path, presentationStateStart().undefinedLengthSequence(0x0008, 0x1115).str());
    std::vector<std::string> notes;
    readDicomFile(path, notes);
    EXPECT_EQ(notes, std::vector<std::string>{"(0008,1115) ReferencedSeriesSequence: the file ends inside this "
                                              "sequence; it was read as far as it goes"});

    Bytes image;
    image.element(0x0008, 0x1155, "UI", "2.25.4510");
    const Bytes after = Bytes().element(0x0010, 0x0010, "PN", "Doe^Jane");
    Bytes file = presentationStateStart();
    file.header(0x0008, 0x1115, "SQ", std::uint32_t(8 + image.str().size()))
        .u16(0xFFFE)
        .u16(0xE000)
        .u32(std::uint32_t(image.str().size() + after.str().size()))
        .raw(image.str())
        .raw(after.str());
    writeWholeFile(path, file.str());
    notes.clear();
    readDicomFile(path, notes);
    // DCMTK's own lines about the odd lengths come first.
    ASSERT_FALSE(notes.empty());
    EXPECT_EQ(notes.back(),
              "(0008,1115) ReferencedSeriesSequence: an item's length runs past the end of this sequence; "
              "what follows the sequence was read into the item");
}

INSTANTIATE_TEST_SUITE_P(EachDamage, MalformedFile, ::testing::ValuesIn(damages),
                         [](const ::testing::TestParamInfo<Damage>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace refcntr
