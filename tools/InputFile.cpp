#include "InputFile.h"

#include <iostream>
#include <vector>

#include "refcntr/platform/DicomFile.h"

namespace refcntr::cli {

std::unique_ptr<DICOMDataObject> readInputFile(const std::string& path) {
    std::vector<std::string> notes;
    auto data = readDicomFile(path, notes);
    for (const std::string& note : notes) std::cerr << "refcntr: warning: '" << path << "': " << note << '\n';
    return data;
}

}  // namespace refcntr::cli
