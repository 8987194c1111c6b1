// Helpers shared by the notification tests.
#pragma once

#include <algorithm>
#include <initializer_list>

#include "refcntr/notify/ReferencedImageSequence.h"

namespace refcntr::test {

// A referenced image item for `uid`, listing `frames` (none: the whole image).
inline ReferencedImageSequenceItem* imageReference(const RWCString& uid, std::initializer_list<int> frames = {}) {
    auto* item = new ReferencedImageSequenceItem;
    item->setReferencedSOPInstanceUIDElement(uid);
    if (frames.size() > 0) {
        int* values = new int[frames.size()];
        std::copy(frames.begin(), frames.end(), values);
        item->setReferencedFrameNumberElement(values, unsigned(frames.size()));
    }
    return item;
}

}  // namespace refcntr::test
