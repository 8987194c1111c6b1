// Every schema row checked against an independent oracle, DCMTK's data dictionary: the tag
// exists, the keyword is the attribute's name, and the VR is the one the schema declares.
#include <gtest/gtest.h>

#include <dcmtk/dcmdata/dcdict.h>
#include <dcmtk/dcmdata/dcdicent.h>

#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include "refcntr/codegen/GeneratedClassList.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/MDDEntry.h"

namespace refcntr {
namespace {

// Names this library spells differently from the dictionary, and why.
const std::map<std::string, std::string> spelledDifferently = {
    // The presentation items abbreviate the corners of areas and boxes (top left and bottom
    // right hand corner), and the display shutter drops "The" from the polygon's vertices.
    {"DisplayedAreaTLHC", "DisplayedAreaTopLeftHandCorner"},
    {"DisplayedAreaBRHC", "DisplayedAreaBottomRightHandCorner"},
    {"BoundingBoxTLHC", "BoundingBoxTopLeftHandCorner"},
    {"BoundingBoxBRHC", "BoundingBoxBottomRightHandCorner"},
    {"VerticesOfPolygonalShutter", "VerticesOfThePolygonalShutter"},
    // The interface keeps a lower-case "t" in these two names.
    {"AttributeModificationDatetime", "AttributeModificationDateTime"},
    {"HangingProtocolCreationDatetime", "HangingProtocolCreationDateTime"},
    // The interface names these after older or shorter attribute names (singular for plural,
    // without "The" or "NameOf").
    {"CommentsOnPerformedProcedureStep", "CommentsOnThePerformedProcedureStep"},
    {"OperatorName", "OperatorsName"},
    {"OtherPatientID", "OtherPatientIDs"},
    {"OtherPatientIDSequence", "OtherPatientIDsSequence"},
    {"OtherPatientName", "OtherPatientNames"},
    {"PhysicianOfRecord", "PhysiciansOfRecord"},
    {"PhysicianOfRecordIdentificationSequence", "PhysiciansOfRecordIdentificationSequence"},
    {"PhysicianReadingStudy", "NameOfPhysiciansReadingStudy"},
    {"PhysicianReadingStudyIdentificationSequence", "PhysiciansReadingStudyIdentificationSequence"},
    {"ReasonForRequestedProcedure", "ReasonForTheRequestedProcedure"},
    {"SOPAuthorizationDateAndTime", "SOPAuthorizationDateTime"},
    {"SoftwareVersion", "SoftwareVersions"},
    // The directory's offsets, the presentation creator and the descriptor file's character
    // set keep the shorter names of the interface.
    {"NextDirectoryRecordOffset", "OffsetOfTheNextDirectoryRecord"},
    {"LowerLevelDirectoryOffset", "OffsetOfReferencedLowerLevelDirectoryEntity"},
    {"RootDirectoryFirstRecord", "OffsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity"},
    {"RootDirectoryLastRecord", "OffsetOfTheLastDirectoryRecordOfTheRootDirectoryEntity"},
    {"ContentCreatorsName", "ContentCreatorName"},
    {"FileSetCharacterSet", "SpecificCharacterSetOfFileSetDescriptorFile"},
};

// DCMTK's VR names, with its internal ones spelled as the choices they stand for.
std::set<std::string> vrChoices(const std::string& text) {
    static const std::map<std::string, std::string> internal = {
        {"xs", "US|SS"}, {"ox", "OB|OW"}, {"px", "OB|OW"}, {"lt", "US|SS|OW"}, {"up", "UL"}};
    const auto found = internal.find(text);
    std::stringstream stream(found == internal.end() ? text : found->second);
    std::set<std::string> choices;
    for (std::string choice; std::getline(stream, choice, '|');) choices.insert(choice);
    return choices;
}

struct Row {
    const ClassDescription* owner;
    const AttributeDescription* attribute;
};

std::vector<Row> everyRow() {
    std::vector<Row> rows;
    auto add = [&rows](const ClassDescription& description) {
        for (unsigned i = 0; i < description.attributeCount; ++i)
            rows.push_back({&description, &description.attributes[i]});
    };
    auto addEach = [&add](auto... containers) { (add(decltype(containers)::description()), ...); };
    std::apply(addEach, generated::Items<std::tuple>{});
    std::apply(addEach, generated::Modules<std::tuple>{});
    return rows;
}

TEST(Dictionary, EverySchemaRowMatchesTheStandardDictionary) {
    ASSERT_TRUE(dcmDataDict.isDictionaryLoaded());
    const std::vector<Row> rows = everyRow();
    ASSERT_GT(rows.size(), 100u);
    const DcmDataDictionary& dictionary = dcmDataDict.rdlock();
    for (const Row& row : rows) {
        const AttributeDescription& attribute = *row.attribute;
        if (attribute.privateCreator) continue;
        SCOPED_TRACE(std::string(row.owner->name) + "." + attribute.name);
        const DcmDictEntry* entry = dictionary.findEntry(DcmTagKey(attribute.group, attribute.element), nullptr);
        ASSERT_NE(entry, nullptr) << "unknown tag";
        std::string expected = attribute.name;
        const auto renamed = spelledDifferently.find(expected);
        if (renamed != spelledDifferently.end()) expected = renamed->second;
        const std::string keyword = entry->getTagName();
        EXPECT_TRUE(keyword == expected || keyword == "RETIRED_" + expected) << "dictionary keyword " << keyword;
        EXPECT_EQ(vrChoices(entry->getVR().getVRName()), vrChoices(attribute.vr))
            << "dictionary VR " << entry->getVR().getVRName();
    }
    dcmDataDict.rdunlock();
}

// Saving writes an attribute of one VR with the schema's VR instead of asking the dictionary; both
// must type every element alike, also where the dictionary's VR name is an internal one ("up").
TEST(Dictionary, SavingTypesEachAttributeAsTheDictionaryWould) {
    for (const Row& row : everyRow()) {
        const AttributeDescription& attribute = *row.attribute;
        if (attribute.privateCreator || vrChoices(attribute.vr).size() != 1) continue;
        SCOPED_TRACE(std::string(row.owner->name) + "." + attribute.name);
        EXPECT_EQ(
            MDDEntry::UShortToTypeString(InstanceSpecificDataDictionary::TypeVR(attribute.group, attribute.element)),
            attribute.vr);
    }
}

TEST(Dictionary, PrivateRowsAreOnTheAllowListOfTheViewersOwnBlock) {
    for (const Row& row : everyRow()) {
        const AttributeDescription& attribute = *row.attribute;
        if (!attribute.privateCreator) continue;
        SCOPED_TRACE(std::string(row.owner->name) + "." + attribute.name);
        EXPECT_STREQ(attribute.privateCreator, ZORVIKPrivateCreator);
        const PrivateDictionaryEntry* entry =
            PrivateDataDictionary::Find(attribute.privateCreator, attribute.group, UINT8(attribute.element));
        ASSERT_NE(entry, nullptr);
        EXPECT_STREQ(entry->itsKeyword, attribute.name);
        EXPECT_EQ(MDDEntry::UShortToTypeString(entry->itsVRCode), attribute.vr);
    }
}

}  // namespace
}  // namespace refcntr
