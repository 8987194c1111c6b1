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
//
// What a listener hears depends on where it is registered:
// - on an item: elementUpdated("<Item>.<X>Element") for its own attributes, and for changes
//   in the items of its sequences a path through them;
// - on a sequence: sequenceItemUpdated(path = "<Sequence>", elementPath =
//   "<Sequence>Element.<Item>.<X>Element") when one of its items changes (adding and removing
//   items is told to the sequence's parent, not to its listeners);
// - on a module, an entity or an IOD: every change as elementUpdated, the path starting with
//   that container's name; an item added to, removed from or cleared out of one of the module's
//   sequences gives "<Module>.Element" (the sequence is not named).
// Delivery is synchronous, on the thread that called the setter. A listener must not add or
// remove registrations on the container that is telling it.
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
