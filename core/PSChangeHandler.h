// The base of every container: a parent to report changes to and a registry of listeners.
//
// Containers form a tree: an IOD owns its entities, an entity its modules, a module or item
// holds its sequences, a sequence owns its items. Every setter reports its change to its own
// container, which tells its listeners and passes the report to its parent; each level puts its
// name in front of the dotted path. A viewer usually registers on the IOD, where every change
// of the tree arrives as elementUpdated with the whole path, e.g.
// "GrayscaleSoftcopyPresentationStateCompositeIOD.PresentationInformationEntity.
// DisplayedAreaModule.DisplayedAreaSelectionSequenceElement.DisplayedAreaSelectionSequenceItem.
// DisplayedAreaBRHCElement".
#pragma once

#include <memory>

#include "refcntr/notify/ListenerRegistry.h"
#include "refcntr/notify/PSChangeListener.h"
#include "refcntr/platform/Arena.h"
#include "refcntr/platform/Types.h"

namespace refcntr {

class SequenceBase;
class SequenceItem;
class ReferencedImageSequence;

class PSChangeHandler : public ArenaAllocated {
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

    // Register for every frame of image `uid` (every image when `uid` is empty). The listener
    // is not owned: it must outlive its registrations, or be removed first. A report names the
    // images it applies to (the Referenced Image Sequence of the changed item); an image
    // registration hears it when those images include `uid`, with or without frames. A registration that overlaps one
    // the listener holds here already is ignored, a wider one too (every image after one image): to widen a
    // registration, remove the listener first.
    void addListener(PSChangeListener& listener, const RWCString& uid);
    // Register for one frame of image `uid` (every image when `uid` is empty). A frame
    // registration hears only reports whose images list that very frame: not those of an item
    // that references the whole image, nor those of an item that applies to every image (it
    // references none). A viewer that must hear everything about the frame it shows registers
    // for every image and asks the image-indexed sequences what applies to the frame.
    void addListener(PSChangeListener& listener, const RWCString& uid, int frame);
    // Removes every registration of the listener.
    void removeListener(PSChangeListener& listener);
    // Removes the listener's registrations for image `uid`, whatever their frame (every
    // registration when `uid` is empty).
    void removeListener(PSChangeListener& listener, const RWCString& uid);
    // Removes the listener's registration for frame `frame` of image `uid` (every registration
    // when `uid` is empty).
    void removeListener(PSChangeListener& listener, const RWCString& uid, int frame);

    const ListenerRegistry& getListenerRegistry() const;

    // Identity: 1 exactly when `other` is this very object.
    int operator==(const PSChangeHandler& other) const { return this == &other; }

protected:
    void getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out) const;
    void getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out, const ReferencedImageSequence* images) const;

private:
    // Made at the first registration: most containers never hear from a listener, and a big
    // presentation state holds tens of thousands of them.
    ListenerRegistry& listeners();

    PSChangeHandler* itsParent;
    std::unique_ptr<ListenerRegistry> itsListeners;
};

}  // namespace refcntr
