// One harness over every generated item and module: default state, create from a data set
// holding every attribute, save, create again, copies, and every setter with its presence bit,
// notification and indexed accessors, in both byte orders.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "generated/SampleDataSet.h"
#include "refcntr/codegen/GeneratedClassList.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::findElement;
using testing::putSamples;
using testing::RecordingListener;

bool hasNotPresentLine(const std::string& dump, const char* name) {
    const std::string member = std::string("its") + name + "Element = <not present>";
    const std::size_t position = dump.find(member);
    return position != std::string::npos && (position == 0 || dump[position - 1] == ' ' || dump[position - 1] == '\n');
}

template <class Container>
class AttributeContainer : public ::testing::Test {};
using ItemsAndModules =
    testing::Concatenate<generated::Items<::testing::Types>, generated::Modules<::testing::Types>>::type;
TYPED_TEST_SUITE(AttributeContainer, ItemsAndModules);

TYPED_TEST(AttributeContainer, DefaultIsEmptyAndDumpsEveryAttributeAsNotPresent) {
    TypeParam container;
    const ClassDescription& description = TypeParam::description();
    EXPECT_EQ(container.isEmpty(), 1);
    const std::string dump = container.toString(0);
    for (unsigned i = 0; i < description.attributeCount; ++i)
        EXPECT_TRUE(hasNotPresentLine(dump, description.attributes[i].name)) << description.attributes[i].name;
    DICOMDataObject saved;
    container.save(saved);
    for (const auto& element : saved) {
        bool allowed = false;
        for (unsigned i = 0; i < description.attributeCount; ++i) {
            const AttributeDescription& attribute = description.attributes[i];
            allowed |= attribute.writtenWhenAbsent && findElement(saved, attribute) == element.get();
        }
        EXPECT_TRUE(allowed) << "an empty " << description.name << " wrote " << element->GetTag().ToString();
    }
}

void roundTrip(EndianType endian, const ClassDescription& description,
               std::string (*createDumpSave)(const DICOMDataObject&, DICOMDataObject&)) {
    DICOMDataObject source(endian);
    putSamples(source, description);
    DICOMDataObject saved(endian);
    const std::string firstDump = createDumpSave(source, saved);
    for (unsigned i = 0; i < description.attributeCount; ++i) {
        const AttributeDescription& attribute = description.attributes[i];
        const VR* original = findElement(source, attribute);
        const VR* written = findElement(saved, attribute);
        ASSERT_NE(original, nullptr) << attribute.name;
        EXPECT_FALSE(hasNotPresentLine(firstDump, attribute.name) && !attribute.notRead)
            << description.name << "." << attribute.name << " was not read:\n"
            << firstDump;
        if (attribute.notRead) {
            EXPECT_EQ(written, nullptr) << attribute.name;
            continue;
        }
        ASSERT_NE(written, nullptr) << description.name << "." << attribute.name << " was not written";
        EXPECT_EQ(written->GetVRCode(), original->GetVRCode()) << attribute.name;
        ASSERT_EQ(written->GetLength(), original->GetLength()) << attribute.name;
        if (original->GetLength()) {
            EXPECT_EQ(std::memcmp(written->GetData(), original->GetData(), original->GetLength()), 0) << attribute.name;
        }
    }
    DICOMDataObject again(endian);
    EXPECT_EQ(createDumpSave(saved, again), firstDump);
}

template <class Container>
std::string createDumpSave(const DICOMDataObject& source, DICOMDataObject& target) {
    std::unique_ptr<Container> created(Container::create(source));
    created->save(target);
    return created->toString(0);
}

TYPED_TEST(AttributeContainer, EveryAttributeSurvivesCreateAndSaveInBothByteOrders) {
    roundTrip(LittleEndian, TypeParam::description(), &createDumpSave<TypeParam>);
    roundTrip(BigEndian, TypeParam::description(), &createDumpSave<TypeParam>);
}

TYPED_TEST(AttributeContainer, CopiesAndAssignmentsCarryValuesButNoParentOrListeners) {
    DICOMDataObject source;
    putSamples(source, TypeParam::description());
    std::unique_ptr<TypeParam> created(TypeParam::create(source));
    testing::RecordingHandler parent;
    created->setPSChangeHandler(parent);
    RecordingListener listener;
    created->addListener(listener, "");

    TypeParam copy(*created);
    EXPECT_EQ(copy.toString(2), created->toString(2));
    EXPECT_EQ(copy.getPSChangeHandler(), nullptr);
    EXPECT_TRUE(copy.getListenerRegistry().isEmpty());
    EXPECT_FALSE(copy == *created);

    TypeParam assigned;
    assigned.setPSChangeHandler(parent);
    assigned = *created;
    EXPECT_EQ(assigned.toString(2), created->toString(2));
    EXPECT_EQ(assigned.getPSChangeHandler(), nullptr);
    EXPECT_TRUE(parent.heard.empty());
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The line of a dump that shows the attribute of a setter's path ("Class.NameElement").
std::string dumpLine(const std::string& dump, const std::string& path) {
    const std::string start = "its" + path.substr(path.find('.') + 1) + " = ";
    std::size_t position = dump.find(start);
    while (position != std::string::npos && position > 0 && dump[position - 1] != '\n' && dump[position - 1] != ' ')
        position = dump.find(start, position + 1);
    if (position == std::string::npos) return "";
    return dump.substr(position, dump.find('\n', position) - position);
}

// Every setter: the value it sets, the presence bit that goes with it (cleared without losing the
// value), the path its listeners hear, the indexed accessors of arrays, save and create of that
// one attribute, and for a held sequence the path of a change in its item, in copies too.
TYPED_TEST(AttributeContainer, EverySetterSetsReportsAndSavesItsValue) {
    const std::string className = TypeParam::description().name;
    for (const auto& setter : generated::Setters<TypeParam>::all()) {
        SCOPED_TRACE(setter.path);
        TypeParam container;
        RecordingListener listener;
        container.addListener(listener, "");
        setter.set(container);
        ASSERT_FALSE(listener.heard.empty());
        if (setter.addsItem) {
            EXPECT_EQ(listener.heard.size(), 1u);
            EXPECT_EQ(listener.heard[0].rfind("elementUpdated " + className + ".", 0), 0u) << listener.heard[0];
        } else {
            EXPECT_EQ(listener.heard[0], std::string("elementUpdated ") + setter.path);
        }
        const std::string dump = container.toString(0);
        if (setter.isPresent) {
            EXPECT_EQ(container.isEmpty(), 0);
            EXPECT_TRUE(setter.isPresent(container));
            setter.setPresent(container, 0);
            EXPECT_FALSE(setter.isPresent(container));
            setter.setPresent(container, 1);
            EXPECT_EQ(container.toString(0), dump);
        }
        if (setter.setAt) {
            EXPECT_THROW(setter.getAt(TypeParam()), std::out_of_range);
            setter.setAt(container);
            EXPECT_EQ(setter.getAt(container), 7.0);
        }
        if (setter.roundTrips) {
            DICOMDataObject saved;
            container.save(saved);
            std::unique_ptr<TypeParam> created(TypeParam::create(saved));
            EXPECT_EQ(dumpLine(created->toString(0), setter.path), dumpLine(container.toString(0), setter.path));
        }
        if (setter.setGrandchild) {
            TypeParam copy(container);
            RecordingListener onCopy;
            copy.addListener(onCopy, "");
            listener.heard.clear();
            setter.setGrandchild(copy);
            EXPECT_TRUE(listener.heard.empty());
            ASSERT_EQ(onCopy.heard.size(), 1u);
            EXPECT_EQ(onCopy.heard[0].rfind("elementUpdated " + className + ".", 0), 0u) << onCopy.heard[0];
            EXPECT_TRUE(endsWith(onCopy.heard[0], setter.grandchildPath)) << onCopy.heard[0];
        }
    }
}

template <class Sequence>
class GeneratedSequence : public ::testing::Test {};
using Sequences = generated::Sequences<::testing::Types>;
TYPED_TEST_SUITE(GeneratedSequence, Sequences);

TYPED_TEST(GeneratedSequence, OwnsCopiesAndDumpsItsItems) {
    using Item = typename TypeParam::ItemType;
    TypeParam sequence;
    EXPECT_EQ(sequence.length(), 0u);
    EXPECT_EQ(sequence.isPresent(), 0);
    EXPECT_EQ(sequence.toString(0), "");
    sequence.addItem(Item::create(DICOMDataObject()));
    sequence.addItem(new Item);
    EXPECT_EQ(sequence.isPresent(), 1);
    TypeParam copy(sequence);
    ASSERT_EQ(copy.length(), 2u);
    EXPECT_NE(copy.at(1), sequence.at(1));
    EXPECT_EQ(copy.toString(1), sequence.toString(1));
    EXPECT_NE(sequence.toString(0).find("  Item 1:\n"), std::string::npos);
    EXPECT_STREQ(TypeParam::description().itemName, Item::description().name);
}

}  // namespace
}  // namespace refcntr
