// The base of every sequence item container.
#pragma once

#include "refcntr/core/PSChangeHandler.h"

namespace refcntr {

class DICOMDataObject;

class SequenceItem : public PSChangeHandler {
public:
    SequenceItem() = default;
    SequenceItem(const SequenceItem&) = default;
    // Clears the parent (unless assigning to itself); nothing else of the base is assigned.
    SequenceItem& operator=(const SequenceItem& other);

    // Delivers elementUpdated(elementPath, images) to this item's listeners, then passes the
    // call unchanged to the parent (the sequence).
    void sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                             const RWCString& elementPath, const ReferencedImageSequence* images) override;
    RWCString toString(int indent) const override;  // "Unspecialized SequenceItem"
    // Note the order: an item saves before it tells whether it is empty; a module the reverse.
    virtual void save(DICOMDataObject& data) const;
    virtual int isEmpty() const;
};

}  // namespace refcntr
