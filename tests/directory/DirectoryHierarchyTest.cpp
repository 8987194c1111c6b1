// DirectoryFile on directories made by DCMTK's dcmmkdir: the hierarchy found on reading, edits,
// added and removed records, damaged links, each written in the three transfer syntaxes and
// read back by DCMTK's DcmDicomDir (and pydicom's FileSet, where installed), which follow the
// offsets written.
#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestFiles.h"
#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/directory/DirectoryFile.h"
#include "refcntr/directory/DirectoryModules.h"
#include "refcntr/directory/DirectoryRecords.h"
#include "refcntr/platform/Exceptions.h"
#include "support/DirectoryFiles.h"
#include "support/Failures.h"

namespace refcntr {
namespace {

using testfiles::ScratchDirectory;
using Record = DirectoryFile::Record;

// Records of the two-patient directory, parent before children, two spaces per level, each
// named by its type and one key as the support's dcmtkHierarchy names them.
const std::string twoPatients =
    "PATIENT Doe^Jane\n"
    "  STUDY S1\n"
    "    SERIES 1\n"
    "      IMAGE IMAGES\\IM1\n"
    "      IMAGE IMAGES\\IM2\n"
    "PATIENT Roe^Richard\n"
    "  STUDY S7\n"
    "    SERIES 3\n"
    "      IMAGE IMAGES\\IM3\n"
    "    SERIES 4\n"
    "      IMAGE IMAGES\\IM4\n";

std::string describe(const Record& record) {
    const std::string type = record.getDirectoryRecordTypeElement();
    if (type == "PATIENT") return type + " " + record.getPatientNameElement();
    if (type == "STUDY") return type + " " + record.getStudyIDElement();
    if (type == "SERIES")
        return type + " " +
               (record.isSeriesNumberElementPresent() ? std::to_string(record.getSeriesNumberElement()) : "");
    std::string fileID;
    for (const RWCString& component : record.getReferencedFileIDElement())
        fileID += (fileID.empty() ? "" : "\\") + component;
    return type + " " + fileID;
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

// The tree as pydicom's FileSet finds it; empty when pydicom is not installed.
std::string pydicomTree(const std::string& path, const ScratchDirectory& scratch) {
    if (testfiles::runCommand("/usr/bin/python3 -c 'import pydicom.fileset' 2>/dev/null") != 0) return std::string();
    const std::string script = scratch.File("walk.py");
    testfiles::writeWholeFile(script,
                              "import sys\n"
                              "from pydicom import dcmread\n"
                              "from pydicom.fileset import FileSet\n"
                              "def key(r):\n"
                              "    t = r.DirectoryRecordType\n"
                              "    if t == 'PATIENT': return str(r.get('PatientName', ''))\n"
                              "    if t == 'STUDY': return r.get('StudyID', '')\n"
                              "    if t == 'SERIES': return str(r.get('SeriesNumber', ''))\n"
                              "    v = r.ReferencedFileID\n"
                              "    return v if isinstance(v, str) else '\\\\'.join(v)\n"
                              "def walk(node, depth):\n"
                              "    for child in node.children:\n"
                              "        r = child._record\n"
                              "        print('  ' * depth + r.DirectoryRecordType + ' ' + key(r))\n"
                              "        walk(child, depth + 1)\n"
                              "walk(FileSet(dcmread(sys.argv[1]))._tree, 0)\n");
    const std::string output = scratch.File("walk.txt");
    const std::string command = "/usr/bin/python3 " + testfiles::quoted(script) + " " + testfiles::quoted(path);
    EXPECT_EQ(testfiles::runCommand(command + " > " + testfiles::quoted(output)), 0);
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

Record* newRecord(const std::string& type, const std::function<void(Record&)>& keys) {
    auto* record = new Record();
    record->setDirectoryRecordTypeElement(type);
    keys(*record);
    return record;
}

// Where each record of an explicit VR little endian directory starts, by a key value of it.
Uint32 recordOffset(const std::string& path, const DcmTagKey& key, const char* value) {
    DcmFileFormat file;
    DcmSequenceOfItems* records = nullptr;
    EXPECT_TRUE(file.loadFile(path.c_str()).good());
    EXPECT_TRUE(file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).good());
    for (DcmObject* item = records->nextInContainer(nullptr); item != nullptr; item = records->nextInContainer(item)) {
        OFString found;
        if (static_cast<DcmItem*>(item)->findAndGetOFString(key, found).good() && found == value)
            return static_cast<DcmDirectoryRecord*>(item)->getFileOffset();
    }
    ADD_FAILURE() << value;
    return 0;
}

// The encoded offset elements (explicit VR little endian) of a file, found from byte `from` on:
// `change` gets each element's number and value and returns the new value. The bytes are
// changed in place, so the layout stays what it was.
void changeOffsets(std::string& bytes, std::size_t from, bool firstOnly,
                   const std::function<Uint32(Uint16, Uint32)>& change) {
    for (Uint16 number : {0x1200, 0x1202, 0x1400, 0x1420}) {
        const char tag[] = {4, 0, char(number & 0xFF), char(number >> 8), 'U', 'L', 4, 0};
        for (std::size_t at = bytes.find(std::string(tag, 8), from); at != std::string::npos;
             at = firstOnly ? std::string::npos : bytes.find(std::string(tag, 8), at + 8)) {
            Uint32 value = 0;
            for (int i = 3; i >= 0; --i) value = (value << 8) | Uint8(bytes[at + 8 + i]);
            value = change(number, value);
            for (int i = 0; i < 4; ++i) bytes[at + 8 + i] = char((value >> (8 * i)) & 0xFF);
        }
    }
}

// The directory as another toolkit might have written it: its own implementation version and
// a source application title, which the containers do not keep, so that the meta header we
// write is shorter and every record moves.
void writeAsAnotherToolkit(const std::string& from, const std::string& to) {
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(from.c_str()).good());
    file.getMetaInfo()->putAndInsertString(DCM_ImplementationVersionName, "OTHER_TOOLKIT_2");
    file.getMetaInfo()->putAndInsertString(DCM_SourceApplicationEntityTitle, "OTHER_TOOLKIT");
    ASSERT_TRUE(file.saveFile(to.c_str(), EXS_LittleEndianExplicit, EET_ExplicitLength, EGL_recalcGL, EPD_noChange, 0,
                              0, EWM_fileformat)
                    .good());
    std::string bytes = testfiles::readWholeFile(to);
    const Uint32 shift = Uint32(bytes.size() - std::filesystem::file_size(from));
    changeOffsets(bytes, 0, false, [shift](Uint16, Uint32 offset) { return offset == 0 ? 0 : offset + shift; });
    testfiles::writeWholeFile(to, bytes);
}

// The directory written by DCMTK's DcmDicomDir with items and sequences of undefined length.
void writeWithUndefinedLengths(const std::string& from, const std::string& to) {
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
    DcmDicomDir directory(to.c_str());
    ASSERT_TRUE(directory.write(EXS_LittleEndianExplicit, EET_UndefinedLength, EGL_withoutGL).good());
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(to.c_str()).good());
    DcmSequenceOfItems* records = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).good());
    ASSERT_EQ(records->getItem(0)->getLengthField(), DCM_UndefinedLength);
}

// Damages four links of the two-patient directory: Doe^Jane's next record is at an offset
// where none starts, the first series of Roe^Richard is its own next, and its image's next is
// Doe^Jane's first image.
void writeWithDamagedLinks(const std::string& from, const std::string& to) {
    std::string bytes = testfiles::readWholeFile(from);
    auto setNext = [&bytes](Uint32 record, Uint32 next) {
        changeOffsets(bytes, record, true,
                      [next](Uint16 number, Uint32 value) { return number == 0x1400 ? next : value; });
    };
    const Uint32 series = recordOffset(from, DCM_SeriesInstanceUID, "2.25.2011");
    setNext(recordOffset(from, DCM_PatientName, "Doe^Jane"), 12345);
    setNext(series, series);
    setNext(recordOffset(from, DCM_ReferencedSOPInstanceUIDInFile, "2.25.20111"),
            recordOffset(from, DCM_ReferencedSOPInstanceUIDInFile, "2.25.10111"));
    testfiles::writeWholeFile(to, bytes);
}

// The images of the directory put in a file-set by pydicom, whose meta header names pydicom's
// own implementation; nothing when pydicom is not installed.
void writeWithPydicom(const std::string& from, const std::string& to) {
    if (testfiles::runCommand("/usr/bin/python3 -c 'import pydicom.fileset' 2>/dev/null") != 0) return;
    const std::filesystem::path folder = std::filesystem::path(from).parent_path();
    const std::string script = (folder / "fileset.py").string();
    testfiles::writeWholeFile(script,
                              "import sys\n"
                              "from pydicom.fileset import FileSet\n"
                              "fs = FileSet()\n"
                              "for path in sys.argv[2:]: fs.add(path)\n"
                              "fs.write(sys.argv[1])\n");
    std::string command =
        "/usr/bin/python3 " + testfiles::quoted(script) + " " + testfiles::quoted((folder / "PYSET").string());
    for (const char* image : {"IM1", "IM2", "IM3", "IM4"})
        command += " " + testfiles::quoted((folder / "IMAGES" / image).string());
    ASSERT_EQ(testfiles::runCommand(command), 0);
    std::filesystem::copy_file(folder / "PYSET" / "DICOMDIR", to, std::filesystem::copy_options::overwrite_existing);
    DcmFileFormat written;
    OFString version;
    ASSERT_TRUE(written.loadFile(to.c_str()).good());
    written.getMetaInfo()->findAndGetOFString(DCM_ImplementationVersionName, version);
    EXPECT_EQ(version.substr(0, 7), "PYDICOM");
}

// An image record that references a file, as every leaf record does.
Record* newImage(const std::string& instanceUID) {
    return newRecord("IMAGE", [&](Record& r) {
        r.setReferencedFileIDElement({"IMAGES", "NEW" + instanceUID.substr(instanceUID.size() - 2)});
        r.setReferencedSOPClassUIDInFileElement(UID_SecondaryCaptureImageStorage);
        r.setReferencedSOPInstanceUIDInFileElement(instanceUID);
        r.setReferencedTransferSyntaxUIDInFileElement(UID_LittleEndianExplicitTransferSyntax);
    });
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

TEST_F(DirectoryHierarchy, AFailedWriteNamesTheFileAndLeavesNothingBehind) {
    ScratchDirectory target;
    testfiles::writeWholeFile(target.File("plain"), "not a folder");
    std::filesystem::create_directory(target.File("taken"));
    const auto file = DirectoryFile::read(original());
    for (const std::string& path :
         {target.File("plain/DICOMDIR"), target.File("missing/DICOMDIR"), target.File("taken")}) {
        const std::string message = testfiles::failureOf([&] { file->write(path, TransferSyntax::ExplicitLittle); });
        EXPECT_NE(message.find("cannot write '" + path + "': "), std::string::npos) << message;
    }
    EXPECT_EQ(testfiles::namesIn(target.Path()), (std::vector<std::string>{"plain", "taken"}));
    EXPECT_TRUE(std::filesystem::is_empty(target.File("taken")));
}

TEST_F(DirectoryHierarchy, ADirectoryWithoutItsRecordModuleIsNotWritten) {
    const auto file = DirectoryFile::read(original());
    file->directory().setDirectoryInformationEntity(nullptr);
    const std::string path = scratch->File("NO_MODULE");
    EXPECT_THROW(file->write(path, TransferSyntax::ExplicitLittle), RuntimeException);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_THROW(file->addRecord(newImage("2.25.98")), RuntimeException);
}

TEST_F(DirectoryHierarchy, RecordsOutsideTheHierarchy) {
    const auto file = DirectoryFile::read(original());
    const auto other = DirectoryFile::read(original());
    Record stranger;
    EXPECT_THROW(file->addRecord(newImage("2.25.99"), other->roots().front()), RuntimeException);
    EXPECT_THROW(file->removeRecord(&stranger), RuntimeException);
    EXPECT_TRUE(file->children(stranger).empty());
    EXPECT_EQ(file->parent(stranger), nullptr);
    // A record added to the sequence itself, bypassing the hierarchy, is written at the root level.
    Record* direct = newRecord("PATIENT", [](Record& r) {
        r.setPatientNameElement("Bypass^Bob");
        r.setPatientIDElement("P3");
    });
    file->directory()
        .getDirectoryInformationEntity()
        ->getDirectoryInformationModule()
        ->getDirectoryRecordSequenceElement()
        .addItem(direct);
    file->write(scratch->File("BYPASS"), TransferSyntax::ExplicitLittle);
    EXPECT_EQ(testfiles::dcmtkHierarchy(scratch->File("BYPASS")), twoPatients + "PATIENT Bypass^Bob\n");
    EXPECT_EQ(file->roots().back(), direct);
}

TEST_F(DirectoryHierarchy, ARecordNotInUseThatNoLinkReachesIsKeptWithoutANote) {
    const std::string damaged = scratch->File("DAMAGED_INACTIVE");
    writeWithDamagedLinks(original(), damaged);
    std::string bytes = testfiles::readWholeFile(damaged);
    const char inUseTag[] = {4, 0, 0x10, 0x14, 'U', 'S', 2, 0};
    const Uint32 series = recordOffset(damaged, DCM_SeriesInstanceUID, "2.25.2012");
    const std::size_t flag = bytes.find(std::string(inUseTag, 8), series);
    bytes.replace(flag + 8, 2, std::string(2, '\0'));
    testfiles::writeWholeFile(damaged, bytes);
    std::vector<std::string> notes;
    const auto file = DirectoryFile::read(damaged, notes);
    EXPECT_EQ(notes.size(), 4u);
    ASSERT_EQ(file->roots().size(), 3u);
    EXPECT_EQ(describe(*file->roots().back()), "SERIES 4");
    EXPECT_EQ(file->roots().back()->getRecordInUseFlagElement(), 0);
}

// Each edit, written in each transfer syntax, read back by DCMTK, pydicom and DirectoryFile.
class DirectoryWrite : public DirectoryHierarchy, public ::testing::WithParamInterface<TransferSyntax> {
protected:
    // Writes the file, then checks that every reader finds `expected`. pydicom leaves out a
    // record with neither records below it nor a referenced file: `pydicomExpected` is its tree.
    std::string expectWritten(DirectoryFile& file, const std::string& expected, std::string pydicomExpected = "") {
        const std::string written = scratch->File("WRITTEN" + std::to_string(int(GetParam())));
        file.write(written, GetParam());
        EXPECT_EQ(treeOf(file), expected);
        EXPECT_EQ(testfiles::dcmtkHierarchy(written), expected);
        std::vector<std::string> notes;
        EXPECT_EQ(treeOf(*DirectoryFile::read(written, notes)), expected);
        EXPECT_TRUE(notes.empty()) << notes.front();
        const std::string pydicom = pydicomTree(written, *scratch);
        if (!pydicom.empty()) {
            EXPECT_EQ(pydicom, pydicomExpected.empty() ? expected : pydicomExpected);
        }
        return written;
    }
};

// Read without notes, and written back element for element where the encoding is the original's.
TEST_P(DirectoryWrite, AnUnchangedDirectory) {
    std::vector<std::string> notes;
    const auto file = DirectoryFile::read(original(), notes);
    EXPECT_TRUE(notes.empty()) << notes.front();
    const std::string written = expectWritten(*file, twoPatients);
    if (GetParam() == TransferSyntax::ExplicitLittle) {
        EXPECT_EQ(elementsOf(written), elementsOf(original()));
    }
}

// A record lengthened, a series added under a study and a study removed with its subtree: every
// record after each edit moves.
TEST_P(DirectoryWrite, EditedAddedAndRemovedRecords) {
    const auto file = DirectoryFile::read(original());
    file->roots().front()->setPatientNameElement("Doe-Montgomery^Jane^Elisabeth^Dr.^PhD");
    Record* series = newRecord("SERIES", [](Record& r) {
        r.setSeriesInstanceUIDElement("2.25.1019");
        r.setSeriesNumberElement(9);
    });
    file->addRecord(series, file->children(*file->roots().front()).front());
    file->addRecord(newImage("2.25.10191"), series);
    file->removeRecord(file->children(*file->roots().back()).front());
    const auto& records = file->directory()
                              .getDirectoryInformationEntity()
                              ->getDirectoryInformationModule()
                              ->getDirectoryRecordSequenceElement();
    EXPECT_EQ(records.length(), 8u);
    std::string jane =
        twoPatients.substr(0, twoPatients.find("PATIENT Roe")) + "    SERIES 9\n      IMAGE IMAGES\\NEW91\n";
    jane.replace(0, 16, "PATIENT Doe-Montgomery^Jane^Elisabeth^Dr.^PhD");
    expectWritten(*file, jane + "PATIENT Roe^Richard\n", jane);
}

TEST_P(DirectoryWrite, ADirectoryBuiltFromNothing) {
    const auto file = DirectoryFile::create("NEW_SET");
    Record* patient = newRecord("PATIENT", [](Record& r) {
        r.setPatientNameElement("Poe^Edgar");
        r.setPatientIDElement("P9");
    });
    file->addRecord(patient);
    Record* study = newRecord("STUDY", [](Record& r) {
        r.setStudyInstanceUIDElement("2.25.7");
        r.setStudyIDElement("S9");
    });
    file->addRecord(study, patient);
    Record* series = newRecord("SERIES", [](Record& r) {
        r.setSeriesInstanceUIDElement("2.25.71");
        r.setSeriesNumberElement(1);
    });
    file->addRecord(series, study);
    file->addRecord(newImage("2.25.711"), series);
    file->addRecord(newImage("2.25.712"), series);
    expectWritten(*file,
                  "PATIENT Poe^Edgar\n  STUDY S9\n    SERIES 1\n"
                  "      IMAGE IMAGES\\NEW11\n      IMAGE IMAGES\\NEW12\n");
}

TEST_P(DirectoryWrite, DirectoriesWrittenOtherwise) {
    const std::pair<const char*, void (*)(const std::string&, const std::string&)> writers[] = {
        {"another toolkit", writeAsAnotherToolkit},
        {"undefined lengths", writeWithUndefinedLengths},
        {"pydicom", writeWithPydicom}};
    for (const auto& [name, writer] : writers) {
        SCOPED_TRACE(name);
        const std::string input = scratch->File("OTHER");
        std::filesystem::remove(input);
        writer(original(), input);
        if (!std::filesystem::exists(input)) continue;
        const std::string tree = testfiles::dcmtkHierarchy(input);
        ASSERT_EQ(std::count(tree.begin(), tree.end(), '\n'), 11) << tree;
        std::vector<std::string> notes;
        const auto file = DirectoryFile::read(input, notes);
        EXPECT_TRUE(notes.empty()) << notes.front();
        expectWritten(*file, tree);
    }
}

TEST_P(DirectoryWrite, DamagedLinksAreReportedAndEveryRecordIsKept) {
    const std::string damaged = scratch->File("DAMAGED");
    writeWithDamagedLinks(original(), damaged);
    std::vector<std::string> notes;
    const auto file = DirectoryFile::read(damaged, notes);
    const std::string faults[] = {"(0004,1400) 12345 leads to no record", "(a cycle)", "another link reached first",
                                  "no link reaches it"};
    std::string all;
    for (const std::string& note : notes) all += note + "\n";
    for (const std::string& fault : faults) EXPECT_NE(all.find(fault), std::string::npos) << fault << " in\n" << all;
    EXPECT_EQ(notes.size(), 5u) << all;
    // Roe^Richard and the series that lost its link come to the root level, with what they link to.
    std::string expected = twoPatients;
    expected.erase(expected.find("    SERIES 4"));
    expectWritten(*file, expected + "SERIES 4\n  IMAGE IMAGES\\IM4\n");
}

std::string syntaxName(const ::testing::TestParamInfo<TransferSyntax>& info) {
    switch (info.param) {
    case TransferSyntax::ExplicitBig: return "ExplicitBig";
    case TransferSyntax::ImplicitLittle: return "ImplicitLittle";
    default: break;
    }
    return "ExplicitLittle";
}

INSTANTIATE_TEST_SUITE_P(TransferSyntaxes, DirectoryWrite,
                         ::testing::Values(TransferSyntax::ExplicitLittle, TransferSyntax::ExplicitBig,
                                           TransferSyntax::ImplicitLittle),
                         syntaxName);

}  // namespace
}  // namespace refcntr
