#include "refcntr/notify/ImageIndexedSequence.h"

#include "refcntr/notify/ReferencedImageSequence.h"

namespace refcntr {

namespace {
constexpr unsigned anyImageListCapacity = 64;
}  // namespace

const RWCString ImageItemIndex::itsEmptyString;

ImageItemIndex::ImageItemIndex(unsigned buckets) : itsBucketCount(buckets ? buckets : 2) {}

ImageItemIndex::~ImageItemIndex() = default;

ImageItemIndex::ItemList& ImageItemIndex::entryFor(const ImgFrmKey& key) { return itsEntries[key]; }

ImageItemIndex::KeyList ImageItemIndex::keysOf(const ReferencedImageSequence& images,
                                               const BeforeFiling& beforeFiling) {
    KeyList keys;
    if (!images.isPresent() || images.length() == 0) {
        beforeFiling(1);
        keys.emplace_back(itsEmptyString);
        return keys;
    }
    keys.reserve(images.length());
    for (const ReferencedImageSequenceItem* reference : images.items()) {
        const RWCString uid = reference->getReferencedSOPInstanceUIDElement();
        const int* frames = reference->getReferencedFrameNumberElement();
        const unsigned frameCount = reference->getReferencedFrameNumberElementLength();
        if (reference->isReferencedFrameNumberElementPresent() && frames && frameCount > 0) {
            beforeFiling(frameCount);
            for (unsigned i = 0; i < frameCount; ++i) keys.emplace_back(uid, frames[i]);
        } else {
            beforeFiling(1);
            keys.emplace_back(uid);
        }
    }
    return keys;
}

void ImageItemIndex::file(SequenceItem* item, const ReferencedImageSequence& images, const BeforeFiling& beforeFiling) {
    Filing filing{itsNextOrder++, keysOf(images, beforeFiling)};
    for (const ImgFrmKey& key : filing.keys) {
        ItemList& items = entryFor(key);
        if (key.isAnyImageKey() && items.empty()) items.reserve(anyImageListCapacity);
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
    if (keys == filing->second.keys) return;
    grow(entries() + unsigned(keys.size()));
    removeFrom(filing->second.keys, item);
    auto* filed = const_cast<SequenceItem*>(item);  // the sequence that owns the item files it
    for (const ImgFrmKey& key : keys) insertInOrder(key, filed, filing->second.order);
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
    for (const ImgFrmKey& key : keys) {
        const auto found = itsEntries.find(key);
        if (found == itsEntries.end()) continue;
        ItemList& items = found->second;
        items.erase(std::remove(items.begin(), items.end(), item), items.end());
        if (items.empty()) itsEntries.erase(found);
    }
}

void ImageItemIndex::insertInOrder(const ImgFrmKey& key, SequenceItem* item, unsigned long long order) {
    ItemList& items = entryFor(key);
    const auto after = std::upper_bound(
        items.begin(), items.end(), order,
        [this](unsigned long long value, SequenceItem* other) { return value < itsFilings.at(other).order; });
    items.insert(after, item);
}

void ImageItemIndex::reset(unsigned buckets) {
    clear();
    itsBucketCount = buckets ? buckets : 2;
}

void ImageItemIndex::grow(unsigned count) {
    const unsigned long long wanted = (5ull * count + 2) / 4;
    if (itsBucketCount < wanted) itsBucketCount *= 2;
}

const ImageItemIndex::ItemList* ImageItemIndex::lookup(const RWCString& uid, int frame) const {
    if (const ItemList* items = find(ImgFrmKey(uid, frame))) return items;
    if (const ItemList* items = find(ImgFrmKey(uid))) return items;
    return uid.empty() ? find(ImgFrmKey(itsEmptyString)) : nullptr;
}

const ImageItemIndex::ItemList* ImageItemIndex::lookup(const RWCString& uid) const {
    if (const ItemList* items = find(ImgFrmKey(uid))) return items;
    return uid.empty() ? nullptr : find(ImgFrmKey(itsEmptyString));
}

}  // namespace refcntr
