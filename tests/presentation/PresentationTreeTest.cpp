// The road of a change from an image-indexed item up to a listener on the state for one image
// frame, and the names it climbs under.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/presentation/GraphicAnnotationModule.h"
#include "refcntr/presentation/PresentationEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"
#include "support/ImageReference.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::RecordingListener;
using Heard = std::vector<std::string>;
using Grayscale = GrayscaleSoftcopyPresentationStateCompositeIOD;

// Two images; the annotation item below references frame 1 of the first.
const char* const shownImage = "1.2.840.1.1";
const char* const otherImage = "1.2.840.1.2";

TEST(PresentationStateNotification, TextObjectChangeClimbsUnderTheAnnotationItemsNameAndImages) {
    DICOMDataObject data;
    {
        GraphicAnnotationModule module;
        auto* annotation = new GraphicAnnotationSequenceItem;
        annotation->getReferencedImageSequenceElement().addItem(testing::imageReference(shownImage, {1}));
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
    RecordingListener onShownFrame, onOtherFrame, onOtherImage;
    state->addListener(onShownFrame, shownImage, 1);
    state->addListener(onOtherFrame, shownImage, 2);
    state->addListener(onOtherImage, otherImage);

    text.setUnformattedTextValueElement("after");
    const std::string inText = "TextObjectSequenceItem.UnformattedTextValueElement";
    const std::string inAnnotation =
        "GraphicAnnotationSequenceItem.GraphicAnnotationSequenceElement.TextObjectSequenceElement." + inText;
    const std::string inModule = "GraphicAnnotationModule.GraphicAnnotationSequenceElement." + inAnnotation;
    EXPECT_EQ(onText.heard, Heard{"elementUpdated " + inText});
    EXPECT_EQ(onTextForOtherImage.heard, Heard{"elementUpdated " + inText});
    EXPECT_EQ(onTexts.heard, Heard{"sequenceItemUpdated TextObjectSequence TextObjectSequenceElement." + inText});
    EXPECT_EQ(onAnnotation.heard, Heard{"elementUpdated " + inAnnotation});
    EXPECT_EQ(onAnnotations.heard,
              Heard{"sequenceItemUpdated GraphicAnnotationSequence GraphicAnnotationSequenceElement." + inAnnotation});
    EXPECT_EQ(onModule.heard, Heard{"elementUpdated " + inModule});
    EXPECT_EQ(onEntity.heard, Heard{"elementUpdated PresentationInformationEntity." + inModule});
    EXPECT_EQ(onShownFrame.heard,
              Heard{"elementUpdated GrayscaleSoftcopyPresentationStateCompositeIOD.PresentationInformationEntity." +
                    inModule});
    EXPECT_TRUE(onOtherFrame.heard.empty());
    EXPECT_TRUE(onOtherImage.heard.empty());
}

}  // namespace
}  // namespace refcntr
