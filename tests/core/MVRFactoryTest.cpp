#include "refcntr/core/MVRFactory.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "refcntr/core/RefCntrException.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {
namespace {

using Bytes = std::vector<unsigned char>;
using Element = std::unique_ptr<VR>;

Bytes bytesOf(const VR& element) {
    return Bytes(element.GetData(), element.GetData() + element.GetLength());
}

RWCString textOf(const VR& element) {
    return RWCString(reinterpret_cast<const char*>(element.GetData()), element.GetLength());
}

const MVRFactory<> little(LittleEndian);
const MVRFactory<> big(BigEndian);

TEST(MVRFactoryText, TypedByTheDictionary) {
    const Element modality(little.InternalGetVR(0x0008, 0x0060, "PR", 2, ' '));
    ASSERT_NE(modality, nullptr);
    EXPECT_EQ(modality->GetTag(), MAttributeTag(0x0008, 0x0060));
    EXPECT_EQ(modality->GetVRCode(), VRCode::CS);
    EXPECT_EQ(modality->GetEndian(), LittleEndian);
    EXPECT_EQ(textOf(*modality), "PR");

    const Element name(big.InternalGetVR(0x0010, 0x0010, RWCString("DOE^JANE"), ' '));
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name->GetVRCode(), VRCode::PN);
    EXPECT_EQ(name->GetEndian(), BigEndian);
    EXPECT_EQ(textOf(*name), "DOE^JANE");
}

TEST(MVRFactoryText, NothingForANonStringTag) {
    EXPECT_EQ(little.InternalGetVR(0x0028, 0x0010, "12", 2, ' '), nullptr);
    EXPECT_EQ(little.InternalGetVR(0x0008, 0x1140, RWCString("x "), ' '), nullptr);
}

TEST(MVRFactoryText, OddLengthIsPaddedWithThePadCharacter) {
    const Element code(little.InternalGetVR(0x0008, 0x0100, "T-1", 3, ' '));
    ASSERT_NE(code, nullptr);
    EXPECT_EQ(textOf(*code), "T-1 ");

    const Element uid(little.InternalGetVR(0x0008, 0x0018, RWCString("1.2.3"), '\0'));
    ASSERT_NE(uid, nullptr);
    EXPECT_EQ(textOf(*uid), RWCString("1.2.3\0", 6));
}

TEST(MVRFactoryText, EmptyTextIsAnEmptyElement) {
    const Element empty(little.InternalGetVR(0x0008, 0x0060, RWCString(), ' '));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->GetLength(), 0u);
}

TEST(MVRFactoryText, VectorJoinedWithSingleBackslashes) {
    const RWTValOrderedVector<RWCString> values{"DERIVED", "", "XY"};
    const Element imageType(little.InternalGetVR(0x0008, 0x0008, values, ' '));
    ASSERT_NE(imageType, nullptr);
    EXPECT_EQ(imageType->GetVRCode(), VRCode::CS);
    EXPECT_EQ(textOf(*imageType), "DERIVED\\\\XY ");

    const Element none(little.InternalGetVR(0x0008, 0x0008, RWTValOrderedVector<RWCString>{}, ' '));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->GetLength(), 0u);
}

TEST(MVRFactoryBytes, WrittenAsOBAndPadded) {
    const unsigned char version[] = {0x00, 0x01};
    const Element meta(big.InternalGetVR(0x0002, 0x0001, version, 2, '\0'));
    ASSERT_NE(meta, nullptr);
    EXPECT_EQ(meta->GetVRCode(), VRCode::OB);
    EXPECT_EQ(bytesOf(*meta), (Bytes{0x00, 0x01}));

    const unsigned char pixels[] = {1, 2, 3};
    const Element pixelData(little.InternalGetVR(0x7FE0, 0x0010, pixels, 3, '\0'));
    ASSERT_NE(pixelData, nullptr);
    EXPECT_EQ(pixelData->GetVRCode(), VRCode::OB);
    EXPECT_EQ(bytesOf(*pixelData), (Bytes{1, 2, 3, 0}));

    EXPECT_EQ(little.InternalGetVR(0x0008, 0x0060, version, 2, '\0'), nullptr);
}

TEST(MVRFactoryNumbers, LittleEndianBytes) {
    const Element us(little.InternalGetVR(0x0028, 0x0010, UINT16(0x1234)));
    ASSERT_NE(us, nullptr);
    EXPECT_EQ(us->GetVRCode(), VRCode::US);
    EXPECT_EQ(bytesOf(*us), (Bytes{0x34, 0x12}));

    const Element ss(little.InternalGetVR(0x0028, 0x6120, INT16(-2)));
    ASSERT_NE(ss, nullptr);
    EXPECT_EQ(ss->GetVRCode(), VRCode::SS);
    EXPECT_EQ(bytesOf(*ss), (Bytes{0xFE, 0xFF}));

    const Element ul(little.InternalGetVR(0x0002, 0x0000, UINT32(0x01020304)));
    ASSERT_NE(ul, nullptr);
    EXPECT_EQ(ul->GetVRCode(), VRCode::UL);
    EXPECT_EQ(bytesOf(*ul), (Bytes{0x04, 0x03, 0x02, 0x01}));

    const Element fl(little.InternalGetVR(0x0070, 0x0103, FLOAT(1.0f)));
    ASSERT_NE(fl, nullptr);
    EXPECT_EQ(fl->GetVRCode(), VRCode::FL);
    EXPECT_EQ(bytesOf(*fl), (Bytes{0x00, 0x00, 0x80, 0x3F}));
}

TEST(MVRFactoryNumbers, BigEndianBytes) {
    const Element us(big.InternalGetVR(0x0028, 0x0010, UINT16(0x1234)));
    ASSERT_NE(us, nullptr);
    EXPECT_EQ(us->GetEndian(), BigEndian);
    EXPECT_EQ(bytesOf(*us), (Bytes{0x12, 0x34}));
    EXPECT_EQ(bytesOf(*Element(big.InternalGetVR(0x0028, 0x6120, INT16(-2)))), (Bytes{0xFF, 0xFE}));
    EXPECT_EQ(bytesOf(*Element(big.InternalGetVR(0x0002, 0x0000, UINT32(0x01020304)))),
              (Bytes{0x01, 0x02, 0x03, 0x04}));
    EXPECT_EQ(bytesOf(*Element(big.InternalGetVR(0x0070, 0x0103, FLOAT(1.0f)))), (Bytes{0x3F, 0x80, 0x00, 0x00}));
}

TEST(MVRFactoryNumbers, AmbiguousUSOrSSTagIsWrittenAsUS) {
    ASSERT_EQ(InstanceSpecificDataDictionary::TypeVR(0x0028, 0x0106), VRCode::US_OR_SS);
    const Element smallest(little.InternalGetVR(0x0028, 0x0106, UINT16(0xFFFE)));
    ASSERT_NE(smallest, nullptr);
    EXPECT_EQ(smallest->GetVRCode(), VRCode::US);
}

TEST(MVRFactorySequence, EmptySequenceElement) {
    const std::unique_ptr<SequenceVR> sequence(big.InternalGetSequenceVR(0x0008, 0x1140, 0));
    ASSERT_NE(sequence, nullptr);
    EXPECT_EQ(sequence->GetVRCode(), VRCode::SQ);
    EXPECT_EQ(sequence->GetEndian(), BigEndian);
    EXPECT_EQ(sequence->GetNumberOfItems(), 0u);
}

TEST(MVRFactoryArrays, ConvertedToTheFactoryByteOrder) {
    const INT32 corner[] = {0x01020304, -2};
    const Element bigCorner(big.InternalGetArrayVR(0x0070, 0x0052, corner, sizeof corner));
    ASSERT_NE(bigCorner, nullptr);
    EXPECT_EQ(bigCorner->GetVRCode(), VRCode::SL);
    EXPECT_EQ(bytesOf(*bigCorner), (Bytes{0x01, 0x02, 0x03, 0x04, 0xFF, 0xFF, 0xFF, 0xFE}));
    EXPECT_EQ(corner[0], 0x01020304);

    const Element littleCorner(little.InternalGetArrayVR(0x0070, 0x0052, corner, sizeof corner));
    ASSERT_NE(littleCorner, nullptr);
    EXPECT_EQ(bytesOf(*littleCorner), (Bytes{0x04, 0x03, 0x02, 0x01, 0xFE, 0xFF, 0xFF, 0xFF}));

    const UINT16 lab[] = {0x0102, 0x0304, 0x0506};
    const Element bigLab(big.InternalGetArrayVR(0x0018, 0x1624, lab, sizeof lab));
    ASSERT_NE(bigLab, nullptr);
    EXPECT_EQ(bigLab->GetVRCode(), VRCode::US);
    EXPECT_EQ(bytesOf(*bigLab), (Bytes{0x01, 0x02, 0x03, 0x04, 0x05, 0x06}));
}

TEST(MVRFactoryArrays, AmbiguousTagNeedsACode) {
    const UINT16 descriptor[] = {256, 0, 16};
    EXPECT_EQ(big.InternalGetArrayVR(0x0028, 0x1101, descriptor, sizeof descriptor), nullptr);

    const Element typed(big.InternalGetArrayVR(0x0028, 0x1101, descriptor, sizeof descriptor, VRCode::SS));
    ASSERT_NE(typed, nullptr);
    EXPECT_EQ(typed->GetVRCode(), VRCode::SS);
    EXPECT_EQ(bytesOf(*typed), (Bytes{0x01, 0x00, 0x00, 0x00, 0x00, 0x10}));

    EXPECT_EQ(big.InternalGetArrayVR(0x0028, 0x1101, descriptor, sizeof descriptor, VRCode::US_OR_SS), nullptr);
}

TEST(MVRFactoryPrivate, ZORVIKElementsByOffset) {
    const Element layout(big.GetPrivateVR(ZORVIKPrivateCreator, 0x51, ZORVIKPrivateGroup));
    ASSERT_NE(layout, nullptr);
    EXPECT_EQ(layout->GetTag(), MAttributeTag(0x0023, 0x0051));
    EXPECT_TRUE(MDDEntry::IsStringType(layout->GetVRCode()));
    EXPECT_EQ(layout->GetEndian(), BigEndian);
    EXPECT_EQ(layout->GetLength(), 0u);

    const Element rows(big.GetPrivateVR(ZORVIKPrivateCreator, 0x47, ZORVIKPrivateGroup, UINT16(3)));
    ASSERT_NE(rows, nullptr);
    EXPECT_EQ(rows->GetVRCode(), VRCode::US);
    EXPECT_EQ(bytesOf(*rows), (Bytes{0x00, 0x03}));

    const FLOAT kernel[] = {1.0f, -2.0f};
    const Element data(big.GetPrivateArrayVR(ZORVIKPrivateCreator, 0x49, ZORVIKPrivateGroup, kernel, sizeof kernel));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(MDDEntry::UShortToValueType(data->GetVRCode()), ValueType::Float32);
    EXPECT_EQ(bytesOf(*data), (Bytes{0x3F, 0x80, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x00}));
}

TEST(MVRFactoryPrivate, TextIsPlacedInTheCreatorsBlock) {
    DICOMDataObject data;
    data.ReplaceVR(ZORVIKPrivateCreator,
                   little.GetPrivateVR(ZORVIKPrivateCreator, 0x46, ZORVIKPrivateGroup, RWCString("GAUSS"), ' '));
    const VR* placed = data.GetVR(ZORVIKPrivateCreator, 0x46, ZORVIKPrivateGroup);
    ASSERT_NE(placed, nullptr);
    EXPECT_EQ(textOf(*placed), "GAUSS ");
    RWCString value;
    EXPECT_EQ(data.GetString(ZORVIKPrivateCreator, 0x46, value, ZORVIKPrivateGroup), 1);
    EXPECT_EQ(value, "GAUSS");
}

TEST(MVRFactoryPrivate, UnknownCreatorOrOffsetThrows) {
    try {
        delete little.GetPrivateVR("NOBODY", 0x46, 0x0029);
        FAIL() << "no exception";
    } catch (const AttributeNotFoundException& error) {
        const RWCString message = error.what();
        EXPECT_EQ(message.rfind("MVRFactory<VRType>::GetPrivateVR(", 0), 0u) << message;
        EXPECT_NE(message.find("NOBODY"), RWCString::npos) << message;
        EXPECT_NE(message.find("0029"), RWCString::npos) << message;
        EXPECT_NE(message.find("46"), RWCString::npos) << message;
    }
    EXPECT_THROW(delete little.GetPrivateVR(ZORVIKPrivateCreator, 0x01, ZORVIKPrivateGroup),
                 AttributeNotFoundException);
    EXPECT_THROW(delete little.GetPrivateVR("NOBODY", 0x46, ZORVIKPrivateGroup, RWCString("A"), ' '),
                 AttributeNotFoundException);
    EXPECT_THROW(delete little.GetPrivateVR(nullptr, 0x46, ZORVIKPrivateGroup), AttributeNotFoundException);
}

TEST(RefCntrExceptionTest, CloneKeepsTypeAndMessage) {
    const RefCntrException original("broken tree");
    const std::unique_ptr<ExceptionBase> clone(static_cast<const ExceptionBase&>(original).Clone());
    ASSERT_NE(dynamic_cast<RefCntrException*>(clone.get()), nullptr);
    EXPECT_EQ(clone->GetType(), "RefCntrException");
    EXPECT_STREQ(clone->what(), "broken tree");

    RefCntrException assigned("other");
    assigned = original;
    EXPECT_EQ(assigned.GetMessage(), "broken tree");
    EXPECT_EQ(RefCntrException(original).GetType(), "RefCntrException");
}

}  // namespace
}  // namespace refcntr
