// The printing of a directory's hierarchy, on directories built record by record: what text
// from the file cannot do, deep levels, and the line of each kind of record. The order of the
// levels is checked on real directories by the tree command's golden listings.
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "refcntr/directory/DirectoryRecords.h"
#include "refcntr/tools/DirectoryTree.h"

namespace refcntr {
namespace {

DirectoryFile::Record* record(const char* type, const char* key) {
    auto* result = new DirectoryFile::Record;
    result->setDirectoryRecordTypeElement(type);
    const std::string kind = type;
    if (kind == "PATIENT") result->setPatientNameElement(key);
    if (kind == "STUDY") result->setStudyIDElement(key);
    if (kind == "IMAGE") result->setReferencedFileIDElement({"IMAGES", key});
    return result;
}

std::string printed(const DirectoryFile& directory) {
    std::ostringstream out;
    printDirectoryTree(directory, out);
    return out.str();
}

// Text from the file cannot move the terminal's cursor or forge a line; a deep chain shows its
// level as a number past the deepest indented level.
TEST(DirectoryTree, ControlCharactersAreEscapedAndDeepLevelsNumbered) {
    const auto directory = DirectoryFile::create("TREE");
    EXPECT_EQ(printed(*directory), "");
    DirectoryFile::Record* patient = record("PATIENT", "Doe\x1b]0;owned\a\x1b[2J");
    directory->addRecord(patient);
    directory->addRecord(record("IMAGE", "IM1\r\nPATIENT Forged"), patient);
    DirectoryFile::Record* parent = patient;
    for (unsigned level = 1; level <= deepestIndented + 8; ++level) {
        DirectoryFile::Record* study = record("STUDY", "S");
        directory->addRecord(study, parent);
        parent = study;
    }
    const std::string text = printed(*directory);
    EXPECT_EQ(text.substr(0, text.find("  STUDY")),
              "PATIENT Doe\\x1b]0;owned\\x07\\x1b[2J\n  IMAGE IMAGES/IM1\\r\\nPATIENT Forged\n");
    for (char c : text) EXPECT_TRUE(c == '\n' || (c >= 0x20 && c != 0x7F)) << int(c);
    const std::string deepest =
        std::string(2 * deepestIndented, ' ') + "[" + std::to_string(deepestIndented + 8) + "] STUDY S\n";
    EXPECT_EQ(text.substr(text.size() - deepest.size()), deepest);
    EXPECT_NE(text.find(std::string(2 * deepestIndented, ' ') + "STUDY S\n"), std::string::npos);
}

TEST(DirectoryTree, RecordLinesShowTheKeysThatArePresent) {
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
