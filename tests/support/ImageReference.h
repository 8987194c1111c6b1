// A referenced image item, as the tests of image-indexed containers build them.
#pragma once

#include <algorithm>
#include <vector>

#include "refcntr/notify/ReferencedImageSequence.h"

namespace refcntr::testing {

// A referenced image item for `uid`, listing `frames` (none: the whole image).
inline ReferencedImageSequenceItem* imageReference(const RWCString& uid, const std::vector<int>& frames = {}) {
    auto* item = new ReferencedImageSequenceItem;
    item->setReferencedSOPInstanceUIDElement(uid);
    if (!frames.empty()) {
        int* values = new int[frames.size()];
        std::copy(frames.begin(), frames.end(), values);
        item->setReferencedFrameNumberElement(values, unsigned(frames.size()));
    }
    return item;
}

}  // namespace refcntr::testing
