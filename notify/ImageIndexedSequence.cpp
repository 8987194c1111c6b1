#include "refcntr/notify/ImageIndexedSequence.h"

#include "refcntr/notify/ReferencedImageSequence.h"

namespace refcntr {

namespace {
constexpr unsigned anyImageListCapacity = 64;
}  // namespace

ImageItemIndex::ImageItemIndex(unsigned buckets) : itsEntries(buckets), itsBucketCount(buckets ? buckets : 2) {}

ImageItemIndex::~ImageItemIndex() = default;

ImageItemIndex::ItemList& ImageItemIndex::entryFor(const KeyView& key) {
    if (ItemList* items = itsEntries.find(key)) return *items;
    // The table keeps at most one entry per bucket on average, whatever buckets() reports.
    if (itsEntries.entries() >= itsEntries.buckets()) itsEntries.resize(2 * itsEntries.buckets());
    return itsEntries.insert(key);
}

ImageItemIndex::KeyList ImageItemIndex::keysOf(const ReferencedImageSequence& images,
                                               const BeforeFiling& beforeFiling) {
    KeyList keys;
    if (!images.isPresent() || images.length() == 0) {
        beforeFiling(1);
        keys.emplace_back(KeyView("", 0, 0, true));
        return keys;
    }
    keys.reserve(images.length());
    for (const ReferencedImageSequenceItem* reference : images.items()) {
        const TextValue& uid = ReferencedImageSequence::imageUIDOf(*reference);
        const int* frames = reference->getReferencedFrameNumberElement();
        const unsigned frameCount = reference->getReferencedFrameNumberElementLength();
        if (reference->isReferencedFrameNumberElementPresent() && frames && frameCount > 0) {
            beforeFiling(frameCount);
            for (unsigned i = 0; i < frameCount; ++i)
                keys.emplace_back(KeyView(uid.data(), uid.size(), frames[i], false));
        } else {
            beforeFiling(1);
            keys.emplace_back(KeyView(uid.data(), uid.size(), 0, true));
        }
    }
    return keys;
}

void ImageItemIndex::file(SequenceItem* item, const ReferencedImageSequence& images, const BeforeFiling& beforeFiling) {
    Filing filing{itsNextOrder++, keysOf(images, beforeFiling)};
    for (const StoredKey& key : filing.keys) {
        ItemList& items = entryFor(key.view());
        if (key.itsUID.empty() && items.empty()) items.reserve(anyImageListCapacity);
        items.push_back(item);
    }
    itsFilings[item] = std::move(filing);
}

void ImageItemIndex::unfile(const SequenceItem* item) {
    const auto filing = itsFilings.find(item);
    if (filing == itsFilings.end()) return;
    removeFrom(filing->second.keys, item);
    itsFilings.erase(filing);
}

void ImageItemIndex::refile(const SequenceItem* item, const ReferencedImageSequence& images) {
    const auto filing = itsFilings.find(item);
    if (filing == itsFilings.end()) return;
    KeyList keys = keysOf(images, [](unsigned) {});
    const KeyList& before = filing->second.keys;
    if (std::equal(keys.begin(), keys.end(), before.begin(), before.end(), KeyEqual())) return;
    grow(entries() + unsigned(keys.size()));
    removeFrom(before, item);
    auto* filed = const_cast<SequenceItem*>(item);  // the sequence that owns the item files it
    for (const StoredKey& key : keys) insertInOrder(key.view(), filed, filing->second.order);
    filing->second.keys = std::move(keys);
}

bool ImageItemIndex::mayChangeReferences(const RWCString& sequenceName, const RWCString& elementPath) {
    // An item relays what its own sequences report as "<Item>.<Sequence>Element", followed by
    // the nested path when an item of theirs changed. Compared in place: this runs on every
    // edit of an item.
    static const RWCString element = "Element";
    static const RWCString referenceChange = ".ReferencedImageSequenceElement.";
    const RWCString::size_type name = elementPath.find('.');
    if (name == RWCString::npos || elementPath.compare(name + 1, sequenceName.size(), sequenceName) != 0) return false;
    const RWCString::size_type suffix = name + 1 + sequenceName.size();
    if (elementPath.compare(suffix, element.size(), element) != 0) return false;
    const RWCString::size_type rest = suffix + element.size();
    return rest == elementPath.size() || elementPath.compare(rest, referenceChange.size(), referenceChange) == 0;
}

void ImageItemIndex::removeFrom(const KeyList& keys, const SequenceItem* item) {
    for (const StoredKey& key : keys) {
        ItemList* items = itsEntries.find(key.view());
        if (items == nullptr) continue;
        items->erase(std::remove(items->begin(), items->end(), item), items->end());
        if (items->empty()) itsEntries.erase(key.view());
    }
}

void ImageItemIndex::insertInOrder(const KeyView& key, SequenceItem* item, unsigned long long order) {
    ItemList& items = entryFor(key);
    const auto after = std::upper_bound(
        items.begin(), items.end(), order,
        [this](unsigned long long value, SequenceItem* other) { return value < itsFilings.at(other).order; });
    items.insert(after, item);
}

void ImageItemIndex::reset(unsigned buckets) {
    clear();
    itsBucketCount = buckets ? buckets : 2;
    itsEntries.resize(itsBucketCount);
}

void ImageItemIndex::grow(unsigned count) {
    const unsigned long long wanted = (5ull * count + 2) / 4;
    if (itsBucketCount < wanted) itsBucketCount *= 2;
}

const ImageItemIndex::ItemList* ImageItemIndex::lookup(const RWCString& uid, int frame) const {
    if (const ItemList* items = itsEntries.find(KeyView(uid, frame, false))) return items;
    if (const ItemList* items = itsEntries.find(KeyView(uid, 0, true))) return items;
    return uid.empty() ? itsEntries.find(KeyView("", 0, 0, true)) : nullptr;
}

const ImageItemIndex::ItemList* ImageItemIndex::lookup(const RWCString& uid) const {
    if (const ItemList* items = itsEntries.find(KeyView(uid, 0, true))) return items;
    return uid.empty() ? nullptr : itsEntries.find(KeyView("", 0, 0, true));
}

}  // namespace refcntr
