// The referenced-series sequence: the reports of its items, which apply to the images each item
// references, and its image index, which follows edits of those references.
#include <gtest/gtest.h>

#include "refcntr/macros/ReferencedSeriesSequenceItem.h"
#include "support/ImageReference.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::imageReference;
using Items = RWTPtrOrderedVector<ReferencedSeriesSequenceItem>;

TEST(ReferencedSeriesSequence, AnItemReportsOnlyToListenersOfTheImagesItReferences) {
    ReferencedSeriesSequence sequence;
    auto* item = new ReferencedSeriesSequenceItem;
    item->getReferencedImageSequenceElement().addItem(imageReference("U", {1}));
    sequence.addItem(item);
    testing::RecordingListener frameOne, everyImage, otherImage;
    sequence.addListener(frameOne, "U", 1);
    sequence.addListener(everyImage, "");
    sequence.addListener(otherImage, "V");

    item->setSeriesInstanceUIDElement("S2");
    const std::vector<std::string> heard = {
        "sequenceItemUpdated ReferencedSeriesSequence "
        "ReferencedSeriesSequenceElement.ReferencedSeriesSequenceItem.SeriesInstanceUIDElement"};
    EXPECT_EQ(frameOne.heard, heard);
    EXPECT_EQ(everyImage.heard, heard);
    EXPECT_TRUE(otherImage.heard.empty());

    // A change inside the item's own image references is reported for the item's images too.
    frameOne.heard.clear();
    ReferencedImageSequenceItem& reference = *item->getReferencedImageSequenceElement().at(0);
    reference.setReferencedSOPClassUIDElement("1.2.840.10008.5.1.4.1.1.2");
    ASSERT_EQ(frameOne.heard.size(), 1u);
    EXPECT_EQ(frameOne.heard[0],
              "sequenceItemUpdated ReferencedSeriesSequence ReferencedSeriesSequenceElement."
              "ReferencedSeriesSequenceItem.ReferencedSeriesSequenceElement.ReferencedImageSequenceElement."
              "ReferencedImageSequenceItem.ReferencedSOPClassUIDElement");
    EXPECT_TRUE(otherImage.heard.empty());

    // Moved to another image, the item is found and heard under that image only.
    reference.setReferencedSOPInstanceUIDElement("V");
    EXPECT_EQ(otherImage.heard.size(), 1u);
    Items result;
    sequence.getItems(result, "V", 1);
    EXPECT_EQ(result, Items{item});
    sequence.getItems(result, "U", 1);
    EXPECT_EQ(result, Items{});
}

}  // namespace
}  // namespace refcntr
