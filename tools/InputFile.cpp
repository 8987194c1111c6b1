#include "InputFile.h"

#include <iostream>

#include "CommandLine.h"
#include "TerminalText.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/TextEncoding.h"

namespace refcntr::cli {

std::unique_ptr<DICOMDataObject> readInputFile(const std::string& path) {
    std::vector<std::string> notes;
    auto data = readDicomFile(path, notes);
    warnOfReadNotes(path, notes);
    return data;
}

bool showTextsInUTF8(DICOMDataObject& data, const std::string& path) {
    try {
        convertTextsToUTF8(data);
        return true;
    } catch (const RuntimeException& error) {
        std::cerr << "refcntr: warning: '" << escaped(ShownPath::of(path)) << "': " << escaped(error.GetMessage())
                  << "; texts are shown as stored\n";
        return false;
    }
}

void warnOfReadNotes(const std::string& path, const std::vector<std::string>& notes) {
    for (const std::string& note : notes)
        std::cerr << "refcntr: warning: '" << escaped(ShownPath::of(path)) << "': " << escaped(note) << '\n';
}

}  // namespace refcntr::cli
