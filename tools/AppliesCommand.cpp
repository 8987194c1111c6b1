// refcntr applies: the displayed-area, graphic annotation and softcopy VOI LUT items of a
// presentation state that apply to one image, or to one frame of it, as the image-indexed
// sequences find them.
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>

#include "CommandLine.h"
#include "Commands.h"
#include "InputFile.h"
#include "JsonText.h"
#include "StoredObject.h"
#include "refcntr/presentation/DisplayedAreaModule.h"
#include "refcntr/presentation/GraphicAnnotationModule.h"
#include "refcntr/presentation/LUTModules.h"
#include "refcntr/presentation/PresentationEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"

namespace refcntr::cli {

namespace {

// One item that applies: its position in its sequence and its dump.
struct AppliedItem {
    unsigned index;
    RWCString dump;
};

struct AppliedItems {
    std::vector<AppliedItem> displayedAreas;
    std::vector<AppliedItem> annotations;
    std::vector<AppliedItem> voiLUTs;
};

struct ImageFrame {
    RWCString uid;
    std::optional<int> frame;  // any frame when absent
};

template <class IndexedSequence>
std::vector<AppliedItem> itemsOf(const IndexedSequence& sequence, const ImageFrame& image, int indent) {
    RWTPtrOrderedVector<typename IndexedSequence::ItemType> found;
    if (image.frame)
        sequence.getItems(found, image.uid, *image.frame);
    else
        sequence.getItems(found, image.uid);
    std::vector<AppliedItem> result;
    for (const auto* item : found) {
        unsigned index = 0;
        while (index < sequence.length() && sequence.at(index) != item) ++index;
        result.push_back({index, item->toString(indent)});
    }
    return result;
}

// The color presentation state has no softcopy VOI LUT module.
const SoftcopyVOILUTModule* voiLUTModule(const PresentationInformationEntity& entity) {
    return entity.getSoftcopyVOILUTModule();
}
const SoftcopyVOILUTModule* voiLUTModule(const PseudoColorPresentationInformationEntity& entity) {
    return entity.getSoftcopyVOILUTModule();
}
const SoftcopyVOILUTModule* voiLUTModule(const ColorPresentationInformationEntity&) { return nullptr; }

template <class Entity>
AppliedItems entityItems(const Entity* entity, const ImageFrame& image, int indent) {
    AppliedItems result;
    if (entity == nullptr) return result;
    if (const DisplayedAreaModule* module = entity->getDisplayedAreaModule())
        result.displayedAreas = itemsOf(module->getDisplayedAreaSelectionSequenceElement(), image, indent);
    if (const GraphicAnnotationModule* module = entity->getGraphicAnnotationModule())
        result.annotations = itemsOf(module->getGraphicAnnotationSequenceElement(), image, indent);
    if (const SoftcopyVOILUTModule* module = voiLUTModule(*entity))
        result.voiLUTs = itemsOf(module->getSoftcopyVOILUTSequenceElement(), image, indent);
    return result;
}

AppliedItems appliedItems(StoredObjectKind kind, const DICOMDataObject& data, const ImageFrame& image, int indent) {
    switch (kind) {
    case StoredObjectKind::GrayscalePresentationState: {
        const std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
            GrayscaleSoftcopyPresentationStateCompositeIOD::create(data));
        return entityItems(state->getPresentationInformationEntity(), image, indent);
    }
    case StoredObjectKind::ColorPresentationState: {
        const std::unique_ptr<ColorSoftcopyPresentationStateCompositeIOD> state(
            ColorSoftcopyPresentationStateCompositeIOD::create(data));
        return entityItems(state->getColorPresentationInformationEntity(), image, indent);
    }
    case StoredObjectKind::PseudoColorPresentationState: {
        const std::unique_ptr<PseudoColorSoftcopyPresentationStateCompositeIOD> state(
            PseudoColorSoftcopyPresentationStateCompositeIOD::create(data));
        return entityItems(state->getPseudoColorPresentationInformationEntity(), image, indent);
    }
    default: break;
    }
    return AppliedItems();
}

int frameNumber(const std::string& text) {
    int frame = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), frame);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || frame < 1)
        throw UsageError("--frame needs a frame number from 1 up, not '" + text + "'");
    return frame;
}

void printText(std::ostream& out, const AppliedItems& items, const ImageFrame& image) {
    const std::string target =
        "image " + image.uid + (image.frame ? ", frame " + std::to_string(*image.frame) : std::string());
    const std::pair<const char*, const std::vector<AppliedItem>*> kinds[] = {
        {"Displayed area selection items", &items.displayedAreas},
        {"Graphic annotation items", &items.annotations},
        {"Softcopy VOI LUT items", &items.voiLUTs}};
    for (const auto& [heading, list] : kinds) {
        out << heading << " for " << target << ": "
            << (list->empty() ? std::string("none") : std::to_string(list->size())) << '\n';
        for (const AppliedItem& item : *list)
            out << "  Item " << item.index << ":\n  {\n    " << item.dump << "\n  }\n";
    }
}

void printJson(std::ostream& out, const AppliedItems& items, const ImageFrame& image) {
    out << "{\n  \"image\": " << jsonString(image.uid)
        << ",\n  \"frame\": " << (image.frame ? std::to_string(*image.frame) : std::string("null"));
    const std::pair<const char*, const std::vector<AppliedItem>*> kinds[] = {
        {"displayedAreaSelectionItems", &items.displayedAreas},
        {"graphicAnnotationItems", &items.annotations},
        {"softcopyVOILUTItems", &items.voiLUTs}};
    for (const auto& [name, list] : kinds) {
        out << ",\n  \"" << name << "\": [";
        for (std::size_t i = 0; i < list->size(); ++i)
            out << (i == 0 ? "\n    " : ",\n    ") << jsonString((*list)[i].dump);
        out << (list->empty() ? "]" : "\n  ]");
    }
    out << "\n}\n";
}

int applies(const std::vector<std::string>& arguments) {
    const CommandArguments command(arguments, 1, {"--json"}, {"--image", "--frame"});
    const std::string& path = command.operand(0);
    ImageFrame image;
    const std::optional<std::string> uid = command.value("--image");
    if (!uid || uid->empty()) throw UsageError("--image UID is required");
    image.uid = *uid;
    if (const std::optional<std::string> frame = command.value("--frame")) image.frame = frameNumber(*frame);
    const bool json = command.has("--json");

    const auto data = readInputFile(path);
    const StoredObjectKind kind = storedObjectKind(*data);
    if (!isPresentationState(kind)) {
        throw Failure("'" + path + "' is not a softcopy presentation state (" +
                      (kind == StoredObjectKind::MediaDirectory ? std::string("it is a media directory")
                                                                : describeSOPClass(*data)) +
                      ")");
    }
    AppliedItems items;
    try {
        items = appliedItems(kind, *data, image, json ? 0 : 2);
    } catch (const std::exception& error) {
        throw Failure("cannot read '" + path + "' as a " + kindName(kind) + ": " + error.what());
    }
    if (json)
        printJson(std::cout, items, image);
    else
        printText(std::cout, items, image);
    std::cout.flush();
    if (!std::cout) throw Failure("cannot list the items of '" + path + "': standard output failed");
    return exitSuccess;
}

}  // namespace

const Command appliesCommand = {
    "applies", "refcntr applies FILE --image UID [--frame N] [--json]",
    "list the items of a presentation state that apply to an image or frame",
    "Lists the displayed area selection, graphic annotation and softcopy VOI LUT items of a\n"
    "presentation state that apply to the image with SOP instance UID, or with --frame to frame\n"
    "N of it, as the presentation state's image index finds them: for a frame, the items that\n"
    "reference that frame, else those that reference the whole image; for an image, the items\n"
    "that reference it, else those that reference no image. With --json the three lists are\n"
    "printed as a JSON object of item dumps.\n",
    applies};

}  // namespace refcntr::cli
