// The Referenced Image Sequence (0008,1140), indexed by image and frame so that a notification
// can tell quickly whether a change applies to an image frame.
#pragma once

#include "refcntr/core/Sequence.h"
#include "refcntr/notify/HashTable.h"
#include "refcntr/notify/ImgFrmKey.h"
#include "refcntr/notify/ReferencedImageSequenceItem.h"

namespace refcntr {

class ReferencedImageSequence : public Sequence<ReferencedImageSequenceItem> {
public:
    // The frame numbers referenced for one image, one entry per occurrence, hashed by the
    // frame number itself.
    class FrameIndex {
    public:
        explicit FrameIndex(unsigned buckets = 64) : itsFrames(buckets) {}
        FrameIndex(const FrameIndex&) = delete;
        FrameIndex& operator=(const FrameIndex&) = delete;
        virtual ~FrameIndex();

        static unsigned hash(const int& frame) { return unsigned(frame); }

        void insert(int frame) { itsFrames.insert(frame); }
        // Removes one occurrence.
        void remove(int frame) { itsFrames.erase(frame); }
        bool contains(int frame) const { return itsFrames.find(frame) != nullptr; }
        void resize(unsigned buckets) { itsFrames.resize(buckets); }
        unsigned entries() const { return itsFrames.entries(); }
        unsigned buckets() const { return itsFrames.buckets(); }
        // Adds every occurrence of `other` (the copy of an index).
        void insertAll(const FrameIndex& other);

    private:
        struct FrameHash {
            unsigned operator()(int frame) const { return FrameIndex::hash(frame); }
        };
        struct NoValue {};

        HashTable<int, NoValue, FrameHash> itsFrames;
    };

    // From SOP instance UID to the frames that the items reference for that image.
    class ImageFrameIndex {
    public:
        explicit ImageFrameIndex(unsigned buckets = 64) : itsImages(buckets) {}
        // Deep copies: the copy owns its own keys and frame sets, with the source's bucket counts.
        ImageFrameIndex(const ImageFrameIndex& other);
        ImageFrameIndex& operator=(const ImageFrameIndex& other);

        // Files the item's frames under its UID; an item without frames leaves an entry for its
        // image with no frames. A frame set grows to (5 x frames + 3) / 4 buckets.
        void insert(const ReferencedImageSequenceItem& item);
        // Removes one occurrence of each of the item's frames; drops the image when its frame
        // set is then empty, even if another item still references the image without frames.
        void remove(const ReferencedImageSequenceItem& item);
        bool contains(const RWCString& uid) const { return itsImages.find(uid) != nullptr; }
        bool contains(const RWCString& uid, int frame) const;
        // The frame set of `uid`, or null.
        const FrameIndex* find(const RWCString& uid) const { return itsImages.find(uid); }

        void clear() { itsImages.clear(); }
        void resize(unsigned buckets) { itsImages.resize(buckets); }
        unsigned entries() const { return itsImages.entries(); }
        unsigned buckets() const { return itsImages.buckets(); }

    private:
        // By the stored UID, searched with a UID of either kind.
        HashTable<TextValue, FrameIndex, TextHash, TextEqual> itsImages;
    };

    // Room for 64 items, an index of 64 buckets.
    ReferencedImageSequence();
    // Copies of the items, each indexed as it is added; the index starts with the source's
    // bucket count.
    ReferencedImageSequence(const ReferencedImageSequence& other);
    // Assigns the items (silently, as Sequence<T> does), then copies the source's index.
    ReferencedImageSequence& operator=(const ReferencedImageSequence& other);
    ~ReferencedImageSequence() override;

    // Appends the item; the index takes it at the next question put to the index. A null item
    // is ignored.
    void addItem(ReferencedImageSequenceItem* item) override;
    // Index, then sequence; an item that this sequence does not hold changes nothing.
    void removeItem(ReferencedImageSequenceItem* item) override;
    // Empties the index and gives it 80 buckets, then deletes every item.
    void clearAndDestroy() override;
    // Room for n items; the index gets (5 x n + 3) / 4 buckets.
    void resize(unsigned n) override;
    // When an item's image or frames changed, indexes the items again as they are now (so that
    // references() never answers for values an item no longer holds), then reports the change
    // as every sequence does.
    void sequenceItemUpdated(const RWCString& path, const SequenceBase* sequence, const SequenceItem* item,
                             const RWCString& elementPath, const ReferencedImageSequence* images) override;

    // 1 when the sequence covers the key: any image always; a whole image when some item
    // references it; one frame when some item for the image lists that frame.
    int references(const ImgFrmKey& key) const;

    RWCString toString(int indent) const override;

    const ImageFrameIndex& getImageFrameIndex() const { return indexed(); }

    // The SOP instance UID an item holds, as stored: the indexes key by it without a copy.
    static const TextValue& imageUIDOf(const ReferencedImageSequenceItem& item) {
        return item.itsReferencedSOPInstanceUIDElement;
    }

private:
    // The index with every item in it. Items are indexed when the index is first asked about
    // them, in the order they were added: most sequences are read, saved and deleted without
    // a question, and then cost no index. Every other change indexes the pending items first,
    // so the index ends as it would had each item been indexed when it came.
    const ImageFrameIndex& indexed() const;

    mutable ImageFrameIndex itsImageFrameIndex;
    mutable unsigned itsIndexedLength = 0;  // the leading items that the index holds
};

}  // namespace refcntr
