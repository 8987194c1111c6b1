#include "refcntr/notify/ReferencedImageSequence.h"

#include <algorithm>

namespace refcntr {

namespace {
constexpr unsigned initialCapacity = 64;
constexpr unsigned bucketsAfterClear = 80;

// Buckets for `entries` entries at a load below 0.8.
unsigned bucketsFor(unsigned long long entries) { return unsigned((5 * entries + 3) / 4); }

unsigned frameCount(const ReferencedImageSequenceItem& item) {
    return item.getReferencedFrameNumberElement() ? item.getReferencedFrameNumberElementLength() : 0;
}
}  // namespace

ReferencedImageSequence::FrameIndex::~FrameIndex() = default;

void ReferencedImageSequence::FrameIndex::insertAll(const FrameIndex& other) {
    other.itsFrames.forEach([this](int frame, NoValue) { insert(frame); });
}

ReferencedImageSequence::ImageFrameIndex::ImageFrameIndex(const ImageFrameIndex& other) : itsImages(other.buckets()) {
    *this = other;
}

ReferencedImageSequence::ImageFrameIndex& ReferencedImageSequence::ImageFrameIndex::operator=(
    const ImageFrameIndex& other) {
    if (this == &other) return *this;
    itsImages.clear();
    itsImages.resize(other.buckets());
    other.itsImages.forEach([this](const TextValue& uid, const FrameIndex& frames) {
        FrameIndex& copy = itsImages.insert(uid);
        copy.resize(frames.buckets());
        copy.insertAll(frames);
    });
    return *this;
}

void ReferencedImageSequence::ImageFrameIndex::insert(const ReferencedImageSequenceItem& item) {
    const TextValue& uid = imageUIDOf(item);
    const unsigned count = frameCount(item);
    FrameIndex* frames = itsImages.find(uid);
    const unsigned buckets = bucketsFor((frames ? frames->entries() : 0ull) + count);
    if (!frames) {
        frames = &itsImages.insert(uid);
        frames->resize(buckets);
    } else if (buckets > frames->buckets()) {
        frames->resize(buckets);
    }
    const int* values = item.getReferencedFrameNumberElement();
    for (unsigned i = 0; i < count; ++i) frames->insert(values[i]);
}

void ReferencedImageSequence::ImageFrameIndex::remove(const ReferencedImageSequenceItem& item) {
    const TextValue& uid = imageUIDOf(item);
    FrameIndex* frames = itsImages.find(uid);
    if (!frames) return;
    const unsigned count = frameCount(item);
    const int* values = item.getReferencedFrameNumberElement();
    for (unsigned i = 0; i < count; ++i) frames->remove(values[i]);
    if (frames->entries() == 0) itsImages.erase(uid);
}

bool ReferencedImageSequence::ImageFrameIndex::contains(const RWCString& uid, int frame) const {
    const FrameIndex* frames = itsImages.find(uid);
    return frames && frames->contains(frame);
}

ReferencedImageSequence::ReferencedImageSequence() : Sequence(initialCapacity) {}

// Starts from an empty sequence, not Sequence's copy constructor, so that every copied item
// passes through this class's addItem and is indexed.
ReferencedImageSequence::ReferencedImageSequence(const ReferencedImageSequence& other)
    : Sequence(other.length()),
      itsImageFrameIndex(other.itsImageFrameIndex.buckets()) {
    setPresent(other.isPresent());
    for (const ReferencedImageSequenceItem* item : other.items()) addItem(new ReferencedImageSequenceItem(*item));
}

ReferencedImageSequence& ReferencedImageSequence::operator=(const ReferencedImageSequence& other) {
    if (this == &other) return *this;
    Sequence::operator=(other);
    itsImageFrameIndex = other.indexed();
    itsIndexedLength = length();
    return *this;
}

ReferencedImageSequence::~ReferencedImageSequence() = default;

const ReferencedImageSequence::ImageFrameIndex& ReferencedImageSequence::indexed() const {
    for (; itsIndexedLength < length(); ++itsIndexedLength) itsImageFrameIndex.insert(*items()[itsIndexedLength]);
    return itsImageFrameIndex;
}

void ReferencedImageSequence::addItem(ReferencedImageSequenceItem* item) {
    if (item) Sequence::addItem(item);
}

void ReferencedImageSequence::removeItem(ReferencedImageSequenceItem* item) {
    if (!item || std::find(items().begin(), items().end(), item) == items().end()) return;
    indexed();
    itsImageFrameIndex.remove(*item);
    --itsIndexedLength;
    Sequence::removeItem(item);
}

void ReferencedImageSequence::clearAndDestroy() {
    itsImageFrameIndex.clear();
    itsImageFrameIndex.resize(bucketsAfterClear);
    itsIndexedLength = 0;
    Sequence::clearAndDestroy();
}

void ReferencedImageSequence::sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence,
                                                  const SequenceItem* item, const RWCString& elementPath,
                                                  const ReferencedImageSequence* images) {
    static const RWCString imageChanged = "ReferencedImageSequenceItem.ReferencedSOPInstanceUIDElement";
    static const RWCString framesChanged = "ReferencedImageSequenceItem.ReferencedFrameNumberElement";
    if (elementPath == imageChanged || elementPath == framesChanged) {
        itsImageFrameIndex.clear();
        itsIndexedLength = 0;
    }
    Sequence::sequenceItemUpdated(path, sequence, item, elementPath, images);
}

void ReferencedImageSequence::resize(unsigned n) {
    indexed();
    Sequence::resize(n);
    const unsigned buckets = bucketsFor(n);
    if (buckets != itsImageFrameIndex.buckets()) itsImageFrameIndex.resize(buckets);
}

int ReferencedImageSequence::references(const ImgFrmKey& key) const {
    if (key.isAnyImageKey()) return 1;
    if (key.isAnyFrameKey()) return indexed().contains(key.sopInstanceUID());
    return indexed().contains(key.sopInstanceUID(), key.getFrameNumber());
}

RWCString ReferencedImageSequence::toString(int indent) const { return dumpItems(indent); }

}  // namespace refcntr
