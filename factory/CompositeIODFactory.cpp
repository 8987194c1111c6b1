#include "refcntr/factory/CompositeIODFactory.h"

#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/presentation/PresentationStateIODs.h"

namespace refcntr {

namespace {

const char* const mediaDirectoryStorage = "1.2.840.10008.1.3.10";
const char* const grayscaleStorage = "1.2.840.10008.5.1.4.1.1.11.1";
const char* const colorStorage = "1.2.840.10008.5.1.4.1.1.11.2";
const char* const pseudoColorStorage = "1.2.840.10008.5.1.4.1.1.11.3";

}  // namespace

RWCString storedSOPClass(const DICOMObject& data) {
    RWCString uid;
    if (data.GetString(0x0002, 0x0002, uid) && !uid.empty()) return uid;
    if (data.GetString(0x0008, 0x0016, uid)) return uid;
    return RWCString();
}

CompositeIODKind compositeIODKind(const DICOMObject& data) {
    RWCString mediaStorage;
    data.GetString(0x0002, 0x0002, mediaStorage);
    if (mediaStorage == mediaDirectoryStorage || data.GetVR(0x0004, 0x1220) != nullptr)
        return CompositeIODKind::MediaDirectory;
    const RWCString sopClass = storedSOPClass(data);
    if (sopClass == grayscaleStorage) return CompositeIODKind::GrayscalePresentationState;
    if (sopClass == colorStorage) return CompositeIODKind::ColorPresentationState;
    if (sopClass == pseudoColorStorage) return CompositeIODKind::PseudoColorPresentationState;
    return CompositeIODKind::Other;
}

const char* compositeIODKindName(CompositeIODKind kind) {
    switch (kind) {
    case CompositeIODKind::MediaDirectory: return "media directory";
    case CompositeIODKind::GrayscalePresentationState: return "grayscale softcopy presentation state";
    case CompositeIODKind::ColorPresentationState: return "color softcopy presentation state";
    case CompositeIODKind::PseudoColorPresentationState: return "pseudo-color softcopy presentation state";
    case CompositeIODKind::Other: break;
    }
    return "other object";
}

std::unique_ptr<CompositeIOD> createCompositeIOD(const DICOMDataObject& data) {
    switch (compositeIODKind(data)) {
    case CompositeIODKind::MediaDirectory:
        return std::unique_ptr<CompositeIOD>(BasicDirectoryCompositeIOD::create(data));
    case CompositeIODKind::GrayscalePresentationState:
        return std::unique_ptr<CompositeIOD>(GrayscaleSoftcopyPresentationStateCompositeIOD::create(data));
    case CompositeIODKind::ColorPresentationState:
        return std::unique_ptr<CompositeIOD>(ColorSoftcopyPresentationStateCompositeIOD::create(data));
    case CompositeIODKind::PseudoColorPresentationState:
        return std::unique_ptr<CompositeIOD>(PseudoColorSoftcopyPresentationStateCompositeIOD::create(data));
    case CompositeIODKind::Other: break;
    }
    const RWCString sopClass = storedSOPClass(data);
    throw RuntimeException(
        (sopClass.empty() ? std::string("a data set without a SOP class") : "SOP class " + sopClass) +
        " is neither a media directory nor a softcopy presentation state");
}

}  // namespace refcntr
