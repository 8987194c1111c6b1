// The image-indexed sequences of the presentation modules (displayed areas, graphic
// annotations, softcopy VOI LUTs) as a module's create builds them: which items getItems
// returns for an image, or an image frame, and when it falls back to the items for all images.
#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "refcntr/core/AttributeWriter.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/presentation/DisplayedAreaModule.h"
#include "refcntr/presentation/GraphicAnnotationModule.h"
#include "refcntr/presentation/LUTModules.h"
#include "support/ImageReference.h"

namespace refcntr {
namespace {

template <class Module>
struct Indexed;

template <>
struct Indexed<DisplayedAreaModule> {
    static constexpr UINT16 group = 0x0070, element = 0x005A;
    static auto& sequence(DisplayedAreaModule& module) { return module.getDisplayedAreaSelectionSequenceElement(); }
};

template <>
struct Indexed<GraphicAnnotationModule> {
    static constexpr UINT16 group = 0x0070, element = 0x0001;
    static auto& sequence(GraphicAnnotationModule& module) { return module.getGraphicAnnotationSequenceElement(); }
};

template <>
struct Indexed<SoftcopyVOILUTModule> {
    static constexpr UINT16 group = 0x0028, element = 0x3110;
    static auto& sequence(SoftcopyVOILUTModule& module) { return module.getSoftcopyVOILUTSequenceElement(); }
};

// An item data set that references each (uid, frames) given (none: an item for every image).
DICOMDataObject* itemReferencing(const std::vector<std::pair<const char*, std::vector<int>>>& references) {
    auto* item = new DICOMDataObject;
    if (references.empty()) return item;
    ReferencedImageSequence images;
    for (const auto& [uid, frames] : references) images.addItem(testing::imageReference(uid, frames));
    attribute::Factory factory(item->GetEndian());
    attribute::writeSequence(*item, factory, 0x0008, 0x1140, images);
    return item;
}

template <class Module>
class ImageIndexedModule : public ::testing::Test {
protected:
    // Item 0 applies to every image, item 1 to frames 1 and 3 of image U, item 2 to every frame of V.
    void SetUp() override {
        DICOMDataObject data;
        auto* items = new SequenceVR(Indexed<Module>::group, Indexed<Module>::element);
        items->AddSequenceItem(itemReferencing({}));
        items->AddSequenceItem(itemReferencing({{"U", {1, 3}}}));
        items->AddSequenceItem(itemReferencing({{"V", {}}}));
        data.ReplaceVR(items);
        module.reset(Module::create(data));
        ASSERT_EQ(sequence().length(), 3u);
    }

    const auto& sequence() const { return Indexed<Module>::sequence(*module); }
    ReferencedImageSequence& referencesOf(unsigned position) {
        return Indexed<Module>::sequence(*module).at(position)->getReferencedImageSequenceElement();
    }

    // The positions of the items getItems returns, for a frame or (frame 0) for the whole image.
    std::vector<unsigned> itemsFor(const char* uid, int frame = 0) const {
        std::decay_t<decltype(sequence().items())> found;
        if (frame)
            sequence().getItems(found, uid, frame);
        else
            sequence().getItems(found, uid);
        std::vector<unsigned> positions;
        for (const auto* item : found)
            for (unsigned i = 0; i < sequence().length(); ++i)
                if (sequence().at(i) == item) positions.push_back(i);
        return positions;
    }

    std::unique_ptr<Module> module;
};

using IndexedModules = ::testing::Types<DisplayedAreaModule, GraphicAnnotationModule, SoftcopyVOILUTModule>;
TYPED_TEST_SUITE(ImageIndexedModule, IndexedModules);

using Positions = std::vector<unsigned>;

// Lookups follow each edit of the images an item applies to, in sequence order: an item for every
// image given a reference applies to that image only, and an edited image or frame refiles it.
TYPED_TEST(ImageIndexedModule, EditedReferencesRefileTheItemInSequenceOrder) {
    EXPECT_EQ(this->itemsFor("U", 3), Positions{1});
    EXPECT_EQ(this->itemsFor("V"), Positions{2});
    EXPECT_EQ(this->itemsFor("1.2.3"), Positions{0});
    auto* reference = new ReferencedImageSequenceItem;
    reference->setReferencedSOPInstanceUIDElement("1.2.3");
    this->referencesOf(0).addItem(reference);
    EXPECT_EQ(this->itemsFor("9.9.9"), Positions{});
    EXPECT_EQ(this->itemsFor("1.2.3"), Positions{0});
    this->referencesOf(0).clearAndDestroy();
    EXPECT_EQ(this->itemsFor("9.9.9"), Positions{0});

    ReferencedImageSequenceItem& ofV = *this->referencesOf(2).at(0);
    ofV.setReferencedSOPInstanceUIDElement("U");
    ofV.setReferencedFrameNumberElement(new int[1]{3}, 1);
    EXPECT_EQ(this->itemsFor("U", 3), (Positions{1, 2}));
    EXPECT_EQ(this->itemsFor("V"), Positions{0});
    this->referencesOf(1).at(0)->setReferencedFrameNumberElement(2, 1);
    EXPECT_EQ(this->itemsFor("U", 3), Positions{2});
    EXPECT_EQ(this->itemsFor("U", 2), Positions{1});
    auto& items = Indexed<TypeParam>::sequence(*this->module);
    items.removeItem(items.at(1));
    EXPECT_EQ(this->itemsFor("U", 2), Positions{});
    EXPECT_EQ(this->itemsFor("U", 3), Positions{1});
}

}  // namespace
}  // namespace refcntr
