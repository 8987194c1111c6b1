#include "refcntr/core/SequenceItem.h"

namespace refcntr {

SequenceItem& SequenceItem::operator=(const SequenceItem& other) {
    if (this != &other) clearPSChangeHandler();
    return *this;
}

void SequenceItem::sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                                       const RWCString& elementPath, const ReferencedImageSequence* images) {
    if (!getListenerRegistry().isEmpty()) {
        RWTPtrSlist<PSChangeListener> listeners;
        getPSChangeListeners(listeners, images);
        for (PSChangeListener* listener : listeners) {
            if (!listener) break;
            listener->elementUpdated(elementPath, images);
        }
    }
    if (PSChangeHandler* parent = getPSChangeHandler())
        parent->sequenceItemUpdated(path, sequence, item, elementPath, images);
}

RWCString SequenceItem::toString(int) const { return "Unspecialized SequenceItem"; }

void SequenceItem::save(DICOMDataObject&) const {}

int SequenceItem::isEmpty() const { return 1; }

}  // namespace refcntr
