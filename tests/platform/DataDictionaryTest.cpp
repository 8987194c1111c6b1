// The data dictionary: DCMTK's standard entries behind the cache, and this library's private entries.
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/VR.h"

using namespace refcntr;

// Everything below relies on DCMTK having found its dictionary; a missing dictionary file
// would otherwise show up as a crowd of unrelated failures.
TEST(DataDictionary, DcmtkDictionaryIsLoaded) { ASSERT_EQ(1, InstanceSpecificDataDictionary::IsLoaded()); }

// Plain tags, repeating groups found through their range (overlay groups are even; in an odd
// group the same element is a private creator), DCMTK's internal VRs as ambiguous codes, and
// DCMTK's keywords.
TEST(DataDictionary, TagsHaveTheirVRAndKeyword) {
    const struct {
        UINT16 group, element, vrCode;
    } tags[] = {{0x0010, 0x0010, VRCode::PN},       {0x0008, 0x0016, VRCode::UI},
                {0x0070, 0x0001, VRCode::SQ},       {0x0070, 0x0022, VRCode::FL},
                {0x0008, 0x0007, VRCode::Unknown},  {0x0023, 0x1051, VRCode::Unknown},
                {0x6000, 0x3000, VRCode::OW_OR_OB}, {0x601E, 0x3000, VRCode::OW_OR_OB},
                {0x6002, 0x0010, VRCode::US},       {0x6002, 0x0011, VRCode::US},
                {0x6001, 0x0010, VRCode::LO},       {0x6001, 0x3000, VRCode::Unknown},
                {0x0004, 0x1200, VRCode::UL},       {0x0028, 0x0106, VRCode::US_OR_SS},
                {0x7FE0, 0x0010, VRCode::OW_OR_OB}, {0x0028, 0x3006, VRCode::OW_OR_US_OR_SS},
                {0xFFFE, 0xE000, VRCode::Unknown}};
    for (const auto& tag : tags)
        EXPECT_EQ(tag.vrCode, InstanceSpecificDataDictionary::TypeVR(tag.group, tag.element))
            << MAttributeTag(tag.group, tag.element).ToString();
    VR element(0x0028, 0x0010, LittleEndian);
    EXPECT_EQ(VRCode::US, InstanceSpecificDataDictionary::TypeVR(element));
    EXPECT_EQ(VRCode::US, element.GetVRCode());
    EXPECT_EQ("PatientName", InstanceSpecificDataDictionary::Keyword(0x0010, 0x0010));
    EXPECT_EQ("OverlayData", InstanceSpecificDataDictionary::Keyword(0x6002, 0x3000));
    EXPECT_EQ("", InstanceSpecificDataDictionary::Keyword(0x0008, 0x0007));
}

TEST(DataDictionary, LookupsFromManyThreadsAgree) {
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&mismatches] {
            for (int i = 0; i < 2000; ++i) {
                if (InstanceSpecificDataDictionary::TypeVR(0x0010, 0x0010) != VRCode::PN) ++mismatches;
                if (InstanceSpecificDataDictionary::TypeVR(0x6004, 0x3000) != VRCode::OW_OR_OB) ++mismatches;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, mismatches.load());
}

// Every private entry is found by its creator, group and offset, directly and through the
// instance dictionary; their keywords and VRs are checked against the schema's private rows in
// the generated dictionary test.
TEST(PrivateDictionary, EveryViewerEntryIsFoundWithItsVR) {
    int count = 0;
    for (const PrivateDictionaryEntry* entry = PrivateDataDictionary::Entries(); entry->itsCreator; ++entry, ++count) {
        SCOPED_TRACE(entry->itsKeyword);
        EXPECT_STREQ(ZORVIKPrivateCreator, entry->itsCreator);
        EXPECT_EQ(ZORVIKPrivateGroup, entry->itsGroup);
        EXPECT_EQ(entry, PrivateDataDictionary::Find(entry->itsCreator, entry->itsGroup, entry->itsOffset));
        EXPECT_EQ(entry->itsVRCode,
                  InstanceSpecificDataDictionary::TypeVR(entry->itsCreator, entry->itsOffset, entry->itsGroup));
    }
    EXPECT_EQ(7, count);
}

TEST(PrivateDictionary, UnknownCreatorOffsetOrGroupFindNothing) {
    EXPECT_EQ(1, PrivateDataDictionary::KnowsCreator(ZORVIKPrivateCreator));
    EXPECT_EQ(0, PrivateDataDictionary::KnowsCreator("ZORVIK1"));
    EXPECT_EQ(0, PrivateDataDictionary::KnowsCreator(nullptr));
    EXPECT_EQ(nullptr, PrivateDataDictionary::Find(ZORVIKPrivateCreator, ZORVIKPrivateGroup, 0x50));
    EXPECT_EQ(nullptr, PrivateDataDictionary::Find(ZORVIKPrivateCreator, 0x0025, 0x51));
    EXPECT_EQ(VRCode::Unknown, InstanceSpecificDataDictionary::TypeVR("ZORVIK1", 0x51, ZORVIKPrivateGroup));
    EXPECT_EQ(VRCode::Unknown, InstanceSpecificDataDictionary::TypeVR(ZORVIKPrivateCreator, 0x50, ZORVIKPrivateGroup));
    EXPECT_EQ(VRCode::Unknown, InstanceSpecificDataDictionary::TypeVR(nullptr, 0x51, ZORVIKPrivateGroup));
}
