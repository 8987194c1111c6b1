#include "InputFile.h"

#include <iostream>

#include "TerminalText.h"
#include "refcntr/platform/DicomFile.h"

namespace refcntr::cli {

std::unique_ptr<DICOMDataObject> readInputFile(const std::string& path) {
    std::vector<std::string> notes;
    auto data = readDicomFile(path, notes);
    warnOfReadNotes(path, notes);
    return data;
}

void warnOfReadNotes(const std::string& path, const std::vector<std::string>& notes) {
    for (const std::string& note : notes)
        std::cerr << "refcntr: warning: '" << escaped(path) << "': " << escaped(note) << '\n';
}

}  // namespace refcntr::cli
