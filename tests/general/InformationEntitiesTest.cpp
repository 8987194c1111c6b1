// The patient, study, series and equipment entities: module ownership and replacement, create,
// copies, the dump, and the paths that changes deep inside a module reach the entity with.
#include <gtest/gtest.h>

#include <memory>

#include "refcntr/general/InformationEntities.h"
#include "refcntr/general/PatientModules.h"
#include "refcntr/general/SeriesModules.h"
#include "refcntr/general/StudyModules.h"
#include "refcntr/notify/ReferencedImageSequence.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/presentation/PresentationSeriesModule.h"
#include "notify/NotifyTestSupport.h"
#include "support/RecordingListener.h"

namespace refcntr {
namespace {

using testing::RecordingListener;
using Heard = std::vector<std::string>;

// A general study module that counts its own deletions.
class CountedStudyModule : public GeneralStudyModule {
public:
    explicit CountedStudyModule(int& deletions) : itsDeletions(deletions) {}
    ~CountedStudyModule() override { ++itsDeletions; }

private:
    int& itsDeletions;
};

TEST(EntityDump, EmptyAndAbsentModulesOneLineEachWithTheEntitysIndentation) {
    StudyInformationEntity entity;
    EXPECT_EQ(entity.toString(1),
              "itsGeneralStudyModule = <not present>\n"
              "  itsPatientStudyModule = <not present>\n"
              "  itsClinicalTrialStudyModule = <not present>");
    entity.setGeneralStudyModule(new GeneralStudyModule);
    entity.setClinicalTrialStudyModule(new ClinicalTrialStudyModule);
    EXPECT_EQ(entity.toString(1),
              "itsGeneralStudyModule = <empty>\n"
              "  itsPatientStudyModule = <not present>\n"
              "  itsClinicalTrialStudyModule = <empty>");
}

TEST(ModuleReplacement, ReportsTheModuleNameAndDeletesOnlyAReplacedModule) {
    StudyInformationEntity entity;
    RecordingListener listener;
    entity.addListener(listener, "");
    int deletions = 0;
    auto* first = new CountedStudyModule(deletions);
    entity.setGeneralStudyModule(first);
    entity.setGeneralStudyModule(first);
    EXPECT_EQ(listener.heard, Heard{"elementUpdated StudyInformationEntity.GeneralStudyModule"});
    EXPECT_EQ(deletions, 0);
    EXPECT_EQ(first->getPSChangeHandler(), &entity);

    int secondDeletions = 0;
    entity.setGeneralStudyModule(new CountedStudyModule(secondDeletions));
    EXPECT_EQ(deletions, 1);
    entity.setGeneralStudyModule(nullptr);
    EXPECT_EQ(secondDeletions, 1);
    EXPECT_EQ(entity.isGeneralStudyModulePresent(), 0);
    EXPECT_EQ(listener.heard.size(), 3u);
}

TEST(EntityCreate, EmptyDataSetGivesEveryModuleEmptyAndParented) {
    DICOMDataObject empty;
    std::unique_ptr<SeriesInformationEntity> series(SeriesInformationEntity::create(empty));
    ASSERT_EQ(series->isGeneralSeriesModulePresent(), 1);
    ASSERT_EQ(series->isClinicalTrialSeriesModulePresent(), 1);
    ASSERT_EQ(series->isPresentationSeriesModulePresent(), 1);
    EXPECT_EQ(series->getGeneralSeriesModule()->isEmpty(), 1);
    EXPECT_EQ(series->getPresentationSeriesModule()->isEmpty(), 1);
    EXPECT_EQ(series->getClinicalTrialSeriesModule()->getPSChangeHandler(), series.get());

    std::unique_ptr<PatientInformationEntity> patient(PatientInformationEntity::create(empty));
    EXPECT_EQ(patient->toString(0), "itsPatientModule = <empty>\nitsClinicalTrialSubjectModule = <empty>");
}

TEST(EntityCopy, ModulesAreDeepCopiesThatReportToTheCopy) {
    StudyInformationEntity original;
    auto* study = new GeneralStudyModule;
    study->setStudyIDElement("S1");
    original.setGeneralStudyModule(study);
    original.setPatientStudyModule(new PatientStudyModule);
    RecordingListener onOriginal;
    original.addListener(onOriginal, "");

    StudyInformationEntity copy(original);
    ASSERT_NE(copy.getGeneralStudyModule(), nullptr);
    EXPECT_NE(copy.getGeneralStudyModule(), study);
    EXPECT_EQ(copy.getGeneralStudyModule()->getPSChangeHandler(), &copy);
    EXPECT_EQ(copy.getPatientStudyModule()->getPSChangeHandler(), &copy);
    EXPECT_EQ(copy.isClinicalTrialStudyModulePresent(), 0);
    EXPECT_EQ(copy.toString(0), original.toString(0));
    EXPECT_TRUE(copy.getListenerRegistry().isEmpty());

    RecordingListener onCopy;
    copy.addListener(onCopy, "");
    copy.getGeneralStudyModule()->setStudyIDElement("S2");
    EXPECT_EQ(onCopy.heard, Heard{"elementUpdated StudyInformationEntity.GeneralStudyModule.StudyIDElement"});
    EXPECT_TRUE(onOriginal.heard.empty());
    EXPECT_EQ(study->getStudyIDElement(), "S1");

    StudyInformationEntity assigned;
    assigned.setClinicalTrialStudyModule(new ClinicalTrialStudyModule);
    assigned = original;
    EXPECT_EQ(assigned.isClinicalTrialStudyModulePresent(), 0);
    EXPECT_EQ(assigned.getPatientStudyModule()->getPSChangeHandler(), &assigned);
    EXPECT_EQ(assigned.toString(0), original.toString(0));
}

TEST(ComposedPaths, CodeItemInsidePatientStudyModuleClimbsToTheEntity) {
    StudyInformationEntity entity;
    auto* module = new PatientStudyModule;
    entity.setPatientStudyModule(module);
    auto* item = new AdmittingDiagnosesCodeSequenceItem;
    module->getAdmittingDiagnosesCodeSequenceElement().addItem(item);
    RecordingListener onItem, onModule, onEntity;
    item->addListener(onItem, "");
    module->addListener(onModule, "");
    entity.addListener(onEntity, "");

    item->setCodeValueElement("T-1");
    const std::string modulePath =
        "PatientStudyModule.AdmittingDiagnosesCodeSequenceElement.AdmittingDiagnosesCodeSequenceItem.CodeValueElement";
    EXPECT_EQ(onItem.heard, Heard{"elementUpdated AdmittingDiagnosesCodeSequenceItem.CodeValueElement"});
    EXPECT_EQ(onModule.heard, Heard{"elementUpdated " + modulePath});
    EXPECT_EQ(onEntity.heard, Heard{"elementUpdated StudyInformationEntity." + modulePath});
}

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
    images.addItem(test::imageReference("1.2.3"));
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
