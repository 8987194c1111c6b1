// Data sets, elements, raw access and the small value types of the platform layer.
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "refcntr/platform/AETitle.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/platform/VRAccess.h"

using namespace refcntr;

namespace {

VR* makeElement(UINT16 group, UINT16 element, UINT16 vrCode, const std::string& bytes,
                EndianType endian = LittleEndian) {
    auto* result = new VR(group, element, vrCode, endian);
    result->SetData(bytes.data(), UINT32(bytes.size()));
    return result;
}

std::string bytesOf(const VR& element) {
    return element.GetData() != nullptr
               ? std::string(reinterpret_cast<const char*>(element.GetData()), element.GetLength())
               : std::string();
}

}  // namespace

TEST(DataSetStrings, TrailingPadIsRemovedEmptySucceedsOthersFail) {
    DICOMDataObject dataSet;
    dataSet.ReplaceVR(makeElement(0x0010, 0x0010, VRCode::PN, "Doe^Jane  "));
    dataSet.ReplaceVR(makeElement(0x0008, 0x0018, VRCode::UI, std::string("1.2.3\0", 6)));
    dataSet.ReplaceVR(makeElement(0x0008, 0x0060, VRCode::CS, std::string("PR\0\0", 4)));
    dataSet.ReplaceVR(new VR(0x0008, 0x1030, VRCode::LO, LittleEndian));
    dataSet.ReplaceVR(makeElement(0x0008, 0x0070, VRCode::LO, "  Lead and inner  blanks "));
    dataSet.ReplaceVR(makeElement(0x0028, 0x0010, VRCode::US, std::string("\x00\x02", 2)));

    RWCString value = "stale";
    ASSERT_EQ(1, dataSet.GetString(0x0010, 0x0010, value));
    EXPECT_EQ("Doe^Jane", value);
    ASSERT_EQ(1, dataSet.GetString(0x0008, 0x0018, value));
    EXPECT_EQ("1.2.3", value);
    ASSERT_EQ(1, dataSet.GetString(0x0008, 0x0060, value));
    EXPECT_EQ("PR", value);  // trailing NULs are padding whatever the VR
    ASSERT_EQ(1, dataSet.GetString(0x0008, 0x1030, value));
    EXPECT_EQ("", value);
    ASSERT_EQ(1, dataSet.GetString(0x0008, 0x0070, value));
    EXPECT_EQ("  Lead and inner  blanks", value);

    value = "unchanged";
    EXPECT_EQ(0, dataSet.GetString(0x0010, 0x0020, value));
    EXPECT_EQ(0, dataSet.GetString(0x0028, 0x0010, value));
    EXPECT_EQ("unchanged", value);
}

// Each getter reads its own VRs in the element's byte order; an absent, wrongly typed or short
// element fails and leaves the value as it was.
TEST(DataSetNumbers, TypedGettersReadTheirVRsInTheElementsByteOrderOrFail) {
    DICOMDataObject dataSet;
    dataSet.ReplaceVR(makeElement(0x0028, 0x0010, VRCode::US, std::string("\x00\x02\x05\x00", 4)));
    dataSet.ReplaceVR(makeElement(0x0028, 0x0011, VRCode::US, std::string("\x02\x00", 2), BigEndian));
    dataSet.ReplaceVR(makeElement(0x0028, 0x0012, VRCode::US, std::string("\x01", 1)));
    dataSet.ReplaceVR(makeElement(0x0018, 0x9219, VRCode::SS, std::string("\xfb\xff", 2)));
    dataSet.ReplaceVR(makeElement(0x0008, 0x1161, VRCode::UL, std::string("\x01\x02\x03\x04", 4)));
    dataSet.ReplaceVR(makeElement(0x0070, 0x0052, VRCode::SL, std::string("\xff\xff\xff\xfe", 4), BigEndian));
    dataSet.ReplaceVR(makeElement(0x0070, 0x0022, VRCode::FL, std::string("\x00\x00\x00\x3f", 4)));
    dataSet.ReplaceVR(makeElement(0x0070, 0x0023, VRCode::FD, std::string(8, '\0')));
    dataSet.ReplaceVR(makeElement(0x0020, 0x0013, VRCode::IS, "12"));

    UINT16 unsigned16 = 0;
    INT16 signed16 = 0;
    UINT32 unsigned32 = 0;
    FLOAT single = 0;
    EXPECT_TRUE(dataSet.GetUINT16(0x0028, 0x0010, unsigned16) && unsigned16 == 512);
    EXPECT_TRUE(dataSet.GetUINT16(0x0018, 0x9219, unsigned16) && unsigned16 == 0xFFFB);
    EXPECT_TRUE(dataSet.GetUINT16(0x0028, 0x0011, unsigned16) && unsigned16 == 512);
    EXPECT_TRUE(dataSet.GetINT16(0x0028, 0x0010, signed16) && signed16 == 512);
    EXPECT_TRUE(dataSet.GetINT16(0x0018, 0x9219, signed16) && signed16 == -5);
    EXPECT_TRUE(dataSet.GetUINT32(0x0008, 0x1161, unsigned32) && unsigned32 == 0x04030201u);
    EXPECT_TRUE(dataSet.GetUINT32(0x0070, 0x0052, unsigned32) && unsigned32 == 0xFFFFFFFEu);
    EXPECT_TRUE(dataSet.GetFLOAT(0x0070, 0x0022, single) && single == 0.5f);

    EXPECT_EQ(0, dataSet.GetUINT16(0x0010, 0x0010, unsigned16));
    EXPECT_EQ(0, dataSet.GetUINT16(0x0008, 0x1161, unsigned16));
    EXPECT_EQ(0, dataSet.GetUINT16(0x0028, 0x0012, unsigned16));
    EXPECT_EQ(0, dataSet.GetUINT16(0x0020, 0x0013, unsigned16));
    EXPECT_EQ(0, dataSet.GetINT16(0x0008, 0x1161, signed16));
    EXPECT_EQ(0, dataSet.GetUINT32(0x0028, 0x0010, unsigned32));
    EXPECT_EQ(0, dataSet.GetFLOAT(0x0070, 0x0023, single));
    EXPECT_EQ(512, unsigned16);
    EXPECT_EQ(-5, signed16);
    EXPECT_EQ(0xFFFFFFFEu, unsigned32);
    EXPECT_EQ(0.5f, single);
}

TEST(DataSetElements, TagOrderReplaceAndRemove) {
    DICOMDataObject dataSet;
    dataSet.ReplaceVR(makeElement(0x0010, 0x0010, VRCode::PN, "B^B "));
    dataSet.ReplaceVR(makeElement(0x0008, 0x0060, VRCode::CS, "PR"));
    dataSet.ReplaceVR(makeElement(0x0020, 0x0013, VRCode::IS, "1 "));
    dataSet.ReplaceVR(makeElement(0x0010, 0x0020, VRCode::LO, "ID"));
    dataSet.ReplaceVR(makeElement(0x0010, 0x0010, VRCode::PN, "A^A "));

    ASSERT_EQ(4u, dataSet.GetNumberOfVRs());
    UINT32 previous = 0;
    for (const auto& element : dataSet) {
        EXPECT_LT(previous, element->GetTag().GetKey());
        previous = element->GetTag().GetKey();
    }
    EXPECT_EQ("(0008,0060)", (*dataSet.begin())->GetTag().ToString());
    EXPECT_EQ("A^A ", bytesOf(*dataSet.GetVR(0x0010, 0x0010)));

    VR* stored = dataSet.GetVR(0x0020, 0x0013);
    dataSet.ReplaceVR(stored);  // storing the element it already holds changes nothing
    EXPECT_EQ("1 ", bytesOf(*dataSet.GetVR(0x0020, 0x0013)));

    EXPECT_EQ(1, dataSet.RemoveVR(0x0010, 0x0020));
    EXPECT_EQ(0, dataSet.RemoveVR(0x0010, 0x0020));
    EXPECT_EQ(nullptr, dataSet.GetVR(0x0010, 0x0020));
}

TEST(DataSetElements, CopiesAreDeepIncludingSequenceItems) {
    DICOMDataObject original(BigEndian);
    auto* sequence = new SequenceVR(0x0008, 0x1140, BigEndian);
    auto* item = new DICOMDataObject(BigEndian);
    item->ReplaceVR(makeElement(0x0008, 0x1150, VRCode::UI, "1.2."));
    sequence->AddSequenceItem(item);
    original.ReplaceVR(sequence);
    original.ReplaceVR(makeElement(0x0010, 0x0010, VRCode::PN, "Doe "));

    DICOMDataObject copy(original);
    DICOMDataObject assigned;
    assigned = original;
    original.GetVR(0x0010, 0x0010)->SetData("Roe ", 4);
    original.GetVR(0x0008, 0x1140)->GetAsSequenceVR()->GetSequenceItems()[0]->RemoveVR(0x0008, 0x1150);

    for (const DICOMDataObject* duplicate : {&copy, &assigned}) {
        EXPECT_EQ(BigEndian, duplicate->GetEndian());
        EXPECT_EQ("Doe ", bytesOf(*duplicate->GetVR(0x0010, 0x0010)));
        const SequenceVR* copied = duplicate->GetVR(0x0008, 0x1140)->GetAsSequenceVR();
        ASSERT_NE(nullptr, copied);
        ASSERT_EQ(1u, copied->GetNumberOfItems());
        EXPECT_NE(nullptr, copied->GetSequenceItems()[0]->GetVR(0x0008, 0x1150));
    }
}

class PrivateAddressing : public ::testing::Test {
protected:
    DICOMDataObject dataSet;

    void SetUp() override {
        // Block 10 belongs to another creator, block 12 (padded with a blank) to ZORVIK0.
        dataSet.ReplaceVR(makeElement(0x0023, 0x0010, VRCode::LO, "OTHER CREATOR "));
        dataSet.ReplaceVR(makeElement(0x0023, 0x0012, VRCode::LO, "ZORVIK0 "));
        dataSet.ReplaceVR(makeElement(0x0023, 0x1046, VRCode::LO, "OTHER VALUE "));
        dataSet.ReplaceVR(makeElement(0x0023, 0x1246, VRCode::LO, "UNSHARP_MASK"));
        dataSet.ReplaceVR(makeElement(0x0023, 0x1247, VRCode::US, std::string("\x03\x00", 2)));
    }
};

TEST_F(PrivateAddressing, CreatorResolvesToItsOwnBlockAndAnUnknownOneToNothing) {
    EXPECT_EQ(0x12, dataSet.FindPrivateBlock(ZORVIKPrivateCreator, ZORVIKPrivateGroup));
    EXPECT_EQ(0x10, dataSet.FindPrivateBlock("OTHER CREATOR", ZORVIKPrivateGroup));
    EXPECT_EQ(0, dataSet.FindPrivateBlock(ZORVIKPrivateCreator, 0x0029));

    RWCString value;
    ASSERT_EQ(1, dataSet.GetString(ZORVIKPrivateCreator, 0x46, value, ZORVIKPrivateGroup));
    EXPECT_EQ("UNSHARP_MASK", value);
    UINT16 rows = 0;
    ASSERT_EQ(1, dataSet.GetUINT16(ZORVIKPrivateCreator, 0x47, rows, ZORVIKPrivateGroup));
    EXPECT_EQ(3, rows);

    EXPECT_EQ(0, dataSet.GetString("NOBODY", 0x46, value, ZORVIKPrivateGroup));
    EXPECT_EQ(0, dataSet.GetUINT16("NOBODY", 0x47, rows, ZORVIKPrivateGroup));
    EXPECT_EQ(nullptr, dataSet.GetVR(nullptr, 0x46, ZORVIKPrivateGroup));
}

TEST_F(PrivateAddressing, ReplaceVRUsesTheCreatorsBlockOrReservesTheFirstFree) {
    dataSet.ReplaceVR(ZORVIKPrivateCreator, makeElement(0x0023, 0x0047, VRCode::US, std::string("\x05\x00", 2)));
    UINT16 rows = 0;
    ASSERT_EQ(1, dataSet.GetUINT16(0x0023, 0x1247, rows));
    EXPECT_EQ(5, rows);

    dataSet.ReplaceVR("NEW CREATOR", makeElement(0x0023, 0x1099, VRCode::LO, "X "));
    ASSERT_EQ(0x11, dataSet.FindPrivateBlock("NEW CREATOR", 0x0023));  // 10 and 12 are taken
    const VR* creator = dataSet.GetVR(0x0023, 0x0011);
    EXPECT_EQ(VRCode::LO, creator->GetVRCode());
    EXPECT_EQ("NEW CREATOR ", bytesOf(*creator));  // padded to even length
    EXPECT_EQ("X ", bytesOf(*dataSet.GetVR(0x0023, 0x1199)));
}

TEST(PrivateReservation, EmptyDataSetGetsBlock10AndBadRequestsThrow) {
    DICOMDataObject dataSet;
    dataSet.ReplaceVR(ZORVIKPrivateCreator, makeElement(0x0023, 0x0051, VRCode::LT, "layout"));
    EXPECT_EQ("ZORVIK0 ", bytesOf(*dataSet.GetVR(0x0023, 0x0010)));
    EXPECT_NE(nullptr, dataSet.GetVR(0x0023, 0x1051));

    EXPECT_THROW(dataSet.ReplaceVR(ZORVIKPrivateCreator, makeElement(0x0010, 0x0010, VRCode::PN, "A")),
                 RuntimeException);
    EXPECT_THROW(dataSet.ReplaceVR(nullptr, makeElement(0x0023, 0x0051, VRCode::LT, "A")), RuntimeException);
    DICOMDataObject full;
    for (UINT16 block = 0x10; block <= 0xFF; ++block) full.ReplaceVR(makeElement(0x0029, block, VRCode::LO, "TAKEN "));
    EXPECT_THROW(full.ReplaceVR("LATE", makeElement(0x0029, 0x0001, VRCode::LO, "A ")), RuntimeException);
}

TEST(RawAccess, ArraysConvertFromEitherByteOrder) {
    std::unique_ptr<VR> little(makeElement(0x0028, 0x1201, VRCode::OW, std::string("\x01\x02\x03\x04", 4)));
    std::unique_ptr<VR> big(makeElement(0x0028, 0x1201, VRCode::OW, std::string("\x02\x01\x04\x03", 4), BigEndian));
    UINT16 fromLittle[2] = {0, 0};
    UINT16 fromBig[2] = {0, 0};
    ASSERT_EQ(1, VRAccessLE(*little).GetUINT16Array(fromLittle, 2));
    ASSERT_EQ(1, VRAccessBE(*big).GetUINT16Array(fromBig, 2));
    EXPECT_EQ(0x0201, fromLittle[0]);
    EXPECT_EQ(0x0403, fromLittle[1]);
    EXPECT_EQ(0, std::memcmp(fromLittle, fromBig, sizeof fromBig));

    UINT32 word = 0;
    ASSERT_EQ(1, VRAccessBE(*little).GetUINT32Array(&word, 1));
    EXPECT_EQ(0x01020304u, word);
    const float source[2] = {1.25f, -3.5f};
    VR floats(0x0070, 0x0022, VRCode::FL, BigEndian);
    floats.SetData(source, sizeof source);
    floats.SwapDataEndian();
    FLOAT values[2];
    ASSERT_EQ(1, VRAccessBE(floats).GetFLOATArray(values, 2));
    EXPECT_EQ(0, std::memcmp(source, values, sizeof values));
    unsigned char bytes[4];
    ASSERT_EQ(1, VRAccessBE(*little).GetBytes(bytes, 4));
    EXPECT_EQ("\x01\x02\x03\x04", std::string(reinterpret_cast<char*>(bytes), 4));

    UINT16 untouched[3] = {9, 9, 9};
    EXPECT_EQ(0, VRAccessLE(*little).GetUINT16Array(untouched, 3));
    EXPECT_EQ(9, untouched[0]);
    VR empty(0x0028, 0x0010, VRCode::US, LittleEndian);
    EXPECT_EQ(0, VRAccessLE(empty).GetUINT16Array(untouched, 1));
}

TEST(ByteOrderSwap, SwapsEachValueByTheWidthOfItsVR) {
    const std::string original("\x01\x02\x03\x04\x05\x06\x07\x08\x09", 9);
    const struct {
        UINT16 vrCode;
        const char* swapped;
    } cases[] = {
        {VRCode::US, "\x02\x01\x04\x03\x06\x05\x08\x07\x09"}, {VRCode::AT, "\x02\x01\x04\x03\x06\x05\x08\x07\x09"},
        {VRCode::OW, "\x02\x01\x04\x03\x06\x05\x08\x07\x09"}, {VRCode::FL, "\x04\x03\x02\x01\x08\x07\x06\x05\x09"},
        {VRCode::SL, "\x04\x03\x02\x01\x08\x07\x06\x05\x09"}, {VRCode::FD, "\x08\x07\x06\x05\x04\x03\x02\x01\x09"},
        {VRCode::UV, "\x08\x07\x06\x05\x04\x03\x02\x01\x09"}, {VRCode::OB, "\x01\x02\x03\x04\x05\x06\x07\x08\x09"},
        {VRCode::LO, "\x01\x02\x03\x04\x05\x06\x07\x08\x09"},
    };
    for (const auto& test : cases) {
        VR element(0x0009, 0x1000, test.vrCode, LittleEndian);
        element.SetData(original.data(), UINT32(original.size()));
        element.SwapDataEndian();
        EXPECT_EQ(std::string(test.swapped, 9), bytesOf(element)) << MDDEntry::UShortToTypeString(test.vrCode);
        EXPECT_EQ(LittleEndian, element.GetEndian());
    }
}

TEST(ElementValue, SetFromItsOwnBuffer) {
    VR element(0x0010, 0x0010, VRCode::PN, LittleEndian);
    EXPECT_EQ(nullptr, element.GetData());
    element.SetData("Doe^", 4);
    element.SetData(element.GetData() + 1, 3);
    EXPECT_EQ("oe^", bytesOf(element));
    element.SetData(nullptr, 0);
    EXPECT_EQ(nullptr, element.GetData());
    EXPECT_EQ(0u, element.GetLength());

    // A padded copy: an odd value gains the pad, in place or in a buffer, also from itself.
    element.SetPaddedData("Doe", 3, ' ');
    EXPECT_EQ("Doe ", bytesOf(element));
    element.SetPaddedData("Doe^John^Quincy^Adams", 21, ' ');
    EXPECT_EQ("Doe^John^Quincy^Adams ", bytesOf(element));
    element.SetPaddedData(element.GetData() + 4, 17, '_');
    EXPECT_EQ("John^Quincy^Adams_", bytesOf(element));
    element.SetPaddedData("JD", 2, '_');
    EXPECT_EQ("JD", bytesOf(element));
    element.SetPaddedData("", 0, '_');
    EXPECT_EQ(nullptr, element.GetData());
}

// Every two-letter code is named by its own letters or not at all, and a name turns back into
// its code; the three ambiguous codes have names of their own.
TEST(ValueRepresentations, NamesAreTheCodesLettersAndTurnBackIntoTheCode) {
    unsigned named = 0;
    for (char first = 'A'; first <= 'Z'; ++first)
        for (char second = 'A'; second <= 'Z'; ++second) {
            const UINT16 code = VRCode::make(first, second);
            const RWCString text = MDDEntry::UShortToTypeString(code);
            if (text.empty()) continue;
            ++named;
            EXPECT_EQ(std::string({first, second}), text);
            EXPECT_EQ(code, MDDEntry::TypeStringToUShort(text)) << text;
        }
    EXPECT_EQ(34u, named);
    for (const UINT16 code : {VRCode::US_OR_SS, VRCode::OW_OR_OB, VRCode::OW_OR_US_OR_SS})
        EXPECT_EQ(code, MDDEntry::TypeStringToUShort(MDDEntry::UShortToTypeString(code)));
    EXPECT_EQ("OW_OR_US_OR_SS", MDDEntry::UShortToTypeString(VRCode::OW_OR_US_OR_SS));
    EXPECT_EQ("", MDDEntry::UShortToTypeString(VRCode::Unknown));
    EXPECT_EQ(VRCode::Unknown, MDDEntry::TypeStringToUShort("ZZ"));
}

// The text test is a table of its own: it must name exactly the codes whose values are texts.
TEST(ValueRepresentations, TheTextVRsAreTheSeventeenWhoseValuesAreText) {
    unsigned texts = 0;
    for (unsigned code = 0; code <= 0xFFFF; ++code) {
        const bool text = MDDEntry::UShortToValueType(UINT16(code)) == ValueType::Text;
        EXPECT_EQ(text ? 1 : 0, MDDEntry::IsStringType(UINT16(code))) << std::hex << code;
        texts += text;
    }
    EXPECT_EQ(17u, texts);
}

TEST(ApplicationEntityTitle, KeepsAtMostSixteenCharactersBlankFilled) {
    AETitle station("READ_WS_07");
    EXPECT_EQ(10u, station.GetLength());
    EXPECT_EQ("READ_WS_07", station.ToString());
    EXPECT_STREQ("READ_WS_07      ", station.Get());
    station.Set("A_TITLE_LONGER_THAN_SIXTEEN");
    EXPECT_EQ("A_TITLE_LONGER_T", station.ToString());
    EXPECT_EQ('\0', station.Get()[16]);
    for (const AETitle& blank : {AETitle(), AETitle(nullptr)}) {
        EXPECT_EQ(16u, blank.GetLength());
        EXPECT_STREQ("                ", blank.Get());
    }
}
