// The base of every composite IOD container, the root of a container tree.
#pragma once

#include "refcntr/core/PSChangeHandler.h"

namespace refcntr {

class DICOMDataObject;

class CompositeIOD : public PSChangeHandler {
public:
    CompositeIOD() = default;
    CompositeIOD(const CompositeIOD&) = default;
    CompositeIOD& operator=(const CompositeIOD&) = default;

    RWCString toString(int indent) const override;  // "Unspecialized CompositeIOD"
    virtual void save(DICOMDataObject& data) const;
};

}  // namespace refcntr
