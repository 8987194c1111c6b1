// List the patients, studies, series and images of a media directory (DICOMDIR).
//
//   walk_directory DICOMDIR
//
// The records of a directory are one flat sequence, in file order; the hierarchy lives in their
// links. The directory holds the byte offset of the first record at the root, and each record
// the offset of the next record at its level (0: the last) and of the first record one level
// down (0: none). An offset counts bytes from the start of the file to the start of a record.
//
// refcntr stores these numbers, reads and writes them unchanged, and never follows them: a
// record container does not know where in the file it was read from. DCMTK does. While it
// parses, it notes where each record starts (DcmDirectoryRecord::getFileOffset). So this
// program reads the file once with DCMTK, hands the data set to refcntr, and pairs record i of
// refcntr's sequence with record i of DCMTK's to learn each record's own offset.
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include <refcntr/refcntr.h>

namespace {

using namespace refcntr;

using RecordsByOffset = std::map<UINT32, const DirectoryRecordSequenceItem*>;

// Every record by the offset at which DCMTK found it.
RecordsByOffset recordsByOffset(DcmDataset& dataset, const DirectoryRecordSequence& records) {
    DcmSequenceOfItems* found = nullptr;
    if (dataset.findAndGetSequence(DCM_DirectoryRecordSequence, found).bad() || found == nullptr)
        throw std::runtime_error("there is no directory record sequence");
    if (found->card() != records.length()) throw std::runtime_error("DCMTK and refcntr count different records");
    RecordsByOffset result;
    for (unsigned i = 0; i < records.length(); ++i) {
        // DCMTK makes the items of (0004,1220) directory records as it reads them.
        const auto* record = dynamic_cast<DcmDirectoryRecord*>(found->getItem(i));
        if (record == nullptr) throw std::runtime_error("item " + std::to_string(i) + " is not a directory record");
        result[record->getFileOffset()] = records.at(i);
    }
    return result;
}

// "IMAGES\IM1" is stored as the values IMAGES and IM1.
std::string filePath(const DirectoryRecordSequenceItem& record) {
    std::string path;
    for (const RWCString& component : record.getReferencedFileIDElement()) path += (path.empty() ? "" : "/") + component;
    return path;
}

std::string describe(const DirectoryRecordSequenceItem& record) {
    const RWCString type = record.getDirectoryRecordTypeElement();
    if (type == "PATIENT") return "Patient " + record.getPatientNameElement() + " (" + record.getPatientIDElement() + ")";
    if (type == "STUDY") {
        const RWCString description = record.getStudyDescriptionElement();
        return "Study " + record.getStudyIDElement() + " of " + record.getStudyDateElement() +
               (description.empty() ? "" : ": " + description);
    }
    if (type == "SERIES")
        return "Series " + std::to_string(record.getSeriesNumberElement()) + " (" + record.getModalityElement() + ")";
    if (type == "IMAGE")
        return "Image " + std::to_string(record.getInstanceNumberElement()) + " in " + filePath(record);
    return type + (record.getReferencedFileIDElement().empty() ? "" : " in " + filePath(record));
}

// Prints the records of one level, following the next-record links, and below each record the
// level its lower-level link starts. A link to an offset where no record starts, or to a record
// seen before, ends the walk: the directory is damaged.
void printLevel(const RecordsByOffset& records, UINT32 offset, int depth, std::set<UINT32>& seen) {
    for (; offset != 0;) {
        const auto found = records.find(offset);
        if (found == records.end()) throw std::runtime_error("no record starts at offset " + std::to_string(offset));
        if (!seen.insert(offset).second) throw std::runtime_error("the links loop at offset " + std::to_string(offset));
        const DirectoryRecordSequenceItem& record = *found->second;
        std::cout << std::string(2 * depth, ' ') << describe(record) << '\n';
        printLevel(records, record.getLowerLevelDirectoryOffsetElement(), depth + 1, seen);
        offset = record.getNextDirectoryRecordOffsetElement();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: walk_directory DICOMDIR\n";
        return 2;
    }
    try {
        DcmFileFormat file;
        const OFCondition status = file.loadFile(argv[1]);
        if (status.bad()) throw std::runtime_error(status.text());

        // The same data set as refcntr's own (the file meta header aside, which is not needed here).
        const std::unique_ptr<DICOMDataObject> data = fromDcmItem(*file.getDataset());
        const std::unique_ptr<BasicDirectoryCompositeIOD> directory(BasicDirectoryCompositeIOD::create(*data));
        const DirectoryInformationModule& module =
            *directory->getDirectoryInformationEntity()->getDirectoryInformationModule();

        const RecordsByOffset records =
            recordsByOffset(*file.getDataset(), module.getDirectoryRecordSequenceElement());
        std::set<UINT32> seen;
        printLevel(records, module.getRootDirectoryFirstRecordElement(), 0, seen);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "walk_directory: " << argv[1] << ": " << error.what() << '\n';
        return 1;
    }
}
