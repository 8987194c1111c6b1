// DirectoryFile on directories made by DCMTK's dcmmkdir: the hierarchy found on reading, edits,
// added and removed records, damaged links, each written in the three transfer syntaxes and
// read back by DCMTK's DcmDicomDir (and pydicom's FileSet, where installed), which follow the
// offsets written.
#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/TestFiles.h"
#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/directory/DirectoryFile.h"
#include "refcntr/directory/DirectoryModules.h"
#include "refcntr/directory/DirectoryRecords.h"
#include "refcntr/platform/Exceptions.h"
#include "support/DirectoryFiles.h"

namespace refcntr {
namespace {

using testfiles::ScratchDirectory;
using Record = DirectoryFile::Record;

// Records of the two-patient directory, parent before children, two spaces per level.
const std::string twoPatients =
    "PATIENT Doe^Jane\n"
    "  STUDY 2.25.101\n"
    "    SERIES 2.25.1011\n"
    "      IMAGE 2.25.10111\n"
    "      IMAGE 2.25.10112\n"
    "PATIENT Roe^Richard\n"
    "  STUDY 2.25.201\n"
    "    SERIES 2.25.2011\n"
    "      IMAGE 2.25.20111\n"
    "    SERIES 2.25.2012\n"
    "      IMAGE 2.25.20121\n";

// A record as a line of a tree: its type and the one key that names it.
std::string describe(const std::string& type, const std::string& name, const std::string& study,
                     const std::string& series, const std::string& instance) {
    if (type == "PATIENT") return type + " " + name;
    if (type == "STUDY") return type + " " + study;
    if (type == "SERIES") return type + " " + series;
    return type + " " + instance;
}

std::string describe(const Record& record) {
    return describe(record.getDirectoryRecordTypeElement(), record.getPatientNameElement(),
                    record.getStudyInstanceUIDElement(), record.getSeriesInstanceUIDElement(),
                    record.getReferencedSOPInstanceUIDInFileElement());
}

std::string treeOf(const DirectoryFile& file) {
    std::string tree;
    std::function<void(const std::vector<Record*>&, Record*, int)> level = [&](const std::vector<Record*>& records,
                                                                                Record* parent, int depth) {
        for (Record* record : records) {
            tree += std::string(2 * depth, ' ') + describe(*record) + "\n";
            EXPECT_EQ(file.parent(*record), parent) << describe(*record);
            level(file.children(*record), record, depth + 1);
        }
    };
    level(file.roots(), nullptr, 0);
    return tree;
}

// The tree as DCMTK's DcmDicomDir finds it by following the offsets of the file.
std::string dcmtkTree(const std::string& path) {
    DcmDicomDir directory(path.c_str());
    EXPECT_TRUE(directory.error().good()) << directory.error().text();
    std::string tree;
    std::function<void(DcmDirectoryRecord&, int)> level = [&](DcmDirectoryRecord& parent, int depth) {
        for (unsigned long i = 0; i < parent.cardSub(); ++i) {
            DcmDirectoryRecord& record = *parent.getSub(i);
            OFString type, name, study, series, instance;
            record.findAndGetOFString(DCM_DirectoryRecordType, type);
            record.findAndGetOFString(DCM_PatientName, name);
            record.findAndGetOFString(DCM_StudyInstanceUID, study);
            record.findAndGetOFString(DCM_SeriesInstanceUID, series);
            record.findAndGetOFString(DCM_ReferencedSOPInstanceUIDInFile, instance);
            tree += std::string(2 * depth, ' ') +
                    describe(type.c_str(), name.c_str(), study.c_str(), series.c_str(), instance.c_str()) + "\n";
            level(record, depth + 1);
        }
    };
    level(directory.getRootRecord(), 0);
    return tree;
}

// The tree as pydicom's FileSet finds it; empty when pydicom is not installed.
std::string pydicomTree(const std::string& path, const ScratchDirectory& scratch) {
    if (testfiles::runCommand("python3 -c 'import pydicom.fileset' 2>/dev/null") != 0) return std::string();
    const std::string script = scratch.File("walk.py");
    testfiles::writeWholeFile(script,
                              "import sys\n"
                              "from pydicom import dcmread\n"
                              "from pydicom.fileset import FileSet\n"
                              "def key(r):\n"
                              "    t = r.DirectoryRecordType\n"
                              "    if t == 'PATIENT': return str(r.get('PatientName', ''))\n"
                              "    if t == 'STUDY': return r.get('StudyInstanceUID', '')\n"
                              "    if t == 'SERIES': return r.get('SeriesInstanceUID', '')\n"
                              "    return r.get('ReferencedSOPInstanceUIDInFile', '')\n"
                              "def walk(node, depth):\n"
                              "    for child in node.children:\n"
                              "        r = child._record\n"
                              "        print('  ' * depth + r.DirectoryRecordType + ' ' + key(r))\n"
                              "        walk(child, depth + 1)\n"
                              "walk(FileSet(dcmread(sys.argv[1]))._tree, 0)\n");
    const std::string output = scratch.File("walk.txt");
    EXPECT_EQ(testfiles::runCommand("python3 " + testfiles::quoted(script) + " " + testfiles::quoted(path) + " > " +
                                    testfiles::quoted(output)),
              0);
    return testfiles::readWholeFile(output);
}

// Every element of a DCMTK file as DCMTK prints it, meta header included.
std::string elementsOf(const std::string& path) {
    DcmFileFormat file;
    EXPECT_TRUE(file.loadFile(path.c_str()).good()) << path;
    std::ostringstream text;
    file.print(text);
    return text.str();
}

Record* findRecord(const DirectoryFile& file, const std::string& description) {
    std::function<Record*(const std::vector<Record*>&)> search = [&](const std::vector<Record*>& level) -> Record* {
        for (Record* record : level) {
            if (describe(*record) == description) return record;
            if (Record* found = search(file.children(*record))) return found;
        }
        return nullptr;
    };
    Record* found = search(file.roots());
    EXPECT_NE(found, nullptr) << description;
    return found;
}

Record* newRecord(const std::string& type, const std::function<void(Record&)>& keys) {
    auto* record = new Record();
    record->setDirectoryRecordTypeElement(type);
    keys(*record);
    return record;
}

class DirectoryHierarchy : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        scratch = new ScratchDirectory;
        testfiles::makeTwoPatientDirectory(scratch->Path());
    }
    static void TearDownTestSuite() { delete scratch; }
    static std::string original() { return scratch->File("DICOMDIR"); }

    static ScratchDirectory* scratch;
};
ScratchDirectory* DirectoryHierarchy::scratch = nullptr;

TEST_F(DirectoryHierarchy, ReadingFindsTheRecordsInLinkOrderWithoutNotes) {
    std::vector<std::string> notes;
    const auto file = DirectoryFile::read(original(), notes);
    EXPECT_EQ(treeOf(*file), twoPatients);
    EXPECT_EQ(dcmtkTree(original()), twoPatients);
    EXPECT_TRUE(notes.empty()) << notes.front();
}

TEST_F(DirectoryHierarchy, AnUnchangedDirectoryIsWrittenBackElementForElement) {
    const std::string written = scratch->File("UNCHANGED");
    DirectoryFile::read(original())->write(written, TransferSyntax::ExplicitLittle);
    EXPECT_EQ(elementsOf(written), elementsOf(original()));
}

TEST_F(DirectoryHierarchy, NotADirectoryIsRefusedNamingTheFile) {
    const std::string image = (scratch->Path() / "IMAGES" / "IM1").string();
    try {
        DirectoryFile::read(image);
        FAIL() << "an image was read as a directory";
    } catch (const RuntimeException& error) {
        EXPECT_NE(error.GetMessage().find("'" + image + "'"), std::string::npos) << error.GetMessage();
        EXPECT_NE(error.GetMessage().find("not a media directory"), std::string::npos) << error.GetMessage();
    }
}

TEST_F(DirectoryHierarchy, AFailedWriteNamesTheFileAndLeavesNothingBehind) {
    ScratchDirectory target;
    testfiles::writeWholeFile(target.File("plain"), "not a folder");
    std::filesystem::create_directory(target.File("taken"));
    const auto file = DirectoryFile::read(original());
    for (const std::string& path : {target.File("plain/DICOMDIR"), target.File("missing/DICOMDIR"), target.File("taken")}) {
        try {
            file->write(path, TransferSyntax::ExplicitLittle);
            ADD_FAILURE() << "wrote " << path;
        } catch (const RuntimeException& error) {
            EXPECT_NE(error.GetMessage().find("cannot write '" + path + "': "), std::string::npos) << error.GetMessage();
        }
    }
    std::vector<std::string> left;
    for (const auto& entry : std::filesystem::directory_iterator(target.Path())) left.push_back(entry.path().filename());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"plain", "taken"}));
    EXPECT_TRUE(std::filesystem::is_empty(target.File("taken")));
}

// Each edit, written in each transfer syntax, read back by DCMTK, pydicom and DirectoryFile.
class DirectoryWrite : public DirectoryHierarchy, public ::testing::WithParamInterface<TransferSyntax> {
protected:
    // Writes the file, then checks that every reader finds `expected`.
    void expectWritten(DirectoryFile& file, const std::string& expected) {
        const std::string written = scratch->File("WRITTEN" + std::to_string(int(GetParam())));
        file.write(written, GetParam());
        EXPECT_EQ(treeOf(file), expected);
        EXPECT_EQ(dcmtkTree(written), expected);
        std::vector<std::string> notes;
        EXPECT_EQ(treeOf(*DirectoryFile::read(written, notes)), expected);
        EXPECT_TRUE(notes.empty()) << notes.front();
        const std::string pydicom = pydicomTree(written, *scratch);
        if (!pydicom.empty()) {
            EXPECT_EQ(pydicom, expected);
        }
    }
};

TEST_P(DirectoryWrite, AnUnchangedDirectory) {
    const auto file = DirectoryFile::read(original());
    expectWritten(*file, twoPatients);
}

TEST_P(DirectoryWrite, ARecordEditThatLengthensIt) {
    const auto file = DirectoryFile::read(original());
    findRecord(*file, "PATIENT Doe^Jane")->setPatientNameElement("Doe-Montgomery^Jane^Elisabeth^Dr.^PhD");
    std::string expected = twoPatients;
    expected.replace(0, 16, "PATIENT Doe-Montgomery^Jane^Elisabeth^Dr.^PhD");
    expectWritten(*file, expected);
}

TEST_P(DirectoryWrite, ASeriesAddedUnderAStudy) {
    const auto file = DirectoryFile::read(original());
    Record* series = newRecord("SERIES", [](Record& r) { r.setSeriesInstanceUIDElement("2.25.1019"); });
    file->addRecord(series, findRecord(*file, "STUDY 2.25.101"));
    file->addRecord(newRecord("IMAGE", [](Record& r) { r.setReferencedSOPInstanceUIDInFileElement("2.25.10191"); }),
                    series);
    std::string expected = twoPatients;
    expected.insert(expected.find("PATIENT Roe"), "    SERIES 2.25.1019\n      IMAGE 2.25.10191\n");
    expectWritten(*file, expected);
}

TEST_P(DirectoryWrite, AStudyRemovedWithItsSubtree) {
    const auto file = DirectoryFile::read(original());
    file->removeRecord(findRecord(*file, "STUDY 2.25.201"));
    const auto& records = file->directory().getDirectoryInformationEntity()->getDirectoryInformationModule()
                              ->getDirectoryRecordSequenceElement();
    EXPECT_EQ(records.length(), 6u);
    expectWritten(*file, twoPatients.substr(0, twoPatients.find("  STUDY 2.25.201")));
}

TEST_P(DirectoryWrite, ADirectoryBuiltFromNothing) {
    const auto file = DirectoryFile::create("NEW_SET");
    Record* patient = newRecord("PATIENT", [](Record& r) { r.setPatientNameElement("Poe^Edgar"); });
    file->addRecord(patient);
    Record* study = newRecord("STUDY", [](Record& r) { r.setStudyInstanceUIDElement("2.25.7"); });
    file->addRecord(study, patient);
    file->addRecord(newRecord("PATIENT", [](Record& r) { r.setPatientNameElement("Roe^Richard"); }));
    expectWritten(*file, "PATIENT Poe^Edgar\n  STUDY 2.25.7\nPATIENT Roe^Richard\n");
}

std::string syntaxName(const ::testing::TestParamInfo<TransferSyntax>& info) {
    switch (info.param) {
    case TransferSyntax::ExplicitBig: return "ExplicitBig";
    case TransferSyntax::ImplicitLittle: return "ImplicitLittle";
    case TransferSyntax::ExplicitLittle: break;
    }
    return "ExplicitLittle";
}

INSTANTIATE_TEST_SUITE_P(TransferSyntaxes, DirectoryWrite,
                         ::testing::Values(TransferSyntax::ExplicitLittle, TransferSyntax::ExplicitBig,
                                           TransferSyntax::ImplicitLittle),
                         syntaxName);

}  // namespace
}  // namespace refcntr
