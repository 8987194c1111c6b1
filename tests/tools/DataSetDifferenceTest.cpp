// The difference walk of refcntr roundtrip on hand-built data sets: what the first data set
// has and the second lacks, by path through sequences and items.
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/tools/DataSetDifference.h"
#include "refcntr/tools/SameMeaning.h"

namespace refcntr {
namespace {

using Paths = std::vector<std::string>;

VR* text(UINT16 group, UINT16 element, const std::string& value = "x") {
    auto* result = new VR(group, element, VRCode::LO, LittleEndian);
    result->SetData(value.data(), UINT32(value.size()));
    return result;
}

DICOMDataObject* item(std::initializer_list<VR*> elements) {
    auto* result = new DICOMDataObject;
    for (VR* element : elements) result->ReplaceVR(element);
    return result;
}

VR* sequence(UINT16 group, UINT16 element, std::initializer_list<DICOMDataObject*> items) {
    auto* result = new SequenceVR(group, element);
    for (DICOMDataObject* each : items) result->AddSequenceItem(each);
    return result;
}

std::unique_ptr<DICOMDataObject> dataSet(std::initializer_list<VR*> elements) {
    return std::unique_ptr<DICOMDataObject>(item(elements));
}

// An annotation sequence nested two levels deep, built alike for both sides of a comparison.
std::unique_ptr<DICOMDataObject> annotations(bool withGroupID, bool withName) {
    auto data = dataSet({text(0x0008, 0x0018, "1.2.3"),
                         sequence(0x0070, 0x0001,
                                  {item({text(0x0070, 0x0002, "LAYER")}),
                                   item({text(0x0070, 0x0002, "LAYER"),
                                         sequence(0x0070, 0x0009, {item({text(0x0070, 0x0023, "POINT")})})})})});
    if (withName) data->ReplaceVR(text(0x0010, 0x0010, "Doe^Jane"));
    if (withGroupID) {
        const SequenceVR& outer = *data->GetVR(0x0070, 0x0001)->GetAsSequenceVR();
        const SequenceVR& inner = *outer.GetSequenceItems()[1]->GetVR(0x0070, 0x0009)->GetAsSequenceVR();
        inner.GetSequenceItems()[0]->ReplaceVR(text(0x0070, 0x0295, "7"));
    }
    return data;
}

// Presence counts, not values. A sequence that is gone is one entry, one that lost its items or
// became a plain element one per item; a dropped item is reported as itself, not as a shift of
// the items after it, at every level of nesting.
TEST(DataSetDifference, MissingElementsAreNamedByTheirPathInTheOrderOfTheFirst) {
    const UINT16 group = 0x0070;
    const auto threeItems = [&](bool withWidth) {
        return dataSet(
            {sequence(group, 0x0001,
                      {item({text(group, 0x0002), text(group, 0x0003)}), item({text(0x0029, 0x1001)}),
                       withWidth ? item({text(group, 0x0002), text(group, 0x0004)}) : item({text(group, 0x0002)})})});
    };
    const auto firstAndLast = [&] {
        return dataSet(
            {sequence(group, 0x0001, {item({text(group, 0x0002), text(group, 0x0003)}), item({text(group, 0x0002)})})});
    };
    const auto series = [](std::initializer_list<DICOMDataObject*> images) {
        return dataSet({sequence(0x0008, 0x1115, {item({text(0x0020, 0x000E), sequence(0x0008, 0x1140, images)})})});
    };
    const struct {
        std::shared_ptr<DICOMDataObject> first, second;
        Paths missing;
    } cases[] = {
        {annotations(true, true), annotations(true, true), {}},
        {annotations(false, false), annotations(true, true), {}},
        {dataSet({}), annotations(true, true), {}},
        {dataSet({text(0x0010, 0x0010, "Doe^Jane"), sequence(0x0008, 0x1140, {item({text(0x0008, 0x1155)})})}),
         dataSet({text(0x0010, 0x0010, "Roe^Rick"),
                  sequence(0x0008, 0x1140, {item({text(0x0008, 0x1155)}), item({text(0x0008, 0x1150)})})}),
         {}},
        {annotations(true, true),
         annotations(false, false),
         {"(0010,0010)", "(0070,0001)[1]/(0070,0009)[0]/(0070,0295)"}},
        {annotations(true, false), dataSet({text(0x0008, 0x0018, "1.2.3")}), {"(0070,0001)"}},
        {annotations(true, false),
         dataSet({text(0x0008, 0x0018), sequence(0x0070, 0x0001, {})}),
         {"(0070,0001)[0]", "(0070,0001)[1]"}},
        {annotations(true, false),
         dataSet({text(0x0008, 0x0018), text(0x0070, 0x0001)}),
         {"(0070,0001)[0]", "(0070,0001)[1]"}},
        {threeItems(false), firstAndLast(), {"(0070,0001)[1]"}},
        {threeItems(true), firstAndLast(), {"(0070,0001)[1]", "(0070,0001)[2]/(0070,0004)"}},
        // The first item is dropped although its elements are also in the second one.
        {dataSet({sequence(group, 0x0001,
                           {item({text(group, 0x0002)}), item({text(group, 0x0002), text(group, 0x0005)})})}),
         dataSet({sequence(group, 0x0001, {item({text(group, 0x0002), text(group, 0x0005)})})}),
         {"(0070,0001)[0]"}},
        {series({item({text(0x0008, 0x1155, "1")}), item({text(0x0009, 0x1001)}),
                 item({text(0x0008, 0x1155, "3"), text(0x0008, 0x1160)})}),
         series({item({text(0x0008, 0x1155, "1")}), item({text(0x0008, 0x1155, "3")})}),
         {"(0008,1115)[0]/(0008,1140)[1]", "(0008,1115)[0]/(0008,1140)[2]/(0008,1160)"}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(missingElements(*cases[i].first, *cases[i].second), cases[i].missing) << "case " << i;
}

}  // namespace
}  // namespace refcntr

namespace refcntr {
namespace {

VR* valued(UINT16 vrCode, const std::string& bytes, EndianType endian = LittleEndian) {
    auto* result = new VR(0x0018, 0x0050, vrCode, endian);
    result->SetData(bytes.data(), UINT32(bytes.size()));
    return result;
}

// What a round trip may reformat and what it may not change: numbers by value, texts without
// their pad, binary values in one byte order.
TEST(SameMeaning, ReformattedNumbersAndPadAreTheSameOtherChangesAreNot) {
    const struct {
        UINT16 vr;
        std::string before, after;
        bool same;
    } cases[] = {
        {VRCode::DS, "10.0000 ", "10", true},
        {VRCode::DS, " 1.5\\2", "1.5\\2.0", true},
        {VRCode::DS, "1234567890123456", "1.23456789012346E+15", false},
        {VRCode::DS, "1\\\\2 ", "1\\2", false},
        {VRCode::IS, "-99999999999 ", "-1215752191", false},
        {VRCode::IS, "007", "7 ", true},
        {VRCode::UI, std::string("1.2\0", 4), "1.2", true},
        {VRCode::LO, "AB  ", "AB", true},
        {VRCode::LO, " AB", "AB", false},
        {VRCode::OW, std::string("\1\2\3", 3), std::string("\1\2\3\0", 4), false},
    };
    for (const auto& each : cases) {
        std::unique_ptr<VR> before(valued(each.vr, each.before)), after(valued(each.vr, each.after));
        EXPECT_EQ(sameMeaning(*before, *after), each.same) << each.before << " / " << each.after;
    }
    std::unique_ptr<VR> little(valued(VRCode::US, std::string("\1\2", 2))),
        big(valued(VRCode::US, std::string("\2\1", 2), BigEndian));
    EXPECT_TRUE(sameMeaning(*little, *big));
}

TEST(DataSetDifference, ChangedValuesAreListedByPathAndDerivedOnesAreNotCompared) {
    DICOMDataObject before, after;
    before.ReplaceVR(text(0x0008, 0x0000, "12"));
    before.ReplaceVR(text(0x0010, 0x0010, "Doe"));
    before.ReplaceVR(text(0x0010, 0x0020, "P1"));
    after.ReplaceVR(text(0x0008, 0x0000, "99"));
    after.ReplaceVR(text(0x0010, 0x0010, "Doe "));
    after.ReplaceVR(text(0x0010, 0x0020, "P2"));
    const auto groupLengths = [](const MAttributeTag& tag) { return tag.GetElement() == 0x0000; };
    EXPECT_EQ(differences(before, after, groupLengths).changed, Paths{"(0010,0020)"});
}

}  // namespace
}  // namespace refcntr
