#include "StoredObject.h"

#include "CommandLine.h"
#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"

namespace refcntr {

namespace {

const char* const mediaDirectoryStorage = "1.2.840.10008.1.3.10";
const char* const grayscaleStorage = "1.2.840.10008.5.1.4.1.1.11.1";
const char* const colorStorage = "1.2.840.10008.5.1.4.1.1.11.2";
const char* const pseudoColorStorage = "1.2.840.10008.5.1.4.1.1.11.3";

// The SOP class UID: (0002,0002), else (0008,0016); empty when the data set has neither.
RWCString storedSOPClass(const DICOMObject& data) {
    RWCString uid;
    if (data.GetString(0x0002, 0x0002, uid) && !uid.empty()) return uid;
    if (data.GetString(0x0008, 0x0016, uid)) return uid;
    return RWCString();
}

}  // namespace

std::string describeSOPClass(const DICOMObject& data) {
    const RWCString sopClass = storedSOPClass(data);
    return sopClass.empty() ? std::string("it has no SOP class") : "SOP class " + sopClass;
}

StoredObjectKind containerKindFor(const DICOMObject& data, const std::string& action, const std::string& path) {
    const StoredObjectKind kind = storedObjectKind(data);
    if (kind != StoredObjectKind::Other) return kind;
    const RWCString sopClass = storedSOPClass(data);
    throw cli::Failure("cannot " + action + " '" + path + "': it is neither a media directory nor a softcopy " +
                       "presentation state (" +
                       (sopClass.empty() ? std::string("it has no SOP class") : "SOP class " + sopClass) + ")");
}

StoredObjectKind storedObjectKind(const DICOMObject& data) {
    RWCString mediaStorage;
    data.GetString(0x0002, 0x0002, mediaStorage);
    if (mediaStorage == mediaDirectoryStorage || data.GetVR(0x0004, 0x1220) != nullptr)
        return StoredObjectKind::MediaDirectory;
    const RWCString sopClass = storedSOPClass(data);
    if (sopClass == grayscaleStorage) return StoredObjectKind::GrayscalePresentationState;
    if (sopClass == colorStorage) return StoredObjectKind::ColorPresentationState;
    if (sopClass == pseudoColorStorage) return StoredObjectKind::PseudoColorPresentationState;
    return StoredObjectKind::Other;
}

const char* kindName(StoredObjectKind kind) {
    switch (kind) {
    case StoredObjectKind::MediaDirectory: return "media directory";
    case StoredObjectKind::GrayscalePresentationState: return "grayscale softcopy presentation state";
    case StoredObjectKind::ColorPresentationState: return "color softcopy presentation state";
    case StoredObjectKind::PseudoColorPresentationState: return "pseudo-color softcopy presentation state";
    case StoredObjectKind::Other: break;
    }
    return "other object";
}

bool isPresentationState(StoredObjectKind kind) {
    return kind == StoredObjectKind::GrayscalePresentationState || kind == StoredObjectKind::ColorPresentationState ||
           kind == StoredObjectKind::PseudoColorPresentationState;
}

std::unique_ptr<CompositeIOD> createContainer(StoredObjectKind kind, const DICOMDataObject& data) {
    switch (kind) {
    case StoredObjectKind::MediaDirectory:
        return std::unique_ptr<CompositeIOD>(BasicDirectoryCompositeIOD::create(data));
    case StoredObjectKind::GrayscalePresentationState:
        return std::unique_ptr<CompositeIOD>(GrayscaleSoftcopyPresentationStateCompositeIOD::create(data));
    case StoredObjectKind::ColorPresentationState:
        return std::unique_ptr<CompositeIOD>(ColorSoftcopyPresentationStateCompositeIOD::create(data));
    case StoredObjectKind::PseudoColorPresentationState:
        return std::unique_ptr<CompositeIOD>(PseudoColorSoftcopyPresentationStateCompositeIOD::create(data));
    case StoredObjectKind::Other: break;
    }
    return nullptr;
}

}  // namespace refcntr
