// Which kind of stored object a data set is, and the container tree for it.
#pragma once

#include <memory>
#include <string>

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

// What messages say of the object's class: "SOP class <uid>", or "it has no SOP class".
std::string describeSOPClass(const DICOMObject& data);

// The kind of a media directory or presentation state, for a command that needs containers:
// throws Failure("cannot <action> '<path>': ...") for any other object.
StoredObjectKind containerKindFor(const DICOMObject& data, const std::string& action, const std::string& path);

// "media directory", "grayscale softcopy presentation state", ...
const char* kindName(StoredObjectKind kind);

bool isPresentationState(StoredObjectKind kind);

// The composite IOD container of that kind read from the data set; null for Other.
std::unique_ptr<CompositeIOD> createContainer(StoredObjectKind kind, const DICOMDataObject& data);

}  // namespace refcntr
