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

TEST(Sequence, AddItemTakesOwnershipSetsParentAndPresenceAndTellsTheParent) {
    RecordingHandler parent;
    AdmittingDiagnosesCodeSequence sequence;
    sequence.setPSChangeHandler(parent);
    EXPECT_EQ(sequence.isPresent(), 0);
    auto* item = codeItem("T-1");
    sequence.addItem(item);
    EXPECT_EQ(sequence.length(), 1u);
    EXPECT_EQ(sequence.isPresent(), 1);
    EXPECT_EQ(item->getPSChangeHandler(), &sequence);
    EXPECT_EQ(parent.heard, std::vector<std::string>{"sequenceItemAdded "});
}

TEST(Sequence, RemoveItemDeletesKnownItemsIgnoresOthersAndKeepsPresence) {
    RecordingHandler parent;
    AdmittingDiagnosesCodeSequence sequence;
    sequence.setPSChangeHandler(parent);
    auto* item = codeItem("T-1");
    sequence.addItem(item);
    AdmittingDiagnosesCodeSequenceItem stranger;
    sequence.removeItem(&stranger);
    EXPECT_EQ(sequence.length(), 1u);
    sequence.removeItem(item);  // deleted here; AddressSanitizer reports a leak or double delete
    EXPECT_EQ(sequence.length(), 0u);
    EXPECT_EQ(sequence.isPresent(), 1);
    EXPECT_EQ(parent.heard, (std::vector<std::string>{"sequenceItemAdded ", "sequenceItemRemoved "}));
}

TEST(Sequence, ClearAndDestroyTellsTheParentOnceEvenWhenEmpty) {
    RecordingHandler parent;
    AdmittingDiagnosesCodeSequence sequence;
    sequence.setPSChangeHandler(parent);
    sequence.clearAndDestroy();
    EXPECT_EQ(parent.heard, std::vector<std::string>{"sequenceAllItemsRemoved "});
    sequence.addItem(codeItem("a"));
    sequence.addItem(codeItem("b"));
    parent.heard.clear();
    sequence.clearAndDestroy();
    EXPECT_EQ(parent.heard, std::vector<std::string>{"sequenceAllItemsRemoved "});
    EXPECT_EQ(sequence.length(), 0u);
    EXPECT_EQ(sequence.isPresent(), 1);
}

TEST(Sequence, AtRejectsIndexesAtOrBeyondTheLength) {
    AdmittingDiagnosesCodeSequence sequence;
    EXPECT_THROW(sequence.at(0), std::out_of_range);
    sequence.addItem(codeItem("a"));
    EXPECT_EQ(sequence.at(0)->getCodeValueElement(), "a");
    EXPECT_THROW(sequence.at(1), std::out_of_range);
    const AdmittingDiagnosesCodeSequence& constant = sequence;
    EXPECT_THROW(constant.at(1), std::out_of_range);
}

TEST(Sequence, ResizeNeverChangesItemsAndNeverShrinks) {
    AdmittingDiagnosesCodeSequence sequence;
    sequence.addItem(codeItem("a"));
    sequence.addItem(codeItem("b"));
    sequence.resize(1);
    EXPECT_EQ(sequence.length(), 2u);
    sequence.resize(500);
    EXPECT_EQ(sequence.length(), 2u);
    EXPECT_GE(sequence.items().capacity(), 500u);
}

TEST(Sequence, CopyHoldsDistinctEqualItemsWithoutParent) {
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
    EXPECT_EQ(copy.toString(0), source.toString(0));
    EXPECT_FALSE(copy == source);
    EXPECT_TRUE(copy == copy);
}

TEST(Sequence, CopyOfAnEmptyPresentSequenceStaysPresent) {
    AdmittingDiagnosesCodeSequence source;
    source.setPresent(1);
    AdmittingDiagnosesCodeSequence copy(source);
    EXPECT_EQ(copy.isPresent(), 1);
}

TEST(Sequence, AssignmentIsSilentAndDropsTheParent) {
    RecordingHandler formerParent;
    AdmittingDiagnosesCodeSequence target;
    target.setPSChangeHandler(formerParent);
    target.addItem(codeItem("old"));
    formerParent.heard.clear();

    AdmittingDiagnosesCodeSequence source;
    source.addItem(codeItem("new"));
    target = source;
    EXPECT_TRUE(formerParent.heard.empty());
    EXPECT_EQ(target.getPSChangeHandler(), nullptr);
    ASSERT_EQ(target.length(), 1u);
    EXPECT_EQ(target.at(0)->getCodeValueElement(), "new");
    EXPECT_NE(target.at(0), source.at(0));
    target = target;
    EXPECT_EQ(target.length(), 1u);
}

// A handler's copy reports to the same parent (the generated containers' copies report to none).
TEST(Handler, CopyKeepsTheParent) {
    RecordingHandler parent;
    PSChangeHandler handler;
    handler.setPSChangeHandler(parent);
    PSChangeHandler handlerCopy(handler);
    EXPECT_EQ(handlerCopy.getPSChangeHandler(), &parent);
}

TEST(SequenceDump, EmptyIsEmptyAndItemsAreSeparatedOnce) {
    AdmittingDiagnosesCodeSequence sequence;
    EXPECT_EQ(sequence.toString(0), "");
    sequence.addItem(new AdmittingDiagnosesCodeSequenceItem);
    sequence.addItem(new AdmittingDiagnosesCodeSequenceItem);
    const std::string dump = sequence.toString(0);
    EXPECT_EQ(dump.rfind("  Item 0:\n  {\n    itsCodeValueElement = <not present>", 0), 0u) << dump;
    EXPECT_NE(dump.find("\n  },\n  Item 1:\n  {\n"), std::string::npos) << dump;
    EXPECT_EQ(dump.substr(dump.size() - 5), "\n  }\n");
    EXPECT_EQ(dump.find("},", dump.find("Item 1")), std::string::npos);
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
