// The base of every module container.
#pragma once

#include "refcntr/core/PSChangeHandler.h"

namespace refcntr {

class DICOMDataObject;

class Module : public PSChangeHandler {
public:
    Module() = default;
    Module(const Module&) = default;
    // Clears the parent; derived classes assign their attributes.
    Module& operator=(const Module& other);

    RWCString toString(int indent) const override;  // "Unspecialized Module"
    virtual int isEmpty() const;
    virtual void save(DICOMDataObject& data) const;
    // Declared by every module with a non-const image argument: a further operation of its
    // own, not an override. PSChangeHandler's version stays in force for calls through the base.
    using PSChangeHandler::sequenceAllItemsAdded;
    virtual void sequenceAllItemsAdded(const RWCString& path, const SequenceBase* sequence,
                                       ReferencedImageSequence* images);
};

}  // namespace refcntr
