// The base of every container: a parent to report changes to and a registry of listeners.
#pragma once

#include "refcntr/notify/ListenerRegistry.h"
#include "refcntr/notify/PSChangeListener.h"
#include "refcntr/platform/Types.h"

namespace refcntr {

class SequenceBase;
class SequenceItem;
class ReferencedImageSequence;

class PSChangeHandler {
public:
    using RegisteredListener = refcntr::RegisteredListener;
    using ListenerRegistry = refcntr::ListenerRegistry;
    using PSChangeListenerList = refcntr::PSChangeListenerList;

    PSChangeHandler();
    // Reports to the same parent as the source; listeners are not copied.
    PSChangeHandler(const PSChangeHandler& other);
    // Copies the parent pointer only; keeps its own listeners.
    PSChangeHandler& operator=(const PSChangeHandler& other);
    virtual ~PSChangeHandler();

    // Notifications, in this order of virtual slots. Each delivers the call to the listeners
    // whose registration `images` references (every listener when null), each once in
    // ascending order of address, then passes it to the parent.
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
    virtual RWCString toString(int indent) const;

    // The container one level up that hears this one's changes (not owned; may be null).
    void setPSChangeHandler(PSChangeHandler& parent) { itsParent = &parent; }
    void clearPSChangeHandler() { itsParent = nullptr; }
    PSChangeHandler* getPSChangeHandler() const { return itsParent; }

    // Register for every frame of image `uid` (every image when `uid` is empty).
    void addListener(PSChangeListener& listener, const RWCString& uid);
    // Register for one frame of image `uid` (every image when `uid` is empty).
    void addListener(PSChangeListener& listener, const RWCString& uid, int frame);
    void removeListener(PSChangeListener& listener);
    void removeListener(PSChangeListener& listener, const RWCString& uid);
    void removeListener(PSChangeListener& listener, const RWCString& uid, int frame);

    const ListenerRegistry& getListenerRegistry() const { return itsListeners; }

    // Identity: 1 exactly when `other` is this very object.
    int operator==(const PSChangeHandler& other) const { return this == &other; }

protected:
    void getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out) const;
    void getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out, const ReferencedImageSequence* images) const;

private:
    PSChangeHandler* itsParent;
    ListenerRegistry itsListeners;
};

}  // namespace refcntr
