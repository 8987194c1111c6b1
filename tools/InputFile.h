// Reading a command's input file, telling the user what DCMTK read past in a damaged one.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr::cli {

// readDicomFile, with a warning on standard error for each fault read past, such as
// "refcntr: warning: 'in.dcm': (0070,0042) ImageRotation: VR CS where the dictionary has US;
// converted to US".
std::unique_ptr<DICOMDataObject> readInputFile(const std::string& path);

// Converts the data set's texts to UTF-8 for showing them (convertTextsToUTF8); when its
// character set cannot be converted, warns and leaves the stored bytes. Returns whether the
// texts are now UTF-8.
bool showTextsInUTF8(DICOMDataObject& data, const std::string& path);

// One such warning for each note of a read.
void warnOfReadNotes(const std::string& path, const std::vector<std::string>& notes);

}  // namespace refcntr::cli
