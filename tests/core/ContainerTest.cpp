// The common attribute mechanism on generated items: presence, create, save, dump.
#include <gtest/gtest.h>

#include "refcntr/core/AttributeWriter.h"
#include "refcntr/macros/CodeSequenceItems.h"
#include "refcntr/macros/ContentItems.h"
#include "refcntr/macros/ProtocolCodeSequenceItems.h"
#include "refcntr/platform/SequenceVR.h"
#include "support/RecordingDataSet.h"
#include "support/RecordingListener.h"

namespace refcntr {
namespace {

using testing::RecordingDataSet;
using testing::RecordingListener;

void putText(DICOMDataObject& data, UINT16 group, UINT16 element, const RWCString& value) {
    attribute::Factory factory(data.GetEndian());
    attribute::writeText(data, factory, group, element, value);
}

TEST(ItemDump, OnlyCodeValuePresentAtIndentOne) {
    AdmittingDiagnosesCodeSequenceItem item;
    item.setCodeValueElement("T-1");
    EXPECT_EQ(item.toString(1),
              "itsCodeValueElement = \"T-1\"\n"
              "  itsCodingSchemeDesignatorElement = <not present>\n"
              "  itsCodingSchemeVersionElement = <not present>\n"
              "  itsCodeMeaningElement = <not present>\n"
              "  itsContextIdentifierElement = <not present>\n"
              "  itsMappingResourceElement = <not present>\n"
              "  itsContextGroupVersionElement = <not present>\n"
              "  itsContextGroupExtensionFlagElement = <not present>\n"
              "  itsContextGroupLocalVersionElement = <not present>\n"
              "  itsContextGroupExtensionCreatorUIDElement = <not present>");
}

TEST(ItemDump, PresentEmptyValueIsAPairOfQuotesAndControlCharactersAreEscaped) {
    AdmittingDiagnosesCodeSequenceItem item;
    item.setCodeValueElement("");
    item.setCodeMeaningElement("a\tb\"c");
    const std::string dump = item.toString(0);
    EXPECT_EQ(dump.rfind("itsCodeValueElement = \"\"\n", 0), 0u);
    EXPECT_NE(dump.find("itsCodeMeaningElement = \"a\\tb\\\"c\""), std::string::npos) << dump;
}

TEST(ItemDump, HeldSequenceNotPresentThenPresentBlock) {
    PerformedProtocolCodeSequenceItem item;
    std::string dump = item.toString(0);
    EXPECT_NE(dump.find("\nitsProtocolContextSequenceElement = <not present>"), std::string::npos);
    auto* context = new ProtocolContextSequenceItem;
    context->setValueTypeElement("TEXT");
    item.getProtocolContextSequenceElement().addItem(context);
    dump = item.toString(1);
    const std::string block =
        "\n  itsProtocolContextSequenceElement = \n"
        "  {\n"
        "    Item 0:\n"
        "    {\n"
        "      itsValueTypeElement = \"TEXT\"\n"
        "      itsConceptNameCodeSequenceElement = <not present>\n";
    EXPECT_NE(dump.find(block), std::string::npos) << dump;
    EXPECT_EQ(dump.substr(dump.size() - 10), "\n    }\n  }") << dump;
}

TEST(Presence, ClearingKeepsTheValueAndAClearedItemIsEmpty) {
    AdmittingDiagnosesCodeSequenceItem item;
    EXPECT_EQ(item.isEmpty(), 1);
    item.setCodeMeaningElement("meaning");
    EXPECT_EQ(item.isEmpty(), 0);
    item.setCodeMeaningElementPresent(0);
    EXPECT_EQ(item.isCodeMeaningElementPresent(), 0);
    EXPECT_EQ(item.getCodeMeaningElement(), "meaning");
    EXPECT_EQ(item.isEmpty(), 1);
    item.setCodeMeaningElementPresent(7);
    EXPECT_EQ(item.isCodeMeaningElementPresent(), 1);
    EXPECT_EQ(item.getCodeMeaningElement(), "meaning");
}

TEST(Create, ReadsOnlyWhatIsThere) {
    DICOMDataObject data;
    putText(data, 0x0008, 0x0104, "Heart");
    std::unique_ptr<AdmittingDiagnosesCodeSequenceItem> item(AdmittingDiagnosesCodeSequenceItem::create(data));
    EXPECT_EQ(item->isCodeMeaningElementPresent(), 1);
    EXPECT_EQ(item->getCodeMeaningElement(), "Heart");
    EXPECT_EQ(item->isCodeValueElementPresent(), 0);
    EXPECT_EQ(item->isContextGroupExtensionCreatorUIDElementPresent(), 0);
    std::unique_ptr<AdmittingDiagnosesCodeSequenceItem> none(AdmittingDiagnosesCodeSequenceItem::create(DICOMDataObject()));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->isEmpty(), 1);
}

TEST(Save, WritesInDeclarationOrderNotTagOrder) {
    AdmittingDiagnosesCodeSequenceItem item;
    item.setMappingResourceElement("DCMR");
    item.setContextIdentifierElement("4021");
    RecordingDataSet data;
    item.save(data);
    ASSERT_EQ(data.written.size(), 2u);
    EXPECT_EQ(data.written[0], MAttributeTag(0x0008, 0x010F));
    EXPECT_EQ(data.written[1], MAttributeTag(0x0008, 0x0105));
}

TEST(Save, EmptyItemLeavesTheDataSetAloneAndPresentEmptyValueIsWritten) {
    DICOMDataObject data;
    putText(data, 0x0010, 0x0010, "Doe^Jane");
    AdmittingDiagnosesCodeSequenceItem().save(data);
    EXPECT_EQ(data.GetNumberOfVRs(), 1u);
    AdmittingDiagnosesCodeSequenceItem item;
    item.setCodeValueElement("");
    item.save(data);
    RWCString value = "x";
    EXPECT_EQ(data.GetString(0x0008, 0x0100, value), 1);
    EXPECT_EQ(value, "");
}

TEST(Save, TextIsPaddedWithABlankUIDsIncluded) {
    AdmittingDiagnosesCodeSequenceItem item;
    item.setContextGroupExtensionCreatorUIDElement("1.2.3");
    DICOMDataObject data;
    item.save(data);
    const VR* uid = data.GetVR(0x0008, 0x010D);
    ASSERT_NE(uid, nullptr);
    ASSERT_EQ(uid->GetLength(), 6u);
    EXPECT_EQ(uid->GetData()[5], ' ');
}

TEST(ProtocolItem, EmptyProtocolContextSequenceIsPresentAndWrittenBackEmpty) {
    DICOMDataObject data;
    data.ReplaceVR(new SequenceVR(0x0040, 0x0440));
    std::unique_ptr<PerformedProtocolCodeSequenceItem> item(PerformedProtocolCodeSequenceItem::create(data));
    EXPECT_EQ(item->isProtocolContextSequenceElementPresent(), 1);
    EXPECT_EQ(item->isEmpty(), 0);
    DICOMDataObject saved;
    item->save(saved);
    const VR* written = saved.GetVR(0x0040, 0x0440);
    ASSERT_NE(written, nullptr);
    ASSERT_NE(written->GetAsSequenceVR(), nullptr);
    EXPECT_EQ(written->GetAsSequenceVR()->GetNumberOfItems(), 0u);
}

TEST(ProtocolItem, EmptyItemsAreNotWrittenAndNestedItemsAre) {
    PerformedProtocolCodeSequenceItem item;
    item.getProtocolContextSequenceElement().addItem(new ProtocolContextSequenceItem);
    auto* context = new ProtocolContextSequenceItem;
    context->setTextValueElement("supine");
    item.getProtocolContextSequenceElement().addItem(context);
    DICOMDataObject saved;
    item.save(saved);
    const SequenceVR* written = saved.GetVR(0x0040, 0x0440)->GetAsSequenceVR();
    ASSERT_EQ(written->GetNumberOfItems(), 1u);
    std::unique_ptr<PerformedProtocolCodeSequenceItem> back(PerformedProtocolCodeSequenceItem::create(saved));
    ASSERT_EQ(back->getProtocolContextSequenceElement().length(), 1u);
    EXPECT_EQ(back->getProtocolContextSequenceElement().at(0)->getTextValueElement(), "supine");
}

TEST(NumericValue, ZeroLengthIsPresentWithNoValuesAndBadTextIsAbsent) {
    DICOMDataObject data;
    data.ReplaceVR(new VR(0x0040, 0xA30A, VRCode::DS, LittleEndian));
    std::unique_ptr<ProtocolContextSequenceItem> item(ProtocolContextSequenceItem::create(data));
    EXPECT_EQ(item->isNumericValueElementPresent(), 1);
    EXPECT_EQ(item->getNumericValueElementLength(), 0u);

    DICOMDataObject bad;
    putText(bad, 0x0040, 0xA30A, "1.5\\xy");
    std::unique_ptr<ProtocolContextSequenceItem> rejected(ProtocolContextSequenceItem::create(bad));
    EXPECT_EQ(rejected->isNumericValueElementPresent(), 0);
    EXPECT_EQ(rejected->getNumericValueElement(), nullptr);
}

TEST(NumericValue, SetterCopiesAndSaveFormatsAsDecimalStrings) {
    ContentItemModifierSequenceItem item;
    double values[] = {0.5, 2.0};
    item.setNumericValueElement(values, 2);
    values[0] = 9;
    EXPECT_EQ(item.getNumericValueElement(0), 0.5);
    DICOMDataObject data;
    item.save(data);
    RWCString text;
    ASSERT_EQ(data.GetString(0x0040, 0xA30A, text), 1);
    EXPECT_EQ(text, "0.5\\2");
    const std::string dump = item.toString(0);
    EXPECT_NE(dump.find("itsNumericValueElement = \n{\n  itsNumericValueElement[0] = 0.5,\n  itsNumericValueElement[1] = 2\n}"),
              std::string::npos)
        << dump;
}

TEST(Notification, ItemSetterReportsItsSequenceAndElementPath) {
    AdmittingDiagnosesCodeSequence sequence;
    auto* item = new AdmittingDiagnosesCodeSequenceItem;
    sequence.addItem(item);
    RecordingListener onItem, onSequence;
    item->addListener(onItem, "");
    sequence.addListener(onSequence, "");
    item->setCodeValueElement("T-1");
    EXPECT_EQ(onItem.heard, std::vector<std::string>{"elementUpdated AdmittingDiagnosesCodeSequenceItem.CodeValueElement"});
    EXPECT_EQ(onSequence.heard,
              std::vector<std::string>{"sequenceItemUpdated AdmittingDiagnosesCodeSequence "
                                       "AdmittingDiagnosesCodeSequenceElement.AdmittingDiagnosesCodeSequenceItem.CodeValueElement"});
}

TEST(Notification, NestedChangesClimbWithTheItemsOwnSequenceName) {
    PerformedProtocolCodeSequence outer;
    auto* protocol = new PerformedProtocolCodeSequenceItem;
    outer.addItem(protocol);
    RecordingListener onOuter;
    outer.addListener(onOuter, "");
    auto* context = new ProtocolContextSequenceItem;
    protocol->getProtocolContextSequenceElement().addItem(context);
    context->setValueTypeElement("CODE");
    ASSERT_EQ(onOuter.heard.size(), 2u);
    EXPECT_EQ(onOuter.heard[0],
              "sequenceItemUpdated PerformedProtocolCodeSequence PerformedProtocolCodeSequenceElement."
              "PerformedProtocolCodeSequenceItem.PerformedProtocolCodeSequenceElement");
    EXPECT_EQ(onOuter.heard[1],
              "sequenceItemUpdated PerformedProtocolCodeSequence PerformedProtocolCodeSequenceElement."
              "PerformedProtocolCodeSequenceItem.PerformedProtocolCodeSequenceElement."
              "ProtocolContextSequenceElement.ProtocolContextSequenceItem.ValueTypeElement");
}

}  // namespace
}  // namespace refcntr
