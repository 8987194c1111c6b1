// Values of the presentation modules that are not plain text: tables whose VR the dictionary
// leaves open, raw arrays and their byte counts in both byte orders, the overlay group, the
// viewer's private block, and the elements written when absent.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "refcntr/directory/IconImageSequenceItem.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/presentation/DisplayedAreaModule.h"
#include "refcntr/presentation/IdentificationModules.h"
#include "refcntr/presentation/LUTModules.h"
#include "refcntr/presentation/MaskModules.h"
#include "refcntr/presentation/OverlayModules.h"
#include "refcntr/presentation/ShutterModules.h"
#include "refcntr/presentation/ViewerPrivateModules.h"

namespace refcntr {
namespace {

constexpr EndianType byteOrders[] = {LittleEndian, BigEndian};

// An element of the data set's byte order from native-order values; a private element when a
// creator is given (the element number's low byte is then the offset).
template <class T>
void put(DICOMDataObject& data, UINT16 group, UINT16 element, UINT16 vrCode, const std::vector<T>& values,
         const char* creator = nullptr) {
    VR* stored = new VR(group, element, vrCode, data.GetEndian());
    stored->SetData(values.data(), UINT32(values.size() * sizeof(T)));
    if (data.GetEndian() != VR::itsNativeEndian) stored->SwapDataEndian();
    if (creator)
        data.ReplaceVR(creator, stored);
    else
        data.ReplaceVR(stored);
}

void putText(DICOMDataObject& data, UINT16 group, UINT16 element, UINT16 vrCode, const std::string& text,
             const char* creator = nullptr) {
    put(data, group, element, vrCode, std::vector<char>(text.begin(), text.end()), creator);
}

// The values of an element in native order.
template <class T>
std::vector<T> valuesOf(const VR* element) {
    if (!element) return {};
    VR copy(*element);
    if (copy.GetEndian() != VR::itsNativeEndian) copy.SwapDataEndian();
    std::vector<T> values(copy.GetLength() / sizeof(T));
    if (!values.empty()) std::memcpy(values.data(), copy.GetData(), values.size() * sizeof(T));
    return values;
}

template <class T>
std::vector<T> arrayOf(const T* values, unsigned count) {
    return values ? std::vector<T>(values, values + count) : std::vector<T>();
}

TEST(AmbiguousVR, SaveWithoutATypeCodeThrowsNamingTheElementAndItsChoices) {
    const std::pair<std::function<void(DICOMDataObject&)>, const char*> cases[] = {
        {[](DICOMDataObject& data) {
             ModalityLUTSequenceItem item;
             item.setLUTDescriptorElement(new UINT16[3]{256, 0, 12}, 3);
             item.save(data);
         },
         "Unable to create VR for element LUTDescriptor due to ambiguous type (US_OR_SS) and unset member "
         "itsLUTDescriptorElementActualDataTypeCode"},
        {[](DICOMDataObject& data) {
             VOILUTSequenceItem item;
             item.setLUTDataElement(new UINT16[2]{1, 2}, 2);
             item.save(data);
         },
         "Unable to create VR for element LUTData due to ambiguous type (OW_OR_US_OR_SS) and unset member "
         "itsLUTDataElementActualDataTypeCode"},
        {[](DICOMDataObject& data) {
             PaletteColorLookupTableModule palette;
             palette.setRedPaletteColorLookupTableDescriptorElement(new UINT16[3](), 3);
             palette.save(data);
         },
         "Unable to create VR for element RedPaletteColorLookupTableDescriptor due to ambiguous type (US_OR_SS) and "
         "unset member itsRedPaletteColorLookupTableDescriptorElementActualDataTypeCode"},
        {[](DICOMDataObject& data) {
             PaletteColorLookupTableModule palette;
             palette.setGreenPaletteColorLookupTableDescriptorElement(new UINT16[3](), 3);
             palette.save(data);
         },
         "Unable to create VR for element GreenPaletteColorLookupTableDescriptor due to ambiguous type (US_OR_SS) "
         "and unset member itsGreenPaletteColorLookupTableDescriptorElementActualDataTypeCode"},
        {[](DICOMDataObject& data) {
             PaletteColorLookupTableModule palette;
             palette.setBluePaletteColorLookupTableDescriptorElement(new UINT16[3](), 3);
             palette.save(data);
         },
         "Unable to create VR for element BluePaletteColorLookupTableDescriptor due to ambiguous type (US_OR_SS) and "
         "unset member itsBluePaletteColorLookupTableDescriptorElementActualDataTypeCode"},
    };
    for (const auto& [save, message] : cases) {
        DICOMDataObject data;
        try {
            save(data);
            ADD_FAILURE() << "no exception for: " << message;
        } catch (const RuntimeException& error) {
            EXPECT_EQ(error.GetMessage(), message);
        }
    }
}

TEST(AmbiguousVR, VOILUTDataIsWrittenWithTheVRItWasReadWith) {
    const std::vector<UINT16> entries{0, 1000, 4095};
    for (EndianType endian : byteOrders) {
        for (UINT16 code : {VRCode::US, VRCode::OW}) {
            SCOPED_TRACE(MDDEntry::UShortToTypeString(code) + (endian == BigEndian ? " big endian" : " little endian"));
            DICOMDataObject data(endian);
            put<UINT16>(data, 0x0028, 0x3002, VRCode::US, {3, 0, 12});
            put(data, 0x0028, 0x3006, code, entries);
            std::unique_ptr<VOILUTSequenceItem> item(VOILUTSequenceItem::create(data));
            EXPECT_EQ(item->getLUTDataElementActualDataTypeCode(), MDDEntry::UShortToTypeString(code));
            EXPECT_EQ(arrayOf(item->getLUTDataElement(), item->getLUTDataElementLength()), entries);
            DICOMDataObject saved(endian);
            item->save(saved);
            ASSERT_NE(saved.GetVR(0x0028, 0x3006), nullptr);
            EXPECT_EQ(saved.GetVR(0x0028, 0x3006)->GetVRCode(), code);
            EXPECT_EQ(valuesOf<UINT16>(saved.GetVR(0x0028, 0x3006)), entries);
            EXPECT_EQ(saved.GetVR(0x0028, 0x3002)->GetVRCode(), VRCode::US);
        }
    }
}

TEST(RawArrays, CIELabValueKeepsItsNumbersAndIsSixBytesInEitherByteOrder) {
    const std::vector<UINT16> lab{50000, 128, 3};
    for (EndianType from : byteOrders) {
        DICOMDataObject source(from);
        put(source, 0x0018, 0x1624, VRCode::US, lab);
        std::unique_ptr<PresentationStateShutterModule> shutter(PresentationStateShutterModule::create(source));
        ASSERT_EQ(shutter->getShutterPresentationColorCIELabValueElementLength(), 3u);
        EXPECT_EQ(arrayOf(shutter->getShutterPresentationColorCIELabValueElement(), 3), lab);
        for (EndianType to : byteOrders) {
            DICOMDataObject saved(to);
            shutter->save(saved);
            const VR* written = saved.GetVR(0x0018, 0x1624);
            ASSERT_NE(written, nullptr);
            EXPECT_EQ(written->GetLength(), 6u);
            EXPECT_EQ(valuesOf<UINT16>(written), lab);
        }
    }
}

TEST(RawArrays, MaskArraysWriteFourBytesPerFloatAndTwoPerUS) {
    for (EndianType endian : byteOrders) {
        MaskSubtractionSequenceItem item;
        item.setMaskSubPixelShiftElement(new float[2]{0.5f, -1.25f}, 2);
        item.setApplicableFrameRangeElement(new UINT16[2]{2, 40}, 2);
        DICOMDataObject saved(endian);
        item.save(saved);
        ASSERT_NE(saved.GetVR(0x0028, 0x6114), nullptr);
        ASSERT_NE(saved.GetVR(0x0028, 0x6102), nullptr);
        EXPECT_EQ(saved.GetVR(0x0028, 0x6114)->GetLength(), 8u);
        EXPECT_EQ(saved.GetVR(0x0028, 0x6102)->GetLength(), 4u);
        EXPECT_EQ(valuesOf<float>(saved.GetVR(0x0028, 0x6114)), (std::vector<float>{0.5f, -1.25f}));
    }
}

TEST(RawArrays, PaletteDataLengthCountsBytes) {
    PaletteColorLookupTableModule palette;
    palette.setRedPaletteColorLookupTableDataElement(new UINT16[512](), 512);
    palette.setSegmentedGreenPaletteColorLookupTableDataElement(new UINT16[6]{0, 1, 255}, 6);
    DICOMDataObject saved(BigEndian);
    palette.save(saved);
    EXPECT_EQ(saved.GetVR(0x0028, 0x1201)->GetLength(), 512u);
    EXPECT_EQ(valuesOf<UINT16>(saved.GetVR(0x0028, 0x1222)), (std::vector<UINT16>{0, 1, 255}));
    std::unique_ptr<PaletteColorLookupTableModule> back(PaletteColorLookupTableModule::create(saved));
    EXPECT_EQ(back->getRedPaletteColorLookupTableDataElementLength(), 512u);
    EXPECT_EQ(back->getSegmentedGreenPaletteColorLookupTableDataElementLength(), 6u);
    EXPECT_EQ(back->getSegmentedGreenPaletteColorLookupTableDataElement(2), 255);
}

// A 16-bit array whose length counts bytes, with the accessors a viewer indexes it through.
template <class Container>
struct ByteCountedArray {
    UINT16 group, element;
    UINT16 (Container::*get)(unsigned) const;
    void (Container::*set)(UINT16, unsigned);
    unsigned (Container::*length)() const;
};

// Read from a data set, such an array has a value at every index below its byte length (the
// values read, then zeros); each of them can be changed, and save writes exactly the bytes.
template <class Container>
void expectEveryIndexBelowTheByteLength(const ByteCountedArray<Container>& array) {
    const std::vector<UINT16> stored{0x1234, 0xBEEF, 7};
    for (EndianType endian : byteOrders) {
        SCOPED_TRACE(::testing::Message() << std::hex << array.group << ',' << array.element << std::dec
                                          << (endian == BigEndian ? " big endian" : " little endian"));
        DICOMDataObject source(endian);
        put(source, array.group, array.element, VRCode::OW, stored);
        std::unique_ptr<Container> container(Container::create(source));
        const unsigned length = ((*container).*array.length)();
        ASSERT_EQ(length, 6u);
        for (unsigned i = 0; i < length; ++i) EXPECT_EQ(((*container).*array.get)(i), i < 3 ? stored[i] : 0) << i;
        for (unsigned i = 0; i < length; ++i) {
            ((*container).*array.set)(UINT16(100 + i), i);
            EXPECT_EQ(((*container).*array.get)(i), 100 + i) << i;
        }
        DICOMDataObject saved(endian);
        container->save(saved);
        EXPECT_EQ(valuesOf<UINT16>(saved.GetVR(array.group, array.element)), (std::vector<UINT16>{100, 101, 102}));
    }
}

TEST(RawArrays, ByteCountedArraysReadFromADataSetHaveAValueAtEveryIndexBelowTheirLength) {
    using Overlay = OverlayPlaneModule;
    expectEveryIndexBelowTheByteLength<Overlay>({0x6000, 0x3000, &Overlay::getOverlayDataElement,
                                                 &Overlay::setOverlayDataElement,
                                                 &Overlay::getOverlayDataElementLength});
    using Palette = PaletteColorLookupTableModule;
    const ByteCountedArray<Palette> palettes[] = {
        {0x0028, 0x1201, &Palette::getRedPaletteColorLookupTableDataElement,
         &Palette::setRedPaletteColorLookupTableDataElement, &Palette::getRedPaletteColorLookupTableDataElementLength},
        {0x0028, 0x1202, &Palette::getGreenPaletteColorLookupTableDataElement,
         &Palette::setGreenPaletteColorLookupTableDataElement,
         &Palette::getGreenPaletteColorLookupTableDataElementLength},
        {0x0028, 0x1203, &Palette::getBluePaletteColorLookupTableDataElement,
         &Palette::setBluePaletteColorLookupTableDataElement,
         &Palette::getBluePaletteColorLookupTableDataElementLength},
        {0x0028, 0x1221, &Palette::getSegmentedRedPaletteColorLookupTableDataElement,
         &Palette::setSegmentedRedPaletteColorLookupTableDataElement,
         &Palette::getSegmentedRedPaletteColorLookupTableDataElementLength},
        {0x0028, 0x1222, &Palette::getSegmentedGreenPaletteColorLookupTableDataElement,
         &Palette::setSegmentedGreenPaletteColorLookupTableDataElement,
         &Palette::getSegmentedGreenPaletteColorLookupTableDataElementLength},
        {0x0028, 0x1223, &Palette::getSegmentedBluePaletteColorLookupTableDataElement,
         &Palette::setSegmentedBluePaletteColorLookupTableDataElement,
         &Palette::getSegmentedBluePaletteColorLookupTableDataElementLength},
    };
    for (const auto& palette : palettes) expectEveryIndexBelowTheByteLength(palette);
    using Icon = IconImageSequenceItem;
    const ByteCountedArray<Icon> icons[] = {
        {0x0028, 0x1201, &Icon::getRedPaletteColorLookupTableDataElement,
         &Icon::setRedPaletteColorLookupTableDataElement, &Icon::getRedPaletteColorLookupTableDataElementLength},
        {0x0028, 0x1202, &Icon::getGreenPaletteColorLookupTableDataElement,
         &Icon::setGreenPaletteColorLookupTableDataElement, &Icon::getGreenPaletteColorLookupTableDataElementLength},
        {0x0028, 0x1203, &Icon::getBluePaletteColorLookupTableDataElement,
         &Icon::setBluePaletteColorLookupTableDataElement, &Icon::getBluePaletteColorLookupTableDataElementLength},
    };
    for (const auto& icon : icons) expectEveryIndexBelowTheByteLength(icon);
}

// An indexed getter past the count, or of an absent array, throws naming the attribute; the
// indexed setter stays silent there.
TEST(RawArrays, IndexedGettersPastTheCountThrowNamingTheAttribute) {
    DisplayedAreaSelectionSequenceItem area;
    try {
        area.getPresentationPixelAspectRatioElement(0);
        ADD_FAILURE() << "an absent array was indexed";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ("PresentationPixelAspectRatio: index 0 is out of range (0 values)", error.what());
    }
    area.setPresentationPixelAspectRatioElement(new int[2]{1, 1}, 2);
    area.setPresentationPixelAspectRatioElement(7, 2);
    EXPECT_EQ(1, area.getPresentationPixelAspectRatioElement(1));
    EXPECT_THROW(area.getPresentationPixelAspectRatioElement(2), std::out_of_range);
    OverlayPlaneModule overlay;
    overlay.setOverlayDataElement(new UINT16[3](), 3);  // 3 bytes
    EXPECT_EQ(0, overlay.getOverlayDataElement(2));
    EXPECT_THROW(overlay.getOverlayDataElement(3), std::out_of_range);
}

TEST(OverlayPlane, OverlayDataOf512BytesIsLength512AndWrittenAs512Bytes) {
    DICOMDataObject source;
    std::vector<UINT16> bitmap(256);
    bitmap[0] = 0x8001;
    put(source, 0x6000, 0x3000, VRCode::OW, bitmap);
    std::unique_ptr<OverlayPlaneModule> overlay(OverlayPlaneModule::create(source));
    EXPECT_EQ(overlay->getOverlayDataElementLength(), 512u);
    EXPECT_EQ(overlay->getOverlayDataElement(0), 0x8001);
    for (EndianType endian : byteOrders) {
        DICOMDataObject saved(endian);
        overlay->save(saved);
        const VR* written = saved.GetVR(0x6000, 0x3000);
        ASSERT_NE(written, nullptr);
        EXPECT_EQ(written->GetVRCode(), VRCode::OW);
        EXPECT_EQ(valuesOf<UINT16>(written), bitmap);
    }
}

TEST(OverlayPlane, OverlayDataSetByTheCallerIsWrittenAsOWWithItsByteCount) {
    OverlayPlaneModule overlay;
    overlay.setOverlayDataElement(new UINT16[4]{0x0102, 0x0304}, 4);
    for (EndianType endian : byteOrders) {
        DICOMDataObject saved(endian);
        overlay.save(saved);
        const VR* written = saved.GetVR(0x6000, 0x3000);
        ASSERT_NE(written, nullptr);
        EXPECT_EQ(written->GetVRCode(), VRCode::OW);
        EXPECT_EQ(written->GetLength(), 4u);
        EXPECT_EQ(valuesOf<UINT16>(written), (std::vector<UINT16>{0x0102, 0x0304}));
    }
}

TEST(OverlayPlane, OriginReadFromBigEndianKeepsItsSignedValues) {
    DICOMDataObject source(BigEndian);
    put<INT16>(source, 0x6000, 0x0050, VRCode::SS, {1, -1});
    std::unique_ptr<OverlayPlaneModule> overlay(OverlayPlaneModule::create(source));
    ASSERT_EQ(overlay->getOverlayOriginElementLength(), 2u);
    EXPECT_EQ(overlay->getOverlayOriginElement(0), 1);
    EXPECT_EQ(overlay->getOverlayOriginElement(1), -1);
    DICOMDataObject saved(LittleEndian);
    overlay->save(saved);
    const VR* written = saved.GetVR(0x6000, 0x0050);
    ASSERT_NE(written, nullptr);
    const unsigned char littleEndianBytes[] = {0x01, 0x00, 0xFF, 0xFF};
    ASSERT_EQ(written->GetLength(), 4u);
    EXPECT_EQ(std::memcmp(written->GetData(), littleEndianBytes, 4), 0);
}

TEST(OverlayPlane, OnlyTheOverlayInGroup6000IsReadAndWritten) {
    DICOMDataObject source;
    put<UINT16>(source, 0x6000, 0x0010, VRCode::US, {10});
    put<UINT16>(source, 0x6002, 0x0010, VRCode::US, {20});
    putText(source, 0x6000, 0x1001, VRCode::CS, "FIRST ");
    putText(source, 0x6002, 0x1001, VRCode::CS, "SECOND");
    std::unique_ptr<OverlayPlaneModule> plane(OverlayPlaneModule::create(source));
    std::unique_ptr<OverlayActivationModule> activation(OverlayActivationModule::create(source));
    EXPECT_EQ(plane->getOverlayRowsElement(), 10);
    EXPECT_EQ(activation->getOverlayActivationLayerElement(), "FIRST");
    DICOMDataObject saved;
    plane->save(saved);
    activation->save(saved);
    EXPECT_EQ(saved.GetNumberOfVRs(), 2u);
    for (const auto& element : saved) EXPECT_EQ(element->GetGroup(), 0x6000);
}

TEST(ViewerPrivateBlock, KernelDataCountsWholeFloatsOnly) {
    for (unsigned bytes : {36u, 38u}) {
        SCOPED_TRACE(bytes);
        std::vector<unsigned char> raw(bytes);
        const float weight = -0.125f;
        std::memcpy(raw.data() + 32, &weight, sizeof weight);
        DICOMDataObject source;
        put(source, 0x0023, 0x0049, VRCode::FL, raw, ZORVIKPrivateCreator);
        std::unique_ptr<SharpenModule> sharpen(SharpenModule::create(source));
        ASSERT_EQ(sharpen->isZORVIKSharpenKernelDataElementPresent(), 1);
        EXPECT_EQ(sharpen->getZORVIKSharpenKernelDataElementLength(), 9u);
        EXPECT_EQ(sharpen->getZORVIKSharpenKernelDataElement(8), weight);
    }
}

TEST(ViewerPrivateBlock, ABlockReservedByAnotherCreatorGivesNothing) {
    DICOMDataObject source;
    putText(source, 0x0023, 0x0010, VRCode::LO, "OTHER VIEWER");
    putText(source, 0x0023, 0x1051, VRCode::LT, "2x2 ");
    putText(source, 0x0023, 0x1046, VRCode::LO, "EDGE");
    put<UINT16>(source, 0x0023, 0x1047, VRCode::US, {3});
    std::unique_ptr<ZORVIKViewerStateModule> state(ZORVIKViewerStateModule::create(source));
    std::unique_ptr<SharpenModule> sharpen(SharpenModule::create(source));
    EXPECT_EQ(state->isEmpty(), 1);
    EXPECT_EQ(sharpen->isEmpty(), 1);
}

TEST(ViewerPrivateBlock, ViewerStateStringsAreWrittenAtTheirOffsetsOfOneBlock) {
    ZORVIKViewerStateModule state;
    state.setZORVIKViewerLayoutInfoElement("2x2");
    state.setZORVIKSpineLabelSetElement("LUMBAR");
    state.setZORVIKStudyPresentationStepInfoElement("STEP 3");
    DICOMDataObject saved;
    state.save(saved);
    const UINT8 block = saved.FindPrivateBlock(ZORVIKPrivateCreator, ZORVIKPrivateGroup);
    ASSERT_NE(block, 0);
    EXPECT_EQ(saved.GetNumberOfVRs(), 4u);
    const std::pair<UINT8, const char*> expected[] = {{0x51, "2x2"}, {0x44, "LUMBAR"}, {0x53, "STEP 3"}};
    for (const auto& [offset, text] : expected) {
        RWCString value;
        ASSERT_EQ(saved.GetString(ZORVIKPrivateGroup, UINT16(block << 8 | offset), value), 1) << int(offset);
        EXPECT_EQ(value, text);
    }
}

TEST(PresentationStateIdentification, TypeTwoElementsAreWrittenEmptyWhenAbsent) {
    PresentationStateIdentificationModule identification;
    identification.setContentLabelElement("LABEL");
    DICOMDataObject saved;
    identification.save(saved);
    for (const auto& [element, code] : {std::pair<UINT16, UINT16>{0x0081, VRCode::LO}, {0x0084, VRCode::PN}}) {
        const VR* written = saved.GetVR(0x0070, element);
        ASSERT_NE(written, nullptr) << element;
        EXPECT_EQ(written->GetLength(), 0u);
        EXPECT_EQ(written->GetVRCode(), code);
    }
    EXPECT_EQ(saved.GetVR(0x0070, 0x0082), nullptr);
    EXPECT_EQ(saved.GetVR(0x0020, 0x0013), nullptr);
}

TEST(PresentationStateIdentification, InstanceNumberThatIsNoNumberIsAbsent) {
    DICOMDataObject source;
    putText(source, 0x0020, 0x0013, VRCode::IS, "abc ");
    std::unique_ptr<PresentationStateIdentificationModule> identification(
        PresentationStateIdentificationModule::create(source));
    EXPECT_EQ(identification->isInstanceNumberElementPresent(), 0);
    EXPECT_EQ(identification->isEmpty(), 1);
}

TEST(PresentationStateRelationship, PresentEmptySequenceIsNotEmptyAndIsWrittenEmpty) {
    DICOMDataObject source;
    source.ReplaceVR(new SequenceVR(0x0008, 0x1115));
    std::unique_ptr<PresentationStateRelationshipModule> relationship(
        PresentationStateRelationshipModule::create(source));
    EXPECT_EQ(relationship->isReferencedSeriesSequenceElementPresent(), 1);
    EXPECT_EQ(relationship->isEmpty(), 0);
    relationship->getReferencedSeriesSequenceElement().addItem(new ReferencedSeriesSequenceItem);
    DICOMDataObject saved;
    relationship->save(saved);
    const VR* written = saved.GetVR(0x0008, 0x1115);
    ASSERT_NE(written, nullptr);
    ASSERT_NE(written->GetAsSequenceVR(), nullptr);
    EXPECT_EQ(written->GetAsSequenceVR()->GetNumberOfItems(), 0u);
}

}  // namespace
}  // namespace refcntr
