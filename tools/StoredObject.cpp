#include "StoredObject.h"

#include "CommandLine.h"

namespace refcntr {

std::string describeSOPClass(const DICOMObject& data) {
    const RWCString sopClass = storedSOPClass(data);
    return sopClass.empty() ? std::string("it has no SOP class") : "SOP class " + sopClass;
}

StoredObjectKind containerKindFor(const DICOMObject& data, const std::string& action, const std::string& path) {
    const StoredObjectKind kind = storedObjectKind(data);
    if (kind != StoredObjectKind::Other) return kind;
    throw cli::Failure("cannot " + action + " '" + path + "': it is neither a media directory nor a softcopy " +
                       "presentation state (" + describeSOPClass(data) + ")");
}

bool isPresentationState(StoredObjectKind kind) {
    return kind == StoredObjectKind::GrayscalePresentationState || kind == StoredObjectKind::ColorPresentationState ||
           kind == StoredObjectKind::PseudoColorPresentationState;
}

}  // namespace refcntr
