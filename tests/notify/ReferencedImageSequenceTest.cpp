#include <gtest/gtest.h>

#include <memory>

#include "refcntr/notify/ReferencedImageSequence.h"
#include "support/ImageReference.h"

namespace refcntr {
namespace {

using testing::imageReference;

bool covers(const ReferencedImageSequence& images, const ImgFrmKey& key) { return images.references(key) == 1; }

TEST(ReferencedImageSequence, CoversListedFramesTheirImageAndAnyImage) {
    ReferencedImageSequence images;
    images.addItem(imageReference("U", {1, 3, 0, -2}));
    images.addItem(imageReference("V"));
    EXPECT_TRUE(covers(images, RWCString("U")));
    EXPECT_TRUE(covers(images, {"U", 1}));
    EXPECT_TRUE(covers(images, {"U", 3}));
    EXPECT_TRUE(covers(images, {"U", 0}));
    EXPECT_TRUE(covers(images, {"U", -2}));
    EXPECT_FALSE(covers(images, {"U", 2}));
    EXPECT_TRUE(covers(images, RWCString("V")));
    EXPECT_FALSE(covers(images, {"V", 1}));  // a whole-image item reaches no frame registration
    EXPECT_FALSE(covers(images, RWCString("W")));
    EXPECT_TRUE(images.references(ImgFrmKey::itsAnyImageKey));
    EXPECT_TRUE(ReferencedImageSequence().references(ImgFrmKey("", 4)));
}

// Removing an item removes one occurrence of each of its frames; removing the last frames of an
// image drops the image despite a whole-image item; items it does not hold are ignored.
TEST(ReferencedImageSequence, RemovalTakesOneOccurrenceOfEachFrameOfItsOwnItemsOnly) {
    ReferencedImageSequence images;
    auto* first = imageReference("U", {1});
    auto* second = imageReference("U", {1});
    images.addItem(first);
    images.addItem(second);
    images.addItem(imageReference("V"));
    auto* framedV = imageReference("V", {2});
    images.addItem(framedV);
    std::unique_ptr<ReferencedImageSequenceItem> stranger(imageReference("U", {1}));
    images.removeItem(stranger.get());
    images.removeItem(nullptr);
    images.addItem(nullptr);
    images.removeItem(first);
    EXPECT_TRUE(covers(images, {"U", 1}));
    images.removeItem(second);
    EXPECT_FALSE(covers(images, RWCString("U")));
    images.removeItem(framedV);
    EXPECT_EQ(images.length(), 1u);
    EXPECT_FALSE(covers(images, RWCString("V")));
    EXPECT_EQ(images.getImageFrameIndex().entries(), 0u);
}

TEST(ReferencedImageSequence, SizesItsTablesByFiveQuartersOfTheirEntries) {
    ReferencedImageSequence images;
    EXPECT_EQ(images.getImageFrameIndex().buckets(), 64u);
    images.addItem(imageReference("U", {1, 2, 3}));
    images.addItem(imageReference("V"));
    EXPECT_EQ(images.getImageFrameIndex().find("U")->buckets(), 4u);
    EXPECT_EQ(images.getImageFrameIndex().find("V")->buckets(), 2u);
    images.addItem(imageReference("U", {4, 5, 6, 7, 8, 9, 10, 11, 12, 13}));
    EXPECT_EQ(images.getImageFrameIndex().find("U")->buckets(), 17u);
    EXPECT_EQ(images.getImageFrameIndex().find("U")->entries(), 13u);

    images.resize(100);
    EXPECT_EQ(images.getImageFrameIndex().buckets(), 125u);
    EXPECT_TRUE(covers(images, {"U", 13}));
    images.resize(1);  // below the length: items stay, the index follows n
    EXPECT_EQ(images.length(), 3u);
    EXPECT_EQ(images.getImageFrameIndex().buckets(), 2u);
    EXPECT_TRUE(covers(images, RWCString("V")));

    images.clearAndDestroy();
    EXPECT_EQ(images.length(), 0u);
    EXPECT_EQ(images.getImageFrameIndex().buckets(), 80u);
    EXPECT_FALSE(covers(images, RWCString("U")));
}

TEST(ReferencedImageSequence, CopiesOwnTheirItemsAndIndex) {
    auto source = std::make_unique<ReferencedImageSequence>();
    source->addItem(imageReference("U", {1}));
    source->addItem(imageReference("V"));
    source->resize(8);
    source->addItem(imageReference("X"));  // not asked about before the copies are made
    ReferencedImageSequence copy(*source);
    ReferencedImageSequence assigned;
    assigned.addItem(imageReference("W"));
    assigned = *source;
    ReferencedImageSequence& self = assigned;
    assigned = self;

    EXPECT_EQ(copy.getImageFrameIndex().buckets(), 10u);
    EXPECT_EQ(assigned.getImageFrameIndex().buckets(), 10u);
    EXPECT_EQ(assigned.getImageFrameIndex().entries(), 3u);
    EXPECT_NE(copy.at(0), source->at(0));
    EXPECT_NE(assigned.at(0), source->at(0));
    EXPECT_EQ(copy.at(0)->getPSChangeHandler(), &copy);
    EXPECT_FALSE(covers(assigned, RWCString("W")));
    source->removeItem(source->at(0));
    source.reset();
    for (const ReferencedImageSequence* images : {&copy, &assigned}) {
        EXPECT_EQ(images->length(), 3u);
        EXPECT_TRUE(covers(*images, {"U", 1}));
        EXPECT_TRUE(covers(*images, RWCString("V")));
        EXPECT_TRUE(covers(*images, RWCString("X")));
    }
}

}  // namespace
}  // namespace refcntr
