// The paths of relayed sequence reports: a module hearing an item added or all items added
// through the base, and a referenced image item relaying under its own name with its images.
#include <gtest/gtest.h>

#include "refcntr/general/InformationEntities.h"
#include "refcntr/general/StudyModules.h"
#include "refcntr/notify/ReferencedImageSequence.h"
#include "support/ImageReference.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::RecordingListener;
using Heard = std::vector<std::string>;

// A general study module in its entity, with a listener on each for every image.
struct StudyEntityListened : ::testing::Test {
    StudyEntityListened() {
        entity.setGeneralStudyModule(module);
        module->addListener(onModule, "");
        entity.addListener(onEntity, "");
    }
    StudyInformationEntity entity;
    GeneralStudyModule* module = new GeneralStudyModule;
    RecordingListener onModule, onEntity;
};

TEST_F(StudyEntityListened, AddingAProcedureCodeReportsTheModuleWithoutTheSequenceName) {
    module->getProcedureCodeSequenceElement().addItem(new ProcedureCodeSequenceItem);
    EXPECT_EQ(onModule.heard, Heard{"elementUpdated GeneralStudyModule.Element"});
    EXPECT_EQ(onEntity.heard, Heard{"elementUpdated StudyInformationEntity.GeneralStudyModule.Element"});
}

TEST_F(StudyEntityListened, AllItemsAddedThroughTheBaseReachesTheModulesListenersAndParentUnchanged) {
    const SequenceBase& procedures = module->getProcedureCodeSequenceElement();
    const ReferencedImageSequence* noImages = nullptr;
    static_cast<PSChangeHandler&>(*module).sequenceAllItemsAdded("ProcedureCodeSequence", &procedures, noImages);
    EXPECT_EQ(onModule.heard, Heard{"sequenceAllItemsAdded ProcedureCodeSequence"});
    EXPECT_EQ(onEntity.heard, Heard{"sequenceAllItemsAdded ProcedureCodeSequence"});

    onModule.heard.clear();
    ReferencedImageSequence* ownImages = nullptr;
    module->sequenceAllItemsAdded("ProcedureCodeSequence", &procedures, ownImages);
    EXPECT_EQ(onModule.heard, Heard{"elementUpdated GeneralStudyModule.ProcedureCodeSequenceElement"});
}

// A referenced image item relays a sequence's report under its own name, with the images it
// was given: only a listener of an image those images reference hears it.
TEST(ComposedPaths, ReferencedImageItemRelaysSequenceReportsUnderItsOwnNameWithTheImagesGiven) {
    ReferencedImageSequence images;
    images.addItem(testing::imageReference("1.2.3"));
    ReferencedImageSequenceItem item;
    RecordingListener ofTheImage, ofAnother;
    item.addListener(ofTheImage, "1.2.3");
    item.addListener(ofAnother, "9.9.9");
    const std::string own = "elementUpdated ReferencedImageSequenceItem.ReferencedImageSequenceElement";
    item.sequenceItemAdded("", nullptr, nullptr, &images);
    item.sequenceItemRemoved("", nullptr, nullptr, &images);
    item.sequenceAllItemsRemoved("", nullptr, &images);
    item.sequenceAllItemsAdded("", nullptr, &images);
    item.sequenceItemUpdated("", nullptr, nullptr, "X.Y", &images);
    EXPECT_EQ(ofTheImage.heard, (Heard{own, own, own, own, own + ".X.Y"}));
    EXPECT_EQ(ofAnother.heard, Heard{});
}

}  // namespace
}  // namespace refcntr
