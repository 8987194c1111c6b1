// The base of every sequence: whether the sequence attribute is present in its holder.
#pragma once

#include "refcntr/core/PSChangeHandler.h"

namespace refcntr {

class SequenceBase : public PSChangeHandler {
public:
    SequenceBase() = default;
    SequenceBase(const SequenceBase&) = default;
    SequenceBase& operator=(const SequenceBase&) = default;

    // Puts the sequence's name and "Element." in front of the item's element path and
    // delivers the call with this sequence as the sequence argument, then to the parent.
    void sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                             const RWCString& elementPath, const ReferencedImageSequence* images) override;
    RWCString toString(int indent) const override;  // "Unspecialized Sequence"

    void setPresent(int present) { itsPresent = present; }
    int isPresent() const { return itsPresent; }

    // The number of items, and item i as its base class (for code that walks any sequence).
    virtual unsigned length() const = 0;
    virtual const SequenceItem* itemAt(unsigned index) const = 0;

protected:
    int itsPresent = 0;
};

}  // namespace refcntr
