// Build a grayscale softcopy presentation state from nothing and write it.
//
//   build_from_nothing [OUT]
//
// OUT defaults to new-presentation-state.dcm in the current directory. The state applies to
// one CT image and puts a text annotation on it, on a graphic layer of its own. The UIDs are
// fixed so that the output is always the same; an application makes fresh ones (DCMTK:
// dcmGenerateUniqueIdentifier).
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include <refcntr/refcntr.h>

namespace {

using namespace refcntr;
using State = GrayscaleSoftcopyPresentationStateCompositeIOD;

const char* const grayscaleStateClass = "1.2.840.10008.5.1.4.1.1.11.1";
const char* const stateInstance = "2.25.313797845411052139811213574113305297012";
const char* const stateSeries = "2.25.313797845411052139811213574113305297013";
const char* const imageClass = "1.2.840.10008.5.1.4.1.1.2";  // CT image storage
const char* const imageInstance = "2.25.313797845411052139811213574113305297021";
const char* const imageSeries = "2.25.313797845411052139811213574113305297022";
const char* const study = "2.25.313797845411052139811213574113305297031";

// The image the state applies to, as a Referenced Image Sequence item.
ReferencedImageSequenceItem* theImage() {
    auto* image = new ReferencedImageSequenceItem;
    image->setReferencedSOPClassUIDElement(imageClass);
    image->setReferencedSOPInstanceUIDElement(imageInstance);
    return image;
}

void describePatientStudySeriesAndEquipment(State& state) {
    PatientModule& patient = *state.getPatientInformationEntity()->getPatientModule();
    patient.setPatientNameElement("Lindqvist^Maja");
    patient.setPatientIDElement("PID-0042179");
    patient.setPatientBirthDateElement("19650723");
    patient.setPatientSexElement("F");

    // The state belongs to the image's study, in a series of its own.
    GeneralStudyModule& generalStudy = *state.getStudyInformationEntity()->getGeneralStudyModule();
    generalStudy.setStudyInstanceUIDElement(study);
    generalStudy.setStudyDateElement("20240312");
    generalStudy.setStudyTimeElement("093012");
    generalStudy.setReferringPhysicianNameElement("Okafor^Chidi");
    generalStudy.setStudyIDElement("STU-4471");
    generalStudy.setAccessionNumberElement("ACC2403120042");

    SeriesInformationEntity& series = *state.getSeriesInformationEntity();
    series.getGeneralSeriesModule()->setModalityElement("PR");
    series.getGeneralSeriesModule()->setSeriesInstanceUIDElement(stateSeries);
    series.getGeneralSeriesModule()->setSeriesNumberElement(901);
    series.getPresentationSeriesModule()->setModalityElement("PR");

    state.getEquipmentInformationEntity()->getGeneralEquipmentModule()->setManufacturerElement("Zorvik Imaging");
}

void identifyAndReference(PresentationInformationEntity& presentation) {
    PresentationStateIdentificationModule& identification = *presentation.getPresentationStateIdentificationModule();
    identification.setInstanceNumberElement(1);
    identification.setContentLabelElement("NODULE");
    identification.setContentDescriptionElement("Nodule marked for follow-up");
    identification.setPresentationCreationDateElement("20240314");
    identification.setPresentationCreationTimeElement("101522");
    identification.setContentCreatorsNameElement("Okafor^Chidi");

    // The series, and the image of it, that the state applies to. A sequence takes ownership
    // of the items added to it.
    auto* series = new ReferencedSeriesSequenceItem;
    series->setSeriesInstanceUIDElement(imageSeries);
    series->getReferencedImageSequenceElement().addItem(theImage());
    presentation.getPresentationStateRelationshipModule()->getReferencedSeriesSequenceElement().addItem(series);

    // The SOP class and instance; writeDicomFile builds the file meta header from them.
    SOPCommonModule& common = *presentation.getSOPCommonModule();
    common.setSOPClassUIDElement(grayscaleStateClass);
    common.setSOPInstanceUIDElement(stateInstance);
    common.setSpecificCharacterSetElement({"ISO_IR 100"});
}

void annotate(PresentationInformationEntity& presentation) {
    auto* layer = new GraphicLayerSequenceItem;
    layer->setGraphicLayerElement("FINDINGS");
    layer->setGraphicLayerOrderElement(1);
    layer->setGraphicLayerDescriptionElement("Reader findings");
    presentation.getGraphicLayerModule()->getGraphicLayerSequenceElement().addItem(layer);

    // A text in a bounding box, in image pixels. Array setters take ownership of new[] arrays.
    auto* text = new TextObjectSequenceItem;
    text->setBoundingBoxAnnotationUnitsElement("PIXEL");
    text->setUnformattedTextValueElement("Nodule 8 mm, right upper lobe");
    text->setBoundingBoxTLHCElement(new float[2]{300, 150}, 2);
    text->setBoundingBoxBRHCElement(new float[2]{470, 180}, 2);
    text->setBoundingBoxTextHorizontalJustificationElement("LEFT");

    // The annotation names its layer and the image it is drawn on.
    auto* annotation = new GraphicAnnotationSequenceItem;
    annotation->getReferencedImageSequenceElement().addItem(theImage());
    annotation->setGraphicLayerElement("FINDINGS");
    annotation->getTextObjectSequenceElement().addItem(text);
    presentation.getGraphicAnnotationModule()->getGraphicAnnotationSequenceElement().addItem(annotation);
}

// What every grayscale state carries: the area shown and the presentation LUT.
void display(PresentationInformationEntity& presentation) {
    auto* area = new DisplayedAreaSelectionSequenceItem;  // no referenced image: every image
    area->setDisplayedAreaTLHCElement(new int[2]{1, 1}, 2);
    area->setDisplayedAreaBRHCElement(new int[2]{512, 512}, 2);
    area->setPresentationSizeModeElement("SCALE TO FIT");
    area->setPresentationPixelAspectRatioElement(new int[2]{1, 1}, 2);
    presentation.getDisplayedAreaModule()->getDisplayedAreaSelectionSequenceElement().addItem(area);
    presentation.getSoftcopyPresentationLUTModule()->setPresentationLUTShapeElement("IDENTITY");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2) {
        std::cerr << "usage: build_from_nothing [OUT]\n";
        return 2;
    }
    const std::string out = argc > 1 ? argv[1] : "new-presentation-state.dcm";
    try {
        // create on an empty data set gives every entity, each with every module, all empty;
        // the setters fill them in. Modules left empty write nothing.
        const std::unique_ptr<State> state(State::create(DICOMDataObject()));
        describePatientStudySeriesAndEquipment(*state);
        PresentationInformationEntity& presentation = *state->getPresentationInformationEntity();
        identifyAndReference(presentation);
        annotate(presentation);
        display(presentation);

        DICOMDataObject data;
        state->save(data);
        writeDicomFile(out, data, TransferSyntax::ExplicitLittle);
        std::cout << presentation.getGraphicAnnotationModule()->toString(0) << "\nWrote " << out << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "build_from_nothing: " << error.what() << '\n';
        return 1;
    }
}
