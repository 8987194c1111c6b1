// The sequence template: ownership, copies, the silent assignment, notifications and dump.
#include <gtest/gtest.h>

#include <stdexcept>

#include "refcntr/core/CompositeIOD.h"
#include "refcntr/core/InformationEntity.h"
#include "refcntr/core/Module.h"
#include "refcntr/macros/CodeSequenceItems.h"
#include "refcntr/macros/ProtocolCodeSequenceItems.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::RecordingHandler;

AdmittingDiagnosesCodeSequenceItem* codeItem(const char* value) {
    auto* item = new AdmittingDiagnosesCodeSequenceItem;
    item->setCodeValueElement(value);
    return item;
}

using Heard = std::vector<std::string>;

TEST(Sequence, OwnsItsItemsAndTellsTheParentOfEachChangeOnce) {
    RecordingHandler parent;
    AdmittingDiagnosesCodeSequence sequence;
    sequence.setPSChangeHandler(parent);
    sequence.clearAndDestroy();  // told even when empty
    EXPECT_EQ(sequence.isPresent(), 0);
    auto* item = codeItem("T-1");
    sequence.addItem(item);
    EXPECT_EQ(sequence.isPresent(), 1);
    EXPECT_EQ(item->getPSChangeHandler(), &sequence);
    AdmittingDiagnosesCodeSequenceItem stranger;
    sequence.removeItem(&stranger);
    EXPECT_EQ(sequence.length(), 1u);
    sequence.removeItem(item);  // deleted here; AddressSanitizer reports a leak or double delete
    EXPECT_EQ(sequence.length(), 0u);
    EXPECT_EQ(sequence.isPresent(), 1);
    sequence.addItem(codeItem("a"));
    sequence.addItem(codeItem("b"));
    sequence.clearAndDestroy();
    EXPECT_EQ(sequence.length(), 0u);
    EXPECT_EQ(parent.heard, (Heard{"sequenceAllItemsRemoved ", "sequenceItemAdded ", "sequenceItemRemoved ",
                                   "sequenceItemAdded ", "sequenceItemAdded ", "sequenceAllItemsRemoved "}));
}

TEST(Sequence, AtRejectsIndexesAtOrBeyondTheLengthAndResizeNeverChangesItemsNorShrinks) {
    AdmittingDiagnosesCodeSequence sequence;
    EXPECT_THROW(sequence.at(0), std::out_of_range);
    sequence.addItem(codeItem("a"));
    sequence.addItem(codeItem("b"));
    EXPECT_EQ(sequence.at(1)->getCodeValueElement(), "b");
    EXPECT_THROW(sequence.at(2), std::out_of_range);
    const AdmittingDiagnosesCodeSequence& constant = sequence;
    EXPECT_THROW(constant.at(2), std::out_of_range);
    sequence.resize(1);
    EXPECT_EQ(sequence.length(), 2u);
    sequence.resize(500);
    EXPECT_EQ(sequence.length(), 2u);
    EXPECT_GE(sequence.items().capacity(), 500u);
}

// Copies hold distinct items and report to no parent; assignment tells the former parent nothing.
TEST(Sequence, CopiesAndAssignmentsHoldTheirOwnItemsWithoutParent) {
    AdmittingDiagnosesCodeSequence emptyPresent;
    emptyPresent.setPresent(1);
    EXPECT_EQ(AdmittingDiagnosesCodeSequence(emptyPresent).isPresent(), 1);

    RecordingHandler parent;
    AdmittingDiagnosesCodeSequence source;
    source.setPSChangeHandler(parent);
    source.addItem(codeItem("a"));
    source.addItem(codeItem("b"));
    AdmittingDiagnosesCodeSequence copy(source);
    EXPECT_EQ(copy.getPSChangeHandler(), nullptr);
    ASSERT_EQ(copy.length(), 2u);
    EXPECT_NE(copy.at(0), source.at(0));
    EXPECT_EQ(copy.at(0)->getPSChangeHandler(), &copy);
    EXPECT_FALSE(copy == source);
    EXPECT_TRUE(copy == copy);

    copy.at(0)->setCodeValueElement("new");
    parent.heard.clear();
    source = copy;
    EXPECT_TRUE(parent.heard.empty());
    EXPECT_EQ(source.getPSChangeHandler(), nullptr);
    ASSERT_EQ(source.length(), 2u);
    EXPECT_EQ(source.at(0)->getCodeValueElement(), "new");
    EXPECT_NE(source.at(0), copy.at(0));
    const AdmittingDiagnosesCodeSequence& itself = source;  // assigned through another name: no warning
    source = itself;
    EXPECT_EQ(source.length(), 2u);
}

TEST(SequenceDump, ItemsAreSeparatedOnceAndTheLastIsClosedWithoutComma) {
    AdmittingDiagnosesCodeSequence sequence;
    sequence.addItem(new AdmittingDiagnosesCodeSequenceItem);
    sequence.addItem(new AdmittingDiagnosesCodeSequenceItem);
    const std::string dump = sequence.toString(0);
    EXPECT_EQ(dump.rfind("  Item 0:\n  {\n    itsCodeValueElement = <not present>", 0), 0u) << dump;
    EXPECT_NE(dump.find("\n  },\n  Item 1:\n  {\n"), std::string::npos) << dump;
    EXPECT_EQ(dump.substr(dump.size() - 5), "\n  }\n");
}

TEST(BaseDumps, UnspecializedTexts) {
    EXPECT_EQ(Module().toString(3), "Unspecialized Module");
    EXPECT_EQ(SequenceItem().toString(3), "Unspecialized SequenceItem");
    EXPECT_EQ(InformationEntity().toString(3), "Unspecialized InformationEntity");
    EXPECT_EQ(CompositeIOD().toString(3), "Unspecialized CompositeIOD");
    EXPECT_EQ(PSChangeHandler().toString(3), "Unspecialized PSChangeHandler");
}

}  // namespace
}  // namespace refcntr
