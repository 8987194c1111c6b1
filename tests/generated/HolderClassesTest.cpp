// One harness over every generated information entity and IOD: what create makes of an
// empty data set, the dump of absent and empty children, copies and assignments with their
// parent links, and the reports of the child setters.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "generated/SampleDataSet.h"
#include "refcntr/codegen/GeneratedClassList.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::RecordingListener;

template <class Holder>
class HolderClass : public ::testing::Test {};
using Holders = testing::Concatenate<generated::Entities<::testing::Types>, generated::IODs<::testing::Types>>::type;
TYPED_TEST_SUITE(HolderClass, Holders);

std::string member(const AttributeDescription& child) { return std::string("its") + child.name; }

TYPED_TEST(HolderClass, DefaultHoldsNothingDumpsNotPresentAndSavesNothing) {
    TypeParam holder;
    const ClassDescription& description = TypeParam::description();
    std::string expected;
    for (unsigned i = 0; i < description.attributeCount; ++i) {
        if (i) expected += "\n  ";
        expected += member(description.attributes[i]) + " = <not present>";
    }
    EXPECT_EQ(holder.toString(1), expected);
    DICOMDataObject data;
    holder.save(data);
    EXPECT_TRUE(data.IsEmpty());
}

// Create on an empty data set makes every child; copies and assignments copy them.
TYPED_TEST(HolderClass, CreateMakesEveryChildAndCopiesBecomeTheirParents) {
    std::unique_ptr<TypeParam> source(TypeParam::create(DICOMDataObject()));
    const ClassDescription& description = TypeParam::description();
    const std::string dump = source->toString(0);
    for (unsigned i = 0; i < description.attributeCount; ++i)
        EXPECT_EQ(dump.find(member(description.attributes[i]) + " = <not present>"), std::string::npos) << dump;
    RecordingListener onCopy;
    TypeParam copy(*source);
    EXPECT_EQ(copy.toString(0), dump);
    EXPECT_EQ(copy.getPSChangeHandler(), nullptr);
    copy.addListener(onCopy, "");

    TypeParam assigned;
    assigned = *source;
    EXPECT_EQ(assigned.toString(0), dump);
    RecordingListener onAssigned;
    assigned.addListener(onAssigned, "");

    using Setter = generated::FirstSetter<TypeParam>;
    if constexpr (Setter::exists) {
        RecordingListener onSource;
        source->addListener(onSource, "");
        Setter::call(copy);
        Setter::call(assigned);
        EXPECT_EQ(onCopy.heard, std::vector<std::string>{std::string("elementUpdated ") + Setter::path});
        EXPECT_EQ(onAssigned.heard, std::vector<std::string>{std::string("elementUpdated ") + Setter::path});
        EXPECT_TRUE(onSource.heard.empty());
    }
}

}  // namespace
}  // namespace refcntr
