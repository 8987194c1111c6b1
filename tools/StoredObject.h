// Which kind of stored object a data set is: the library's factory, with the messages of the tool.
#pragma once

#include <memory>
#include <string>

#include "refcntr/factory/CompositeIODFactory.h"

namespace refcntr {

using StoredObjectKind = CompositeIODKind;

inline StoredObjectKind storedObjectKind(const DICOMObject& data) { return compositeIODKind(data); }
inline const char* kindName(StoredObjectKind kind) { return compositeIODKindName(kind); }

// What messages say of the object's class: "SOP class <uid>", or "it has no SOP class".
std::string describeSOPClass(const DICOMObject& data);

// The kind of a media directory or presentation state, for a command that needs containers:
// throws Failure("cannot <action> '<path>': ...") for any other object.
StoredObjectKind containerKindFor(const DICOMObject& data, const std::string& action, const std::string& path);

bool isPresentationState(StoredObjectKind kind);

}  // namespace refcntr
