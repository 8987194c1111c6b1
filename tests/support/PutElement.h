// An element put into one of the library's data sets as stored bytes, whatever its VR says of
// them: values a file or a fuzzer could hand the library.
#pragma once

#include <string>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr::testfiles {

// The element of that VR code, holding `bytes` in the data set's byte order, replaces any other.
inline void putElement(DICOMObject& dataSet, UINT16 group, UINT16 number, UINT16 vrCode, const std::string& bytes) {
    auto* element = new VR(group, number, vrCode, dataSet.GetEndian());
    element->SetData(bytes.data(), UINT32(bytes.size()));
    dataSet.ReplaceVR(element);
}

}  // namespace refcntr::testfiles
