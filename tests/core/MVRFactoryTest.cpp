#include "refcntr/core/MVRFactory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <typeinfo>
#include <utility>
#include <vector>

#include "refcntr/core/RefCntrException.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {
namespace {

using Bytes = std::vector<unsigned char>;

const MVRFactory<> little(LittleEndian);
const MVRFactory<> big(BigEndian);

// Takes the built element over and checks its VR code, byte order and value bytes.
void expectElement(VR* built, UINT16 vrCode, EndianType endian, const Bytes& value) {
    const std::unique_ptr<VR> element(built);
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(element->GetVRCode(), vrCode) << MDDEntry::UShortToTypeString(element->GetVRCode());
    EXPECT_EQ(element->GetEndian(), endian);
    EXPECT_EQ(Bytes(element->GetData(), element->GetData() + element->GetLength()), value);
}

Bytes bytes(const char* text) { return Bytes(text, text + std::strlen(text)); }

TEST(MVRFactoryText, StringVRFromTheDictionaryPaddedToEvenLength) {
    expectElement(little.InternalGetVR(0x0008, 0x0060, "PR", 2, ' '), VRCode::CS, LittleEndian, bytes("PR"));
    expectElement(big.InternalGetVR(0x0008, 0x0100, RWCString("T-1"), ' '), VRCode::SH, BigEndian, bytes("T-1 "));
    expectElement(little.InternalGetVR(0x0008, 0x0018, "1.2.3", 5, '\0'), VRCode::UI, LittleEndian,
                  Bytes{'1', '.', '2', '.', '3', 0});
    expectElement(little.InternalGetVR(0x0008, 0x0008, RWTValOrderedVector<RWCString>{"DERIVED", "", "XY"}, ' '),
                  VRCode::CS, LittleEndian, bytes("DERIVED\\\\XY "));
    EXPECT_EQ(little.InternalGetVR(0x0028, 0x0010, "12", 2, ' '), nullptr);
}

TEST(MVRFactoryBytes, OBForByteTagsOnly) {
    const unsigned char value[] = {1, 2, 3};
    expectElement(big.InternalGetVR(0x0002, 0x0001, value, 2, '\0'), VRCode::OB, BigEndian, {1, 2});
    expectElement(little.InternalGetVR(0x7FE0, 0x0010, value, 3, '\0'), VRCode::OB, LittleEndian, {1, 2, 3, 0});
    EXPECT_EQ(little.InternalGetVR(0x0008, 0x0060, value, 2, '\0'), nullptr);
}

TEST(MVRFactoryNumbers, FixedVRInTheFactoryByteOrder) {
    expectElement(little.InternalGetVR(0x0028, 0x0010, UINT16(0x1234)), VRCode::US, LittleEndian, {0x34, 0x12});
    expectElement(big.InternalGetVR(0x0028, 0x0010, UINT16(0x1234)), VRCode::US, BigEndian, {0x12, 0x34});
    expectElement(little.InternalGetVR(0x0028, 0x6120, INT16(-2)), VRCode::SS, LittleEndian, {0xFE, 0xFF});
    expectElement(big.InternalGetVR(0x0028, 0x6120, INT16(-2)), VRCode::SS, BigEndian, {0xFF, 0xFE});
    expectElement(little.InternalGetVR(0x0002, 0x0000, UINT32(0x01020304)), VRCode::UL, LittleEndian, {4, 3, 2, 1});
    expectElement(big.InternalGetVR(0x0002, 0x0000, UINT32(0x01020304)), VRCode::UL, BigEndian, {1, 2, 3, 4});
    expectElement(little.InternalGetVR(0x0070, 0x0103, FLOAT(1)), VRCode::FL, LittleEndian, {0, 0, 0x80, 0x3F});
    expectElement(big.InternalGetVR(0x0070, 0x0103, FLOAT(1)), VRCode::FL, BigEndian, {0x3F, 0x80, 0, 0});
    // US or SS in the dictionary: written as US.
    expectElement(big.InternalGetVR(0x0028, 0x0106, UINT16(1)), VRCode::US, BigEndian, {0, 1});
}

TEST(MVRFactorySequence, EmptySequenceElement) {
    const std::unique_ptr<SequenceVR> sequence(big.InternalGetSequenceVR(0x0008, 0x1140, 0));
    ASSERT_NE(sequence, nullptr);
    EXPECT_EQ(sequence->GetVRCode(), VRCode::SQ);
    EXPECT_EQ(sequence->GetEndian(), BigEndian);
    EXPECT_EQ(sequence->GetNumberOfItems(), 0u);
}

TEST(MVRFactoryArrays, NativeValuesConvertedToTheFactoryByteOrderUnderAPlainCode) {
    const INT32 corner[] = {0x01020304, -2};
    expectElement(big.InternalGetArrayVR(0x0070, 0x0052, corner, sizeof corner), VRCode::SL, BigEndian,
                  {1, 2, 3, 4, 0xFF, 0xFF, 0xFF, 0xFE});
    expectElement(little.InternalGetArrayVR(0x0070, 0x0052, corner, sizeof corner), VRCode::SL, LittleEndian,
                  {4, 3, 2, 1, 0xFE, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(corner[0], 0x01020304);
    // A tag of more than one VR takes an array only with a plain code.
    const UINT16 descriptor[] = {256, 16};
    EXPECT_EQ(big.InternalGetArrayVR(0x0028, 0x1101, descriptor, sizeof descriptor), nullptr);
    EXPECT_EQ(big.InternalGetArrayVR(0x0028, 0x1101, descriptor, sizeof descriptor, VRCode::US_OR_SS), nullptr);
    expectElement(big.InternalGetArrayVR(0x0028, 0x1101, descriptor, sizeof descriptor, VRCode::SS), VRCode::SS,
                  BigEndian, {1, 0, 0, 16});
}

TEST(MVRFactoryPrivate, ZORVIKElementsByOffset) {
    const std::unique_ptr<VR> layout(big.GetPrivateVR(ZORVIKPrivateCreator, 0x51, ZORVIKPrivateGroup));
    ASSERT_NE(layout, nullptr);
    EXPECT_EQ(layout->GetTag(), MAttributeTag(0x0023, 0x0051));
    EXPECT_EQ(layout->GetVRCode(), VRCode::LT);
    EXPECT_EQ(layout->GetLength(), 0u);

    expectElement(big.GetPrivateVR(ZORVIKPrivateCreator, 0x47, ZORVIKPrivateGroup, UINT16(3)), VRCode::US, BigEndian,
                  {0, 3});
    const FLOAT kernel[] = {1.0f, -2.0f};
    expectElement(big.GetPrivateArrayVR(ZORVIKPrivateCreator, 0x49, ZORVIKPrivateGroup, kernel, sizeof kernel),
                  VRCode::FL, BigEndian, {0x3F, 0x80, 0, 0, 0xC0, 0, 0, 0});

    DICOMDataObject data;
    data.ReplaceVR(ZORVIKPrivateCreator,
                   little.GetPrivateVR(ZORVIKPrivateCreator, 0x46, ZORVIKPrivateGroup, RWCString("GAUSS"), ' '));
    RWCString value;
    EXPECT_EQ(data.GetString(ZORVIKPrivateCreator, 0x46, value, ZORVIKPrivateGroup), 1);
    EXPECT_EQ(value, "GAUSS");
}

TEST(MVRFactoryPrivate, UnknownCreatorOrOffsetThrows) {
    try {
        delete little.GetPrivateVR("NOBODY", 0x46, 0x0029);
        ADD_FAILURE() << "no exception";
    } catch (const AttributeNotFoundException& error) {
        const RWCString message = error.what();
        EXPECT_EQ(message.rfind("MVRFactory<VRType>::GetPrivateVR(", 0), 0u) << message;
        EXPECT_NE(message.find("NOBODY"), RWCString::npos) << message;
        EXPECT_NE(message.find("0029"), RWCString::npos) << message;
    }
    EXPECT_THROW(delete little.GetPrivateVR(ZORVIKPrivateCreator, 0x01, ZORVIKPrivateGroup),
                 AttributeNotFoundException);
    EXPECT_THROW(delete little.GetPrivateVR(nullptr, 0x46, ZORVIKPrivateGroup, RWCString("A"), ' '),
                 AttributeNotFoundException);
}

// A copy of each exception keeps its type, its type's name and its message.
TEST(Exceptions, CloneKeepsTypeAndMessage) {
    const RefCntrException library("broken");
    const RuntimeException runtime("cannot read 'x.dcm': truncated");
    const AttributeNotFoundException missing("no creator ACME");
    const ExceptionBase base("base");
    const std::pair<const ExceptionBase*, const char*> cases[] = {{&library, "RefCntrException"},
                                                                  {&runtime, "RuntimeException"},
                                                                  {&missing, "AttributeNotFoundException"},
                                                                  {&base, "ExceptionBase"}};
    for (const auto& [original, type] : cases) {
        const std::unique_ptr<ExceptionBase> owned(original->Clone());
        const ExceptionBase& clone = *owned;
        EXPECT_EQ(typeid(clone), typeid(*original)) << type;
        EXPECT_EQ(clone.GetType(), type);
        EXPECT_STREQ(clone.what(), original->what()) << type;
    }
}

}  // namespace
}  // namespace refcntr
