// Which kind of stored object a data set is, and the container tree for it.
#pragma once

#include <memory>

#include "refcntr/core/CompositeIOD.h"
#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

enum class StoredObjectKind {
    MediaDirectory,
    GrayscalePresentationState,
    ColorPresentationState,
    PseudoColorPresentationState,
    Other,
};

// A media directory when the media storage SOP class (0002,0002) says so or when there is a
// directory record sequence (0004,1220); otherwise a presentation state by its SOP class,
// taken from (0002,0002), else from (0008,0016).
StoredObjectKind storedObjectKind(const DICOMObject& data);

// The SOP class UID that storedObjectKind looks at; empty when the data set has neither.
RWCString storedSOPClass(const DICOMObject& data);

// "media directory", "grayscale softcopy presentation state", ...
const char* kindName(StoredObjectKind kind);

bool isPresentationState(StoredObjectKind kind);

// The composite IOD container of that kind read from the data set; null for Other.
std::unique_ptr<CompositeIOD> createContainer(StoredObjectKind kind, const DICOMDataObject& data);

}  // namespace refcntr
