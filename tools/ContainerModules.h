// The modules of each kind of stored object, by class name, and the dump of one of them.
#pragma once

#include <string>
#include <vector>

#include "StoredObject.h"

namespace refcntr {

// The module classes of the IOD of `kind`, in the order of its dump ("FileMetaInformationModule",
// "PatientModule", ...); none for StoredObjectKind::Other.
std::vector<std::string> moduleNamesOf(StoredObjectKind kind);

// True when `name` is the class name of a module of some IOD.
bool isModuleName(const std::string& name);

// The dump (toString(0)) of module `name` read from the data set, as the IOD holds it: an
// entity reads each of its modules from the whole data set. `name` must satisfy isModuleName.
RWCString dumpModule(const std::string& name, const DICOMDataObject& data);

}  // namespace refcntr
