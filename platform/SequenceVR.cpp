#include "refcntr/platform/SequenceVR.h"

#include <memory>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/MDDEntry.h"

namespace refcntr {

SequenceVR::SequenceVR(UINT16 group, UINT16 element, EndianType endian, MemoryAllocater* allocater)
    : VR(group, element, VRCode::SQ, endian, allocater) {}

SequenceVR::SequenceVR(const SequenceVR& other) : VR(other) {
    itsItems.reserve(other.itsItems.size());
    try {
        for (const DICOMDataObject* item : other.itsItems) itsItems.push_back(new DICOMDataObject(*item));
    } catch (...) {
        for (DICOMDataObject* item : itsItems) delete item;
        throw;
    }
}

SequenceVR::~SequenceVR() {
    for (DICOMDataObject* item : itsItems) delete item;
}

VR* SequenceVR::Clone() const { return new SequenceVR(*this); }

void SequenceVR::AddSequenceItem(DICOMDataObject* item) {
    if (item == nullptr) return;
    std::unique_ptr<DICOMDataObject> owned(item);
    itsItems.push_back(item);
    owned.release();
}

}  // namespace refcntr
