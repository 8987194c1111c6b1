// The referenced-series sequence: its image index, and the reports of its items, which apply
// to the images each item references.
#include <gtest/gtest.h>

#include "refcntr/macros/ReferencedSeriesSequenceItem.h"
#include "support/ImageReference.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::imageReference;
using Items = RWTPtrOrderedVector<ReferencedSeriesSequenceItem>;

ReferencedSeriesSequenceItem* series(const char* uid, std::initializer_list<ReferencedImageSequenceItem*> images) {
    auto* item = new ReferencedSeriesSequenceItem;
    item->setSeriesInstanceUIDElement(uid);
    for (ReferencedImageSequenceItem* image : images) item->getReferencedImageSequenceElement().addItem(image);
    return item;
}

TEST(ReferencedSeriesSequence, ASeriesWhoseImageReferenceIsEditedIsFoundUnderItsNewImage) {
    ReferencedSeriesSequence sequence;
    ReferencedSeriesSequenceItem* item = series("S1", {imageReference("U")});
    sequence.addItem(item);
    item->getReferencedImageSequenceElement().at(0)->setReferencedSOPInstanceUIDElement("V");
    Items result;
    sequence.getItems(result, "V");
    EXPECT_EQ(result, Items{item});
    sequence.getItems(result, "U");
    EXPECT_EQ(result, Items{});
}

TEST(ReferencedSeriesSequence, AnItemReportsOnlyToListenersOfTheImagesItReferences) {
    ReferencedSeriesSequence sequence;
    ReferencedSeriesSequenceItem* item = series("S1", {imageReference("U", {1})});
    sequence.addItem(item);
    testing::RecordingListener frameOne, frameTwo, everyImage, otherImage;
    sequence.addListener(frameOne, "U", 1);
    sequence.addListener(frameTwo, "U", 2);
    sequence.addListener(everyImage, "");
    sequence.addListener(otherImage, "V");

    item->setSeriesInstanceUIDElement("S2");
    const std::vector<std::string> heard = {
        "sequenceItemUpdated ReferencedSeriesSequence "
        "ReferencedSeriesSequenceElement.ReferencedSeriesSequenceItem.SeriesInstanceUIDElement"};
    EXPECT_EQ(frameOne.heard, heard);
    EXPECT_EQ(everyImage.heard, heard);
    EXPECT_TRUE(frameTwo.heard.empty());
    EXPECT_TRUE(otherImage.heard.empty());

    // A change inside the item's own image references is reported for the item's images too.
    frameOne.heard.clear();
    item->getReferencedImageSequenceElement().at(0)->setReferencedSOPClassUIDElement("1.2.840.10008.5.1.4.1.1.2");
    ASSERT_EQ(frameOne.heard.size(), 1u);
    EXPECT_EQ(frameOne.heard[0],
              "sequenceItemUpdated ReferencedSeriesSequence ReferencedSeriesSequenceElement."
              "ReferencedSeriesSequenceItem.ReferencedSeriesSequenceElement.ReferencedImageSequenceElement."
              "ReferencedImageSequenceItem.ReferencedSOPClassUIDElement");
    EXPECT_TRUE(otherImage.heard.empty());
}

TEST(ReferencedSeriesSequence, CopiesAndAssignmentsRebuildTheirOwnIndex) {
    ReferencedSeriesSequence source;
    source.addItem(series("S1", {imageReference("U", {1})}));
    ReferencedSeriesSequence copy(source);
    ReferencedSeriesSequence assigned;
    assigned = source;
    source.clearAndDestroy();
    Items result;
    copy.getItems(result, "U", 1);
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0], copy.at(0));
    assigned.getItems(result, "U", 1);
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0], assigned.at(0));
}

}  // namespace
}  // namespace refcntr
