// Following the offsets that link directory records, on hand-built record sequences: the order
// of levels, and the links that lead nowhere or back.
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "refcntr/tools/CommandLine.h"
#include "refcntr/tools/DirectoryTree.h"

namespace refcntr {
namespace {

// Records as a test lays them out: each at an offset, with its links.
struct Record {
    UINT32 offset;
    const char* type;
    const char* key;  // patient name, study ID, modality or file component, as fits the type
    UINT32 next;
    UINT32 lower;
};

struct Directory {
    DirectoryInformationModule module;
    std::vector<UINT32> offsets;
};

std::unique_ptr<Directory> directory(UINT32 root, const std::vector<Record>& records) {
    auto result = std::make_unique<Directory>();
    result->module.setRootDirectoryFirstRecordElement(root);
    for (const Record& each : records) {
        auto* record = new DirectoryRecordSequenceItem;
        record->setDirectoryRecordTypeElement(each.type);
        record->setNextDirectoryRecordOffsetElement(each.next);
        record->setLowerLevelDirectoryOffsetElement(each.lower);
        const std::string type = each.type;
        if (type == "PATIENT") record->setPatientNameElement(each.key);
        if (type == "STUDY") record->setStudyIDElement(each.key);
        if (type == "SERIES") record->setModalityElement(each.key);
        if (type == "IMAGE") record->setReferencedFileIDElement({"IMAGES", each.key});
        result->module.getDirectoryRecordSequenceElement().addItem(record);
        result->offsets.push_back(each.offset);
    }
    return result;
}

// Stored out of order: the links, not the sequence, give the hierarchy.
TEST(DirectoryTree, ListsEachLowerLevelUnderItsRecordBeforeTheNextRecord) {
    const auto tree = directory(100, {{500, "IMAGE", "IM2", 0, 0},
                                      {100, "PATIENT", "Doe^Jane", 600, 200},
                                      {300, "SERIES", "CT", 0, 400},
                                      {200, "STUDY", "S1", 0, 300},
                                      {400, "IMAGE", "IM1", 500, 0},
                                      {600, "PATIENT", "Roe^Richard", 0, 0},
                                      {700, "IMAGE", "ORPHAN", 0, 0}});
    const DirectoryTree result = directoryTree(tree->module, tree->offsets);
    EXPECT_EQ(result.text,
              "PATIENT Doe^Jane\n"
              "  STUDY S1\n"
              "    SERIES CT\n"
              "      IMAGE IMAGES/IM1\n"
              "      IMAGE IMAGES/IM2\n"
              "PATIENT Roe^Richard\n");
    EXPECT_EQ(result.reached, 6u);
}

TEST(DirectoryTree, ALinkWhereNoRecordStartsOrBackToAReachedRecordFails) {
    const struct {
        UINT32 root;
        std::vector<Record> records;
        std::string message;
    } cases[] = {
        {150, {{100, "PATIENT", "A", 0, 0}}, "the root links to offset 150, where no record starts"},
        {100,
         {{100, "PATIENT", "A", 0, 200}, {200, "STUDY", "S1", 250, 0}},
         "the STUDY record at offset 200 links to offset 250, where no record starts"},
        {100,
         {{100, "PATIENT", "A", 0, 200}, {200, "STUDY", "S1", 0, 100}},
         "the STUDY record at offset 200 links back to the record at offset 100: the links loop"},
        {100, {{100, "PATIENT", "A", 100, 0}}, "the PATIENT record at offset 100 links back to the record at offset 100"},
    };
    for (const auto& each : cases) {
        const auto tree = directory(each.root, each.records);
        try {
            directoryTree(tree->module, tree->offsets);
            ADD_FAILURE() << each.message;
        } catch (const cli::Failure& error) {
            EXPECT_NE(std::string(error.what()).find(each.message), std::string::npos) << error.what();
        }
    }
}

TEST(DirectoryTree, AnEmptyDirectoryListsNothingAndOffsetsMustMatchTheRecords) {
    const auto empty = directory(0, {});
    EXPECT_EQ(directoryTree(empty->module, {}).text, "");
    const auto one = directory(100, {{100, "PATIENT", "A", 0, 0}});
    EXPECT_THROW(directoryTree(one->module, {}), std::invalid_argument);
}

TEST(DirectoryTree, RecordLinesShowTheKeysThatArePresent) {
    DirectoryRecordSequenceItem study;
    study.setDirectoryRecordTypeElement("STUDY");
    study.setStudyDateElement("20240102");
    study.setStudyDescriptionElement("CT CHEST");
    study.setStudyInstanceUIDElement("2.25.101");
    EXPECT_EQ(describeRecord(study), "STUDY 20240102 \"CT CHEST\" [2.25.101]");

    DirectoryRecordSequenceItem series;
    series.setDirectoryRecordTypeElement("SERIES");
    series.setSeriesNumberElement(0);
    series.setRecordInUseFlagElement(0);
    EXPECT_EQ(describeRecord(series), "SERIES 0 (not in use)");

    DirectoryRecordSequenceItem presentation;
    presentation.setDirectoryRecordTypeElement("PRESENTATION");
    presentation.setReferencedFileIDElement({"PS", "PS1"});
    presentation.setReferencedSOPInstanceUIDInFileElement("2.25.7");
    presentation.setRecordInUseFlagElement(0xFFFF);
    EXPECT_EQ(describeRecord(presentation), "PRESENTATION PS/PS1 [2.25.7]");

    EXPECT_EQ(describeRecord(DirectoryRecordSequenceItem()), "(no type)");
}

}  // namespace
}  // namespace refcntr
