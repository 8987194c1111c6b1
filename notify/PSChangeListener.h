// The observer interface: a viewer derives from it and registers on any container.
#pragma once

#include "refcntr/platform/Types.h"

namespace refcntr {

class SequenceBase;
class SequenceItem;
class ReferencedImageSequence;

// Every operation has an empty default body, so a listener overrides only what it needs.
// `path` is the dotted path of what changed as seen from the container the listener is
// registered on; `images` names the images the change applies to (null: every image).
class PSChangeListener {
public:
    PSChangeListener() = default;
    PSChangeListener(const PSChangeListener&) {}
    PSChangeListener& operator=(const PSChangeListener&) { return *this; }
    virtual ~PSChangeListener();

    virtual void sequenceItemAdded(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                                   const ReferencedImageSequence* images);
    virtual void sequenceItemRemoved(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                                     const ReferencedImageSequence* images);
    virtual void sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                                     const RWCString& elementPath, const ReferencedImageSequence* images);
    virtual void sequenceAllItemsRemoved(const RWCString& path, const SequenceBase* sequence,
                                         const ReferencedImageSequence* images);
    virtual void sequenceAllItemsAdded(const RWCString& path, const SequenceBase* sequence,
                                       const ReferencedImageSequence* images);
    virtual void elementUpdated(const RWCString& path, const ReferencedImageSequence* images);

    // Identity, and order by address.
    bool operator==(const PSChangeListener& other) const { return this == &other; }
    bool operator<(const PSChangeListener& other) const { return this < &other; }
};

}  // namespace refcntr
