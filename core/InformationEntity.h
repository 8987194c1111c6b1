// The base of every information entity container.
#pragma once

#include "refcntr/core/PSChangeHandler.h"

namespace refcntr {

class DICOMDataObject;

class InformationEntity : public PSChangeHandler {
public:
    InformationEntity() = default;
    InformationEntity(const InformationEntity&) = default;
    InformationEntity& operator=(const InformationEntity&) = default;

    RWCString toString(int indent) const override;  // "Unspecialized InformationEntity"
    virtual void save(DICOMDataObject& data) const;
};

}  // namespace refcntr
