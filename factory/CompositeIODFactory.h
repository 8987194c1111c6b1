// The composite IOD container for a data set, chosen by the data set's SOP class: a media
// directory or one of the three softcopy presentation states.
#pragma once

#include <memory>

#include "refcntr/core/CompositeIOD.h"
#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

enum class CompositeIODKind {
    MediaDirectory,
    GrayscalePresentationState,
    ColorPresentationState,
    PseudoColorPresentationState,
    Other,
};

/// The kind of a data set: a media directory when the media storage SOP class (0002,0002) says so
/// or when it has a directory record sequence (0004,1220); otherwise a presentation state by its
/// SOP class, taken from (0002,0002), else from (0008,0016); else Other.
CompositeIODKind compositeIODKind(const DICOMObject& data);

/// "media directory", "grayscale softcopy presentation state", ..., "other object".
const char* compositeIODKindName(CompositeIODKind kind);

/// The SOP class UID of the data set, (0002,0002), else (0008,0016); empty when it has neither.
RWCString storedSOPClass(const DICOMObject& data);

/// The IOD of the data set's kind, created from it (a BasicDirectoryCompositeIOD or one of the
/// presentation-state IODs; cast to the class compositeIODKind names). Each IOD's own `create`
/// reads any data set; this refuses one of another class with RuntimeException, for example
/// "SOP class 1.2.840.10008.5.1.4.1.1.2 is neither a media directory nor a softcopy presentation
/// state".
std::unique_ptr<CompositeIOD> createCompositeIOD(const DICOMDataObject& data);

}  // namespace refcntr
