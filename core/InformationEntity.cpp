#include "refcntr/core/InformationEntity.h"

namespace refcntr {

RWCString InformationEntity::toString(int) const { return "Unspecialized InformationEntity"; }

void InformationEntity::save(DICOMDataObject&) const {}

}  // namespace refcntr
