#include "refcntr/core/Module.h"

namespace refcntr {

Module& Module::operator=(const Module& other) {
    if (this != &other) clearPSChangeHandler();
    return *this;
}

RWCString Module::toString(int) const { return "Unspecialized Module"; }

int Module::isEmpty() const { return 1; }

void Module::save(DICOMDataObject&) const {}

void Module::sequenceAllItemsAdded(const RWCString& path, const SequenceBase* sequence,
                                   ReferencedImageSequence* images) {
    PSChangeHandler::sequenceAllItemsAdded(path, sequence, images);
}

}  // namespace refcntr
