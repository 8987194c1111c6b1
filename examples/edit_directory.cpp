// Edit a media directory (DICOMDIR): add a series, rename a patient, remove a study.
//
//   edit_directory IN OUT
//
// Under the first study of the first patient it adds a series with one image record, renames
// the first patient, removes the first study of the last patient (with its series and images)
// and writes OUT. A directory's hierarchy is held in byte offsets between its records, which
// any edit moves; DirectoryFile keeps the hierarchy as the records' parents and children and
// computes every offset afresh when it writes.
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include <refcntr/refcntr.h>

namespace {

using namespace refcntr;
using Record = DirectoryFile::Record;

Record* firstChild(const DirectoryFile& directory, const Record& record, const std::string& what) {
    const auto& children = directory.children(record);
    if (children.empty()) throw std::runtime_error(what + " has no records below it");
    return children.front();
}

Record* newSeries() {
    auto* series = new Record;
    series->setDirectoryRecordTypeElement("SERIES");
    series->setRecordInUseFlagElement(0xFFFF);
    series->setModalityElement("OT");
    series->setSeriesNumberElement(99);
    series->setSeriesInstanceUIDElement("2.25.299792458");
    return series;
}

Record* newImage() {
    auto* image = new Record;
    image->setDirectoryRecordTypeElement("IMAGE");
    image->setRecordInUseFlagElement(0xFFFF);
    image->setReferencedFileIDElement({"IMAGES", "IM99"});                      // the file IMAGES\IM99 of the file set
    image->setReferencedSOPClassUIDInFileElement("1.2.840.10008.5.1.4.1.1.7");  // secondary capture
    image->setReferencedSOPInstanceUIDInFileElement("2.25.2997924581");
    image->setReferencedTransferSyntaxUIDInFileElement("1.2.840.10008.1.2.1");  // explicit VR little endian
    image->setInstanceNumberElement(1);
    return image;
}

void edit(DirectoryFile& directory) {
    const auto& patients = directory.roots();
    if (patients.empty()) throw std::runtime_error("the directory has no patients");
    Record& first = *patients.front();
    Record& last = *patients.back();

    Record* study = firstChild(directory, first, "patient " + first.getPatientNameElement());
    Record* series = newSeries();
    directory.addRecord(series, study);  // the directory owns it from here
    directory.addRecord(newImage(), series);
    std::cout << "Added series 99 with one image under study " << study->getStudyIDElement() << " of "
              << first.getPatientNameElement() << '\n';

    const RWCString oldName = first.getPatientNameElement();
    first.setPatientNameElement("Doe^Janet");
    std::cout << "Renamed patient " << oldName << " to " << first.getPatientNameElement() << '\n';

    if (&last == &first) return;
    Record* removed = firstChild(directory, last, "patient " + last.getPatientNameElement());
    std::cout << "Removed study " << removed->getStudyIDElement() << " of " << last.getPatientNameElement() << '\n';
    directory.removeRecord(removed);  // and every record below it
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: edit_directory IN OUT\n";
        return 2;
    }
    try {
        const std::unique_ptr<DirectoryFile> directory = DirectoryFile::read(argv[1]);
        edit(*directory);
        directory->write(argv[2], TransferSyntax::ExplicitLittle);  // offsets recomputed, written in one step
        std::cout << "Wrote " << argv[2] << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "edit_directory: " << error.what() << '\n';
        return 1;
    }
}
