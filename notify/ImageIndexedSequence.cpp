#include "refcntr/notify/ImageIndexedSequence.h"

#include "refcntr/notify/ReferencedImageSequence.h"

namespace refcntr {

namespace {
constexpr unsigned anyImageListCapacity = 64;
}  // namespace

ImageItemIndex::ImageItemIndex(unsigned buckets) : itsEntries(buckets), itsBucketCount(buckets ? buckets : 2) {}

ImageItemIndex::~ImageItemIndex() = default;

ImageItemIndex::Entry& ImageItemIndex::entryFor(const KeyView& key) {
    const unsigned hash = KeyHash()(key);
    if (Entry* entry = itsEntries.findEntry(key, hash)) return *entry;
    // The table keeps at most one entry per bucket on average, whatever buckets() reports.
    if (itsEntries.entries() >= itsEntries.buckets()) itsEntries.resize(2 * itsEntries.buckets());
    return itsEntries.insertEntry(key, hash);
}

ImageItemIndex::KeyViews ImageItemIndex::keysOf(const ReferencedImageSequence& images,
                                                const BeforeFiling& beforeFiling) {
    KeyViews keys;
    if (!images.isPresent() || images.length() == 0) {
        beforeFiling(1);
        keys.emplace_back("", 0, 0, true);
        return keys;
    }
    keys.reserve(images.length());
    for (const ReferencedImageSequenceItem* reference : images.items()) {
        const TextValue& uid = ReferencedImageSequence::imageUIDOf(*reference);
        const int* frames = reference->getReferencedFrameNumberElement();
        const unsigned frameCount = reference->getReferencedFrameNumberElementLength();
        if (reference->isReferencedFrameNumberElementPresent() && frames && frameCount > 0) {
            beforeFiling(frameCount);
            for (unsigned i = 0; i < frameCount; ++i) keys.emplace_back(uid.data(), uid.size(), frames[i], false);
        } else {
            beforeFiling(1);
            keys.emplace_back(uid.data(), uid.size(), 0, true);
        }
    }
    return keys;
}

void ImageItemIndex::file(SequenceItem* item, const ReferencedImageSequence& images, const BeforeFiling& beforeFiling) {
    const KeyViews keys = keysOf(images, beforeFiling);
    Filing filing{itsNextOrder++, {}};
    filing.entries.reserve(keys.size());
    for (const KeyView& key : keys) {
        Entry& entry = entryFor(key);
        if (key.itsLength == 0 && entry.value.empty()) entry.value.reserve(anyImageListCapacity);
        entry.value.push_back(item);
        filing.entries.push_back(&entry);
    }
    itsFilings[item] = std::move(filing);
}

void ImageItemIndex::unfile(const SequenceItem* item) {
    const auto filing = itsFilings.find(item);
    if (filing == itsFilings.end()) return;
    removeFrom(filing->second, item);
    itsFilings.erase(filing);
}

void ImageItemIndex::refile(const SequenceItem* item, const ReferencedImageSequence& images) {
    const auto filing = itsFilings.find(item);
    if (filing == itsFilings.end()) return;
    const KeyViews keys = keysOf(images, [](unsigned) {});
    auto& filedIn = filing->second.entries;
    const auto filedUnder = [](const KeyView& key, const Entry* entry) { return KeyEqual()(entry->key, key); };
    if (std::equal(keys.begin(), keys.end(), filedIn.begin(), filedIn.end(), filedUnder)) return;
    grow(entries() + unsigned(keys.size()));
    removeFrom(filing->second, item);
    filedIn.clear();
    auto* filed = const_cast<SequenceItem*>(item);  // the sequence that owns the item files it
    for (const KeyView& key : keys) filedIn.push_back(&insertInOrder(key, filed, filing->second.order));
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

void ImageItemIndex::removeFrom(const Filing& filing, const SequenceItem* item) {
    for (Entry* entry : filing.entries) {
        ItemList& items = entry->value;
        const auto found = std::find(items.begin(), items.end(), item);
        if (found != items.end()) items.erase(found);
        if (items.empty()) itsEntries.eraseEntry(entry);
    }
}

ImageItemIndex::Entry& ImageItemIndex::insertInOrder(const KeyView& key, SequenceItem* item, unsigned long long order) {
    Entry& entry = entryFor(key);
    const auto after = std::upper_bound(
        entry.value.begin(), entry.value.end(), order,
        [this](unsigned long long value, SequenceItem* other) { return value < itsFilings.at(other).order; });
    entry.value.insert(after, item);
    return entry;
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
