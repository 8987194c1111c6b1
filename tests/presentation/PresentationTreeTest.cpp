// The three presentation states as trees: what create makes of an empty data set, the order
// of the presentation entities' modules, replacing and assigning children, and the road of a
// change from an image-indexed item up to a listener on the state for one image frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "refcntr/core/AttributeWriter.h"
#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/general/InformationEntities.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/presentation/DisplayedAreaModule.h"
#include "refcntr/presentation/GraphicAnnotationModule.h"
#include "refcntr/presentation/IdentificationModules.h"
#include "refcntr/presentation/PresentationEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"
#include "refcntr/presentation/ViewerPrivateModules.h"
#include "support/RecordingListener.h"

namespace refcntr {
namespace {

using testing::RecordingListener;
using Heard = std::vector<std::string>;
using Grayscale = GrayscaleSoftcopyPresentationStateCompositeIOD;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// The general entities hold ten modules: file meta 1, patient 2, study 3, series 3, equipment 1.
template <class IOD, class Entity>
void expectSixEntitiesWithEveryModuleEmpty(Entity* (IOD::*presentation)(), const std::string& label,
                                           unsigned presentationModules) {
    std::unique_ptr<IOD> state(IOD::create(DICOMDataObject()));
    ASSERT_NE(((*state).*presentation)(), nullptr);
    const std::string dump = state->toString(0);
    EXPECT_EQ(dump.find("<not present>"), std::string::npos) << dump;
    unsigned emptyModules = 0;
    for (const std::string& line : linesOf(dump))
        if (line.rfind("  its", 0) == 0) emptyModules += line.size() > 10 && line.substr(line.size() - 10) == " = <empty>";
    EXPECT_EQ(emptyModules, 10 + presentationModules) << dump;
    EXPECT_EQ(dump.rfind("itsFileInformationEntity =\n{\n  itsFileMetaInformationModule = <empty>\n}\n"
                         "itsPatientInformationEntity =\n{\n  itsPatientModule = <empty>\n",
                         0),
              0u)
        << dump;
    EXPECT_NE(dump.find("}\n" + label + " =\n{\n  itsPresentationStateIdentificationModule = <empty>\n"),
              std::string::npos)
        << dump;
}

TEST(PresentationStateCreate, EmptyDataSetGivesSixEntitiesWithEveryModulePresentAndEmpty) {
    expectSixEntitiesWithEveryModuleEmpty(&Grayscale::getPresentationInformationEntity,
                                          "itsPresentationInformationEntity", 19);
    expectSixEntitiesWithEveryModuleEmpty(&ColorSoftcopyPresentationStateCompositeIOD::getColorPresentationInformationEntity,
                                          "itsColorPresentationInformationEntity", 15);
    expectSixEntitiesWithEveryModuleEmpty(
        &PseudoColorSoftcopyPresentationStateCompositeIOD::getPseudoColorPresentationInformationEntity,
        "itsPseudoColorPresentationInformationEntity", 20);
}

template <class Entity>
void expectModuleOrder(unsigned count) {
    std::vector<std::string> names;
    for (const std::string& line : linesOf(Entity().toString(0))) names.push_back(line.substr(0, line.find(' ')));
    ASSERT_EQ(names.size(), count);
    auto position = [&names](const char* name) { return std::find(names.begin(), names.end(), name) - names.begin(); };
    EXPECT_EQ(position("itsGraphicAnnotationModule") + 1, position("itsSpatialTransformationModule"));
    EXPECT_EQ(position("itsSpatialTransformationModule") + 1, position("itsGraphicLayerModule"));
    EXPECT_EQ(std::vector<std::string>(names.end() - 3, names.end()),
              (std::vector<std::string>{"itsSOPCommonModule", "itsSharpenModule", "itsZORVIKViewerStateModule"}));
}

TEST(PresentationEntityModules, AnnotationsPrecedeTheSpatialTransformationLayersFollowAndPrivateModulesComeLast) {
    expectModuleOrder<PresentationInformationEntity>(19);
    expectModuleOrder<ColorPresentationInformationEntity>(15);
    expectModuleOrder<PseudoColorPresentationInformationEntity>(20);
}

class CountedSharpenModule : public SharpenModule {
public:
    explicit CountedSharpenModule(int& deletions) : itsDeletions(deletions) {}
    ~CountedSharpenModule() override { ++itsDeletions; }

private:
    int& itsDeletions;
};

TEST(PresentationEntityModules, SettingSharpenModuleToNullDeletesItAndReportsTheModuleName) {
    PresentationInformationEntity entity;
    int deletions = 0;
    entity.setSharpenModule(new CountedSharpenModule(deletions));
    RecordingListener listener;
    entity.addListener(listener, "");
    entity.setSharpenModule(nullptr);
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(entity.isSharpenModulePresent(), 0);
    EXPECT_EQ(listener.heard, Heard{"elementUpdated PresentationInformationEntity.SharpenModule"});
}

TEST(PresentationStateAssignment, CopiesEntitiesFromTheSourceAndBecomesTheirParent) {
    DICOMDataObject labelled;
    attribute::Factory factory(labelled.GetEndian());
    attribute::writeText(labelled, factory, 0x0070, 0x0080, "SOURCE");
    std::unique_ptr<Grayscale> source(Grayscale::create(labelled));
    source->setEquipmentInformationEntity(nullptr);
    std::unique_ptr<Grayscale> target(Grayscale::create(DICOMDataObject()));
    *target = *source;

    EXPECT_EQ(target->isEquipmentInformationEntityPresent(), 0);
    PresentationInformationEntity* entity = target->getPresentationInformationEntity();
    ASSERT_NE(entity, nullptr);
    EXPECT_NE(entity, source->getPresentationInformationEntity());
    EXPECT_EQ(entity->getPSChangeHandler(), target.get());
    PresentationStateIdentificationModule* identification = entity->getPresentationStateIdentificationModule();
    EXPECT_EQ(identification->getContentLabelElement(), "SOURCE");
    EXPECT_EQ(identification->getPSChangeHandler(), entity);

    RecordingListener onSource, onTarget;
    source->addListener(onSource, "");
    target->addListener(onTarget, "");
    identification->setContentLabelElement("TARGET");
    EXPECT_EQ(onTarget.heard, Heard{"elementUpdated GrayscaleSoftcopyPresentationStateCompositeIOD."
                                    "PresentationInformationEntity.PresentationStateIdentificationModule.ContentLabelElement"});
    EXPECT_TRUE(onSource.heard.empty());
}

TEST(PresentationEntityAssignment, CopiesModulesFromTheSourceAndBecomesTheirParent) {
    PseudoColorPresentationInformationEntity source;
    auto* state = new ZORVIKViewerStateModule;
    state->setZORVIKViewerLayoutInfoElement("2x2");
    source.setZORVIKViewerStateModule(state);
    PseudoColorPresentationInformationEntity target;
    target.setSharpenModule(new SharpenModule);
    target = source;
    EXPECT_EQ(target.isSharpenModulePresent(), 0);
    ASSERT_NE(target.getZORVIKViewerStateModule(), nullptr);
    EXPECT_NE(target.getZORVIKViewerStateModule(), state);
    EXPECT_EQ(target.getZORVIKViewerStateModule()->getZORVIKViewerLayoutInfoElement(), "2x2");
    EXPECT_EQ(target.getZORVIKViewerStateModule()->getPSChangeHandler(), &target);
}

// Two images; the displayed-area and annotation items below reference frame 1 of the first.
const char* const shownImage = "1.2.840.1.1";
const char* const otherImage = "1.2.840.1.2";

ReferencedImageSequenceItem* frameOne(const char* uid) {
    auto* image = new ReferencedImageSequenceItem;
    image->setReferencedSOPInstanceUIDElement(uid);
    image->setReferencedFrameNumberElement(new int[1]{1}, 1);
    return image;
}

// Listeners on a state: one for the shown frame, one for another frame of it, one for another image.
struct StateListeners {
    explicit StateListeners(Grayscale& state) {
        state.addListener(shownFrame, shownImage, 1);
        state.addListener(otherFrame, shownImage, 2);
        state.addListener(elsewhere, otherImage);
    }
    RecordingListener shownFrame, otherFrame, elsewhere;
};

TEST(PresentationStateNotification, DisplayedAreaChangeReachesOnlyListenersOfTheItemsImageFrame) {
    DICOMDataObject data;
    {
        DisplayedAreaModule module;
        auto* item = new DisplayedAreaSelectionSequenceItem;
        item->getReferencedImageSequenceElement().addItem(frameOne(shownImage));
        item->setPresentationSizeModeElement("SCALE TO FIT");
        module.getDisplayedAreaSelectionSequenceElement().addItem(item);
        module.save(data);
    }
    std::unique_ptr<Grayscale> state(Grayscale::create(data));
    StateListeners listeners(*state);
    DisplayedAreaSelectionSequenceItem* item =
        state->getPresentationInformationEntity()->getDisplayedAreaModule()->getDisplayedAreaSelectionSequenceElement().at(0);
    item->setDisplayedAreaTLHCElement(new int[2]{1, 1}, 2);
    EXPECT_EQ(listeners.shownFrame.heard,
              Heard{"elementUpdated GrayscaleSoftcopyPresentationStateCompositeIOD.PresentationInformationEntity."
                    "DisplayedAreaModule.DisplayedAreaSelectionSequenceElement.DisplayedAreaSelectionSequenceItem."
                    "DisplayedAreaTLHCElement"});
    EXPECT_TRUE(listeners.otherFrame.heard.empty());
    EXPECT_TRUE(listeners.elsewhere.heard.empty());
}

TEST(PresentationStateNotification, TextObjectChangeClimbsUnderTheAnnotationItemsNameAndImages) {
    DICOMDataObject data;
    {
        GraphicAnnotationModule module;
        auto* annotation = new GraphicAnnotationSequenceItem;
        annotation->getReferencedImageSequenceElement().addItem(frameOne(shownImage));
        annotation->setGraphicLayerElement("LAYER1");
        auto* text = new TextObjectSequenceItem;
        text->setUnformattedTextValueElement("before");
        annotation->getTextObjectSequenceElement().addItem(text);
        module.getGraphicAnnotationSequenceElement().addItem(annotation);
        module.save(data);
    }
    std::unique_ptr<Grayscale> state(Grayscale::create(data));
    PresentationInformationEntity& entity = *state->getPresentationInformationEntity();
    GraphicAnnotationModule& module = *entity.getGraphicAnnotationModule();
    GraphicAnnotationSequence& annotations = module.getGraphicAnnotationSequenceElement();
    GraphicAnnotationSequenceItem& annotation = *annotations.at(0);
    TextObjectSequence& texts = annotation.getTextObjectSequenceElement();
    TextObjectSequenceItem& text = *texts.at(0);
    RecordingListener onText, onTextForOtherImage, onTexts, onAnnotation, onAnnotations, onModule, onEntity;
    text.addListener(onText, "");
    text.addListener(onTextForOtherImage, otherImage);
    texts.addListener(onTexts, "");
    annotation.addListener(onAnnotation, "");
    annotations.addListener(onAnnotations, "");
    module.addListener(onModule, "");
    entity.addListener(onEntity, "");
    StateListeners listeners(*state);

    text.setUnformattedTextValueElement("after");
    const std::string inText = "TextObjectSequenceItem.UnformattedTextValueElement";
    const std::string inAnnotation = "GraphicAnnotationSequenceItem.GraphicAnnotationSequenceElement.TextObjectSequenceElement." + inText;
    const std::string inModule = "GraphicAnnotationModule.GraphicAnnotationSequenceElement." + inAnnotation;
    EXPECT_EQ(onText.heard, Heard{"elementUpdated " + inText});
    EXPECT_EQ(onTextForOtherImage.heard, Heard{"elementUpdated " + inText});
    EXPECT_EQ(onTexts.heard, Heard{"sequenceItemUpdated TextObjectSequence TextObjectSequenceElement." + inText});
    EXPECT_EQ(onAnnotation.heard, Heard{"elementUpdated " + inAnnotation});
    EXPECT_EQ(onAnnotations.heard, Heard{"sequenceItemUpdated GraphicAnnotationSequence GraphicAnnotationSequenceElement." + inAnnotation});
    EXPECT_EQ(onModule.heard, Heard{"elementUpdated " + inModule});
    EXPECT_EQ(onEntity.heard, Heard{"elementUpdated PresentationInformationEntity." + inModule});
    EXPECT_EQ(listeners.shownFrame.heard,
              Heard{"elementUpdated GrayscaleSoftcopyPresentationStateCompositeIOD.PresentationInformationEntity." + inModule});
    EXPECT_TRUE(listeners.otherFrame.heard.empty());
    EXPECT_TRUE(listeners.elsewhere.heard.empty());
}

}  // namespace
}  // namespace refcntr
