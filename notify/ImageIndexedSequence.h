// A sequence whose items apply to the images their Referenced Image Sequence names (or to all
// images when it names none), indexed so that a viewer can ask which items apply to an image
// frame. The displayed-area, graphic annotation, softcopy VOI LUT and referenced-series
// sequences derive from ImageIndexedSequence<Item>.
#pragma once

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <vector>

#include "refcntr/core/Sequence.h"
#include "refcntr/core/TextValue.h"
#include "refcntr/notify/HashTable.h"
#include "refcntr/notify/ImgFrmKey.h"

namespace refcntr {

class ReferencedImageSequence;

// The untyped part of ImageIndexedSequence: from image-and-frame key to the items filed under
// it. Three kinds of key: (UID, frame) for a referenced frame, (UID) any frame for an image
// referenced without frames, the any-image key for an item that references no image. An
// entry whose list becomes empty is dropped. Each list keeps its items in the order they were
// filed, which is sequence order; each item remembers the entries it is filed in, so that it
// can be unfiled or refiled without a search of the whole index.
class ImageItemIndex {
public:
    using ItemList = std::vector<SequenceItem*, ArenaAllocator<SequenceItem*>>;
    // Told the number of keys an item is about to be filed under, before each group of keys.
    using BeforeFiling = std::function<void(unsigned keyCount)>;

    explicit ImageItemIndex(unsigned buckets = 64);
    ImageItemIndex(const ImageItemIndex&) = delete;
    ImageItemIndex& operator=(const ImageItemIndex&) = delete;
    ~ImageItemIndex();

    // Files `item` under every key that `images` yields, once per occurrence, in order:
    // the any-image key when `images` is absent or empty; otherwise per referenced image
    // either (UID, f) for each of its frames or (UID) when it lists none.
    void file(SequenceItem* item, const ReferencedImageSequence& images, const BeforeFiling& beforeFiling);
    // Removes every occurrence of `item` from the entries it was filed under (also from keys
    // that its referenced images no longer name, so the index never keeps a pointer to a
    // removed item).
    void unfile(const SequenceItem* item);
    // Files a filed item again under the keys that `images` yields now, in its place in sequence
    // order, when they differ from the keys it is filed under.
    void refile(const SequenceItem* item, const ReferencedImageSequence& images);
    // Whether a change that an item of the sequence named `sequenceName` reported with
    // `elementPath` may have changed which images the item references: its referenced image
    // sequence changed, or one of its sequences gained or lost items.
    static bool mayChangeReferences(const RWCString& sequenceName, const RWCString& elementPath);
    // Removes every entry; the bucket count stays.
    void clear() {
        itsEntries.clear();
        itsFilings.clear();
    }
    // Removes every entry and sets the bucket count.
    void reset(unsigned buckets);
    // Doubles the bucket count when it is below `count` x 1.25, rounded to the nearest integer.
    void grow(unsigned count);

    const ItemList* find(const ImgFrmKey& key) const { return itsEntries.find(KeyView(key)); }
    // (uid, frame), else (uid) any frame, else (only for an empty uid) the any-image entry.
    const ItemList* lookup(const RWCString& uid, int frame) const;
    // (uid) any frame, else (only for a non-empty uid) the any-image entry.
    const ItemList* lookup(const RWCString& uid) const;

    unsigned entries() const { return itsEntries.entries(); }
    unsigned buckets() const { return itsBucketCount; }

private:
    // A key as it is looked for: the UID where it already is. An empty UID is the any-image
    // key, whatever the frame and flag.
    struct KeyView {
        KeyView(const char* uid, std::size_t length, int frame, bool anyFrame)
            : itsUID(uid),
              itsLength(length),
              itsFrame(frame),
              itsAnyFrame(anyFrame) {}
        KeyView(const RWCString& uid, int frame, bool anyFrame) : KeyView(uid.data(), uid.size(), frame, anyFrame) {}
        explicit KeyView(const ImgFrmKey& key)
            : KeyView(key.sopInstanceUID(), key.getFrameNumber(), key.isAnyFrameKey()) {}
        const char* itsUID;
        std::size_t itsLength;
        int itsFrame;
        bool itsAnyFrame;
    };
    // A key as an entry stores it: the UID in place or in an arena block.
    struct StoredKey {
        explicit StoredKey(const KeyView& key) : itsUID(), itsFrame(key.itsFrame), itsAnyFrame(key.itsAnyFrame) {
            itsUID.Replace(key.itsUID, key.itsLength);
        }
        KeyView view() const { return KeyView(itsUID.data(), itsUID.size(), itsFrame, itsAnyFrame); }
        TextValue itsUID;
        int itsFrame;
        bool itsAnyFrame;
    };
    // Keys equal as ImgFrmKey's are hash alike: every any-image key to 0, an any-frame key
    // apart from the frames of its image.
    struct KeyHash {
        unsigned operator()(const KeyView& key) const {
            if (key.itsLength == 0) return 0;
            const unsigned frame = key.itsAnyFrame ? 0x9E3779B9u : unsigned(key.itsFrame) * 2654435761u;
            return textHash(key.itsUID, key.itsLength) ^ frame;
        }
    };
    struct KeyEqual {
        bool operator()(const StoredKey& stored, const KeyView& key) const {
            const KeyView held = stored.view();
            return ImgFrmKey::sameKey(held.itsUID, held.itsLength, held.itsAnyFrame, held.itsFrame, key.itsUID,
                                      key.itsLength, key.itsAnyFrame, key.itsFrame);
        }
    };

    using Entries = HashTable<StoredKey, ItemList, KeyHash, KeyEqual>;
    using Entry = Entries::Entry;
    using KeyViews = std::vector<KeyView, ArenaAllocator<KeyView>>;

    // Where an item stands in sequence order, and the entries it is filed in: one per
    // occurrence, so an item filed twice under one key names that entry twice.
    struct Filing {
        unsigned long long order;
        std::vector<Entry*, ArenaAllocator<Entry*>> entries;
    };

    Entry& entryFor(const KeyView& key);
    // The keys `images` yields, in filing order, as views of the UIDs the items hold;
    // `beforeFiling` is told each group's size.
    static KeyViews keysOf(const ReferencedImageSequence& images, const BeforeFiling& beforeFiling);
    // Takes one occurrence of the item out of each entry it is filed in, and drops the entries
    // that are left empty.
    void removeFrom(const Filing& filing, const SequenceItem* item);
    // Inserts the item into the key's list after every item that precedes it in sequence order.
    Entry& insertInOrder(const KeyView& key, SequenceItem* item, unsigned long long order);

    // The entries sit in a hash table by image and frame that doubles its buckets as entries
    // come, so that filing and looking up an item cost the same in a sequence of ten thousand
    // items, or under a million frames, as in one of ten. The bucket count that buckets()
    // reports follows the index's own sizing rule instead. (ImgFrmKey::hash puts nearly every
    // key in one bucket; the listener index keeps it, but here it would make reading a large
    // presentation state quadratic.)
    Entries itsEntries;
    unsigned itsBucketCount;
    std::unordered_map<const SequenceItem*, Filing, std::hash<const SequenceItem*>, std::equal_to<const SequenceItem*>,
                       ArenaAllocator<std::pair<const SequenceItem* const, Filing>>>
        itsFilings;
    unsigned long long itsNextOrder = 0;
};

// T is a SequenceItem with `const ReferencedImageSequence& getReferencedImageSequenceElement() const`.
template <class T>
class ImageIndexedSequence : public Sequence<T> {
public:
    // Room for 64 items, an index of 64 buckets.
    ImageIndexedSequence() : Sequence<T>(64) {}
    // Copies of the items, filed as they are added; the index starts with the source's bucket count.
    ImageIndexedSequence(const ImageIndexedSequence& other);
    // Silent like Sequence<T>'s; the overrides below keep the index in step.
    ImageIndexedSequence& operator=(const ImageIndexedSequence& other);

    // Files the item, then appends it (so the parent, when told, can already look it up).
    // A null item is ignored.
    void addItem(T* item) override;
    // Unfiles the item, then removes (and deletes) it.
    void removeItem(T* item) override;
    // Empties the index, then deletes every item.
    void clearAndDestroy() override;
    // Refiles the item when the change may have touched its referenced images, then reports
    // the change as every sequence does.
    void sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                             const RWCString& elementPath, const ReferencedImageSequence* images) override;
    // Resets the index to 64 buckets, then clearAndDestroy.
    void removeAllItems();

    using Sequence<T>::resize;
    // Room for itemCount items when that exceeds the length; doubles the index's bucket count
    // when it is below 1.25 x the larger count.
    void resize(unsigned itemCount, unsigned entryCount);

    // The items filed under (uid, frame), else under (uid), else (only for an empty uid) those
    // filed under the any-image key. Exact frames hide whole images, which hide all images.
    void getItems(RWTPtrOrderedVector<T>& result, const RWCString& uid, int frame) const;
    // The items filed under (uid), else (only for a non-empty uid) the any-image items.
    void getItems(RWTPtrOrderedVector<T>& result, const RWCString& uid) const;

    const ImageItemIndex& getImageIndex() const { return itsIndex; }

private:
    void fill(RWTPtrOrderedVector<T>& result, const ImageItemIndex::ItemList* items) const;

    ImageItemIndex itsIndex;
};

template <class T>
ImageIndexedSequence<T>::ImageIndexedSequence(const ImageIndexedSequence& other)
    : Sequence<T>(other.length()),
      itsIndex(other.itsIndex.buckets()) {
    this->setPresent(other.isPresent());
    for (const T* item : other.items()) addItem(new T(*item));
}

template <class T>
ImageIndexedSequence<T>& ImageIndexedSequence<T>::operator=(const ImageIndexedSequence& other) {
    Sequence<T>::operator=(other);
    return *this;
}

template <class T>
void ImageIndexedSequence<T>::addItem(T* item) {
    if (!item) return;
    const unsigned lengthWithItem = this->length() + 1;
    itsIndex.file(item, item->getReferencedImageSequenceElement(), [this, lengthWithItem](unsigned keyCount) {
        resize(lengthWithItem + keyCount, itsIndex.entries() + keyCount);
    });
    Sequence<T>::addItem(item);
}

template <class T>
void ImageIndexedSequence<T>::removeItem(T* item) {
    if (!item) return;
    itsIndex.unfile(item);
    Sequence<T>::removeItem(item);
}

template <class T>
void ImageIndexedSequence<T>::clearAndDestroy() {
    itsIndex.clear();
    Sequence<T>::clearAndDestroy();
}

template <class T>
void ImageIndexedSequence<T>::sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence,
                                                  const SequenceItem* item, const RWCString& elementPath,
                                                  const ReferencedImageSequence* images) {
    if (item && ImageItemIndex::mayChangeReferences(path, elementPath))
        itsIndex.refile(item, static_cast<const T*>(item)->getReferencedImageSequenceElement());
    Sequence<T>::sequenceItemUpdated(path, sequence, item, elementPath, images);
}

template <class T>
void ImageIndexedSequence<T>::removeAllItems() {
    itsIndex.reset(64);
    clearAndDestroy();
}

template <class T>
void ImageIndexedSequence<T>::resize(unsigned itemCount, unsigned entryCount) {
    if (itemCount > this->length()) Sequence<T>::resize(itemCount);
    itsIndex.grow(std::max(itemCount, entryCount));
}

template <class T>
void ImageIndexedSequence<T>::getItems(RWTPtrOrderedVector<T>& result, const RWCString& uid, int frame) const {
    fill(result, this->length() ? itsIndex.lookup(uid, frame) : nullptr);
}

template <class T>
void ImageIndexedSequence<T>::getItems(RWTPtrOrderedVector<T>& result, const RWCString& uid) const {
    fill(result, this->length() ? itsIndex.lookup(uid) : nullptr);
}

// Without items the result is emptied and never keeps more than room for 64.
template <class T>
void ImageIndexedSequence<T>::fill(RWTPtrOrderedVector<T>& result, const ImageItemIndex::ItemList* items) const {
    if (!items) {
        result.clear();
        if (result.capacity() > 64) {
            RWTPtrOrderedVector<T>().swap(result);
            result.reserve(64);
        }
        return;
    }
    result.resize(items->size());
    std::transform(items->begin(), items->end(), result.begin(),
                   [](SequenceItem* item) { return static_cast<T*>(item); });
}

}  // namespace refcntr
