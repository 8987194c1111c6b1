// A data set that remembers the order in which elements were stored into it.
#pragma once

#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr::testing {

class RecordingDataSet : public DICOMDataObject {
public:
    using DICOMDataObject::DICOMDataObject;
    using DICOMDataObject::ReplaceVR;

    void ReplaceVR(VR* element) override {
        written.push_back(element->GetTag());
        DICOMDataObject::ReplaceVR(element);
    }

    std::vector<MAttributeTag> written;
};

}  // namespace refcntr::testing
