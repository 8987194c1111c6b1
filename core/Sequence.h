// The sequence template: an ordered list of items of one class, owned by the sequence.
#pragma once

#include <vector>

#include "refcntr/core/ContainerUtils.h"
#include "refcntr/core/DumpStream.h"
#include "refcntr/core/SequenceBase.h"

namespace refcntr {

template <class T>
class Sequence : public SequenceBase {
public:
    using ItemType = T;

    // `size` is the room the container library would reserve up front. Nothing is reserved
    // here: most sequences of a presentation state hold one or two items, and a big state
    // holds tens of thousands of sequences; the vector grows as items come, and readers
    // reserve ahead with resize() when they know the count.
    explicit Sequence(unsigned size) { (void)size; }
    // Deep copy: a copy of each item, added in order; no parent, no listeners.
    Sequence(const Sequence& other);
    // Silent: clears the parent first, so the former parent hears nothing.
    Sequence& operator=(const Sequence& other);
    ~Sequence() override;

    // Takes ownership, makes this sequence the item's parent, marks the sequence present and
    // tells the parent (empty path, no image sequence).
    virtual void addItem(T* item);
    // Tells the parent and deletes the item when this sequence holds it; ignores other pointers.
    // The present flag is left as it is.
    virtual void removeItem(T* item);
    // Tells the parent (also when already empty), then deletes every item.
    virtual void clearAndDestroy();
    // Makes room for n items; never adds or removes items, never shrinks.
    virtual void resize(unsigned n);

    unsigned length() const override { return unsigned(itsItems.size()); }
    const SequenceItem* itemAt(unsigned index) const override { return itsItems.at(index); }
    // Throws std::out_of_range for an index at or beyond the length.
    T* at(unsigned index) { return itsItems.at(index); }
    const T* at(unsigned index) const { return itsItems.at(index); }
    const RWTPtrOrderedVector<T>& items() const { return itsItems; }

    int operator==(const Sequence& other) const { return this == &other; }

protected:
    // The dump of every concrete sequence: each item in a braced "Item n:" block.
    RWCString dumpItems(int indent) const;

private:
    void deleteItems();

    RWTPtrOrderedVector<T> itsItems;
};

template <class T>
Sequence<T>::Sequence(const Sequence& other) : SequenceBase() {
    itsPresent = other.itsPresent;
    itsItems.reserve(other.itsItems.size());
    for (const T* item : other.itsItems) Sequence::addItem(new T(*item));
}

template <class T>
Sequence<T>& Sequence<T>::operator=(const Sequence& other) {
    if (this == &other) return *this;
    clearPSChangeHandler();
    itsPresent = other.itsPresent;
    clearAndDestroy();
    for (const T* item : other.itsItems) addItem(new T(*item));
    if (PSChangeHandler* parent = getPSChangeHandler()) parent->sequenceAllItemsAdded(RWCString(), this, nullptr);
    return *this;
}

template <class T>
Sequence<T>::~Sequence() {
    deleteItems();
}

template <class T>
void Sequence<T>::addItem(T* item) {
    item->setPSChangeHandler(*this);
    itsItems.push_back(item);
    itsPresent = 1;
    if (PSChangeHandler* parent = getPSChangeHandler()) parent->sequenceItemAdded(RWCString(), this, item, nullptr);
}

template <class T>
void Sequence<T>::removeItem(T* item) {
    for (auto position = itsItems.begin(); position != itsItems.end(); ++position) {
        if (*position != item) continue;
        itsItems.erase(position);
        if (PSChangeHandler* parent = getPSChangeHandler())
            parent->sequenceItemRemoved(RWCString(), this, item, nullptr);
        delete item;
        return;
    }
}

// As removeItem does, the items leave the sequence before the parent is told and are deleted
// after, so that whoever hears of it sees the sequence as it is now.
template <class T>
void Sequence<T>::clearAndDestroy() {
    RWTPtrOrderedVector<T> removed;
    removed.swap(itsItems);
    if (PSChangeHandler* parent = getPSChangeHandler()) parent->sequenceAllItemsRemoved(RWCString(), this, nullptr);
    for (T* item : removed) delete item;
}

template <class T>
void Sequence<T>::resize(unsigned n) {
    if (n >= itsItems.size()) itsItems.reserve(n);
}

template <class T>
void Sequence<T>::deleteItems() {
    for (T* item : itsItems) delete item;
    itsItems.clear();
}

template <class T>
RWCString Sequence<T>::dumpItems(int indent) const {
    RWCString result;
    if (itsItems.empty()) return result;
    result.reserve(2048);
    const RWCString pad(2 * indent, ' ');
    for (unsigned i = 0; i < itsItems.size(); ++i) {
        result += pad;
        result += "  Item ";
        result += ContainerUtils::toString(int(i));
        result += ":\n";
        result += pad;
        result += "  {\n";
        result += pad;
        result += "    ";
        flushDumpText(result);
        result += itsItems[i]->toString(indent + 2);
        result += "\n";
        result += pad;
        result += "  }";
        if (i + 1 < itsItems.size()) result += ",";
        result += "\n";
    }
    flushDumpText(result);
    return result;
}

}  // namespace refcntr
