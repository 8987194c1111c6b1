// Inputs the fuzz targets found that broke the library, reduced to the fault each one caught.
#include <memory>

#include <gtest/gtest.h>

#include "refcntr/core/ContainerUtils.h"
#include "refcntr/notify/ReferencedImageSequenceItem.h"
#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {
namespace {

// Frames {10, 5} are written as "10\5": four bytes, so no pad, and the integer scanner refuses
// a last value whose only digit is the last byte. The frame numbers are lost on the next read.
// Reported; enable once the writer or the scanner is changed.
TEST(FuzzFindings, DISABLED_IsValuesEndingInOneUnpaddedDigitReadBackAfterSave) {
    ReferencedImageSequenceItem item;
    item.setReferencedSOPInstanceUIDElement("2.25.451");
    item.setReferencedFrameNumberElement(new int[2]{10, 5}, 2);
    DICOMDataObject saved;
    item.save(saved);
    const std::unique_ptr<ReferencedImageSequenceItem> again(ReferencedImageSequenceItem::create(saved));
    ASSERT_TRUE(again->isReferencedFrameNumberElementPresent());
    ASSERT_EQ(2u, again->getReferencedFrameNumberElementLength());
    EXPECT_EQ(5, again->getReferencedFrameNumberElement(1));

    int* values = nullptr;
    unsigned count = 0;
    EXPECT_EQ(1, ContainerUtils::parseISToArray("-5", 2, values, count));
    delete[] values;
}

}  // namespace
}  // namespace refcntr
