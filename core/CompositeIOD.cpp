#include "refcntr/core/CompositeIOD.h"

namespace refcntr {

RWCString CompositeIOD::toString(int) const { return "Unspecialized CompositeIOD"; }

void CompositeIOD::save(DICOMDataObject&) const {}

}  // namespace refcntr
