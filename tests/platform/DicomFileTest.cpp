// The DCMTK bridge on files made by DCMTK itself (from tests/data/files): reading in every
// transfer syntax, writing in each of ours and reading back with both sides, and refusing bad files.
#include <charconv>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "support/TestFiles.h"
#include "support/BuiltFiles.h"
#include "support/Failures.h"
#include "support/PutElement.h"
#include "support/RawBytes.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/DataSetDecoder.h"
#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/ReadNotes.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

using namespace refcntr;
using namespace refcntr::testfiles;

namespace {

// An element's value as a dump writes it, read in the element's own byte order: text as stored,
// numbers in decimal, tags as tags, OB, OW and anything else (a number cut short too) in
// hexadecimal units of the VR's width.
std::string valueOf(const VR& element) {
    std::unique_ptr<VR> copy(element.Clone());
    if (copy->GetEndian() == BigEndian) copy->SwapDataEndian();
    const std::string bytes =
        copy->GetData() ? std::string(reinterpret_cast<const char*>(copy->GetData()), copy->GetLength()) : "";
    ValueType type = MDDEntry::UShortToValueType(element.GetVRCode());
    if (type == ValueType::Text) return "[" + bytes + "]";
    std::size_t width = type == ValueType::Tag ? 4 : MDDEntry::ValueWidth(element.GetVRCode());
    if (bytes.size() % width != 0) width = 1;
    if (element.GetVRCode() == VRCode::OW || width == 1) type = ValueType::Bytes;
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += width) {
        unsigned long long word = 0;  // the value's bytes as a number of this little-endian machine
        std::memcpy(&word, bytes.data() + at, width);
        const int bits = int(8 * width);
        float single;
        double twice;
        std::memcpy(&single, &word, sizeof single);
        std::memcpy(&twice, &word, sizeof twice);
        char number[32] = {};
        switch (type) {
        case ValueType::Float32: std::to_chars(number, number + sizeof number, single); break;
        case ValueType::Float64: std::to_chars(number, number + sizeof number, twice); break;
        case ValueType::Int16:
        case ValueType::Int32:
        case ValueType::Int64:
            std::snprintf(number, sizeof number, "%lld", (long long)(word << (64 - bits)) >> (64 - bits));
            break;
        case ValueType::UInt16:
        case ValueType::UInt32:
        case ValueType::UInt64: std::snprintf(number, sizeof number, "%llu", word); break;
        case ValueType::Tag: std::snprintf(number, sizeof number, "(%04llX,%04llX)", word & 0xFFFF, word >> 16); break;
        default: std::snprintf(number, sizeof number, "%0*llx", bits / 4, word);
        }
        text += (at > 0 ? "\\" : "") + std::string(number);
    }
    return text;
}

// The data set as the lines of a dump (without indentation), group 0002 left out unless `meta`;
// an element or item stored in the other byte order than the data set says so.
std::string dumpOf(const DICOMObject& dataSet, EndianType endian, bool meta) {
    std::string text;
    for (const auto& element : dataSet) {
        if (element->GetGroup() == 0x0002 && !meta) continue;
        text += element->GetTag().ToString() + " " + MDDEntry::UShortToTypeString(element->GetVRCode()) +
                (element->GetEndian() != endian ? " (other byte order)" : "");
        const SequenceVR* sequence = element->GetAsSequenceVR();
        if (sequence == nullptr) {
            text += " " + valueOf(*element) + "\n";
            continue;
        }
        text += "\n";
        for (const DICOMDataObject* item : sequence->GetSequenceItems())
            text += std::string("(FFFE,E000) na") + (item->GetEndian() != endian ? " (other byte order)" : "") + "\n" +
                    dumpOf(*item, endian, meta) + "(FFFE,E00D) na\n";
        text += "(FFFE,E0DD) na\n";
    }
    return text;
}
std::string dumpOf(const DICOMObject& dataSet, bool meta = false) { return dumpOf(dataSet, dataSet.GetEndian(), meta); }

// The lines of tests/data/files/NAME without comments and indentation.
std::string dumpFile(const std::string& name) {
    std::istringstream in(readWholeFile(REFCNTR_TEST_DATA_DIR "/files/" + name));
    std::string text;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#') text += line.substr(line.find_first_not_of(' ')) + "\n";
    return text;
}

EndianType endianOf(TransferSyntax syntax) { return syntax == TransferSyntax::ExplicitBig ? BigEndian : LittleEndian; }

RWCString stringOf(const DICOMObject& dataSet, UINT16 group, UINT16 element) {
    RWCString value;
    EXPECT_EQ(1, dataSet.GetString(group, element, value)) << MAttributeTag(group, element).ToString();
    return value;
}

class EveryVrFile : public ::testing::TestWithParam<std::tuple<TransferSyntax, TransferSyntax>> {};

// What DCMTK wrote from every-vr.dump is read in the file's byte order with every value of the
// dump, the meta header merged in that order too. Written in each syntax, it reads back with
// every value through the library and through DCMTK (whose data set converts to a little-endian one).
TEST_P(EveryVrFile, IsReadAndWrittenBackWithEveryValueOfItsDump) {
    const auto [from, to] = GetParam();
    const auto dataSet = readDicomFile(builtFile("every-vr", from));
    EXPECT_EQ(endianOf(from), dataSet->GetEndian());
    EXPECT_EQ(dumpOf(*dataSet), dumpFile("every-vr.dump"));
    EXPECT_EQ(DcmXfer(dcmtkSyntax(from)).getXferID(), stringOf(*dataSet, 0x0002, 0x0010));
    EXPECT_EQ(VRCode::OB, dataSet->GetVR(0x0002, 0x0001)->GetVRCode());
    UINT32 metaLength = 0;
    ASSERT_EQ(1, dataSet->GetUINT32(0x0002, 0x0000, metaLength));
    EXPECT_GT(metaLength, 100u);
    EXPECT_LT(metaLength, 1000u);
    // The stored bytes are in the data set's order: the first pixel word is 0x0102.
    EXPECT_EQ(from == TransferSyntax::ExplicitBig ? 0x01 : 0x02, dataSet->GetVR(0x7FE0, 0x0010)->GetData()[0]);

    ScratchDirectory output;
    const std::string path = output.File("written.dcm");
    writeDicomFile(path, *dataSet, to);
    const auto again = readDicomFile(path);
    EXPECT_EQ(endianOf(to), again->GetEndian());
    EXPECT_EQ(dumpOf(*again), dumpFile("every-vr.dump"));
    EXPECT_EQ(DcmXfer(dcmtkSyntax(to)).getXferID(), stringOf(*again, 0x0002, 0x0010));

    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(path.c_str()).good());
    EXPECT_EQ(dcmtkSyntax(to), file.getDataset()->getOriginalXfer());
    OFString sopClass;
    ASSERT_TRUE(file.getMetaInfo()->findAndGetOFString(DCM_MediaStorageSOPClassUID, sopClass).good());
    EXPECT_EQ(UID_GrayscaleSoftcopyPresentationStateStorage, std::string(sopClass.c_str()));
    const auto converted = fromDcmItem(*file.getDataset());
    EXPECT_EQ(LittleEndian, converted->GetEndian());
    EXPECT_EQ(dumpOf(*converted), dumpFile("every-vr.dump"));
}

INSTANTIATE_TEST_SUITE_P(FromEachToEachTransferSyntax, EveryVrFile,
                         ::testing::Combine(::testing::ValuesIn(writtenSyntaxes), ::testing::ValuesIn(writtenSyntaxes)),
                         syntaxPairParamName);

// Values DCMTK changes on writing: trailing blanks and NULs, odd lengths of every kind, a
// number of 3 bytes, group lengths at the top and in an item, a text too long for a 16-bit
// length, empty sequences and items, a VR code that names no VR, an ambiguous one, leading
// blanks, and a tag list. (Built in C++: DCMTK's tools would correct them.)
std::unique_ptr<DICOMDataObject> awkwardDataSet(EndianType endian) {
    auto dataSet = std::make_unique<DICOMDataObject>(endian);
    putElement(*dataSet, 0x0008, 0x0000, VRCode::UL, std::string(4, '\0'));
    putElement(*dataSet, 0x0008, 0x0016, VRCode::UI, std::string("1.2.840.10008.5.1.4.1.1.11.1") + '\0');
    putElement(*dataSet, 0x0008, 0x0018, VRCode::UI, "2.25.7 ");
    putElement(*dataSet, 0x0008, 0x1030, VRCode::LO, "  X   ");
    putElement(*dataSet, 0x0009, 0x0010, VRCode::OB, "\x01\x02\x03");
    putElement(*dataSet, 0x0010, 0x0010, VRCode::PN, std::string("AB\0 ", 4));
    putElement(*dataSet, 0x0010, 0x0020, VRCode::LO, std::string(70001, 'x'));
    putElement(*dataSet, 0x0011, 0x0010, VRCode::UN, "abc");
    putElement(*dataSet, 0x0018, 0x0050, VRCode::DS, " 1.5 ");
    putElement(*dataSet, 0x0019, 0x1000, 0x5A5A, "zz");
    putElement(*dataSet, 0x0020, 0x9165, VRCode::AT, std::string("\x18\x00\x63\x10\x18\x00\x65\x10", 8));
    putElement(*dataSet, 0x0028, 0x0106, VRCode::US_OR_SS, std::string("\x05\x00", 2));
    putElement(*dataSet, 0x0070, 0x0022, VRCode::FL, "abc");
    putElement(*dataSet, 0x0070, 0x0024, VRCode::CS, "");
    putElement(*dataSet, 0x7FE0, 0x0010, VRCode::OW, "abcde");
    auto* sequence = new SequenceVR(0x0008, 0x1140, endian);
    sequence->AddSequenceItem(new DICOMDataObject(endian));
    auto* item = new DICOMDataObject(endian);
    putElement(*item, 0x0008, 0x0000, VRCode::UL, std::string(4, '\0'));
    putElement(*item, 0x0008, 0x1150, VRCode::UI, "1.2.3");
    item->ReplaceVR(new SequenceVR(0x0008, 0x1199, endian));
    sequence->AddSequenceItem(item);
    dataSet->ReplaceVR(sequence);
    dataSet->ReplaceVR(new SequenceVR(0x0040, 0xA730, endian));
    return dataSet;
}

// DCMTK's writing of the data set from its own elements: group 0002 into the meta header.
void writeThroughDcmtk(const std::string& path, const DICOMDataObject& dataSet, TransferSyntax syntax,
                       E_EncodingType lengths) {
    DcmFileFormat file;
    for (const auto& element : dataSet) {
        DcmItem& destination = element->GetGroup() == 0x0002 ? static_cast<DcmItem&>(*file.getMetaInfo())
                                                             : static_cast<DcmItem&>(*file.getDataset());
        ASSERT_TRUE(destination.insert(newDcmElement(*element), OFTrue).good());
    }
    ASSERT_TRUE(
        file.getMetaInfo()->putAndInsertString(DCM_TransferSyntaxUID, DcmXfer(dcmtkSyntax(syntax)).getXferID()).good());
    ASSERT_TRUE(
        file.saveFile(path.c_str(), dcmtkSyntax(syntax), lengths, EGL_recalcGL, EPD_noChange, 0, 0, EWM_fileformat)
            .good());
}

class EncodedFile : public ::testing::TestWithParam<TransferSyntax> {};

// The data set is encoded byte for byte as DCMTK writes it from its own elements, with either
// kind of sequence lengths; a media directory gets explicit ones.
TEST_P(EncodedFile, IsWhatDCMTKWritesFromTheSameElements) {
    ScratchDirectory output;
    std::vector<std::pair<std::string, std::unique_ptr<DICOMDataObject>>> dataSets;
    dataSets.emplace_back("explicit little", readDicomFile(builtFile("every-vr", TransferSyntax::ExplicitLittle)));
    dataSets.emplace_back("explicit big", readDicomFile(builtFile("every-vr", TransferSyntax::ExplicitBig)));
    dataSets.emplace_back("sample", readDicomFile(samplePath()));
    dataSets.emplace_back("awkward little", awkwardDataSet(LittleEndian));
    dataSets.emplace_back("awkward big", awkwardDataSet(BigEndian));
    for (const auto& [name, dataSet] : dataSets) {
        SCOPED_TRACE(name);
        const std::string ours = output.File("ours.dcm"), theirs = output.File("theirs.dcm");
        writeDicomFile(ours, *dataSet, GetParam());
        writeThroughDcmtk(theirs, *dataSet, GetParam(), EET_UndefinedLength);
        const std::string expected = readWholeFile(theirs);
        ASSERT_GT(expected.size(), 132u);
        EXPECT_EQ(readWholeFile(ours), expected);

        auto* records = new SequenceVR(0x0004, 0x1220, dataSet->GetEndian());
        records->AddSequenceItem(new DICOMDataObject(*dataSet));
        records->AddSequenceItem(new DICOMDataObject(dataSet->GetEndian()));
        DICOMDataObject directory(*dataSet);
        directory.ReplaceVR(records);
        writeDicomFile(ours, directory, GetParam());
        writeThroughDcmtk(theirs, directory, GetParam(), EET_ExplicitLength);
        EXPECT_EQ(readWholeFile(ours), readWholeFile(theirs)) << "as a directory";
    }
}

INSTANTIATE_TEST_SUITE_P(EachTransferSyntax, EncodedFile, ::testing::ValuesIn(writtenSyntaxes), syntaxParamName);

// What reading through DCMTK gives, and DCMTK's notes about it.
std::unique_ptr<DICOMDataObject> readThroughDcmtk(const std::string& path, std::vector<std::string>& notes) {
    DcmFileFormat file;
    EXPECT_TRUE(file.loadFile(path.c_str()).good()) << path;
    const bool big = file.getDataset()->getOriginalXfer() == EXS_BigEndianExplicit;
    auto dataSet = std::make_unique<DICOMDataObject>(big ? BigEndian : LittleEndian);
    appendFromDcmItem(*file.getMetaInfo(), *dataSet);
    appendFromDcmItem(*file.getDataset(), *dataSet);
    noteReadFaults(*file.getMetaInfo(), notes);
    noteReadFaults(*file.getDataset(), notes);
    return dataSet;
}

std::unique_ptr<DICOMDataObject> decodeBytes(const std::string& bytes) {
    return decodeCommonFile(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

// A file of raw elements (explicit VR little endian) after a meta header.
std::string rawFile(const std::string& elements) { return raw::fileStart("1.2.840.10008.5.1.4.1.1.11.1") + elements; }

// The common file is read straight into the data set, and what it gives is what reading
// through DCMTK gives, value for value and in the same byte order, without a note; anything DCMTK would change or note
// is left to DCMTK. (The texts file is raw bytes: items of both kinds of length in one sequence and the pads DCMTK's
// writer would correct.)
TEST(CommonFiles, DecodedStraightReadAsThroughDCMTK) {
    ScratchDirectory scratch;
    const std::string texts = scratch.File("texts.dcm");
    const std::string item =
        raw::element(0x0008, 0x1150, "UI", std::string("1.2.3\0", 6)) + raw::element(0x0008, 0x1155, "UI", "1.2.34");
    const std::string delimitedItem = raw::undefinedLengthItemStart() + item + raw::itemDelimiter();
    writeWholeFile(
        texts,
        rawFile(raw::element(0x0008, 0x0000, "UL", raw::u32(16)) + raw::element(0x0008, 0x0020, "DA", "20240101") +
                raw::element(0x0008, 0x0030, "TM", "1015  ") + raw::element(0x0008, 0x0054, "AE", " AE ") +
                raw::element(0x0008, 0x0060, "CS", "  ") + raw::element(0x0008, 0x1030, "LO", "  AB  ") +
                raw::undefinedLengthSequenceStart(0x0008, 0x1140) + delimitedItem + raw::item(item) +
                raw::sequenceDelimiter() + raw::element(0x0008, 0x114A, "SQ", raw::item(item)) +
                raw::element(0x0010, 0x0010, "PN", "A B ") + raw::element(0x0010, 0x1010, "AS", "") +
                raw::element(0x0018, 0x0050, "DS", " 1.5") + raw::element(0x0020, 0x0013, "IS", "12  ") +
                raw::element(0x0020, 0x4000, "LT", "X\\  ") + raw::element(0x0040, 0xA160, "UT", "A   ") +
                raw::element(0x0070, 0x0006, "ST", "text  ")));
    const std::string paths[] = {builtFile("every-vr", TransferSyntax::ExplicitLittle),
                                 builtFile("every-vr", TransferSyntax::ExplicitBig), samplePath(), texts};
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        const std::unique_ptr<DICOMDataObject> decoded = decodeBytes(readWholeFile(path));
        ASSERT_NE(decoded, nullptr);
        std::vector<std::string> notes;
        const std::unique_ptr<DICOMDataObject> throughDcmtk = readThroughDcmtk(path, notes);
        EXPECT_EQ(decoded->GetEndian(), throughDcmtk->GetEndian());
        EXPECT_EQ(dumpOf(*decoded, true), dumpOf(*throughDcmtk, true));
        EXPECT_TRUE(notes.empty()) << notes.front();
    }

    const std::pair<const char*, std::string> leftToDcmtk[] = {
        {"a VR other than the dictionary's", raw::element(0x0010, 0x0010, "LO", "AB")},
        {"UN", raw::element(0x0010, 0x0010, "UN", "AB")},
        {"an odd length", raw::element(0x0010, 0x0010, "PN", "ABC")},
        {"a NUL in a text", raw::element(0x0010, 0x0010, "PN", std::string("AB\0\0", 4))},
        {"a blank in a UID", raw::element(0x0008, 0x0018, "UI", "1.2 ")},
        {"a vertical tab in a UID", raw::element(0x0008, 0x0018, "UI", std::string("1.2\v\0", 4))},
        {"elements out of order", raw::element(0x0010, 0x0020, "LO", "AB") + raw::element(0x0010, 0x0010, "PN", "AB")},
        {"a value past the end", raw::element(0x0010, 0x0010, "PN", "ABCD").substr(0, 10)},
        {"a VR no one knows", raw::element(0x0010, 0x0010, "QQ", "AB")},
    };
    for (const auto& [fault, elements] : leftToDcmtk) EXPECT_EQ(decodeBytes(rawFile(elements)), nullptr) << fault;
    // Found by fuzzing: files that DCMTK reads otherwise than the decoder would (a meta element
    // given twice, of which DCMTK keeps the first; a vertical tab in a UID, which DCMTK removes).
    for (const char* found : {"meta-element-given-twice.dcm", "uid-with-a-vertical-tab.dcm"}) {
        const std::string bytes = readWholeFile(std::string(REFCNTR_TEST_DATA_DIR "/fuzz/") + found);
        ASSERT_FALSE(bytes.empty()) << found;
        EXPECT_EQ(decodeBytes(bytes), nullptr) << found;
    }
    // A meta group length that ends the meta header elsewhere than group 0002 ends: DCMTK
    // follows the length.
    std::string misplaced = rawFile(raw::element(0x0010, 0x0010, "PN", "AB"));
    misplaced[140] = char(misplaced[140] + 10);
    EXPECT_EQ(decodeBytes(misplaced), nullptr);
}

// The data set of a big-endian file goes into DCMTK's item with its meta group, its empty
// element and its values in DCMTK's native order (an element of ambiguous VR as US), and comes
// back with every value of its dump.
TEST(DcmtkItems, ToDcmItemKeepsMetaGroupEmptyElementsAndNativeValues) {
    const auto dataSet = readDicomFile(builtFile("every-vr", TransferSyntax::ExplicitBig));
    putElement(*dataSet, 0x0028, 0x0106, VRCode::US_OR_SS, std::string("\x00\x07", 2));
    DcmItem converted;
    toDcmItem(*dataSet, converted);
    OFString uid;
    ASSERT_TRUE(converted.findAndGetOFString(DCM_TransferSyntaxUID, uid).good());
    EXPECT_EQ("1.2.840.10008.1.2.2", std::string(uid.c_str()));
    Uint16 value = 0;
    ASSERT_TRUE(converted.findAndGetUint16(DCM_Rows, value).good());
    EXPECT_EQ(512, value);
    ASSERT_TRUE(converted.findAndGetUint16(DCM_SmallestImagePixelValue, value).good());
    EXPECT_EQ(7, value);
    Sint16 signedValue = 0;
    ASSERT_TRUE(converted.findAndGetSint16(DCM_TagAngleSecondAxis, signedValue).good());
    EXPECT_EQ(-5, signedValue);
    ASSERT_TRUE(converted.findAndGetUint16(DCM_GraphicDimensions, value, 0, OFTrue).good());  // in an item's item
    EXPECT_EQ(2, value);
    delete converted.remove(DCM_SmallestImagePixelValue);
    EXPECT_EQ(dumpOf(*fromDcmItem(converted)), dumpFile("every-vr.dump"));
}

// An OW of 83 bytes (a palette read with an odd byte count) went to DCMTK as 41 words: its last
// byte was lost in the written file. It is completed with a zero byte, in either byte order.
TEST(DcmtkItems, ToDcmItemCompletesAWordValueOfOddLengthInsteadOfCuttingIt) {
    for (EndianType endian : {LittleEndian, BigEndian}) {
        DICOMDataObject dataSet(endian);
        putElement(dataSet, 0x0028, 0x1202, VRCode::OW, "\x01\x02\x03");
        DcmItem converted;
        toDcmItem(dataSet, converted);
        DcmElement* written = nullptr;
        ASSERT_TRUE(converted.findAndGetElement(DCM_GreenPaletteColorLookupTableData, written).good());
        ASSERT_EQ(4u, written->getLength());
        Uint16* words = nullptr;
        ASSERT_TRUE(written->getUint16Array(words).good());
        const Uint16 first = endian == LittleEndian ? 0x0201 : 0x0102;
        const Uint16 second = endian == LittleEndian ? 0x0003 : 0x0300;
        EXPECT_EQ(first, words[0]);
        EXPECT_EQ(second, words[1]);
    }
}

// Files that cannot be read are refused with their name and what they are (a file that only
// claims to be empty, and a device, are called what they are).
TEST(BadFiles, AreRefusedWithTheReason) {
    ScratchDirectory directory;
    writeWholeFile(directory.File("empty.dcm"), "");
    writeWholeFile(directory.File("notes.txt"), "Presentation state notes\nnothing DICOM here\n");
    // Cut in 40,000 bytes of pixel data (too many for a dump) that DCMTK leaves on disk, and in the meta header.
    const std::string whole = rawFile(raw::element(0x7FE0, 0x0010, "OB", std::string(40000, '\x12')));
    for (std::size_t cut : {20000, 200, 133})
        writeWholeFile(directory.File("cut-" + std::to_string(cut)), whole.substr(0, cut));
    const char* const truncated = "truncated (the data end inside an element, item or sequence)";
    const std::pair<std::string, const char*> files[] = {{directory.File("absent.dcm"), "no such file"},
                                                         {directory.File("empty.dcm"), "empty file"},
                                                         {directory.File("notes.txt"), "not a DICOM file"},
                                                         {directory.Path().string(), "is a directory"},
                                                         {"/proc/self/status", "not a DICOM file"},
                                                         {"/dev/zero", "not a regular file"},
                                                         {directory.File("cut-20000"), truncated},
                                                         {directory.File("cut-200"), truncated},
                                                         {directory.File("cut-133"), truncated}};
    for (const auto& [path, reason] : files) {
        const std::string& file = path;  // a lambda cannot capture a structured binding in C++17
        EXPECT_EQ(failureOf([&] { readDicomFile(file); }), "cannot read '" + file + "': " + reason);
    }
}

TEST(BadFiles, DamagedCopiesOfTheSampleReadOrThrowButNeverCrash) {
    ScratchDirectory directory;
    const std::string sample = readWholeFile(samplePath());
    ASSERT_GT(sample.size(), 1000u);
    std::mt19937 random(4471);
    const std::string path = directory.File("damaged.dcm");
    for (int round = 0; round < 300; ++round) {
        std::string damaged = sample;
        if (round % 3 == 0) damaged.resize(133 + random() % (sample.size() - 133));
        for (int flips = 0; flips < 4; ++flips) damaged[132 + random() % (damaged.size() - 132)] = char(random());
        writeWholeFile(path, damaged);
        try {
            readDicomFile(path);
        } catch (const RuntimeException& error) {
            EXPECT_NE(std::string::npos, std::string(error.what()).find(path));
        }
    }
}

// The encoded items of a file's encapsulated pixel data, the sequence delimiter included. (Some
// writers store the element as OW; it is written back as OB, which is what such data are.)
std::string encodedPixelData(const std::string& path) {
    const std::string bytes = readWholeFile(path);
    std::size_t start = bytes.size();
    do start = bytes.rfind(std::string("\xe0\x7f\x10\x00", 4), start - 1);
    while (start != std::string::npos && start > 0 &&
           bytes.compare(start + 6, 6, std::string("\0\0\xff\xff\xff\xff", 6)) != 0);
    if (start == std::string::npos) return "";
    start += 12;
    std::size_t offset = start;
    while (offset + 8 <= bytes.size()) {
        const auto byte = [&](std::size_t at) { return std::size_t(static_cast<unsigned char>(bytes[offset + at])); };
        const bool delimiter = byte(2) == 0xDD;
        offset += 8 + (byte(4) | byte(5) << 8 | byte(6) << 16 | byte(7) << 24);
        if (delimiter) return bytes.substr(start, offset - start);
    }
    return "";
}

// Compressed pixel data (dcmcrle's) read as their items, offset table included, written back in
// the same transfer syntax exactly as DCMTK wrote them, and refused in any other with the reason.
TEST(EncapsulatedPixelData, AreKeptInTheirOwnTransferSyntaxOnly) {
    ScratchDirectory directory;
    const std::string compressed = builtFile("secondary-capture-rle");
    const auto data = readDicomFile(compressed);
    const VR* pixelData = data->GetVR(0x7FE0, 0x0010);
    ASSERT_NE(nullptr, pixelData);
    EXPECT_TRUE(pixelData->IsEncapsulated());
    EXPECT_EQ(VRCode::OB, pixelData->GetVRCode());

    const std::string same = directory.File("same.dcm");
    writeDicomFile(same, *data, TransferSyntax::Encapsulated);
    const std::string written = encodedPixelData(same);
    EXPECT_FALSE(written.empty());
    EXPECT_EQ(encodedPixelData(compressed), written);
    EXPECT_EQ(dumpOf(*data), dumpOf(*readDicomFile(same)));
    const std::string decompressed = directory.File("decompressed.dcm");
    ASSERT_EQ(0, runCommand(REFCNTR_DCMTK_BIN_DIR "/dcmdrle " + quoted(same) + " " + quoted(decompressed)));
    EXPECT_EQ(valueOf(*readDicomFile(builtFile("secondary-capture"))->GetVR(0x7FE0, 0x0010)),
              valueOf(*readDicomFile(decompressed)->GetVR(0x7FE0, 0x0010)));

    const std::string other = directory.File("explicit.dcm");
    const std::string failure = failureOf([&] { writeDicomFile(other, *data, TransferSyntax::ExplicitLittle); });
    EXPECT_EQ(0u, failure.rfind("cannot write '" + other + "': ", 0)) << failure;
    EXPECT_NE(std::string::npos, failure.find("encapsulated pixel data, which can be written only")) << failure;
    EXPECT_FALSE(std::filesystem::exists(other));
}

// Compressed images from other toolkits (JPEG, JPEG-LS, JPEG 2000, RLE; one or many frames and
// fragments) write back element for element, their pixel data byte for byte.
TEST(EncapsulatedPixelData, OfOtherToolkitsWriteBackElementForElement) {
    const auto files = pydicomFiles("test_files");
    if (files.empty()) GTEST_SKIP() << "pydicom's test files are not installed";
    ScratchDirectory directory;
    unsigned compared = 0;
    for (const std::filesystem::path& file : files) {
        std::unique_ptr<DICOMDataObject> data;
        try {
            data = readDicomFile(file.string());
        } catch (const RuntimeException&) {
            continue;
        }
        const VR* pixelData = data->GetVR(0x7FE0, 0x0010);
        if (pixelData == nullptr || !pixelData->IsEncapsulated()) continue;
        // Group lengths are recomputed on write, and some of these files store wrong ones.
        std::vector<UINT16> groups;
        for (const auto& element : *data)
            if (element->GetElement() == 0x0000) groups.push_back(element->GetGroup());
        for (UINT16 group : groups) data->RemoveVR(group, 0x0000);
        const std::string written = directory.File("written.dcm");
        writeDicomFile(written, *data, TransferSyntax::Encapsulated);
        EXPECT_TRUE(dumpOf(*data) == dumpOf(*readDicomFile(written))) << file;
        const std::string original = encodedPixelData(file.string());
        EXPECT_FALSE(original.empty()) << file;
        EXPECT_TRUE(original == encodedPixelData(written)) << file;
        ++compared;
    }
    EXPECT_GE(compared, 30u);
}

}  // namespace
