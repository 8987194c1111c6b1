#include "refcntr/core/PSChangeHandler.h"

namespace refcntr {

namespace {
constexpr unsigned registryCapacity = 64;

// Calls `notify` on each listener that `images` selects, then on the parent.
template <class Notify>
void deliver(const ListenerRegistry* registry, PSChangeHandler* parent, const ReferencedImageSequence* images,
             Notify notify) {
    if (registry && !registry->isEmpty()) {
        RWTPtrSlist<PSChangeListener> listeners;
        registry->getPSChangeListeners(listeners, images);
        for (PSChangeListener* listener : listeners) {
            if (!listener) break;
            notify(*listener);
        }
    }
    if (parent) notify(*parent);
}
}  // namespace

PSChangeHandler::PSChangeHandler() : itsParent(nullptr) {}

PSChangeHandler::PSChangeHandler(const PSChangeHandler& other) : itsParent(other.itsParent) {}

PSChangeHandler& PSChangeHandler::operator=(const PSChangeHandler& other) {
    itsParent = other.itsParent;
    return *this;
}

PSChangeHandler::~PSChangeHandler() = default;

void PSChangeHandler::sequenceItemAdded(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                                        const ReferencedImageSequence* images) {
    deliver(itsListeners.get(), itsParent, images,
            [&](auto& target) { target.sequenceItemAdded(path, sequence, item, images); });
}

void PSChangeHandler::sequenceItemRemoved(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                                          const ReferencedImageSequence* images) {
    deliver(itsListeners.get(), itsParent, images,
            [&](auto& target) { target.sequenceItemRemoved(path, sequence, item, images); });
}

void PSChangeHandler::sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                                          const RWCString& elementPath, const ReferencedImageSequence* images) {
    deliver(itsListeners.get(), itsParent, images,
            [&](auto& target) { target.sequenceItemUpdated(path, sequence, item, elementPath, images); });
}

void PSChangeHandler::sequenceAllItemsRemoved(const RWCString& path, const SequenceBase* sequence,
                                              const ReferencedImageSequence* images) {
    deliver(itsListeners.get(), itsParent, images,
            [&](auto& target) { target.sequenceAllItemsRemoved(path, sequence, images); });
}

void PSChangeHandler::sequenceAllItemsAdded(const RWCString& path, const SequenceBase* sequence,
                                            const ReferencedImageSequence* images) {
    deliver(itsListeners.get(), itsParent, images,
            [&](auto& target) { target.sequenceAllItemsAdded(path, sequence, images); });
}

void PSChangeHandler::elementUpdated(const RWCString& path, const ReferencedImageSequence* images) {
    deliver(itsListeners.get(), itsParent, images, [&](auto& target) { target.elementUpdated(path, images); });
}

RWCString PSChangeHandler::toString(int) const { return "Unspecialized PSChangeHandler"; }

void PSChangeHandler::addListener(PSChangeListener& listener, const RWCString& uid) {
    listeners().addListener(listener, uid);
}

void PSChangeHandler::addListener(PSChangeListener& listener, const RWCString& uid, int frame) {
    listeners().addListener(listener, uid, frame);
}

void PSChangeHandler::removeListener(PSChangeListener& listener) {
    if (itsListeners) itsListeners->removeListener(&listener);
}

void PSChangeHandler::removeListener(PSChangeListener& listener, const RWCString& uid) {
    if (itsListeners) itsListeners->removeListener(&listener, uid);
}

void PSChangeHandler::removeListener(PSChangeListener& listener, const RWCString& uid, int frame) {
    if (itsListeners) itsListeners->removeListener(&listener, uid, frame);
}

const ListenerRegistry& PSChangeHandler::getListenerRegistry() const {
    static const ListenerRegistry none(registryCapacity);
    return itsListeners ? *itsListeners : none;
}

ListenerRegistry& PSChangeHandler::listeners() {
    if (!itsListeners) itsListeners = std::make_unique<ListenerRegistry>(registryCapacity);
    return *itsListeners;
}

void PSChangeHandler::getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out) const {
    getListenerRegistry().getPSChangeListeners(out);
}

void PSChangeHandler::getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out,
                                           const ReferencedImageSequence* images) const {
    getListenerRegistry().getPSChangeListeners(out, images);
}

}  // namespace refcntr
