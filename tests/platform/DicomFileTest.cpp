// The DCMTK bridge on files made by DCMTK itself: reading in every transfer syntax DCMTK's tools
// produce, writing in each of ours and reading back with both sides, and refusing bad files.
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "TestFiles.h"
#include "support/RunProgram.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/DataSetDecoder.h"
#include "refcntr/platform/DataSetEncoder.h"
#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/LengthField.h"
#include "refcntr/platform/ReadNotes.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/platform/VRAccess.h"

using namespace refcntr;
using refcntr::testfiles::ScratchDirectory;

namespace {

const char* const explicitLittleUID = "1.2.840.10008.1.2.1";
const char* const explicitBigUID = "1.2.840.10008.1.2.2";
const char* const implicitLittleUID = "1.2.840.10008.1.2";

constexpr unsigned pixelWords = 64;
const Float32 kernel[9] = {0.0f, -0.125f, 0.0f, -0.125f, 1.5f, -0.125f, 0.0f, -0.125f, 0.0f};
const Uint8 documentBytes[5] = {0x25, 0x50, 0x44, 0x46, 0x2D};

Uint16 pixelWord(unsigned i) { return Uint16(0x0102 + i * 0x0101); }

template <class Element>
void insertPrivate(DcmItem& item, Uint16 element, DcmEVR vr, const std::function<void(Element&)>& fill) {
    auto* created = new Element(DcmTag(0x0023, element, vr));
    fill(*created);
    ASSERT_TRUE(item.insert(created, OFTrue).good());
}

// A presentation-state-like data set built with DCMTK's own API: strings (one of odd length),
// an empty element, US, SS, UL, SL, FL, FD, two AT values, OB, OW, a sequence with a nested sequence and
// a private block of ZORVIK0.
void buildDataSet(DcmDataset& dataset) {
    ASSERT_TRUE(dataset.putAndInsertString(DCM_SOPClassUID, UID_GrayscaleSoftcopyPresentationStateStorage).good());
    ASSERT_TRUE(dataset.putAndInsertString(DCM_SOPInstanceUID, "2.25.4471").good());
    ASSERT_TRUE(dataset.putAndInsertString(DCM_Modality, "PR").good());
    ASSERT_TRUE(dataset.putAndInsertString(DCM_PatientName, "Doe^Jon").good());
    ASSERT_TRUE(dataset.insertEmptyElement(DCM_StudyDescription).good());
    ASSERT_TRUE(dataset.putAndInsertUint16(DCM_Rows, 512).good());
    ASSERT_TRUE(dataset.putAndInsertSint16(DCM_TagAngleSecondAxis, -5).good());
    const Uint32 frames[3] = {1, 70000, 3};
    ASSERT_TRUE(dataset.putAndInsertUint32Array(DCM_SimpleFrameList, frames, 3).good());
    auto* corner = new DcmSignedLong(DCM_DisplayedAreaTopLeftHandCorner);
    const Sint32 cornerValues[2] = {-97, 65};
    ASSERT_TRUE(corner->putSint32Array(cornerValues, 2).good());
    ASSERT_TRUE(dataset.insert(corner).good());
    const Float32 points[4] = {280.5f, 190.0f, -312.25f, 1e-3f};
    ASSERT_TRUE(dataset.putAndInsertFloat32Array(DCM_GraphicData, points, 4).good());
    ASSERT_TRUE(dataset.putAndInsertFloat64(DCM_EventTimeOffset, 1234.5678).good());
    auto* pointers = new DcmAttributeTag(DCM_FrameIncrementPointer);
    ASSERT_TRUE(pointers->putTagVal(DCM_FrameTime, 0).good());
    ASSERT_TRUE(pointers->putTagVal(DCM_FrameTimeVector, 1).good());
    ASSERT_TRUE(dataset.insert(pointers).good());
    ASSERT_TRUE(dataset.putAndInsertUint8Array(DCM_EncapsulatedDocument, documentBytes, 5).good());
    std::vector<Uint16> words(pixelWords);
    for (unsigned i = 0; i < pixelWords; ++i) words[i] = pixelWord(i);
    ASSERT_TRUE(dataset.putAndInsertUint16Array(DCM_PixelData, words.data(), pixelWords).good());

    DcmItem* first = nullptr;
    ASSERT_TRUE(dataset.findOrCreateSequenceItem(DCM_ReferencedImageSequence, first, -2).good());
    first->putAndInsertString(DCM_ReferencedSOPClassUID, UID_EnhancedCTImageStorage);
    first->putAndInsertString(DCM_ReferencedSOPInstanceUID, "2.25.451");
    first->putAndInsertString(DCM_ReferencedFrameNumber, "1\\2");
    DcmItem* second = nullptr;
    ASSERT_TRUE(dataset.findOrCreateSequenceItem(DCM_ReferencedImageSequence, second, -2).good());
    second->putAndInsertString(DCM_ReferencedSOPClassUID, UID_CTImageStorage);
    DcmItem* code = nullptr;
    ASSERT_TRUE(second->findOrCreateSequenceItem(DCM_PurposeOfReferenceCodeSequence, code, -2).good());
    code->putAndInsertString(DCM_CodeValue, "121311");
    code->putAndInsertUint16(DCM_GraphicDimensions, 2);

    insertPrivate<DcmLongString>(dataset, 0x0010, EVR_LO, [](DcmLongString& e) { e.putString("ZORVIK0"); });
    insertPrivate<DcmLongText>(dataset, 0x1051, EVR_LT, [](DcmLongText& e) { e.putString("layout=2x1;sync=scroll"); });
    insertPrivate<DcmLongString>(dataset, 0x1046, EVR_LO, [](DcmLongString& e) { e.putString("UNSHARP_MASK"); });
    insertPrivate<DcmUnsignedShort>(dataset, 0x1047, EVR_US, [](DcmUnsignedShort& e) { e.putUint16(3); });
    insertPrivate<DcmFloatingPointSingle>(dataset, 0x1049, EVR_FL,
                                          [](DcmFloatingPointSingle& e) { e.putFloat32Array(kernel, 9); });
}

template <class T>
std::vector<T> valuesOf(const VR& element) {
    std::vector<T> values(element.GetLength() / sizeof(T));
    const UINT32 bytes = UINT32(values.size() * sizeof(T));
    if (element.GetEndian() == LittleEndian)
        EXPECT_EQ(1, VRAccessLE(element).GetValues(values.data(), bytes, sizeof(T)));
    else
        EXPECT_EQ(1, VRAccessBE(element).GetValues(values.data(), bytes, sizeof(T)));
    return values;
}

const VR& required(const DICOMObject& dataSet, UINT16 group, UINT16 element) {
    const VR* found = dataSet.GetVR(group, element);
    if (found == nullptr) throw RuntimeException("missing " + MAttributeTag(group, element).ToString());
    return *found;
}

RWCString stringOf(const DICOMObject& dataSet, UINT16 group, UINT16 element) {
    RWCString value;
    EXPECT_EQ(1, dataSet.GetString(group, element, value)) << MAttributeTag(group, element).ToString();
    return value;
}

// Checks every value buildDataSet() put in, read in the data set's byte order.
void expectBuiltContent(const DICOMObject& dataSet, EndianType endian) {
    EXPECT_EQ(endian, dataSet.GetEndian());
    EXPECT_EQ(UID_GrayscaleSoftcopyPresentationStateStorage, stringOf(dataSet, 0x0008, 0x0016));
    EXPECT_EQ("Doe^Jon", stringOf(dataSet, 0x0010, 0x0010));
    EXPECT_EQ(8u, required(dataSet, 0x0010, 0x0010).GetLength());
    EXPECT_EQ(VRCode::PN, required(dataSet, 0x0010, 0x0010).GetVRCode());

    const VR& empty = required(dataSet, 0x0008, 0x1030);
    EXPECT_EQ(VRCode::LO, empty.GetVRCode());
    EXPECT_EQ(0u, empty.GetLength());
    EXPECT_EQ("", stringOf(dataSet, 0x0008, 0x1030));

    UINT16 rows = 0;
    ASSERT_EQ(1, dataSet.GetUINT16(0x0028, 0x0010, rows));
    EXPECT_EQ(512, rows);
    INT16 angle = 0;
    ASSERT_EQ(1, dataSet.GetINT16(0x0018, 0x9219, angle));
    EXPECT_EQ(-5, angle);
    EXPECT_EQ((std::vector<UINT32>{1, 70000, 3}), valuesOf<UINT32>(required(dataSet, 0x0008, 0x1161)));
    EXPECT_EQ((std::vector<INT32>{-97, 65}), valuesOf<INT32>(required(dataSet, 0x0070, 0x0052)));
    EXPECT_EQ((std::vector<FLOAT>{280.5f, 190.0f, -312.25f, 1e-3f}),
              valuesOf<FLOAT>(required(dataSet, 0x0070, 0x0022)));
    EXPECT_EQ((std::vector<DOUBLE>{1234.5678}), valuesOf<DOUBLE>(required(dataSet, 0x0008, 0x2134)));
    EXPECT_EQ((std::vector<UINT16>{0x0018, 0x1063, 0x0018, 0x1065}),
              valuesOf<UINT16>(required(dataSet, 0x0028, 0x0009)));
    EXPECT_EQ(VRCode::AT, required(dataSet, 0x0028, 0x0009).GetVRCode());

    const VR& document = required(dataSet, 0x0042, 0x0011);
    EXPECT_EQ(VRCode::OB, document.GetVRCode());
    ASSERT_EQ(6u, document.GetLength());
    EXPECT_EQ(0, std::memcmp(document.GetData(), documentBytes, 5));

    const VR& pixels = required(dataSet, 0x7FE0, 0x0010);
    EXPECT_EQ(VRCode::OW, pixels.GetVRCode());
    ASSERT_EQ(pixelWords * 2, pixels.GetLength());
    const std::vector<UINT16> words = valuesOf<UINT16>(pixels);
    for (unsigned i = 0; i < pixelWords; ++i) ASSERT_EQ(pixelWord(i), words[i]) << i;
    // The stored bytes are in the data set's order: word 0 is 0x0102.
    EXPECT_EQ(endian == BigEndian ? 0x01 : 0x02, pixels.GetData()[0]);

    const SequenceVR* references = required(dataSet, 0x0008, 0x1140).GetAsSequenceVR();
    ASSERT_NE(nullptr, references);
    ASSERT_EQ(2u, references->GetNumberOfItems());
    const DICOMDataObject& first = *references->GetSequenceItems()[0];
    const DICOMDataObject& second = *references->GetSequenceItems()[1];
    EXPECT_EQ(endian, first.GetEndian());
    EXPECT_EQ("1\\2", stringOf(first, 0x0008, 0x1160));
    EXPECT_EQ(UID_CTImageStorage, stringOf(second, 0x0008, 0x1150));
    const SequenceVR* purpose = required(second, 0x0040, 0xA170).GetAsSequenceVR();
    ASSERT_NE(nullptr, purpose);
    ASSERT_EQ(1u, purpose->GetNumberOfItems());
    const DICOMDataObject& code = *purpose->GetSequenceItems()[0];
    EXPECT_EQ(endian, code.GetEndian());
    EXPECT_EQ("121311", stringOf(code, 0x0008, 0x0100));
    UINT16 dimensions = 0;
    ASSERT_EQ(1, code.GetUINT16(0x0070, 0x0020, dimensions));
    EXPECT_EQ(2, dimensions);

    RWCString text;
    ASSERT_EQ(1, dataSet.GetString(ZORVIKPrivateCreator, 0x51, text, ZORVIKPrivateGroup));
    EXPECT_EQ("layout=2x1;sync=scroll", text);
    EXPECT_EQ(VRCode::LT, dataSet.GetVR(ZORVIKPrivateCreator, 0x51, ZORVIKPrivateGroup)->GetVRCode());
    UINT16 kernelRows = 0;
    ASSERT_EQ(1, dataSet.GetUINT16(ZORVIKPrivateCreator, 0x47, kernelRows, ZORVIKPrivateGroup));
    EXPECT_EQ(3, kernelRows);
    const VR* kernelData = dataSet.GetVR(ZORVIKPrivateCreator, 0x49, ZORVIKPrivateGroup);
    ASSERT_NE(nullptr, kernelData);
    EXPECT_EQ(VRCode::FL, kernelData->GetVRCode());
    EXPECT_EQ(std::vector<FLOAT>(kernel, kernel + 9), valuesOf<FLOAT>(*kernelData));
}

// The value bytes in little-endian order, whatever the element's order.
std::string littleEndianBytes(const VR& element) {
    std::unique_ptr<VR> copy(element.Clone());
    if (copy->GetEndian() == BigEndian) copy->SwapDataEndian();
    return copy->GetData() != nullptr ? std::string(reinterpret_cast<const char*>(copy->GetData()), copy->GetLength())
                                      : std::string();
}

// Compares two data sets element by element (tags, VRs, values, items), ignoring group 0002.
void expectSameElements(const DICOMObject& expected, const DICOMObject& actual, const std::string& where = "") {
    auto skipMeta = [](const DICOMObject& dataSet) {
        std::vector<const VR*> elements;
        for (const auto& element : dataSet)
            if (element->GetGroup() != 0x0002) elements.push_back(element.get());
        return elements;
    };
    const std::vector<const VR*> left = skipMeta(expected);
    const std::vector<const VR*> right = skipMeta(actual);
    ASSERT_EQ(left.size(), right.size()) << where;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const std::string tag = where + left[i]->GetTag().ToString();
        ASSERT_EQ(left[i]->GetTag(), right[i]->GetTag()) << tag << " vs " << right[i]->GetTag().ToString();
        EXPECT_EQ(MDDEntry::UShortToTypeString(left[i]->GetVRCode()),
                  MDDEntry::UShortToTypeString(right[i]->GetVRCode()))
            << tag;
        const SequenceVR* leftSequence = left[i]->GetAsSequenceVR();
        const SequenceVR* rightSequence = right[i]->GetAsSequenceVR();
        ASSERT_EQ(leftSequence == nullptr, rightSequence == nullptr) << tag;
        if (leftSequence == nullptr) {
            EXPECT_EQ(littleEndianBytes(*left[i]), littleEndianBytes(*right[i])) << tag;
            continue;
        }
        ASSERT_EQ(leftSequence->GetNumberOfItems(), rightSequence->GetNumberOfItems()) << tag;
        for (unsigned item = 0; item < leftSequence->GetNumberOfItems(); ++item)
            expectSameElements(*leftSequence->GetSequenceItems()[item], *rightSequence->GetSequenceItems()[item],
                               tag + " item " + std::to_string(item + 1) + " ");
    }
}

std::string dcmtkTool(const std::string& name) { return std::string(REFCNTR_DCMTK_BIN_DIR) + "/" + name; }

// One file per transfer syntax, made once: DCMTK's API writes explicit little endian, its
// dcmconv tool makes the big-endian and implicit copies.
class DcmtkFiles : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        directory = new ScratchDirectory;
        DcmFileFormat file;
        buildDataSet(*file.getDataset());
        ASSERT_TRUE(file.saveFile(ExplicitLittle().c_str(), EXS_LittleEndianExplicit, EET_ExplicitLength).good());
        ASSERT_EQ(0, testfiles::runCommand(dcmtkTool("dcmconv") + " +tb " + testfiles::quoted(ExplicitLittle()) + " " +
                                           testfiles::quoted(ExplicitBig())));
        ASSERT_EQ(0, testfiles::runCommand(dcmtkTool("dcmconv") + " +ti " + testfiles::quoted(ExplicitLittle()) + " " +
                                           testfiles::quoted(ImplicitLittle())));
    }
    static void TearDownTestSuite() {
        delete directory;
        directory = nullptr;
    }

    static std::string ExplicitLittle() { return directory->File("explicit-little.dcm"); }
    static std::string ExplicitBig() { return directory->File("explicit-big.dcm"); }
    static std::string ImplicitLittle() { return directory->File("implicit-little.dcm"); }

    static ScratchDirectory* directory;
};

ScratchDirectory* DcmtkFiles::directory = nullptr;

TEST_F(DcmtkFiles, ExplicitLittleEndianFileIsReadWithEveryValue) {
    auto dataSet = readDicomFile(ExplicitLittle());
    expectBuiltContent(*dataSet, LittleEndian);
    EXPECT_EQ(explicitLittleUID, stringOf(*dataSet, 0x0002, 0x0010));
    EXPECT_EQ(VRCode::OB, required(*dataSet, 0x0002, 0x0001).GetVRCode());
}

TEST_F(DcmtkFiles, BigEndianFileKeepsItsOrderAndItsNumbers) {
    auto dataSet = readDicomFile(ExplicitBig());
    expectBuiltContent(*dataSet, BigEndian);
    EXPECT_EQ(explicitBigUID, stringOf(*dataSet, 0x0002, 0x0010));
    // The meta header is merged in the data set's order too.
    UINT32 metaLength = 0;
    ASSERT_EQ(1, dataSet->GetUINT32(0x0002, 0x0000, metaLength));
    EXPECT_GT(metaLength, 100u);
    EXPECT_LT(metaLength, 1000u);
    expectSameElements(*readDicomFile(ExplicitLittle()), *dataSet);
}

TEST_F(DcmtkFiles, ImplicitFileGetsVRsFromTheDictionariesIncludingPrivateOnes) {
    auto dataSet = readDicomFile(ImplicitLittle());
    expectBuiltContent(*dataSet, LittleEndian);
    EXPECT_EQ(implicitLittleUID, stringOf(*dataSet, 0x0002, 0x0010));
    EXPECT_EQ(VRCode::US, dataSet->GetVR(ZORVIKPrivateCreator, 0x47, ZORVIKPrivateGroup)->GetVRCode());
    expectSameElements(*readDicomFile(ExplicitLittle()), *dataSet);
}

E_TransferSyntax dcmtkSyntaxOf(TransferSyntax syntax) {
    return syntax == TransferSyntax::ExplicitBig      ? EXS_BigEndianExplicit
           : syntax == TransferSyntax::ImplicitLittle ? EXS_LittleEndianImplicit
                                                      : EXS_LittleEndianExplicit;
}

class WrittenFiles : public DcmtkFiles, public ::testing::WithParamInterface<TransferSyntax> {};

TEST_P(WrittenFiles, RoundTripThroughBothReaders) {
    const TransferSyntax syntax = GetParam();
    const E_TransferSyntax dcmtkSyntax = dcmtkSyntaxOf(syntax);
    const EndianType endian = syntax == TransferSyntax::ExplicitBig ? BigEndian : LittleEndian;
    ScratchDirectory output;

    for (const std::string& source : {ExplicitLittle(), ExplicitBig()}) {
        SCOPED_TRACE(source);
        auto original = readDicomFile(source);
        const std::string path = output.File("written.dcm");
        writeDicomFile(path, *original, syntax);

        auto again = readDicomFile(path);
        expectBuiltContent(*again, endian);
        expectSameElements(*original, *again);
        EXPECT_EQ(DcmXfer(dcmtkSyntax).getXferID(), stringOf(*again, 0x0002, 0x0010));

        DcmFileFormat file;
        ASSERT_TRUE(file.loadFile(path.c_str()).good());
        EXPECT_EQ(dcmtkSyntax, file.getDataset()->getOriginalXfer());
        OFString transferSyntaxUID;
        ASSERT_TRUE(file.getMetaInfo()->findAndGetOFString(DCM_TransferSyntaxUID, transferSyntaxUID).good());
        EXPECT_EQ(DcmXfer(dcmtkSyntax).getXferID(), std::string(transferSyntaxUID.c_str()));
        OFString sopClass;
        ASSERT_TRUE(file.getMetaInfo()->findAndGetOFString(DCM_MediaStorageSOPClassUID, sopClass).good());
        EXPECT_EQ(UID_GrayscaleSoftcopyPresentationStateStorage, std::string(sopClass.c_str()));
        Uint16 rows = 0;
        ASSERT_TRUE(file.getDataset()->findAndGetUint16(DCM_Rows, rows).good());
        EXPECT_EQ(512, rows);
        const Uint16* words = nullptr;
        ASSERT_TRUE(file.getDataset()->findAndGetUint16Array(DCM_PixelData, words).good());
        EXPECT_EQ(pixelWord(5), words[5]);
        expectSameElements(*original, *fromDcmItem(*file.getDataset()));
    }
}

// Values DCMTK changes on writing: trailing blanks and NULs, odd lengths of every kind, a
// number of 3 bytes, group lengths at the top and in an item, a text too long for a 16-bit
// length, empty sequences and items, a VR code that names no VR, an ambiguous one, leading
// blanks, and a tag list.
std::unique_ptr<DICOMDataObject> awkwardDataSet(EndianType endian) {
    auto dataSet = std::make_unique<DICOMDataObject>(endian);
    auto put = [](DICOMObject& target, UINT16 group, UINT16 number, UINT16 vrCode, const std::string& bytes) {
        auto* element = new VR(group, number, vrCode, target.GetEndian());
        element->SetData(bytes.data(), UINT32(bytes.size()));
        target.ReplaceVR(element);
    };
    const std::string sop = std::string("1.2.840.10008.5.1.4.1.1.11.1") + '\0';
    put(*dataSet, 0x0008, 0x0000, VRCode::UL, std::string(4, '\0'));
    put(*dataSet, 0x0008, 0x0016, VRCode::UI, sop);
    put(*dataSet, 0x0008, 0x0018, VRCode::UI, "2.25.7 ");
    put(*dataSet, 0x0008, 0x1030, VRCode::LO, "  X   ");
    put(*dataSet, 0x0009, 0x0010, VRCode::OB, "\x01\x02\x03");
    put(*dataSet, 0x0010, 0x0010, VRCode::PN, std::string("AB\0 ", 4));
    put(*dataSet, 0x0010, 0x0020, VRCode::LO, std::string(70001, 'x'));
    put(*dataSet, 0x0011, 0x0010, VRCode::UN, "abc");
    put(*dataSet, 0x0018, 0x0050, VRCode::DS, " 1.5 ");
    put(*dataSet, 0x0019, 0x1000, 0x5A5A, "zz");
    put(*dataSet, 0x0020, 0x9165, VRCode::AT, std::string("\x18\x00\x63\x10\x18\x00\x65\x10", 8));
    put(*dataSet, 0x0028, 0x0106, VRCode::US_OR_SS, std::string("\x05\x00", 2));
    put(*dataSet, 0x0070, 0x0022, VRCode::FL, "abc");
    put(*dataSet, 0x0070, 0x0024, VRCode::CS, "");
    put(*dataSet, 0x7FE0, 0x0010, VRCode::OW, "abcde");
    auto* sequence = new SequenceVR(0x0008, 0x1140, endian);
    sequence->AddSequenceItem(new DICOMDataObject(endian));
    auto* item = new DICOMDataObject(endian);
    put(*item, 0x0008, 0x0000, VRCode::UL, std::string(4, '\0'));
    put(*item, 0x0008, 0x1150, VRCode::UI, "1.2.3");
    item->ReplaceVR(new SequenceVR(0x0008, 0x1199, endian));
    sequence->AddSequenceItem(item);
    dataSet->ReplaceVR(sequence);
    dataSet->ReplaceVR(new SequenceVR(0x0040, 0xA730, endian));
    return dataSet;
}

// DCMTK's writing of the data set from its own elements: group 0002 into the meta header.
void writeThroughDcmtk(const std::string& path, const DICOMDataObject& dataSet, TransferSyntax syntax,
                       E_EncodingType lengths) {
    const E_TransferSyntax dcmtkSyntax = dcmtkSyntaxOf(syntax);
    DcmFileFormat file;
    for (const auto& element : dataSet) {
        DcmItem& destination = element->GetGroup() == 0x0002 ? static_cast<DcmItem&>(*file.getMetaInfo())
                                                             : static_cast<DcmItem&>(*file.getDataset());
        ASSERT_TRUE(destination.insert(newDcmElement(*element), OFTrue).good());
    }
    ASSERT_TRUE(file.getMetaInfo()->putAndInsertString(DCM_TransferSyntaxUID, DcmXfer(dcmtkSyntax).getXferID()).good());
    ASSERT_TRUE(
        file.saveFile(path.c_str(), dcmtkSyntax, lengths, EGL_recalcGL, EPD_noChange, 0, 0, EWM_fileformat).good());
}

// The data set is encoded byte for byte as DCMTK writes it from its own elements, with either
// kind of sequence lengths; a media directory gets explicit ones.
TEST_P(WrittenFiles, EncodedExactlyAsDCMTKWritesTheSameElements) {
    ScratchDirectory output;
    std::vector<std::pair<std::string, std::unique_ptr<DICOMDataObject>>> dataSets;
    dataSets.emplace_back("explicit little", readDicomFile(ExplicitLittle()));
    dataSets.emplace_back("explicit big", readDicomFile(ExplicitBig()));
    dataSets.emplace_back("sample", readDicomFile(REFCNTR_BINARY_DIR "/samples/grayscale-presentation-state.dcm"));
    dataSets.emplace_back("awkward little", awkwardDataSet(LittleEndian));
    dataSets.emplace_back("awkward big", awkwardDataSet(BigEndian));
    for (const auto& [name, dataSet] : dataSets) {
        SCOPED_TRACE(name);
        const std::string ours = output.File("ours.dcm"), theirs = output.File("theirs.dcm");
        writeDicomFile(ours, *dataSet, GetParam());
        writeThroughDcmtk(theirs, *dataSet, GetParam(), EET_UndefinedLength);
        const std::string expected = testfiles::readWholeFile(theirs);
        ASSERT_GT(expected.size(), 132u);
        EXPECT_EQ(testfiles::readWholeFile(ours), expected);

        auto* records = new SequenceVR(0x0004, 0x1220, dataSet->GetEndian());
        records->AddSequenceItem(new DICOMDataObject(*dataSet));
        records->AddSequenceItem(new DICOMDataObject(dataSet->GetEndian()));
        DICOMDataObject directory(*dataSet);
        directory.ReplaceVR(records);
        writeDicomFile(ours, directory, GetParam());
        writeThroughDcmtk(theirs, directory, GetParam(), EET_ExplicitLength);
        EXPECT_EQ(testfiles::readWholeFile(ours), testfiles::readWholeFile(theirs)) << "as a directory";
    }
}

// Every element as stored: tag, VR, byte order and value bytes, items included.
std::string storedForm(const DICOMObject& dataSet, const std::string& indent = "") {
    std::string text;
    for (const auto& element : dataSet) {
        text += indent + element->GetTag().ToString() + " " + MDDEntry::UShortToTypeString(element->GetVRCode()) +
                (element->GetEndian() == BigEndian ? " BE " : " LE ");
        if (element->GetData() != nullptr)
            text.append(reinterpret_cast<const char*>(element->GetData()), element->GetLength());
        text += "\n";
        if (const SequenceVR* sequence = element->GetAsSequenceVR())
            for (const DICOMDataObject* item : sequence->GetSequenceItems())
                text += indent + "item\n" + storedForm(*item, indent + "  ");
    }
    return text;
}

// What reading through DCMTK gives, and DCMTK's notes about it.
std::string readThroughDcmtk(const std::string& path, std::vector<std::string>& notes) {
    DcmFileFormat file;
    EXPECT_TRUE(file.loadFile(path.c_str()).good()) << path;
    const bool big = file.getDataset()->getOriginalXfer() == EXS_BigEndianExplicit;
    DICOMDataObject dataSet(big ? BigEndian : LittleEndian);
    appendFromDcmItem(*file.getMetaInfo(), dataSet);
    appendFromDcmItem(*file.getDataset(), dataSet);
    noteReadFaults(*file.getMetaInfo(), notes);
    noteReadFaults(*file.getDataset(), notes);
    return storedForm(dataSet);
}

std::unique_ptr<DICOMDataObject> decodeFile(const std::string& path) {
    const std::string bytes = testfiles::readWholeFile(path);
    return decodeCommonFile(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

// A file of raw elements after DCMTK's meta header, in explicit VR little endian: short-length
// VRs take "VR" + 16-bit length, the others the long form.
std::string rawFile(const std::string& elements) {
    DICOMDataObject meta;
    auto* uid = new VR(0x0008, 0x0016, VRCode::UI, LittleEndian);
    uid->SetData("1.2.840.10008.5.1.4.1.1.11.1", 28);
    meta.ReplaceVR(uid);
    return encodeFileHeader(meta, TransferSyntax::ExplicitLittle) + elements;
}

std::string rawElement(UINT16 group, UINT16 element, const char* vr, const std::string& value) {
    std::string bytes{char(group & 0xFF), char(group >> 8), char(element & 0xFF), char(element >> 8), vr[0], vr[1]};
    const UINT32 length = UINT32(value.size());
    if (hasLongLengthField(VRCode::make(vr[0], vr[1])))
        bytes += std::string{0, 0, char(length), char(length >> 8), char(length >> 16), char(length >> 24)};
    else
        bytes += std::string{char(length), char(length >> 8)};
    return bytes + value;
}

// The common file is read straight into the data set, and what it gives is what reading
// through DCMTK gives, byte for byte, without a note; anything DCMTK would change or note is
// left to DCMTK.
TEST_F(DcmtkFiles, CommonFilesDecodedStraightReadAsThroughDCMTK) {
    ScratchDirectory scratch;
    const std::string texts = scratch.File("texts.dcm");
    const std::string item =
        rawElement(0x0008, 0x1150, "UI", std::string("1.2.3\0", 6)) + rawElement(0x0008, 0x1155, "UI", "1.2.34");
    const std::string delimitedItem =
        std::string("\xFE\xFF\x00\xE0\xFF\xFF\xFF\xFF", 8) + item + std::string("\xFE\xFF\x0D\xE0\x00\x00\x00\x00", 8);
    const std::string definedItem = std::string("\xFE\xFF\x00\xE0", 4) + std::string{char(item.size()), 0, 0, 0} + item;
    testfiles::writeWholeFile(
        texts, rawFile(rawElement(0x0008, 0x0000, "UL", std::string("\x10\x00\x00\x00", 4)) +
                       rawElement(0x0008, 0x0020, "DA", "20240101") + rawElement(0x0008, 0x0030, "TM", "1015  ") +
                       rawElement(0x0008, 0x0054, "AE", " AE ") + rawElement(0x0008, 0x0060, "CS", "  ") +
                       rawElement(0x0008, 0x1030, "LO", "  AB  ") +
                       rawElement(0x0008, 0x1140, "SQ", delimitedItem + definedItem).replace(8, 4, "\xFF\xFF\xFF\xFF") +
                       std::string("\xFE\xFF\xDD\xE0\x00\x00\x00\x00", 8) +
                       rawElement(0x0008, 0x114A, "SQ", definedItem) + rawElement(0x0010, 0x0010, "PN", "A B ") +
                       rawElement(0x0010, 0x1010, "AS", "") + rawElement(0x0018, 0x0050, "DS", " 1.5") +
                       rawElement(0x0020, 0x0013, "IS", "12  ") + rawElement(0x0020, 0x4000, "LT", "X\\  ") +
                       rawElement(0x0040, 0xA160, "UT", "A   ") + rawElement(0x0070, 0x0006, "ST", "text  ")));
    const std::string paths[] = {ExplicitLittle(), ExplicitBig(),
                                 REFCNTR_BINARY_DIR "/samples/grayscale-presentation-state.dcm", texts};
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        const std::unique_ptr<DICOMDataObject> decoded = decodeFile(path);
        ASSERT_NE(decoded, nullptr);
        std::vector<std::string> notes;
        EXPECT_EQ(storedForm(*decoded), readThroughDcmtk(path, notes));
        EXPECT_TRUE(notes.empty()) << notes.front();
    }

    const std::pair<const char*, std::string> leftToDcmtk[] = {
        {"a VR other than the dictionary's", rawElement(0x0010, 0x0010, "LO", "AB")},
        {"UN", rawElement(0x0010, 0x0010, "UN", "AB")},
        {"an odd length", rawElement(0x0010, 0x0010, "PN", "ABC")},
        {"a NUL in a text", rawElement(0x0010, 0x0010, "PN", std::string("AB\0\0", 4))},
        {"a blank in a UID", rawElement(0x0008, 0x0018, "UI", "1.2 ")},
        {"a vertical tab in a UID", rawElement(0x0008, 0x0018, "UI", std::string("1.2\v\0", 4))},
        {"elements out of order", rawElement(0x0010, 0x0020, "LO", "AB") + rawElement(0x0010, 0x0010, "PN", "AB")},
        {"a value past the end", rawElement(0x0010, 0x0010, "PN", "ABCD").substr(0, 10)},
        {"a VR no one knows", rawElement(0x0010, 0x0010, "QQ", "AB")},
    };
    for (const auto& [fault, elements] : leftToDcmtk) {
        const std::string bytes = rawFile(elements);
        EXPECT_EQ(decodeCommonFile(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()), nullptr)
            << fault;
    }
    // Found by fuzzing: files that DCMTK reads otherwise than the decoder would (a meta element
    // given twice, of which DCMTK keeps the first; a vertical tab in a UID, which DCMTK removes).
    for (const char* found : {"meta-element-given-twice.dcm", "uid-with-a-vertical-tab.dcm"}) {
        const std::string bytes = testfiles::readWholeFile(std::string(REFCNTR_TEST_DATA_DIR "/fuzz/") + found);
        ASSERT_FALSE(bytes.empty()) << found;
        EXPECT_EQ(decodeCommonFile(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()), nullptr)
            << found;
    }
    // A meta group length that ends the meta header elsewhere than group 0002 ends: DCMTK
    // follows the length.
    std::string misplaced = rawFile(rawElement(0x0010, 0x0010, "PN", "AB"));
    misplaced[140] = char(misplaced[140] + 10);
    EXPECT_EQ(decodeCommonFile(reinterpret_cast<const unsigned char*>(misplaced.data()), misplaced.size()), nullptr);
}

INSTANTIATE_TEST_SUITE_P(EachTransferSyntax, WrittenFiles,
                         ::testing::Values(TransferSyntax::ExplicitLittle, TransferSyntax::ExplicitBig,
                                           TransferSyntax::ImplicitLittle),
                         [](const ::testing::TestParamInfo<TransferSyntax>& info) {
                             switch (info.param) {
                             case TransferSyntax::ExplicitBig: return "ExplicitBig";
                             case TransferSyntax::ImplicitLittle: return "ImplicitLittle";
                             default: return "ExplicitLittle";
                             }
                         });

TEST(DcmtkItems, FromDcmItemIsLittleEndianWhateverTheFileWas) {
    DcmDataset dataset;
    buildDataSet(dataset);
    auto dataSet = fromDcmItem(dataset);
    expectBuiltContent(*dataSet, LittleEndian);
}

TEST(DcmtkItems, ToDcmItemKeepsMetaGroupEmptyElementsAndNativeValues) {
    DICOMDataObject dataSet(BigEndian);
    auto* transferSyntax = new VR(0x0002, 0x0010, VRCode::UI, BigEndian);
    transferSyntax->SetData("1.2.840.10008.1.2.2\0", 20);
    dataSet.ReplaceVR(transferSyntax);
    dataSet.ReplaceVR(new VR(0x0008, 0x1030, VRCode::LO, BigEndian));
    auto* rows = new VR(0x0028, 0x0010, VRCode::US, BigEndian);
    rows->SetData("\x02\x00", 2);
    dataSet.ReplaceVR(rows);
    auto* ambiguous = new VR(0x0028, 0x0106, VRCode::US_OR_SS, BigEndian);
    ambiguous->SetData("\x00\x07", 2);
    dataSet.ReplaceVR(ambiguous);
    auto* sequence = new SequenceVR(0x0008, 0x1140, BigEndian);
    auto* item = new DICOMDataObject(BigEndian);
    auto* angle = new VR(0x0018, 0x9219, VRCode::SS, BigEndian);
    angle->SetData("\xff\xfb", 2);
    item->ReplaceVR(angle);
    sequence->AddSequenceItem(item);
    dataSet.ReplaceVR(sequence);

    DcmItem converted;
    toDcmItem(dataSet, converted);
    OFString uid;
    ASSERT_TRUE(converted.findAndGetOFString(DCM_TransferSyntaxUID, uid).good());
    EXPECT_EQ(explicitBigUID, std::string(uid.c_str()));
    DcmElement* empty = nullptr;
    ASSERT_TRUE(converted.findAndGetElement(DCM_StudyDescription, empty).good());
    EXPECT_EQ(EVR_LO, empty->getVR());
    EXPECT_EQ(0u, empty->getLength());
    Uint16 value = 0;
    ASSERT_TRUE(converted.findAndGetUint16(DCM_Rows, value).good());
    EXPECT_EQ(512, value);
    ASSERT_TRUE(converted.findAndGetUint16(DCM_SmallestImagePixelValue, value).good());
    EXPECT_EQ(7, value);
    DcmItem* convertedItem = nullptr;
    ASSERT_TRUE(converted.findAndGetSequenceItem(DCM_ReferencedImageSequence, convertedItem, 0).good());
    Sint16 signedValue = 0;
    ASSERT_TRUE(convertedItem->findAndGetSint16(DCM_TagAngleSecondAxis, signedValue).good());
    EXPECT_EQ(-5, signedValue);
}

// An OW of 83 bytes (a palette read with an odd byte count) went to DCMTK as 41 words: its last
// byte was lost in the written file. It is completed with a zero byte, in either byte order.
TEST(DcmtkItems, ToDcmItemCompletesAWordValueOfOddLengthInsteadOfCuttingIt) {
    for (EndianType endian : {LittleEndian, BigEndian}) {
        DICOMDataObject dataSet(endian);
        auto* palette = new VR(0x0028, 0x1202, VRCode::OW, endian);
        palette->SetData("\x01\x02\x03", 3);
        dataSet.ReplaceVR(palette);
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

class BadFiles : public ::testing::Test {
protected:
    ScratchDirectory directory;

    // The message of the RuntimeException readDicomFile throws, or "" when it throws none.
    static std::string readFailure(const std::string& path) {
        try {
            readDicomFile(path);
        } catch (const RuntimeException& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(BadFiles, MissingFile) {
    const std::string path = directory.File("absent.dcm");
    const std::string message = readFailure(path);
    EXPECT_NE(std::string::npos, message.find(path)) << message;
    EXPECT_NE(std::string::npos, message.find("no such file")) << message;
}

TEST_F(BadFiles, EmptyFile) {
    const std::string path = directory.File("empty.dcm");
    testfiles::writeWholeFile(path, "");
    const std::string message = readFailure(path);
    EXPECT_NE(std::string::npos, message.find(path)) << message;
    EXPECT_NE(std::string::npos, message.find("empty")) << message;
}

// A file that only claims to be empty, and a device, are called what they are.
TEST_F(BadFiles, ProcFilesAndDevicesAreNotCalledEmpty) {
    EXPECT_EQ(readFailure("/proc/self/status"), "cannot read '/proc/self/status': not a DICOM file");
    EXPECT_EQ(readFailure("/dev/zero"), "cannot read '/dev/zero': not a regular file");
}

TEST_F(BadFiles, TextFile) {
    const std::string path = directory.File("notes.txt");
    testfiles::writeWholeFile(path, "Presentation state notes\nnothing DICOM here\n");
    const std::string message = readFailure(path);
    EXPECT_NE(std::string::npos, message.find(path)) << message;
    EXPECT_NE(std::string::npos, message.find("not a DICOM file")) << message;
}

TEST_F(BadFiles, DirectoryInsteadOfFile) {
    const std::string message = readFailure(directory.Path().string());
    EXPECT_NE(std::string::npos, message.find("directory")) << message;
}

TEST_F(BadFiles, FileCutInHalf) {
    // Large enough pixel data that the cut falls inside a value DCMTK leaves on disk.
    DcmFileFormat file;
    buildDataSet(*file.getDataset());
    std::vector<Uint16> words(20000, 0x1234);
    ASSERT_TRUE(file.getDataset()->putAndInsertUint16Array(DCM_PixelData, words.data(), Uint32(words.size())).good());
    const std::string whole = directory.File("whole.dcm");
    ASSERT_TRUE(file.saveFile(whole.c_str(), EXS_LittleEndianExplicit).good());
    const std::string content = testfiles::readWholeFile(whole);

    for (std::size_t cut : {content.size() / 2, std::size_t(200), std::size_t(133)}) {
        const std::string path = directory.File("cut-" + std::to_string(cut) + ".dcm");
        testfiles::writeWholeFile(path, content.substr(0, cut));
        const std::string message = readFailure(path);
        EXPECT_NE(std::string::npos, message.find(path)) << message;
        EXPECT_NE(std::string::npos, message.find("truncated")) << message;
    }
}

TEST_F(BadFiles, DamagedCopiesOfTheSampleReadOrThrowButNeverCrash) {
    const std::string sample = testfiles::readWholeFile(testfiles::samplePath());
    ASSERT_GT(sample.size(), 1000u);
    std::mt19937 random(4471);
    const std::string path = directory.File("damaged.dcm");
    for (int round = 0; round < 300; ++round) {
        std::string damaged = sample;
        if (round % 3 == 0) damaged.resize(133 + random() % (sample.size() - 133));
        for (int flips = 0; flips < 4; ++flips) damaged[132 + random() % (damaged.size() - 132)] = char(random());
        testfiles::writeWholeFile(path, damaged);
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
    const std::string bytes = testfiles::readWholeFile(path);
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

// Compressed pixel data read as their items, offset table included, written back in the same
// transfer syntax exactly as DCMTK wrote them, and refused in any other with the reason.
TEST_F(BadFiles, EncapsulatedPixelDataIsKeptInItsOwnTransferSyntaxOnly) {
    DcmFileFormat file;
    DcmDataset& image = *file.getDataset();
    image.putAndInsertString(DCM_SOPClassUID, UID_SecondaryCaptureImageStorage);
    image.putAndInsertString(DCM_SOPInstanceUID, "2.25.77");
    image.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
    image.putAndInsertUint16(DCM_SamplesPerPixel, 1);
    image.putAndInsertUint16(DCM_Rows, 8);
    image.putAndInsertUint16(DCM_Columns, 8);
    image.putAndInsertUint16(DCM_BitsAllocated, 16);
    image.putAndInsertUint16(DCM_BitsStored, 12);
    image.putAndInsertUint16(DCM_HighBit, 11);
    image.putAndInsertUint16(DCM_PixelRepresentation, 0);
    std::vector<Uint16> pixels(64);
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = Uint16(i * 37 % 4096);
    image.putAndInsertUint16Array(DCM_PixelData, pixels.data(), 64);
    const std::string plain = directory.File("plain.dcm");
    const std::string compressed = directory.File("rle.dcm");
    ASSERT_TRUE(file.saveFile(plain.c_str(), EXS_LittleEndianExplicit).good());
    ASSERT_EQ(0, testfiles::runCommand(dcmtkTool("dcmcrle") + " " + testfiles::quoted(plain) + " " +
                                       testfiles::quoted(compressed)));

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
    expectSameElements(*data, *readDicomFile(same));
    const std::string decompressed = directory.File("decompressed.dcm");
    ASSERT_EQ(0, testfiles::runCommand(dcmtkTool("dcmdrle") + " " + testfiles::quoted(same) + " " +
                                       testfiles::quoted(decompressed)));
    const auto plainAgain = readDicomFile(decompressed);
    const VR* decoded = plainAgain->GetVR(0x7FE0, 0x0010);
    ASSERT_NE(nullptr, decoded);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(pixels.data()), 128), littleEndianBytes(*decoded));

    const std::string other = directory.File("explicit.dcm");
    try {
        writeDicomFile(other, *data, TransferSyntax::ExplicitLittle);
        ADD_FAILURE() << "encapsulated pixel data were written in explicit VR little endian";
    } catch (const RuntimeException& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find(other)) << error.what();
        EXPECT_NE(std::string::npos,
                  std::string(error.what()).find("encapsulated pixel data, which can be written only"))
            << error.what();
    }
    EXPECT_FALSE(std::filesystem::exists(other));
}

// Compressed images from other toolkits (JPEG, JPEG-LS, JPEG 2000, RLE; one or many frames and
// fragments) write back element for element, their pixel data byte for byte.
TEST_F(BadFiles, CompressedImagesOfOthersWriteBackElementForElement) {
    const auto files = testfiles::pydicomFiles("test_files");
    if (files.empty()) GTEST_SKIP() << "pydicom's test files are not installed";
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
        expectSameElements(*data, *readDicomFile(written), file.filename().string() + " ");
        const std::string original = encodedPixelData(file.string());
        EXPECT_FALSE(original.empty()) << file;
        EXPECT_TRUE(original == encodedPixelData(written)) << file;
        ++compared;
    }
    EXPECT_GE(compared, 30u);
}

TEST_F(BadFiles, WriteIntoMissingDirectoryThrowsAndLeavesNothing) {
    DICOMDataObject dataSet;
    auto* name = new VR(0x0010, 0x0010, VRCode::PN, LittleEndian);
    name->SetData("Doe ", 4);
    dataSet.ReplaceVR(name);
    const std::string path = directory.File("no-such-directory/out.dcm");
    try {
        writeDicomFile(path, dataSet, TransferSyntax::ExplicitLittle);
        FAIL() << "writeDicomFile did not throw";
    } catch (const RuntimeException& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find(path)) << error.what();
    }
    EXPECT_FALSE(std::filesystem::exists(directory.File("no-such-directory")));
    EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

TEST_F(BadFiles, FailedRenameRemovesTheTemporaryFile) {
    DICOMDataObject dataSet;
    auto* name = new VR(0x0010, 0x0010, VRCode::PN, LittleEndian);
    name->SetData("Doe ", 4);
    dataSet.ReplaceVR(name);
    // The target is a non-empty directory, so only the final rename can fail.
    const std::string target = directory.File("occupied");
    std::filesystem::create_directory(target);
    testfiles::writeWholeFile(target + "/keep", "x");
    EXPECT_THROW(writeDicomFile(target, dataSet, TransferSyntax::ExplicitLittle), RuntimeException);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory.Path()))
        names.push_back(entry.path().filename().string());
    EXPECT_EQ(std::vector<std::string>{"occupied"}, names);
}

}  // namespace
