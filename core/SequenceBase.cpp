#include "refcntr/core/SequenceBase.h"

namespace refcntr {

void SequenceBase::sequenceItemUpdated(const RWCString& path, const SequenceBase*, const SequenceItem* item,
                                       const RWCString& elementPath, const ReferencedImageSequence* images) {
    PSChangeHandler::sequenceItemUpdated(path, this, item, path + "Element." + elementPath, images);
}

RWCString SequenceBase::toString(int) const { return "Unspecialized Sequence"; }

}  // namespace refcntr
