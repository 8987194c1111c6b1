// List the patients, studies, series and images of a media directory (DICOMDIR).
//
//   walk_directory DICOMDIR
//
// The records of a directory are one flat sequence, in file order; the hierarchy lives in their
// links. The directory holds the byte offset of the first record at the root, and each record
// the offset of the next record at its level (0: the last) and of the first record one level
// down (0: none). DirectoryFile follows these links as it reads and hands out the hierarchy:
// the root records, and each record's children, in link order. A damaged link does not stop
// the read; it is reported in the notes, and what it would lead to is left out.
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <refcntr/refcntr.h>

namespace {

using namespace refcntr;

// "IMAGES\IM1" is stored as the values IMAGES and IM1.
std::string filePath(const DirectoryRecordSequenceItem& record) {
    std::string path;
    for (const RWCString& component : record.getReferencedFileIDElement())
        path += (path.empty() ? "" : "/") + component;
    return path;
}

std::string describe(const DirectoryRecordSequenceItem& record) {
    const RWCString type = record.getDirectoryRecordTypeElement();
    if (type == "PATIENT")
        return "Patient " + record.getPatientNameElement() + " (" + record.getPatientIDElement() + ")";
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

// Prints the records of one level and, below each, its children.
void printLevel(const DirectoryFile& directory, const std::vector<DirectoryFile::Record*>& records, int depth) {
    for (const DirectoryFile::Record* record : records) {
        std::cout << std::string(2 * depth, ' ') << describe(*record) << '\n';
        printLevel(directory, directory.children(*record), depth + 1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: walk_directory DICOMDIR\n";
        return 2;
    }
    try {
        std::vector<std::string> notes;  // faults read past, damaged links among them
        const std::unique_ptr<DirectoryFile> directory = DirectoryFile::read(argv[1], notes);
        for (const std::string& note : notes) std::cerr << "walk_directory: " << argv[1] << ": " << note << '\n';
        printLevel(*directory, directory->roots(), 0);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "walk_directory: " << error.what() << '\n';
        return 1;
    }
}
