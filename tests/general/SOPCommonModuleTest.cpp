// The SOP common module and its security items: what is written, and in which order.
#include <gtest/gtest.h>

#include <memory>

#include "refcntr/core/AttributeWriter.h"
#include "refcntr/general/SOPCommonModule.h"
#include "refcntr/platform/SequenceVR.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::RecordingDataSet;

TEST(SOPCommon, OnlyClassAndInstanceReadAreWrittenBack) {
    DICOMDataObject data;
    attribute::Factory factory(data.GetEndian());
    attribute::writeText(data, factory, 0x0008, 0x0016, "1.2.840.10008.5.1.4.1.1.11.1");
    attribute::writeText(data, factory, 0x0008, 0x0018, "1.2.3.4");
    std::unique_ptr<SOPCommonModule> module(SOPCommonModule::create(data));
    EXPECT_EQ(module->getSOPInstanceUIDElement(), "1.2.3.4");
    RecordingDataSet saved;
    module->save(saved);
    const std::vector<MAttributeTag> expected{MAttributeTag(0x0008, 0x0016), MAttributeTag(0x0008, 0x0018)};
    EXPECT_EQ(saved.written, expected);
}

TEST(SOPCommon, OriginalAttributesWriteSourceBeforeModificationTime) {
    OriginalAttributesSequenceItem item;
    item.setReasonForTheAttributeModificationElement("CORRECT");
    item.setModifyingSystemElement("ZORVIK");
    item.setAttributeModificationDatetimeElement("20240101120000");
    item.setSourceOfPreviousValuesElement("SCANNER");
    RecordingDataSet saved;
    item.save(saved);
    const std::vector<MAttributeTag> expected{MAttributeTag(0x0400, 0x0564), MAttributeTag(0x0400, 0x0562),
                                              MAttributeTag(0x0400, 0x0563), MAttributeTag(0x0400, 0x0565)};
    EXPECT_EQ(saved.written, expected);
}

TEST(SOPCommon, ModifiedAttributesItemsWriteNothing) {
    DICOMDataObject data;
    attribute::Factory factory(data.GetEndian());
    attribute::writeText(data, factory, 0x0010, 0x0010, "Doe^Jane");
    std::unique_ptr<ModifiedAttributesSequenceItem> read(ModifiedAttributesSequenceItem::create(data));
    EXPECT_EQ(read->isEmpty(), 1);
    DICOMDataObject saved;
    read->save(saved);
    EXPECT_EQ(saved.GetNumberOfVRs(), 0u);

    OriginalAttributesSequenceItem original;
    original.getModifiedAttributesSequenceElement().addItem(new ModifiedAttributesSequenceItem);
    original.save(saved);
    const VR* sequence = saved.GetVR(0x0400, 0x0550);
    ASSERT_NE(sequence, nullptr);
    ASSERT_NE(sequence->GetAsSequenceVR(), nullptr);
    EXPECT_EQ(sequence->GetAsSequenceVR()->GetNumberOfItems(), 0u);
}

}  // namespace
}  // namespace refcntr
