#include "PresentationStateFiles.h"

#include <fstream>
#include <stdexcept>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmpstat/dcmpstat.h>

namespace refcntr::bench {

namespace {

const char* const imageClass = "1.2.840.10008.5.1.4.1.1.2";

// A small CT image for DCMTK to make the presentation state from.
void makeImage(DcmDataset& image) {
    image.putAndInsertString(DCM_SOPClassUID, imageClass);
    image.putAndInsertString(DCM_SOPInstanceUID, imageUid(0).c_str());
    image.putAndInsertString(DCM_StudyInstanceUID, "1.2.826.0.1.3680043.2.1125.9.100");
    image.putAndInsertString(DCM_SeriesInstanceUID, "1.2.826.0.1.3680043.2.1125.9.101");
    image.putAndInsertString(DCM_PatientName, "Bench^Mark");
    image.putAndInsertString(DCM_PatientID, "B1");
    image.putAndInsertString(DCM_Modality, "CT");
    image.putAndInsertUint16(DCM_SamplesPerPixel, 1);
    image.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
    image.putAndInsertUint16(DCM_Rows, 16);
    image.putAndInsertUint16(DCM_Columns, 16);
    image.putAndInsertUint16(DCM_BitsAllocated, 16);
    image.putAndInsertUint16(DCM_BitsStored, 12);
    image.putAndInsertUint16(DCM_HighBit, 11);
    image.putAndInsertUint16(DCM_PixelRepresentation, 0);
    std::vector<Uint16> pixels(256, 100);
    image.putAndInsertUint16Array(DCM_PixelData, pixels.data(), 256);
}

DcmItem* newItem(DcmItem& parent, const DcmTagKey& sequence) {
    DcmItem* item = nullptr;
    parent.findOrCreateSequenceItem(sequence, item, -2);
    return item;
}

// Annotation i references images 2i and 2i+1 (frame 1 of the second), both listed among the
// referenced images of the state's series so that DCMTK accepts them.
void addAnnotations(DcmDataset& state, long count) {
    DcmItem* series = nullptr;
    state.findOrCreateSequenceItem(DCM_ReferencedSeriesSequence, series, 0);
    for (long i = 0; i < 2 * count; ++i) {
        DcmItem* reference = newItem(*series, DCM_ReferencedImageSequence);
        reference->putAndInsertString(DCM_ReferencedSOPClassUID, imageClass);
        reference->putAndInsertString(DCM_ReferencedSOPInstanceUID, imageUid(i).c_str());
    }
    std::vector<Float32> points(64);
    for (unsigned i = 0; i < points.size(); ++i) points[i] = Float32(i % 16);
    for (long i = 0; i < count; ++i) {
        DcmItem* annotation = newItem(state, DCM_GraphicAnnotationSequence);
        for (long image = 2 * i; image < 2 * i + 2; ++image) {
            DcmItem* reference = newItem(*annotation, DCM_ReferencedImageSequence);
            reference->putAndInsertString(DCM_ReferencedSOPClassUID, imageClass);
            reference->putAndInsertString(DCM_ReferencedSOPInstanceUID, imageUid(image).c_str());
            if (image % 2) reference->putAndInsertString(DCM_ReferencedFrameNumber, "1");
        }
        annotation->putAndInsertString(DCM_GraphicLayer, "LAYER1");
        DcmItem* text = newItem(*annotation, DCM_TextObjectSequence);
        text->putAndInsertString(DCM_AnchorPointAnnotationUnits, "PIXEL");
        text->putAndInsertString(DCM_UnformattedTextValue, ("Finding " + std::to_string(i)).c_str());
        const Float32 anchor[2] = {4.0f, 5.0f};
        text->putAndInsertFloat32Array(DCM_AnchorPoint, anchor, 2);
        text->putAndInsertString(DCM_AnchorPointVisibility, "Y");
        DcmItem* graphic = newItem(*annotation, DCM_GraphicObjectSequence);
        graphic->putAndInsertString(DCM_GraphicAnnotationUnits, "PIXEL");
        graphic->putAndInsertUint16(DCM_GraphicDimensions, 2);
        graphic->putAndInsertUint16(DCM_NumberOfGraphicPoints, 32);
        graphic->putAndInsertFloat32Array(DCM_GraphicData, points.data(), 64);
        graphic->putAndInsertString(DCM_GraphicType, "POLYLINE");
        graphic->putAndInsertString(DCM_GraphicFilled, "N");
    }
    DcmItem* layer = nullptr;
    state.findOrCreateSequenceItem(DCM_GraphicLayerSequence, layer, 0);
    layer->putAndInsertString(DCM_GraphicLayer, "LAYER1");
    layer->putAndInsertString(DCM_GraphicLayerOrder, "1");
}

// A colour state has no grayscale pipeline and carries an ICC profile; a pseudo-colour state
// keeps the modality and VOI stages and adds a palette.
void makeColor(DcmDataset& state, StateKind kind) {
    for (const DcmTagKey& grayscaleOnly : {DCM_PresentationLUTShape, DCM_PresentationLUTSequence})
        delete state.remove(grayscaleOnly);
    if (kind == StateKind::Color) {
        for (const DcmTagKey& tag : {DCM_RescaleIntercept, DCM_RescaleSlope, DCM_RescaleType, DCM_ModalityLUTSequence,
                                     DCM_SoftcopyVOILUTSequence})
            delete state.remove(tag);
        state.putAndInsertString(DCM_SOPClassUID, UID_ColorSoftcopyPresentationStateStorage);
    } else {
        state.putAndInsertString(DCM_SOPClassUID, UID_PseudoColorSoftcopyPresentationStateStorage);
        const Uint16 descriptor[3] = {256, 0, 16};
        std::vector<Uint16> entries(256);
        for (unsigned i = 0; i < entries.size(); ++i) entries[i] = Uint16(i * 257);
        const DcmTagKey descriptors[] = {DCM_RedPaletteColorLookupTableDescriptor,
                                         DCM_GreenPaletteColorLookupTableDescriptor,
                                         DCM_BluePaletteColorLookupTableDescriptor};
        const DcmTagKey tables[] = {DCM_RedPaletteColorLookupTableData, DCM_GreenPaletteColorLookupTableData,
                                    DCM_BluePaletteColorLookupTableData};
        for (int colour = 0; colour < 3; ++colour) {
            state.putAndInsertUint16Array(DcmTag(descriptors[colour], EVR_US), descriptor, 3);
            state.putAndInsertUint16Array(DcmTag(tables[colour], EVR_OW), entries.data(), Uint32(entries.size()));
        }
    }
    std::vector<Uint8> profile(512, 0x42);
    state.putAndInsertUint8Array(DCM_ICCProfile, profile.data(), Uint32(profile.size()));
}

}  // namespace

std::string imageUid(long image) { return "1.2.826.0.1.3680043.2.1125.9." + std::to_string(image); }

void writePresentationState(const std::string& path, StateKind kind, long annotations) {
    if (std::ifstream(path).good()) return;
    DcmDataset image;
    makeImage(image);
    DcmPresentationState state;
    if (state.createFromImage(image).bad()) throw std::runtime_error("DCMTK could not make the presentation state");
    DcmFileFormat file;
    if (state.write(*file.getDataset(), OFTrue).bad()) throw std::runtime_error("DCMTK could not write the state");
    addAnnotations(*file.getDataset(), annotations);
    if (kind != StateKind::Grayscale) makeColor(*file.getDataset(), kind);
    if (file.saveFile(path.c_str(), EXS_LittleEndianExplicit).bad()) throw std::runtime_error("cannot write " + path);
}

}  // namespace refcntr::bench
