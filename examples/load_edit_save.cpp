// Load a grayscale softcopy presentation state, listen to it, edit it, save it and write it.
//
//   load_edit_save [IN [OUT]]
//
// IN defaults to the sample presentation state of the build (samples/), OUT to
// edited-presentation-state.dcm in the current directory.
//
// A viewer shows one frame of one image. It registers three listeners on the presentation
// state: one for every image, one for the image it shows and one for the frame it shows. Then
// it edits the displayed area of that frame, a graphic annotation on another image, a displayed
// area that applies to the whole shown image and the displayed area of every other image, and
// prints after each edit what each listener heard.
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <refcntr/refcntr.h>

namespace {

using namespace refcntr;
using State = GrayscaleSoftcopyPresentationStateCompositeIOD;

// A listener writes down what it hears. PSChangeListener's operations all have empty bodies:
// a viewer overrides those it cares about. On the IOD every change of the tree arrives as
// elementUpdated, with the path of what changed and the images it applies to.
class Recorder : public PSChangeListener {
public:
    void elementUpdated(const RWCString& path, const ReferencedImageSequence*) override {
        heard.push_back("elementUpdated " + path);
    }

    std::vector<std::string> heard;
};

struct Listeners {
    Recorder everyImage;
    Recorder shownImage;
    Recorder shownFrame;
};

// Listeners are told in the order of their addresses, so each keeps its own list and the
// lists are printed in a fixed order.
void printHeard(Listeners& listeners) {
    const std::pair<const char*, Recorder*> all[] = {{"every image", &listeners.everyImage},
                                                     {"shown image", &listeners.shownImage},
                                                     {"shown frame", &listeners.shownFrame}};
    for (const auto& [name, recorder] : all) {
        if (recorder->heard.empty()) std::cout << "  " << name << " heard nothing\n";
        for (const std::string& line : recorder->heard) std::cout << "  " << name << " heard " << line << '\n';
        recorder->heard.clear();
    }
}

int run(const std::string& in, const std::string& out) {
    // Containers do not own their listeners: these outlive the state they listen to.
    Listeners listeners;

    // DCMTK parses the file into a data set; create builds the whole container tree from it.
    // create never fails for a missing attribute: absent modules come back empty.
    const std::unique_ptr<DICOMDataObject> data = readDicomFile(in);
    const std::unique_ptr<State> state(State::create(*data));
    std::cout << "Loaded " << in << '\n';

    PresentationInformationEntity& presentation = *state->getPresentationInformationEntity();
    DisplayedAreaSelectionSequence& areas =
        presentation.getDisplayedAreaModule()->getDisplayedAreaSelectionSequenceElement();
    GraphicAnnotationSequence& annotations =
        presentation.getGraphicAnnotationModule()->getGraphicAnnotationSequenceElement();

    // The image the viewer shows: the first image the presentation state applies to.
    const ReferencedSeriesSequence& series =
        presentation.getPresentationStateRelationshipModule()->getReferencedSeriesSequenceElement();
    if (series.length() == 0 || series.at(0)->getReferencedImageSequenceElement().length() == 0) {
        std::cerr << in << ": the presentation state references no image\n";
        return 1;
    }
    const RWCString shownImage =
        series.at(0)->getReferencedImageSequenceElement().at(0)->getReferencedSOPInstanceUIDElement();
    const int shownFrame = 1;
    std::cout << "The viewer shows frame " << shownFrame << " of image " << shownImage << "\n\n";

    // An empty UID registers for every image, a UID for that image, a UID and a frame for that
    // frame only: the frame's listener hears items that list the frame, not items that apply to
    // the whole image (most writers list no frames), so a viewer registers for its image too.
    state->addListener(listeners.everyImage, "");
    state->addListener(listeners.shownImage, shownImage);
    state->addListener(listeners.shownFrame, shownImage, shownFrame);

    // The image-indexed sequences answer "which items apply to this frame?": those that list
    // the frame, else those that reference the whole image.
    RWTPtrOrderedVector<DisplayedAreaSelectionSequenceItem> found;
    areas.getItems(found, shownImage, shownFrame);
    if (found.empty() || annotations.length() == 0) {
        std::cerr << in << ": no displayed area for the shown frame, or no graphic annotation\n";
        return 1;
    }

    // Array setters take ownership of an array made with new[].
    std::cout << "Edit 1: the displayed area of the shown frame now ends at column 400, row 420\n";
    found.front()->setDisplayedAreaBRHCElement(new int[2]{400, 420}, 2);
    printHeard(listeners);

    // An annotation reports its changes for the images its own Referenced Image Sequence
    // names; this one is on another image, so the shown frame's listener does not hear it.
    GraphicAnnotationSequenceItem& annotation = *annotations.at(0);
    TextObjectSequence& texts = annotation.getTextObjectSequenceElement();
    std::cout << "Edit 2: graphic annotation 0 gets the text \"Reviewed\"\n";
    if (texts.length() > 0) {
        texts.at(0)->setUnformattedTextValueElement("Reviewed");
    } else {
        auto* text = new TextObjectSequenceItem;  // the sequence takes ownership
        text->setUnformattedTextValueElement("Reviewed");
        texts.addItem(text);
    }
    printHeard(listeners);

    // An item that references the shown image without listing frames applies to all of its
    // frames, yet only registrations for every image and for the image hear its changes.
    const ReferencedImageSequenceItem& shownReference = *series.at(0)->getReferencedImageSequenceElement().at(0);
    auto* wholeImage = new DisplayedAreaSelectionSequenceItem;  // the sequence takes ownership
    auto* reference = new ReferencedImageSequenceItem;
    reference->setReferencedSOPClassUIDElement(shownReference.getReferencedSOPClassUIDElement());
    reference->setReferencedSOPInstanceUIDElement(shownImage);
    wholeImage->getReferencedImageSequenceElement().addItem(reference);
    wholeImage->setDisplayedAreaTLHCElement(new int[2]{1, 1}, 2);
    wholeImage->setDisplayedAreaBRHCElement(new int[2]{512, 512}, 2);
    wholeImage->setPresentationPixelAspectRatioElement(new int[2]{1, 1}, 2);
    areas.addItem(wholeImage);
    listeners.everyImage.heard.clear();  // adding the item is a module-level change: all hear it
    listeners.shownImage.heard.clear();
    listeners.shownFrame.heard.clear();
    std::cout << "Edit 3: a displayed area for the whole shown image is scaled to fit\n";
    wholeImage->setPresentationSizeModeElement("SCALE TO FIT");
    printHeard(listeners);

    // An item for every image references no image. A registration for one frame hears only
    // items that list that frame; one for every image hears everything.
    RWTPtrOrderedVector<DisplayedAreaSelectionSequenceItem> forEveryImage;
    areas.getItems(forEveryImage, "");
    if (!forEveryImage.empty()) {
        std::cout << "Edit 4: the displayed area of every other image is shown at true size\n";
        forEveryImage.front()->setPresentationSizeModeElement("TRUE SIZE");
        // True size needs the displayed pixel spacing, in mm.
        forEveryImage.front()->setPresentationPixelSpacingElement(new double[2]{0.5, 0.5}, 2);
        printHeard(listeners);
    }

    // Saved over a copy of what was read: the containers write every attribute they hold,
    // and attributes that no container holds stay as they were. (A viewer that keeps an
    // edited state beside the original also gives it a new SOP instance UID.)
    DICOMDataObject saved(*data);
    state->save(saved);
    writeDicomFile(out, saved, TransferSyntax::ExplicitLittle);
    std::cout << "\nWrote " << out << '\n';
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 3) {
        std::cerr << "usage: load_edit_save [IN [OUT]]\n";
        return 2;
    }
    try {
        return run(argc > 1 ? argv[1] : REFCNTR_SAMPLE_FILE, argc > 2 ? argv[2] : "edited-presentation-state.dcm");
    } catch (const std::exception& error) {
        // readDicomFile and writeDicomFile throw refcntr::RuntimeException naming the file.
        std::cerr << "load_edit_save: " << error.what() << '\n';
        return 1;
    }
}
