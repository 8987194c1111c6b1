#include "refcntr/notify/ImageIndexedSequence.h"

#include "refcntr/notify/ReferencedImageSequence.h"

namespace refcntr {

namespace {
constexpr unsigned anyImageListCapacity = 64;
}  // namespace

const RWCString ImageItemIndex::itsEmptyString;

ImageItemIndex::ImageItemIndex(unsigned buckets) : itsEntries(buckets) {}

ImageItemIndex::~ImageItemIndex() = default;

ImageItemIndex::ItemList& ImageItemIndex::entryFor(const ImgFrmKey& key) {
    if (ItemList* items = itsEntries.find(key)) return *items;
    return itsEntries.insert(key);
}

void ImageItemIndex::file(SequenceItem* item, const ReferencedImageSequence& images,
                          const BeforeFiling& beforeFiling) {
    if (!images.isPresent() || images.length() == 0) {
        beforeFiling(1);
        const ImgFrmKey anyImage(itsEmptyString);
        ItemList* items = itsEntries.find(anyImage);
        if (!items) {
            items = &itsEntries.insert(anyImage);
            items->reserve(anyImageListCapacity);
        }
        items->push_back(item);
        return;
    }
    for (const ReferencedImageSequenceItem* reference : images.items()) {
        const RWCString uid = reference->getReferencedSOPInstanceUIDElement();
        const int* frames = reference->getReferencedFrameNumberElement();
        const unsigned frameCount = reference->getReferencedFrameNumberElementLength();
        if (reference->isReferencedFrameNumberElementPresent() && frames && frameCount > 0) {
            beforeFiling(frameCount);
            for (unsigned i = 0; i < frameCount; ++i) entryFor(ImgFrmKey(uid, frames[i])).push_back(item);
        } else {
            beforeFiling(1);
            entryFor(ImgFrmKey(uid)).push_back(item);
        }
    }
}

void ImageItemIndex::unfile(const SequenceItem* item) {
    itsEntries.eraseIf([item](const ImgFrmKey&, ItemList& items) {
        items.erase(std::remove(items.begin(), items.end(), item), items.end());
        return items.empty();
    });
}

void ImageItemIndex::reset(unsigned buckets) {
    itsEntries.clear();
    itsEntries.resize(buckets);
}

void ImageItemIndex::grow(unsigned count) {
    const unsigned long long wanted = (5ull * count + 2) / 4;
    if (itsEntries.buckets() < wanted) itsEntries.resize(2 * itsEntries.buckets());
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
