#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "refcntr/core/AttributeReader.h"
#include "refcntr/core/PSChangeHandler.h"
#include "refcntr/notify/ImageIndexedSequence.h"
#include "support/ImageReference.h"

namespace refcntr {
namespace {

using testing::imageReference;

// An item that applies to the images of its referenced image sequence.
class ImageBoundItem : public SequenceItem {
public:
    ImageBoundItem() = default;
    ImageBoundItem(const ImageBoundItem& other) : SequenceItem(), itsImages(other.itsImages) {}
    ReferencedImageSequence& getReferencedImageSequenceElement() { return itsImages; }
    const ReferencedImageSequence& getReferencedImageSequenceElement() const { return itsImages; }

private:
    ReferencedImageSequence itsImages;
};

using ImageBoundSequence = ImageIndexedSequence<ImageBoundItem>;

// Reading sizes the index ahead only where the sequence keeps one.
static_assert(attribute::HasImageIndex<ImageBoundSequence>::value);
static_assert(!attribute::HasImageIndex<Sequence<ImageBoundItem>>::value);
using Items = RWTPtrOrderedVector<ImageBoundItem>;

// An item referencing each (uid, frames) given; none: all images.
ImageBoundItem* itemFor(std::initializer_list<std::pair<const char*, std::initializer_list<int>>> references = {}) {
    auto* item = new ImageBoundItem;
    for (const auto& [uid, frames] : references)
        item->getReferencedImageSequenceElement().addItem(imageReference(uid, frames));
    return item;
}

// The items for the frame of the image, or (no frame) for the whole image.
Items itemsFor(const ImageBoundSequence& sequence, const RWCString& uid, std::optional<int> frame = {}) {
    Items result;
    if (frame)
        sequence.getItems(result, uid, *frame);
    else
        sequence.getItems(result, uid);
    return result;
}

// Exact frames hide whole images, which hide all images; the frame lookup falls back to all
// images only for an empty uid, the image lookup only for a given uid.
TEST(ImageIndexedSequence, LookupFallsBackFromFramesToImagesToAllImages) {
    ImageBoundSequence sequence;
    ImageBoundItem* everywhere = itemFor();
    ImageBoundItem* framesOfU = itemFor({{"U", {1, 3}}});
    ImageBoundItem* wholeV = itemFor({{"V", {}}});
    ImageBoundItem* frameOfV = itemFor({{"V", {2}}, {"U", {3}}});
    for (ImageBoundItem* item : {everywhere, framesOfU, wholeV, frameOfV}) sequence.addItem(item);

    EXPECT_EQ(itemsFor(sequence, "U", 1), Items{framesOfU});
    EXPECT_EQ(itemsFor(sequence, "U", 3), (Items{framesOfU, frameOfV}));
    EXPECT_EQ(itemsFor(sequence, "U", 2), Items{});
    EXPECT_EQ(itemsFor(sequence, "V", 2), Items{frameOfV});
    EXPECT_EQ(itemsFor(sequence, "V", 5), Items{wholeV});
    EXPECT_EQ(itemsFor(sequence, "V"), Items{wholeV});
    EXPECT_EQ(itemsFor(sequence, "", 7), Items{everywhere});
    EXPECT_EQ(itemsFor(sequence, "X", 1), Items{});
    EXPECT_EQ(itemsFor(sequence, "X"), Items{everywhere});
    EXPECT_EQ(itemsFor(sequence, "U"), Items{everywhere});  // U has frame entries only
    EXPECT_EQ(itemsFor(sequence, ""), Items{everywhere});
}

TEST(ImageIndexedSequence, LookupOnAnEmptySequenceEmptiesTheResultWithoutGrowingIt) {
    ImageBoundSequence sequence;
    ImageBoundItem placeholder;
    Items small{&placeholder};
    sequence.getItems(small, "", 1);
    EXPECT_TRUE(small.empty());
    EXPECT_EQ(small.capacity(), 1u);
    Items large(200, &placeholder);
    sequence.getItems(large, "U");
    EXPECT_TRUE(large.empty());
    EXPECT_EQ(large.capacity(), 64u);
}

// Removal unfiles an item under the keys it was filed under, even when its references changed
// since; the last item of a key takes the entry with it, so that lookup falls back.
TEST(ImageIndexedSequence, RemovalUnfilesTheItemAndDropsEmptiedEntries) {
    ImageBoundSequence sequence;
    ImageBoundItem* frame = itemFor({{"U", {1}}});
    ImageBoundItem* whole = itemFor({{"U", {}}});
    ImageBoundItem* edited = itemFor({{"V", {1}}});
    for (ImageBoundItem* item : {frame, whole, edited, static_cast<ImageBoundItem*>(nullptr)}) sequence.addItem(item);
    sequence.removeItem(nullptr);
    sequence.removeItem(frame);
    edited->getReferencedImageSequenceElement().clearAndDestroy();
    sequence.removeItem(edited);
    EXPECT_EQ(sequence.length(), 1u);
    EXPECT_EQ(sequence.getImageIndex().entries(), 1u);
    EXPECT_EQ(itemsFor(sequence, "U", 1), Items{whole});
    EXPECT_EQ(itemsFor(sequence, "V", 1), Items{});

    // An item that names an image twice is filed twice under it, and unfiled from both.
    ImageBoundItem* twice = itemFor({{"W", {}}, {"W", {}}});
    ImageBoundItem* once = itemFor({{"W", {}}});
    sequence.addItem(twice);
    sequence.addItem(once);
    EXPECT_EQ(itemsFor(sequence, "W"), (Items{twice, twice, once}));
    sequence.removeItem(twice);
    EXPECT_EQ(itemsFor(sequence, "W"), Items{once});
    sequence.removeItem(once);
    EXPECT_EQ(itemsFor(sequence, "W"), Items{});
    EXPECT_EQ(sequence.getImageIndex().entries(), 1u);
}

TEST(ImageIndexedSequence, ClearingEmptiesTheIndexRemoveAllItemsResetsItsBucketsAndResizeGrowsThem) {
    ImageBoundSequence sequence;
    for (int image = 0; image < 60; ++image) sequence.addItem(itemFor({{"U", {image}}}));
    EXPECT_EQ(sequence.getImageIndex().buckets(), 128u);
    sequence.clearAndDestroy();
    EXPECT_EQ(sequence.getImageIndex().entries(), 0u);
    EXPECT_EQ(sequence.getImageIndex().buckets(), 128u);
    sequence.addItem(itemFor());
    sequence.removeAllItems();
    EXPECT_EQ(sequence.length(), 0u);
    EXPECT_EQ(sequence.getImageIndex().buckets(), 64u);

    // Resize reserves items and doubles the buckets once below five quarters of the larger count.
    sequence.resize(10, 51);  // 63.75 rounds to 64
    EXPECT_EQ(sequence.getImageIndex().buckets(), 64u);
    sequence.resize(52, 0);  // 65
    EXPECT_EQ(sequence.getImageIndex().buckets(), 128u);
    EXPECT_GE(sequence.items().capacity(), 52u);
    sequence.resize(0, 1000);
    EXPECT_EQ(sequence.getImageIndex().buckets(), 256u);
}

TEST(ImageIndexedSequence, CopiesAndAssignmentsIndexTheirOwnItems) {
    auto source = std::make_unique<ImageBoundSequence>();
    source->addItem(itemFor({{"U", {1}}}));
    source->addItem(itemFor());
    source->resize(0, 100);
    ImageBoundSequence copy(*source);
    ImageBoundSequence assigned;
    assigned.addItem(itemFor({{"W", {}}}));
    assigned = *source;
    EXPECT_EQ(copy.getImageIndex().buckets(), 128u);
    source.reset();
    for (const ImageBoundSequence* sequence : {&copy, &assigned}) {
        EXPECT_EQ(itemsFor(*sequence, "U", 1), Items{sequence->items()[0]});
        EXPECT_EQ(itemsFor(*sequence, "W"), Items{sequence->items()[1]});
        EXPECT_EQ(sequence->getImageIndex().entries(), 2u);
    }
}

// The parent, told of an added item, can already find it.
class LookingUpParent : public PSChangeHandler {
public:
    void sequenceItemAdded(const RWCString&, const SequenceBase* sequence, const SequenceItem*,
                           const ReferencedImageSequence*) override {
        static_cast<const ImageBoundSequence*>(sequence)->getItems(found, "U", 1);
    }
    Items found;
};

TEST(ImageIndexedSequence, AnAddedItemIsFiledBeforeTheParentIsTold) {
    LookingUpParent parent;
    ImageBoundSequence sequence;
    sequence.setPSChangeHandler(parent);
    ImageBoundItem* item = itemFor({{"U", {1}}});
    sequence.addItem(item);
    EXPECT_EQ(parent.found, Items{item});
}

// The indexes place UIDs by the low bits of textHash. UIDs of one study differ only in their
// last digits; a hash whose low bits miss those digits piles them into a few buckets and makes
// reading a large state quadratic.
TEST(ImageIndexedSequence, UIDsThatDifferOnlyInTheirLastDigitsSpreadOverTheBuckets) {
    constexpr unsigned buckets = 2048;
    std::vector<unsigned> load(buckets);
    for (int n = 0; n < 2000; ++n) {
        const RWCString uid = "1.2.826.0.1.3680043.2.1125.9." + std::to_string(n);
        ++load[textHash(uid.data(), uid.size()) % buckets];
    }
    EXPECT_LE(*std::max_element(load.begin(), load.end()), 8u);
}

}  // namespace
}  // namespace refcntr
