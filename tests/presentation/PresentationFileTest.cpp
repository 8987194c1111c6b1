// Presentation states made by independent tools, read into the containers and written back:
// - DCMTK's dcmpsmk makes states from CT images made with DCMTK's API; one is edited in several
//   modules, one (with LUTs, shutters and an overlay) saved into a fresh data set; DCMTK's
//   dcmpschk checks what is written and DCMTK's parse is compared element by element.
// - DCMTK's API makes the three kinds of state with the hard parts (annotations, layers,
//   shutters, overlays in 6000 and 6002, LUTs in US, SS and OW, mask subtraction, palette, ICC
//   profile, the viewer's private block) in each transfer syntax; saved into the data set read
//   and into a fresh one, written in each transfer syntax, they equal the original.
// - The shipped sample saved into a fresh data set equals the original.
#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include <cstdio>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "platform/TestFiles.h"
#include "support/RunProgram.h"
#include "refcntr/factory/UnmodelledAttributes.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/general/InformationEntities.h"
#include "refcntr/general/SOPCommonModule.h"
#include "refcntr/general/StudyModules.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/presentation/DisplayedAreaModule.h"
#include "refcntr/presentation/GraphicAnnotationModule.h"
#include "refcntr/presentation/IdentificationModules.h"
#include "refcntr/presentation/LUTModules.h"
#include "refcntr/presentation/MaskModules.h"
#include "refcntr/presentation/OverlayModules.h"
#include "refcntr/presentation/PresentationEntities.h"
#include "refcntr/presentation/PresentationStateIODs.h"
#include "refcntr/presentation/ShutterModules.h"
#include "refcntr/presentation/ViewerPrivateModules.h"

namespace refcntr {
namespace {

using testfiles::ScratchDirectory;

const TransferSyntax syntaxes[] = {TransferSyntax::ExplicitLittle, TransferSyntax::ExplicitBig,
                                   TransferSyntax::ImplicitLittle};

E_TransferSyntax dcmtkSyntax(TransferSyntax syntax) {
    switch (syntax) {
    case TransferSyntax::ExplicitBig: return EXS_BigEndianExplicit;
    case TransferSyntax::ImplicitLittle: return EXS_LittleEndianImplicit;
    default: break;
    }
    return EXS_LittleEndianExplicit;
}

const char* syntaxName(TransferSyntax syntax) {
    switch (syntax) {
    case TransferSyntax::ExplicitBig: return "EB";
    case TransferSyntax::ImplicitLittle: return "IL";
    default: break;
    }
    return "EL";
}

std::string hexOf(const std::string& text) {
    std::string hex;
    char digits[3];
    for (unsigned char c : text) {
        std::snprintf(digits, sizeof digits, "%02x", c);
        hex += digits;
    }
    return hex;
}

// The value of a non-sequence element as text that is the same for the same numbers whatever
// the byte order and the VR chosen among US, SS and OW: strings without their pad, decimal and
// integer strings as the numbers they hold, binary values as their little-endian bytes in hex.
std::string valueText(DcmElement& element) {
    const DcmEVR vr = element.ident();
    std::string text;
    char number[32];
    if (vr == EVR_DS || vr == EVR_IS) {
        for (unsigned long i = 0; i < element.getVM(); ++i) {
            Float64 decimal = 0;
            Sint32 integer = 0;
            if (vr == EVR_DS ? element.getFloat64(decimal, i).bad() : element.getSint32(integer, i).bad())
                return "unparsable";
            if (vr == EVR_DS)
                std::snprintf(number, sizeof number, "%.17g\\", decimal);
            else
                std::snprintf(number, sizeof number, "%d\\", int(integer));
            text += number;
        }
        return text;
    }
    if (element.isaString()) {
        OFString value;
        element.getOFStringArray(value);
        return value.c_str();
    }
    const Uint32 length = element.getLength();
    std::string bytes(length, '\0');
    if (length > 0 && element.getPartialValue(bytes.data(), 0, length, nullptr, EBO_LittleEndian).bad())
        return "unreadable";
    return hexOf(bytes);
}

std::string tagText(const DcmTagKey& tag) { return tag.toString().c_str(); }

// Every element of `expected` is in `actual` with the same value (and the same VR when
// `sameVRs`), items of sequences included, and `actual` holds nothing else.
void expectSameItem(DcmItem& expected, DcmItem& actual, const std::string& where, bool sameVRs) {
    for (unsigned long i = 0; i < actual.card(); ++i)
        if (!expected.tagExists(actual.getElement(i)->getTag()))
            ADD_FAILURE() << where << tagText(actual.getElement(i)->getTag()) << " was added";
    for (unsigned long i = 0; i < expected.card(); ++i) {
        DcmElement* original = expected.getElement(i);
        const std::string place = where + tagText(original->getTag());
        DcmElement* written = nullptr;
        if (actual.findAndGetElement(original->getTag(), written, OFFalse).bad()) {
            ADD_FAILURE() << place << " was not written";
            continue;
        }
        if (sameVRs) {
            EXPECT_EQ(DcmVR(written->ident()).getVRName(), DcmVR(original->ident()).getVRName()) << place;
        }
        if (original->ident() != EVR_SQ) {
            EXPECT_EQ(valueText(*written), valueText(*original)) << place;
            continue;
        }
        auto& originalItems = static_cast<DcmSequenceOfItems&>(*original);
        auto& writtenItems = static_cast<DcmSequenceOfItems&>(*written);
        ASSERT_EQ(writtenItems.card(), originalItems.card()) << place;
        for (unsigned long item = 0; item < originalItems.card(); ++item)
            expectSameItem(*originalItems.getItem(item), *writtenItems.getItem(item),
                           place + "[" + std::to_string(item) + "]", sameVRs);
    }
}

std::unique_ptr<DcmFileFormat> loadWithDcmtk(const std::string& path) {
    auto file = std::make_unique<DcmFileFormat>();
    EXPECT_TRUE(file->loadFile(path.c_str()).good()) << path;
    return file;
}

// The meta headers are the same but for the transfer syntax, which is the one written, and the
// group length, which follows from it.
void expectSameMeta(DcmFileFormat& original, DcmFileFormat& written, TransferSyntax syntax, const std::string& where) {
    DcmMetaInfo expected(*original.getMetaInfo());
    DcmMetaInfo actual(*written.getMetaInfo());
    OFString transferSyntax;
    actual.findAndGetOFString(DCM_TransferSyntaxUID, transferSyntax);
    EXPECT_EQ(transferSyntax, DcmXfer(dcmtkSyntax(syntax)).getXferID()) << where;
    for (const DcmTagKey& tag : {DCM_FileMetaInformationGroupLength, DCM_TransferSyntaxUID}) {
        delete expected.remove(tag);
        delete actual.remove(tag);
    }
    expectSameItem(expected, actual, where + "meta ", true);
}

// Runs dcmpschk on the file: it passes when it says so and reports no error.
void expectDcmpschkPasses(const ScratchDirectory& scratch, const std::string& file) {
    const std::string report = scratch.File(file + ".dcmpschk");
    const int status = testfiles::runCommand("cd " + testfiles::quoted(scratch.Path().string()) + " && " +
                                             REFCNTR_DCMTK_BIN_DIR "/dcmpschk " + testfiles::quoted(file) + " > " +
                                             testfiles::quoted(report) + " 2>&1");
    const std::string output = testfiles::readWholeFile(report);
    EXPECT_EQ(status, 0) << output;
    EXPECT_NE(output.find("Test passed."), std::string::npos) << output;
    EXPECT_EQ(output.find("\nE: "), std::string::npos) << output;
    EXPECT_EQ(output.find("\nF: "), std::string::npos) << output;
    EXPECT_EQ(output.find("failed"), std::string::npos) << output;
}

// --- DCMTK's API: a CT image and presentation states with the hard parts ---------------------

#define PUT(call) ASSERT_TRUE((call).good()) << #call

enum class Kind { Grayscale, Color, PseudoColor };
const Kind kinds[] = {Kind::Grayscale, Kind::Color, Kind::PseudoColor};

const char* kindName(Kind kind) {
    switch (kind) {
    case Kind::Color: return "color";
    case Kind::PseudoColor: return "pseudo-color";
    case Kind::Grayscale: break;
    }
    return "grayscale";
}

const char* const multiFrameImage = "2.25.71";
const char* const singleFrameImage = "2.25.72";

DcmItem* newItem(DcmItem& parent, const DcmTagKey& sequence) {
    DcmItem* item = nullptr;
    EXPECT_TRUE(parent.findOrCreateSequenceItem(sequence, item, -2).good()) << tagText(sequence);
    return item;
}

// Adds an item referencing an image, limited to some frames when `frames` is not null.
void referenceImage(DcmItem& parent, const char* image, const char* frames) {
    DcmItem& item = *newItem(parent, DCM_ReferencedImageSequence);
    const bool multiFrame = image == std::string(multiFrameImage);
    PUT(item.putAndInsertString(DCM_ReferencedSOPClassUID,
                                multiFrame ? UID_XRayAngiographicImageStorage : UID_CTImageStorage));
    PUT(item.putAndInsertString(DCM_ReferencedSOPInstanceUID, image));
    if (frames) {
        PUT(item.putAndInsertString(DCM_ReferencedFrameNumber, frames));
    }
}

void putFloats(DcmItem& item, const DcmTagKey& tag, const std::vector<Float32>& values) {
    PUT(item.putAndInsertFloat32Array(tag, values.data(), values.size()));
}

void putWords(DcmItem& item, const DcmTag& tag, const std::vector<Uint16>& values) {
    PUT(item.putAndInsertUint16Array(tag, values.data(), values.size()));
}

void putSignedWords(DcmItem& item, const DcmTag& tag, const std::vector<Sint16>& values) {
    PUT(item.putAndInsertSint16Array(tag, values.data(), values.size()));
}

void putLongs(DcmItem& item, const DcmTagKey& tag, const std::vector<Sint32>& values) {
    auto element = std::make_unique<DcmSignedLong>(DcmTag(tag));
    PUT(element->putSint32Array(values.data(), values.size()));
    PUT(item.insert(element.release(), OFTrue));
}

// A graphic object of two-dimensional points; `filled` null leaves Graphic Filled out.
void addGraphic(DcmItem& annotation, const char* units, const std::vector<Float32>& points, const char* type,
                const char* filled) {
    DcmItem& graphic = *newItem(annotation, DCM_GraphicObjectSequence);
    PUT(graphic.putAndInsertString(DCM_GraphicAnnotationUnits, units));
    PUT(graphic.putAndInsertUint16(DCM_GraphicDimensions, 2));
    PUT(graphic.putAndInsertUint16(DCM_NumberOfGraphicPoints, Uint16(points.size() / 2)));
    putFloats(graphic, DCM_GraphicData, points);
    PUT(graphic.putAndInsertString(DCM_GraphicType, type));
    if (filled) {
        PUT(graphic.putAndInsertString(DCM_GraphicFilled, filled));
    }
}

void addAnnotations(DcmItem& data) {
    // Frames 1 and 2 of the multi-frame image: a text in a box, and a text at an anchor point.
    DcmItem& first = *newItem(data, DCM_GraphicAnnotationSequence);
    referenceImage(first, multiFrameImage, "1\\2");
    PUT(first.putAndInsertString(DCM_GraphicLayer, "TEXT"));
    DcmItem& boxed = *newItem(first, DCM_TextObjectSequence);
    PUT(boxed.putAndInsertString(DCM_BoundingBoxAnnotationUnits, "PIXEL"));
    PUT(boxed.putAndInsertString(DCM_UnformattedTextValue, "Stenosis 70%"));
    putFloats(boxed, DCM_BoundingBoxTopLeftHandCorner, {2.5f, 2.0f});
    putFloats(boxed, DCM_BoundingBoxBottomRightHandCorner, {20.0f, 8.75f});
    PUT(boxed.putAndInsertString(DCM_BoundingBoxTextHorizontalJustification, "LEFT"));
    DcmItem& anchored = *newItem(first, DCM_TextObjectSequence);
    PUT(anchored.putAndInsertString(DCM_BoundingBoxAnnotationUnits, "DISPLAY"));
    PUT(anchored.putAndInsertString(DCM_AnchorPointAnnotationUnits, "PIXEL"));
    PUT(anchored.putAndInsertString(DCM_UnformattedTextValue, "Entry point"));
    putFloats(anchored, DCM_BoundingBoxTopLeftHandCorner, {0.1f, 0.1f});
    putFloats(anchored, DCM_BoundingBoxBottomRightHandCorner, {0.4f, 0.2f});
    PUT(anchored.putAndInsertString(DCM_BoundingBoxTextHorizontalJustification, "CENTER"));
    putFloats(anchored, DCM_AnchorPoint, {12.5f, 14.25f});
    PUT(anchored.putAndInsertString(DCM_AnchorPointVisibility, "Y"));

    // The whole single-frame image: an open and a closed filled polyline.
    DcmItem& second = *newItem(data, DCM_GraphicAnnotationSequence);
    referenceImage(second, singleFrameImage, nullptr);
    PUT(second.putAndInsertString(DCM_GraphicLayer, "GRAPHICS"));
    addGraphic(second, "PIXEL", {1.5f, 1.0f, 10.25f, 3.0f, 20.0f, 12.5f, 31.75f, 30.0f}, "POLYLINE", "N");
    addGraphic(second, "DISPLAY", {0.1f, 0.1f, 0.9f, 0.1f, 0.5f, 0.8f, 0.1f, 0.1f}, "POLYLINE", "Y");

    // Every image: a text at an anchor point and a point.
    DcmItem& third = *newItem(data, DCM_GraphicAnnotationSequence);
    PUT(third.putAndInsertString(DCM_GraphicLayer, "TEXT"));
    DcmItem& label = *newItem(third, DCM_TextObjectSequence);
    PUT(label.putAndInsertString(DCM_AnchorPointAnnotationUnits, "DISPLAY"));
    PUT(label.putAndInsertString(DCM_UnformattedTextValue, "Left"));
    putFloats(label, DCM_AnchorPoint, {0.05f, 0.5f});
    PUT(label.putAndInsertString(DCM_AnchorPointVisibility, "N"));
    addGraphic(third, "PIXEL", {16.0f, 16.0f}, "POINT", nullptr);
}

void addLayers(DcmItem& data) {
    const struct {
        const char* name;
        const char* order;
        int grey;
        std::vector<Uint16> lab;
        const char* description;
    } layers[] = {{"TEXT", "1", 65535, {65535, 32768, 32768}, "Reader's notes"},
                  {"GRAPHICS", "2", 32768, {}, nullptr},
                  {"OVERLAYS", "3", -1, {30000, 40000, 20000}, "Overlay planes"}};
    for (const auto& layer : layers) {
        DcmItem& item = *newItem(data, DCM_GraphicLayerSequence);
        PUT(item.putAndInsertString(DCM_GraphicLayer, layer.name));
        PUT(item.putAndInsertString(DCM_GraphicLayerOrder, layer.order));
        if (layer.grey >= 0) {
            PUT(item.putAndInsertUint16(DCM_GraphicLayerRecommendedDisplayGrayscaleValue, Uint16(layer.grey)));
        }
        if (!layer.lab.empty()) putWords(item, DCM_GraphicLayerRecommendedDisplayCIELabValue, layer.lab);
        if (layer.description) {
            PUT(item.putAndInsertString(DCM_GraphicLayerDescription, layer.description));
        }
    }
}

void addOverlay(DcmItem& data, Uint16 group, bool complete) {
    auto tag = [group](Uint16 element) { return DcmTag(group, element); };
    PUT(data.putAndInsertUint16(tag(0x0010), 8));
    PUT(data.putAndInsertUint16(tag(0x0011), 16));
    PUT(data.putAndInsertString(tag(0x0040), complete ? "G" : "R"));
    putSignedWords(data, DcmTag(group, 0x0050, EVR_SS), {complete ? Sint16(1) : Sint16(-3), 2});
    PUT(data.putAndInsertUint16(tag(0x0100), 1));
    PUT(data.putAndInsertUint16(tag(0x0102), 0));
    putWords(data, DcmTag(group, 0x3000, EVR_OW),
             {Uint16(0x8001 + group), 0x4002, 0x2004, 0x1008, 0x0810, 0x0420, 0x0240, 0x0180});
    PUT(data.putAndInsertString(tag(0x1001), "OVERLAYS"));
    PUT(data.putAndInsertString(tag(0x0022), complete ? "Vessel outline" : "Second plane"));
    if (!complete) return;
    PUT(data.putAndInsertString(tag(0x0045), "AUTOMATED"));
    PUT(data.putAndInsertString(tag(0x1500), "VESSEL"));
    PUT(data.putAndInsertString(tag(0x1301), "42"));
    PUT(data.putAndInsertString(tag(0x1302), "103.25"));
    PUT(data.putAndInsertString(tag(0x1303), "-0.5"));
}

void addGeometricShutters(DcmItem& data) {
    PUT(data.putAndInsertString(DCM_ShutterShape, "RECTANGULAR\\CIRCULAR\\POLYGONAL"));
    PUT(data.putAndInsertString(DCM_ShutterLeftVerticalEdge, "2"));
    PUT(data.putAndInsertString(DCM_ShutterRightVerticalEdge, "30"));
    PUT(data.putAndInsertString(DCM_ShutterUpperHorizontalEdge, "3"));
    PUT(data.putAndInsertString(DCM_ShutterLowerHorizontalEdge, "29"));
    PUT(data.putAndInsertString(DCM_CenterOfCircularShutter, "16\\15"));
    PUT(data.putAndInsertString(DCM_RadiusOfCircularShutter, "12"));
    PUT(data.putAndInsertString(DCM_VerticesOfThePolygonalShutter, "1\\1\\1\\32\\32\\16"));
    PUT(data.putAndInsertUint16(DCM_ShutterPresentationValue, 4095));
    putWords(data, DCM_ShutterPresentationColorCIELabValue, {50000, 128, 65535});
}

void addMask(DcmItem& data) {
    DcmItem& tid = *newItem(data, DCM_MaskSubtractionSequence);
    PUT(tid.putAndInsertString(DCM_MaskOperation, "TID"));
    PUT(tid.putAndInsertUint16(DCM_SubtractionItemID, 1));
    putWords(tid, DCM_ApplicableFrameRange, {3, 4});
    PUT(tid.putAndInsertUint16(DCM_ContrastFrameAveraging, 1));
    putFloats(tid, DCM_MaskSubPixelShift, {0.5f, -1.25f});
    PUT(tid.putAndInsertSint16(DCM_TIDOffset, -2));
    PUT(tid.putAndInsertString(DCM_MaskOperationExplanation, "Two frames back"));
    PUT(tid.putAndInsertString(DCM_MaskSelectionMode, "USER"));
    DcmItem& average = *newItem(data, DCM_MaskSubtractionSequence);
    PUT(average.putAndInsertString(DCM_MaskOperation, "AVG_SUB"));
    PUT(average.putAndInsertUint16(DCM_SubtractionItemID, 2));
    putWords(average, DCM_ApplicableFrameRange, {2, 4});
    putWords(average, DCM_MaskFrameNumbers, {1, 2});
    PUT(average.putAndInsertString(DCM_MaskSelectionMode, "SYSTEM"));
    PUT(data.putAndInsertString(DCM_RecommendedViewingMode, "SUB"));
}

// A window for two frames; for the single-frame image, a table in US and one in OW whose
// descriptor is SS (its first mapped value is negative).
void addVOI(DcmItem& data, bool tables) {
    DcmItem& window = *newItem(data, DCM_SoftcopyVOILUTSequence);
    referenceImage(window, multiFrameImage, "1\\3");
    PUT(window.putAndInsertString(DCM_WindowCenter, "40\\-50.5"));
    PUT(window.putAndInsertString(DCM_WindowWidth, "400\\1250"));
    PUT(window.putAndInsertString(DCM_WindowCenterWidthExplanation, "SOFT\\BONE"));
    PUT(window.putAndInsertString(DCM_VOILUTFunction, "LINEAR"));
    if (!tables) return;
    DcmItem& lut = *newItem(data, DCM_SoftcopyVOILUTSequence);
    referenceImage(lut, singleFrameImage, nullptr);
    DcmItem& inUS = *newItem(lut, DCM_VOILUTSequence);
    putWords(inUS, DcmTag(DCM_LUTDescriptor, EVR_US), {4, 0, 12});
    PUT(inUS.putAndInsertString(DCM_LUTExplanation, "US table"));
    putWords(inUS, DcmTag(DCM_LUTData, EVR_US), {0, 1000, 2000, 4095});
    DcmItem& inOW = *newItem(lut, DCM_VOILUTSequence);
    putSignedWords(inOW, DcmTag(DCM_LUTDescriptor, EVR_SS), {4, -2, 12});
    PUT(inOW.putAndInsertString(DCM_LUTExplanation, "OW table"));
    putWords(inOW, DcmTag(DCM_LUTData, EVR_OW), {4095, 0x0A0B, 7, 0});
}

// The viewer's private block, reserved by ZORVIK0 as block `block` of group 0023.
void addPrivateBlock(DcmItem& data, Uint16 block) {
    auto tag = [block](Uint16 offset, DcmEVR vr) { return DcmTag(0x0023, Uint16(block << 8 | offset), vr); };
    PUT(data.putAndInsertString(DcmTag(0x0023, block, EVR_LO), "ZORVIK0"));
    PUT(data.putAndInsertString(tag(0x51, EVR_LT), "layout=2x1;sync=scroll"));
    PUT(data.putAndInsertString(tag(0x44, EVR_LO), "C1\\C2\\C3\\T1"));
    PUT(data.putAndInsertString(tag(0x53, EVR_LT), "step=3/5;name=Compare prior"));
    PUT(data.putAndInsertString(tag(0x46, EVR_LO), "UNSHARP_MASK"));
    PUT(data.putAndInsertUint16(tag(0x47, EVR_US), 3));
    PUT(data.putAndInsertUint16(tag(0x48, EVR_US), 3));
    const Float32 kernel[9] = {0, -0.125f, 0, -0.125f, 1.5f, -0.125f, 0, -0.125f, 0};
    PUT(data.putAndInsertFloat32Array(tag(0x49, EVR_FL), kernel, 9));
}

// A CT image; `tables` gives it a modality LUT, a VOI LUT, two shutters and an overlay plane in
// place of rescale and window, which dcmpsmk copies into its presentation state.
void writeCTImage(const std::string& path, bool tables) {
    DcmFileFormat file;
    DcmDataset& data = *file.getDataset();
    const std::pair<DcmTagKey, const char*> texts[] = {{DCM_SOPClassUID, UID_CTImageStorage},
                                                       {DCM_SOPInstanceUID, "2.25.4711"},
                                                       {DCM_PatientName, "Doe^Jane"},
                                                       {DCM_PatientID, "P1"},
                                                       {DCM_PatientBirthDate, "19700101"},
                                                       {DCM_PatientSex, "F"},
                                                       {DCM_StudyInstanceUID, "2.25.101"},
                                                       {DCM_StudyDate, "20240102"},
                                                       {DCM_StudyTime, "101500"},
                                                       {DCM_ReferringPhysicianName, "Ref^Doc"},
                                                       {DCM_StudyID, "S1"},
                                                       {DCM_AccessionNumber, "A1"},
                                                       {DCM_SeriesInstanceUID, "2.25.1011"},
                                                       {DCM_Modality, "CT"},
                                                       {DCM_SeriesNumber, "1"},
                                                       {DCM_InstanceNumber, "1"},
                                                       {DCM_Manufacturer, "Test"},
                                                       {DCM_PhotometricInterpretation, "MONOCHROME2"},
                                                       {DCM_PixelSpacing, "0.5\\0.5"}};
    for (const auto& [tag, value] : texts) PUT(data.putAndInsertString(tag, value));
    if (tables) {
        DcmItem& modality = *newItem(data, DCM_ModalityLUTSequence);
        putWords(modality, DcmTag(DCM_LUTDescriptor, EVR_US), {4, 0, 16});
        PUT(modality.putAndInsertString(DCM_LUTExplanation, "To HU"));
        PUT(modality.putAndInsertString(DCM_ModalityLUTType, "HU"));
        putWords(modality, DcmTag(DCM_LUTData, EVR_US), {0, 100, 2000, 65535});
        DcmItem& voi = *newItem(data, DCM_VOILUTSequence);
        putWords(voi, DcmTag(DCM_LUTDescriptor, EVR_US), {4, 0, 12});
        PUT(voi.putAndInsertString(DCM_LUTExplanation, "Soft tissue"));
        putWords(voi, DcmTag(DCM_LUTData, EVR_US), {0, 1000, 2000, 4095});
        PUT(data.putAndInsertString(DCM_ShutterShape, "RECTANGULAR\\CIRCULAR"));
        PUT(data.putAndInsertString(DCM_ShutterLeftVerticalEdge, "1"));
        PUT(data.putAndInsertString(DCM_ShutterRightVerticalEdge, "7"));
        PUT(data.putAndInsertString(DCM_ShutterUpperHorizontalEdge, "2"));
        PUT(data.putAndInsertString(DCM_ShutterLowerHorizontalEdge, "8"));
        PUT(data.putAndInsertString(DCM_CenterOfCircularShutter, "4\\5"));
        PUT(data.putAndInsertString(DCM_RadiusOfCircularShutter, "3"));
        PUT(data.putAndInsertUint16(DCM_ShutterPresentationValue, 100));
        addOverlay(data, 0x6000, false);
    } else {
        const std::pair<DcmTagKey, const char*> window[] = {{DCM_WindowCenter, "40"},
                                                            {DCM_WindowWidth, "400"},
                                                            {DCM_RescaleIntercept, "-1024"},
                                                            {DCM_RescaleSlope, "1"}};
        for (const auto& [tag, value] : window) PUT(data.putAndInsertString(tag, value));
    }
    const std::pair<DcmTagKey, Uint16> numbers[] = {
        {DCM_SamplesPerPixel, 1},    {DCM_Rows, 8},        {DCM_Columns, 8},
        {DCM_BitsAllocated, 16},     {DCM_BitsStored, 12}, {DCM_HighBit, 11},
        {DCM_PixelRepresentation, 0}};
    for (const auto& [tag, value] : numbers) PUT(data.putAndInsertUint16(tag, value));
    Uint16 pixels[64];
    for (unsigned i = 0; i < 64; ++i) pixels[i] = Uint16(i * 60);
    PUT(data.putAndInsertUint16Array(DCM_PixelData, pixels, 64));
    PUT(file.saveFile(path.c_str(), EXS_LittleEndianExplicit));
}

void writeState(Kind kind, const std::string& path, TransferSyntax syntax) {
    DcmFileFormat file;
    DcmDataset& data = *file.getDataset();
    const char* sopClass = kind == Kind::Grayscale ? UID_GrayscaleSoftcopyPresentationStateStorage
                           : kind == Kind::Color   ? UID_ColorSoftcopyPresentationStateStorage
                                                   : UID_PseudoColorSoftcopyPresentationStateStorage;
    const std::pair<DcmTagKey, const char*> texts[] = {{DCM_SOPClassUID, sopClass},
                                                       {DCM_SOPInstanceUID, "2.25.5001"},
                                                       {DCM_SpecificCharacterSet, "ISO_IR 100"},
                                                       {DCM_InstanceCreationDate, "20240314"},
                                                       {DCM_InstanceCreationTime, "101522"},
                                                       {DCM_PatientName, "Lindqvist^Maja"},
                                                       {DCM_PatientID, "PID-42"},
                                                       {DCM_PatientBirthDate, "19650723"},
                                                       {DCM_PatientSex, "F"},
                                                       {DCM_StudyInstanceUID, "2.25.301"},
                                                       {DCM_StudyDate, "20240312"},
                                                       {DCM_StudyTime, "093012"},
                                                       {DCM_ReferringPhysicianName, "Okafor^Chidi"},
                                                       {DCM_StudyID, "STU-1"},
                                                       {DCM_AccessionNumber, "ACC1"},
                                                       {DCM_Modality, "PR"},
                                                       {DCM_SeriesInstanceUID, "2.25.938"},
                                                       {DCM_SeriesNumber, "901"},
                                                       {DCM_Manufacturer, "Zorvik Imaging"},
                                                       {DCM_InstanceNumber, "3"},
                                                       {DCM_ContentLabel, "REVIEW"},
                                                       {DCM_ContentDescription, "Angio review"},
                                                       {DCM_PresentationCreationDate, "20240314"},
                                                       {DCM_PresentationCreationTime, "101522.25"},
                                                       {DCM_ContentCreatorName, "Okafor^Chidi"},
                                                       {DCM_ImageHorizontalFlip, "Y"}};
    for (const auto& [tag, value] : texts) PUT(data.putAndInsertString(tag, value));
    PUT(data.putAndInsertUint16(DCM_ImageRotation, 90));

    DcmItem& series = *newItem(data, DCM_ReferencedSeriesSequence);
    PUT(series.putAndInsertString(DCM_SeriesInstanceUID, "2.25.1011"));
    referenceImage(series, multiFrameImage, "1\\2\\3\\4");
    referenceImage(series, singleFrameImage, nullptr);

    DcmItem& someFrames = *newItem(data, DCM_DisplayedAreaSelectionSequence);
    referenceImage(someFrames, multiFrameImage, "1");
    putLongs(someFrames, DCM_DisplayedAreaTopLeftHandCorner, {-4, 1});
    putLongs(someFrames, DCM_DisplayedAreaBottomRightHandCorner, {36, 32});
    PUT(someFrames.putAndInsertString(DCM_PresentationSizeMode, "MAGNIFY"));
    PUT(someFrames.putAndInsertString(DCM_PresentationPixelAspectRatio, "1\\2"));
    PUT(someFrames.putAndInsertFloat32(DCM_PresentationPixelMagnificationRatio, 2.5f));
    DcmItem& everyImage = *newItem(data, DCM_DisplayedAreaSelectionSequence);
    putLongs(everyImage, DCM_DisplayedAreaTopLeftHandCorner, {1, 1});
    putLongs(everyImage, DCM_DisplayedAreaBottomRightHandCorner, {32, 32});
    PUT(everyImage.putAndInsertString(DCM_PresentationSizeMode, "TRUE SIZE"));
    PUT(everyImage.putAndInsertString(DCM_PresentationPixelSpacing, "0.25\\0.3125"));

    addAnnotations(data);
    addLayers(data);
    addOverlay(data, 0x6000, true);
    addOverlay(data, 0x6002, false);
    addPrivateBlock(data, 0x10);

    if (kind == Kind::Color) {
        PUT(data.putAndInsertString(DCM_ShutterShape, "BITMAP"));
        PUT(data.putAndInsertUint16(DCM_ShutterOverlayGroup, 0x6000));
        putWords(data, DCM_ShutterPresentationColorCIELabValue, {0, 32768, 32768});
    } else {
        addGeometricShutters(data);
        addMask(data);
        addVOI(data, kind == Kind::Grayscale);
    }
    if (kind == Kind::Grayscale) {
        DcmItem& modality = *newItem(data, DCM_ModalityLUTSequence);
        putWords(modality, DcmTag(DCM_LUTDescriptor, EVR_US), {3, 0, 16});
        PUT(modality.putAndInsertString(DCM_LUTExplanation, "To Hounsfield units"));
        PUT(modality.putAndInsertString(DCM_ModalityLUTType, "HU"));
        putWords(modality, DcmTag(DCM_LUTData, EVR_US), {0, 1024, 4096});
        DcmItem& presentation = *newItem(data, DCM_PresentationLUTSequence);
        putWords(presentation, DcmTag(DCM_LUTDescriptor, EVR_US), {4, 0, 10});
        PUT(presentation.putAndInsertString(DCM_LUTExplanation, "Gamma"));
        putWords(presentation, DcmTag(DCM_LUTData, EVR_OW), {0, 300, 600, 1023});
    }
    if (kind == Kind::PseudoColor) {
        PUT(data.putAndInsertString(DCM_RescaleIntercept, "-1024"));
        PUT(data.putAndInsertString(DCM_RescaleSlope, "0.5"));
        PUT(data.putAndInsertString(DCM_RescaleType, "HU"));
        const DcmTagKey descriptors[] = {DCM_RedPaletteColorLookupTableDescriptor,
                                         DCM_GreenPaletteColorLookupTableDescriptor,
                                         DCM_BluePaletteColorLookupTableDescriptor};
        for (const DcmTagKey& descriptor : descriptors) putSignedWords(data, DcmTag(descriptor, EVR_SS), {8, -4, 16});
        PUT(data.putAndInsertString(DCM_PaletteColorLookupTableUID, "2.25.777"));
        const DcmTagKey tables[] = {DCM_RedPaletteColorLookupTableData, DCM_GreenPaletteColorLookupTableData,
                                    DCM_BluePaletteColorLookupTableData};
        Uint16 shift = 0;
        for (const DcmTagKey& table : tables) {
            std::vector<Uint16> entries;
            for (Uint16 i = 0; i < 8; ++i) entries.push_back(Uint16((i * 8191) ^ (0x0F0F << shift)));
            putWords(data, DcmTag(table, EVR_OW), entries);
            ++shift;
        }
        putWords(data, DcmTag(DCM_SegmentedRedPaletteColorLookupTableData, EVR_OW), {0, 1, 0, 1, 1, 65535});
        putWords(data, DcmTag(DCM_SegmentedGreenPaletteColorLookupTableData, EVR_OW), {0, 1, 65535, 1, 1, 0});
        putWords(data, DcmTag(DCM_SegmentedBluePaletteColorLookupTableData, EVR_OW), {0, 1, 32768});
    }
    if (kind != Kind::Grayscale) {
        std::vector<Uint8> profile(128);
        for (unsigned i = 0; i < profile.size(); ++i) profile[i] = Uint8(i * 37 + 5);
        PUT(data.putAndInsertUint8Array(DCM_ICCProfile, profile.data(), profile.size()));
    }
    PUT(file.saveFile(path.c_str(), dcmtkSyntax(syntax)));
}

#undef PUT

std::string stateFile(Kind kind, TransferSyntax syntax) {
    return std::string(kindName(kind)) + "-" + syntaxName(syntax) + ".dcm";
}

// Creates the IOD of the kind from `read` and saves it into `target`.
void createAndSave(Kind kind, const DICOMDataObject& read, DICOMDataObject& target) {
    switch (kind) {
    case Kind::Grayscale:
        std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD>(
            GrayscaleSoftcopyPresentationStateCompositeIOD::create(read))
            ->save(target);
        return;
    case Kind::Color:
        std::unique_ptr<ColorSoftcopyPresentationStateCompositeIOD>(
            ColorSoftcopyPresentationStateCompositeIOD::create(read))
            ->save(target);
        return;
    case Kind::PseudoColor:
        std::unique_ptr<PseudoColorSoftcopyPresentationStateCompositeIOD>(
            PseudoColorSoftcopyPresentationStateCompositeIOD::create(read))
            ->save(target);
        return;
    }
}

class PresentationFile : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // Odd-length UIDs are written padded with a blank, which DCMTK warns about on reading.
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        scratch = new ScratchDirectory;
        writeCTImage(scratch->File("CT.dcm"), false);
        writeCTImage(scratch->File("CT-TABLES.dcm"), true);
        const std::string in = "cd " + testfiles::quoted(scratch->Path().string()) + " && ";
        for (const char* arguments :
             {"+te CT.dcm PS-EL.dcm", "+tb CT.dcm PS-EB.dcm", "+te CT-TABLES.dcm PS-TABLES-EL.dcm",
              "+tb CT-TABLES.dcm PS-TABLES-EB.dcm", "+te -lm FSID 2.25.55 CT.dcm PS-MEDIA.dcm"})
            ASSERT_EQ(testfiles::runCommand(in + REFCNTR_DCMTK_BIN_DIR "/dcmpsmk -q " + arguments), 0) << arguments;
        for (Kind kind : kinds)
            for (TransferSyntax syntax : syntaxes) writeState(kind, scratch->File(stateFile(kind, syntax)), syntax);
    }
    static void TearDownTestSuite() { delete scratch; }

    static ScratchDirectory* scratch;
};
ScratchDirectory* PresentationFile::scratch = nullptr;

// --- dcmpsmk's state, edited in several modules ------------------------------------------------

struct Edited {
    DcmTagKey sequence;  // the first item of this sequence holds the element; none: the data set
    DcmTagKey tag;
};
const Edited editedElements[] = {
    {DcmTagKey(), DCM_ContentLabel},
    {DcmTagKey(), DCM_ContentDescription},
    {DCM_DisplayedAreaSelectionSequence, DCM_PresentationSizeMode},
    {DCM_DisplayedAreaSelectionSequence, DCM_PresentationPixelSpacing},
    {DCM_SoftcopyVOILUTSequence, DCM_WindowCenter},
    {DCM_SoftcopyVOILUTSequence, DCM_WindowWidth},
    {DcmTagKey(), DCM_PresentationLUTShape},
    {DcmTagKey(), DCM_StudyDescription},
    {DcmTagKey(), DCM_InstanceCreationTime},
};

DcmItem& holderOf(DcmDataset& data, const Edited& edited) {
    if (edited.sequence == DcmTagKey()) return data;
    DcmItem* item = nullptr;
    EXPECT_TRUE(data.findAndGetSequenceItem(edited.sequence, item, 0).good()) << tagText(edited.sequence);
    return item ? *item : static_cast<DcmItem&>(data);
}

std::string textOf(DcmDataset& data, const Edited& edited) {
    DcmElement* element = nullptr;
    if (holderOf(data, edited).findAndGetElement(edited.tag, element).bad()) return "<absent>";
    return valueText(*element);
}

TEST_F(PresentationFile, DcmpsmkStateEditedInSeveralModulesPassesDcmpschkAndKeepsEveryOtherElement) {
    const std::pair<TransferSyntax, const char*> inputs[] = {{TransferSyntax::ExplicitLittle, "PS-EL.dcm"},
                                                             {TransferSyntax::ExplicitBig, "PS-EB.dcm"}};
    for (const auto& [syntax, name] : inputs) {
        SCOPED_TRACE(name);
        expectDcmpschkPasses(*scratch, name);
        const std::unique_ptr<DICOMDataObject> read = readDicomFile(scratch->File(name));
        ASSERT_EQ(read->GetEndian(), syntax == TransferSyntax::ExplicitBig ? BigEndian : LittleEndian);
        std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
            GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
        PresentationInformationEntity& presentation = *state->getPresentationInformationEntity();
        presentation.getPresentationStateIdentificationModule()->setContentLabelElement("EDITED_LABEL");
        presentation.getPresentationStateIdentificationModule()->setContentDescriptionElement("Soft tissue, zoomed");
        DisplayedAreaSelectionSequence& areas =
            presentation.getDisplayedAreaModule()->getDisplayedAreaSelectionSequenceElement();
        ASSERT_EQ(areas.length(), 1u);
        areas.at(0)->setPresentationSizeModeElement("TRUE SIZE");
        areas.at(0)->setPresentationPixelSpacingElement(new double[2]{0.25, 0.3125}, 2);
        SoftcopyVOILUTSequence& windows = presentation.getSoftcopyVOILUTModule()->getSoftcopyVOILUTSequenceElement();
        ASSERT_EQ(windows.length(), 1u);
        ASSERT_EQ(windows.at(0)->getWindowCenterElementLength(), 1u);
        windows.at(0)->setWindowCenterElement(-60.5, 0);
        windows.at(0)->setWindowWidthElement(350.0, 0);
        presentation.getSoftcopyPresentationLUTModule()->setPresentationLUTShapeElement("INVERSE");
        state->getStudyInformationEntity()->getGeneralStudyModule()->setStudyDescriptionElement("CT HEAD EDITED");
        presentation.getSOPCommonModule()->setInstanceCreationTimeElement("235959");
        state->save(*read);
        const std::string written = std::string("EDITED-") + name;
        writeDicomFile(scratch->File(written), *read, syntax);

        expectDcmpschkPasses(*scratch, written);
        const auto original = loadWithDcmtk(scratch->File(name));
        const auto edited = loadWithDcmtk(scratch->File(written));
        EXPECT_EQ(DcmXfer(edited->getDataset()->getOriginalXfer()).getXfer(), dcmtkSyntax(syntax));
        DcmDataset& after = *edited->getDataset();
        DcmDataset& before = *original->getDataset();
        const std::string expected[] = {
            "EDITED_LABEL", "Soft tissue, zoomed", "TRUE SIZE", "0.25\\0.3125\\", "-60.5\\", "350\\",
            "INVERSE",      "CT HEAD EDITED",      "235959"};
        for (unsigned i = 0; i < std::size(editedElements); ++i) {
            EXPECT_EQ(textOf(after, editedElements[i]), expected[i]) << tagText(editedElements[i].tag);
            EXPECT_NE(textOf(before, editedElements[i]), expected[i]) << tagText(editedElements[i].tag);
            delete holderOf(after, editedElements[i]).remove(editedElements[i].tag);
            delete holderOf(before, editedElements[i]).remove(editedElements[i].tag);
        }
        expectSameItem(before, after, "", true);
        expectSameMeta(*original, *edited, syntax, "");
    }
}

// dcmpsmk's state of an image with a modality LUT, a VOI LUT, shutters and an overlay holds
// tables in OW, type 2 elements without value and the overlay's activation layer: saved into a
// fresh data set it is the same file, in any transfer syntax, and dcmpschk still passes.
TEST_F(PresentationFile, DcmpsmkStateWithTablesShuttersAndOverlaySavedIntoAFreshDataSetIsTheSame) {
    for (const char* name : {"PS-TABLES-EL.dcm", "PS-TABLES-EB.dcm"}) {
        const std::unique_ptr<DICOMDataObject> read = readDicomFile(scratch->File(name));
        std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
            GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
        ASSERT_EQ(
            state->getPresentationInformationEntity()->getOverlayActivationModule()->getOverlayActivationLayerElement(),
            "OVERLAY");
        DICOMDataObject fresh(read->GetEndian());
        state->save(fresh);
        for (TransferSyntax to : syntaxes) {
            const std::string where = std::string(name) + " to " + syntaxName(to) + " ";
            const std::string written = std::string("FRESH-") + syntaxName(to) + "-" + name;
            writeDicomFile(scratch->File(written), fresh, to);
            // dcmpschk misses the VOI LUT of any implicit VR file, dcmpsmk's own included.
            if (to != TransferSyntax::ImplicitLittle) expectDcmpschkPasses(*scratch, written);
            const auto original = loadWithDcmtk(scratch->File(name));
            const auto copy = loadWithDcmtk(scratch->File(written));
            expectSameItem(*original->getDataset(), *copy->getDataset(), where, to != TransferSyntax::ImplicitLittle);
            expectSameMeta(*original, *copy, to, where);
        }
    }
}

// dcmpsmk -lm writes the file set of each referenced series inside its item, which no container
// models. Carried from what was read into what was saved, they stay, in an edited item too, and
// the state round-trips element for element.
TEST_F(PresentationFile, DcmpsmkMediaLocationsInsideItemsAreCarriedIntoTheSavedState) {
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(scratch->File("PS-MEDIA.dcm"));
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
        GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
    ReferencedSeriesSequence& series = state->getPresentationInformationEntity()
                                           ->getPresentationStateRelationshipModule()
                                           ->getReferencedSeriesSequenceElement();
    ASSERT_EQ(1u, series.length());
    series.at(0)->setSeriesInstanceUIDElement(series.at(0)->getSeriesInstanceUIDElement());
    DICOMDataObject fresh(read->GetEndian());
    state->save(fresh);
    EXPECT_EQ(std::vector<std::string>{}, carryUnmodelledAttributes(*read, fresh));
    const VR* savedSeries = fresh.GetVR(0x0008, 0x1115);
    ASSERT_NE(nullptr, savedSeries);
    const DICOMDataObject& item = *savedSeries->GetAsSequenceVR()->GetSequenceItems()[0];
    RWCString fileSetID, fileSetUID;
    EXPECT_TRUE(item.GetString(0x0088, 0x0130, fileSetID));
    EXPECT_EQ("FSID", fileSetID);
    EXPECT_TRUE(item.GetString(0x0088, 0x0140, fileSetUID));
    EXPECT_EQ("2.25.55", fileSetUID);

    writeDicomFile(scratch->File("MEDIA-SAVED.dcm"), fresh, TransferSyntax::ExplicitLittle);
    const auto original = loadWithDcmtk(scratch->File("PS-MEDIA.dcm"));
    const auto copy = loadWithDcmtk(scratch->File("MEDIA-SAVED.dcm"));
    expectSameItem(*original->getDataset(), *copy->getDataset(), "PS-MEDIA.dcm ", true);
}

// --- DCMTK-made states with the hard parts ------------------------------------------------

TEST_F(PresentationFile, StatesSavedIntoTheReadOrAFreshDataSetEqualTheOriginalInEveryTransferSyntax) {
    for (Kind kind : kinds) {
        for (TransferSyntax from : syntaxes) {
            const std::string source = scratch->File(stateFile(kind, from));
            const std::unique_ptr<DICOMDataObject> read = readDicomFile(source);
            // The fresh data set has the other byte order, so that save converts every value.
            DICOMDataObject fresh(read->GetEndian() == BigEndian ? LittleEndian : BigEndian);
            createAndSave(kind, *read, fresh);
            DICOMDataObject intoRead(*read);
            createAndSave(kind, *read, intoRead);
            for (const DICOMDataObject* saved : {&fresh, &intoRead}) {
                const bool isFresh = saved == &fresh;
                for (TransferSyntax to : syntaxes) {
                    const std::string where = std::string(kindName(kind)) + " " + syntaxName(from) + " to " +
                                              syntaxName(to) + (isFresh ? " fresh " : " read ");
                    const std::string path = scratch->File("WRITTEN");
                    writeDicomFile(path, *saved, to);
                    const auto original = loadWithDcmtk(source);
                    const auto written = loadWithDcmtk(path);
                    DcmDataset& expected = *original->getDataset();
                    DcmDataset& actual = *written->getDataset();
                    // Group 6002 is no container's: kept in the data set read, absent from a fresh one.
                    unsigned overlay6002 = 0;
                    for (unsigned long i = expected.card(); i-- > 0;) {
                        if (expected.getElement(i)->getGTag() != 0x6002) continue;
                        ++overlay6002;
                        if (isFresh) delete expected.remove(i);
                    }
                    EXPECT_EQ(overlay6002, 9u) << where;
                    const bool explicitVRs =
                        from != TransferSyntax::ImplicitLittle && to != TransferSyntax::ImplicitLittle;
                    expectSameItem(expected, actual, where, explicitVRs);
                    expectSameMeta(*original, *written, to, where);
                }
            }
        }
    }
}

// A round trip would hide a misreading that save undoes: these are the numbers DCMTK wrote, as
// the containers hold them after reading each transfer syntax.
TEST_F(PresentationFile, ContainersHoldDCMTKsNumbersInEveryTransferSyntax) {
    for (TransferSyntax syntax : syntaxes) {
        SCOPED_TRACE(syntaxName(syntax));
        const std::unique_ptr<DICOMDataObject> read = readDicomFile(scratch->File(stateFile(Kind::Grayscale, syntax)));
        std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
            GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
        const PresentationInformationEntity& presentation = *state->getPresentationInformationEntity();

        const MaskSubtractionSequenceItem& tid =
            *presentation.getPresentationStateMaskModule()->getMaskSubtractionSequenceElement().at(0);
        EXPECT_EQ(tid.getTIDOffsetElement(), -2);
        ASSERT_EQ(tid.getMaskSubPixelShiftElementLength(), 2u);
        EXPECT_EQ(tid.getMaskSubPixelShiftElement(1), -1.25f);
        EXPECT_EQ(tid.getApplicableFrameRangeElement(1), 4);

        const DisplayShutterModule& shutter = *presentation.getDisplayShutterModule();
        EXPECT_EQ(shutter.getShutterShapeElement(),
                  (RWTValOrderedVector<RWCString>{"RECTANGULAR", "CIRCULAR", "POLYGONAL"}));
        ASSERT_EQ(shutter.getVerticesOfPolygonalShutterElementLength(), 6u);
        EXPECT_EQ(shutter.getVerticesOfPolygonalShutterElement(5), 16);
        ASSERT_EQ(shutter.getShutterPresentationColorCIELabValueElementLength(), 3u);
        EXPECT_EQ(shutter.getShutterPresentationColorCIELabValueElement(0), 50000);

        const OverlayPlaneModule& overlay = *presentation.getOverlayPlaneModule();
        EXPECT_EQ(overlay.getOverlayOriginElement(0), 1);
        ASSERT_EQ(overlay.getOverlayDataElementLength(), 16u);
        EXPECT_EQ(overlay.getOverlayDataElement(0), 0x8001 + 0x6000);
        EXPECT_DOUBLE_EQ(overlay.getROIStandardDeviationElement(), -0.5);

        const GraphicObjectSequenceItem& polyline = *presentation.getGraphicAnnotationModule()
                                                         ->getGraphicAnnotationSequenceElement()
                                                         .at(1)
                                                         ->getGraphicObjectSequenceElement()
                                                         .at(0);
        ASSERT_EQ(polyline.getGraphicDataElementLength(), 8u);
        EXPECT_EQ(polyline.getGraphicDataElement(7), 30.0f);
        EXPECT_EQ(polyline.getGraphicDataElement(6), 31.75f);

        const SoftcopyVOILUTSequenceItem& window =
            *presentation.getSoftcopyVOILUTModule()->getSoftcopyVOILUTSequenceElement().at(0);
        EXPECT_DOUBLE_EQ(window.getWindowCenterElement(1), -50.5);
        const VOILUTSequence& tables = presentation.getSoftcopyVOILUTModule()
                                           ->getSoftcopyVOILUTSequenceElement()
                                           .at(1)
                                           ->getVOILUTSequenceElement();
        ASSERT_EQ(tables.length(), 2u);
        EXPECT_EQ(tables.at(1)->getLUTDataElement(1), 0x0A0B);
        EXPECT_EQ(INT16(tables.at(1)->getLUTDescriptorElement(1)), -2);
        if (syntax != TransferSyntax::ImplicitLittle) {
            EXPECT_EQ(tables.at(0)->getLUTDataElementActualDataTypeCode(), "US");
            EXPECT_EQ(tables.at(1)->getLUTDataElementActualDataTypeCode(), "OW");
            EXPECT_EQ(tables.at(1)->getLUTDescriptorElementActualDataTypeCode(), "SS");
        }

        const SharpenModule& sharpen = *presentation.getSharpenModule();
        EXPECT_EQ(sharpen.getZORVIKSharpenKernelRowsElement(), 3);
        ASSERT_EQ(sharpen.getZORVIKSharpenKernelDataElementLength(), 9u);
        EXPECT_EQ(sharpen.getZORVIKSharpenKernelDataElement(4), 1.5f);
        EXPECT_EQ(presentation.getZORVIKViewerStateModule()->getZORVIKSpineLabelSetElement(), "C1\\C2\\C3\\T1");

        std::unique_ptr<PseudoColorSoftcopyPresentationStateCompositeIOD> pseudoColor(
            PseudoColorSoftcopyPresentationStateCompositeIOD::create(
                *readDicomFile(scratch->File(stateFile(Kind::PseudoColor, syntax)))));
        const PseudoColorPresentationInformationEntity& pseudo =
            *pseudoColor->getPseudoColorPresentationInformationEntity();
        const PaletteColorLookupTableModule& palette = *pseudo.getPaletteColorLookupTableModule();
        EXPECT_EQ(INT16(palette.getBluePaletteColorLookupTableDescriptorElement(1)), -4);
        ASSERT_EQ(palette.getGreenPaletteColorLookupTableDataElementLength(), 16u);
        EXPECT_EQ(palette.getGreenPaletteColorLookupTableDataElement(7), UINT16((7 * 8191) ^ (0x0F0F << 1)));
        EXPECT_EQ(palette.getSegmentedBluePaletteColorLookupTableDataElement(2), 32768);
        ASSERT_EQ(pseudo.getICCProfileModule()->getICCProfileElementLength(), 128u);
        EXPECT_EQ(pseudo.getICCProfileModule()->getICCProfileElement(127), UINT8(127 * 37 + 5));

        std::unique_ptr<ColorSoftcopyPresentationStateCompositeIOD> color(
            ColorSoftcopyPresentationStateCompositeIOD::create(
                *readDicomFile(scratch->File(stateFile(Kind::Color, syntax)))));
        const BitmapDisplayShutterModule& bitmap =
            *color->getColorPresentationInformationEntity()->getBitmapDisplayShutterModule();
        EXPECT_EQ(bitmap.getShutterShapeElement(), RWTValOrderedVector<RWCString>{"BITMAP"});
        EXPECT_EQ(bitmap.getShutterOverlayGroupElement(), 0x6000);
        EXPECT_EQ(bitmap.getShutterPresentationColorCIELabValueElement(1), 32768);
    }
}

// The byte order of the file changes nothing the containers hold.
TEST_F(PresentationFile, StatesReadFromEitherByteOrderDumpTheSameValues) {
    const auto dump = [](Kind kind, TransferSyntax syntax) {
        const std::unique_ptr<DICOMDataObject> read = readDicomFile(scratch->File(stateFile(kind, syntax)));
        switch (kind) {
        case Kind::Color:
            return std::unique_ptr<ColorSoftcopyPresentationStateCompositeIOD>(
                       ColorSoftcopyPresentationStateCompositeIOD::create(*read))
                ->getColorPresentationInformationEntity()
                ->toString(0);
        case Kind::PseudoColor:
            return std::unique_ptr<PseudoColorSoftcopyPresentationStateCompositeIOD>(
                       PseudoColorSoftcopyPresentationStateCompositeIOD::create(*read))
                ->getPseudoColorPresentationInformationEntity()
                ->toString(0);
        case Kind::Grayscale: break;
        }
        return std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD>(
                   GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read))
            ->getPresentationInformationEntity()
            ->toString(0);
    };
    for (Kind kind : kinds)
        EXPECT_EQ(dump(kind, TransferSyntax::ExplicitBig), dump(kind, TransferSyntax::ExplicitLittle))
            << kindName(kind);
}

// A file that two viewers edited: another creator holds block 0x10 of group 0023, ZORVIK0 block
// 0x11. The viewer's values come from block 0x11; saving into the data set read writes them back
// there and leaves the other block alone; a fresh data set gets them in block 0x10.
TEST_F(PresentationFile, ViewerBlockBehindAnotherCreatorsBlockIsReadAndWrittenBackInPlace) {
    for (TransferSyntax syntax : syntaxes) {
        SCOPED_TRACE(syntaxName(syntax));
        const std::string path = scratch->File(std::string("TWO-BLOCKS-") + syntaxName(syntax));
        {
            DcmFileFormat file;
            DcmDataset& data = *file.getDataset();
            ASSERT_TRUE(data.putAndInsertString(DCM_SOPClassUID, UID_GrayscaleSoftcopyPresentationStateStorage).good());
            ASSERT_TRUE(data.putAndInsertString(DCM_SOPInstanceUID, "2.25.5002").good());
            ASSERT_TRUE(data.putAndInsertString(DcmTag(0x0023, 0x0010, EVR_LO), "OTHER VIEWER").good());
            ASSERT_TRUE(data.putAndInsertString(DcmTag(0x0023, 0x1046, EVR_LO), "NOT A SHARPEN TYPE").good());
            ASSERT_TRUE(data.putAndInsertString(DcmTag(0x0023, 0x1051, EVR_LT), "other layout").good());
            addPrivateBlock(data, 0x11);
            ASSERT_TRUE(file.saveFile(path.c_str(), dcmtkSyntax(syntax)).good());
        }
        const std::unique_ptr<DICOMDataObject> read = readDicomFile(path);
        std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
            GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
        const PresentationInformationEntity& presentation = *state->getPresentationInformationEntity();
        EXPECT_EQ(presentation.getSharpenModule()->getZORVIKSharpenTypeElement(), "UNSHARP_MASK");
        EXPECT_EQ(presentation.getZORVIKViewerStateModule()->getZORVIKViewerLayoutInfoElement(),
                  "layout=2x1;sync=scroll");

        DICOMDataObject fresh;
        state->save(fresh);
        state->save(*read);
        const std::pair<const DICOMDataObject*, std::vector<std::pair<Uint16, const char*>>> cases[] = {
            {read.get(),
             {{0x0010, "OTHER VIEWER"},
              {0x1046, "NOT A SHARPEN TYPE"},
              {0x1051, "other layout"},
              {0x0011, "ZORVIK0"},
              {0x1146, "UNSHARP_MASK"},
              {0x1151, "layout=2x1;sync=scroll"}}},
            {&fresh, {{0x0010, "ZORVIK0"}, {0x1046, "UNSHARP_MASK"}, {0x1051, "layout=2x1;sync=scroll"}}}};
        for (const auto& [saved, expected] : cases) {
            writeDicomFile(scratch->File("TWO-BLOCKS-WRITTEN"), *saved, syntax);
            const auto written = loadWithDcmtk(scratch->File("TWO-BLOCKS-WRITTEN"));
            DcmDataset& data = *written->getDataset();
            unsigned elements = 0;
            for (unsigned long i = 0; i < data.card(); ++i) elements += data.getElement(i)->getGTag() == 0x0023;
            EXPECT_EQ(elements, saved == &fresh ? 8u : 11u);
            for (const auto& [element, text] : expected) {
                DcmElement* found = nullptr;
                ASSERT_TRUE(data.findAndGetElement(DcmTagKey(0x0023, element), found).good()) << element;
                // DCMTK knows no VR for the other creator's elements in implicit VR files.
                EXPECT_EQ(valueText(*found), found->isaString() ? text : hexOf(text)) << element;
            }
            const Uint16 kernelTag = saved == &fresh ? 0x1049 : 0x1149;
            const Float32* kernel = nullptr;
            ASSERT_TRUE(data.findAndGetFloat32Array(DcmTagKey(0x0023, kernelTag), kernel).good());
            EXPECT_EQ(kernel[4], 1.5f);
            EXPECT_EQ(kernel[8], 0.0f);
        }
    }
}

// --- the shipped sample -----------------------------------------------------------------------

// Elements of the sample that no container holds, and that a fresh data set therefore lacks:
// none, as the sample holds only attributes of the grayscale state's modules and the viewer's
// private block.
const std::vector<DcmTagKey> sampleElementsNotHeld = {};

TEST(PresentationSample, SavedIntoAFreshDataSetEqualsTheOriginalButForElementsNoContainerHolds) {
    const std::string sample = testfiles::samplePath();
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(sample);
    std::unique_ptr<GrayscaleSoftcopyPresentationStateCompositeIOD> state(
        GrayscaleSoftcopyPresentationStateCompositeIOD::create(*read));
    DICOMDataObject fresh;
    state->save(fresh);
    ScratchDirectory scratch;
    writeDicomFile(scratch.File("SAMPLE"), fresh, TransferSyntax::ExplicitLittle);
    const auto original = loadWithDcmtk(sample);
    const auto written = loadWithDcmtk(scratch.File("SAMPLE"));
    for (const DcmTagKey& tag : sampleElementsNotHeld) {
        EXPECT_TRUE(original->getDataset()->tagExists(tag)) << tagText(tag);
        delete original->getDataset()->remove(tag);
    }
    expectSameItem(*original->getDataset(), *written->getDataset(), "", true);
    expectSameItem(*original->getMetaInfo(), *written->getMetaInfo(), "meta ", true);
}

}  // namespace
}  // namespace refcntr
