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
#include "support/Failures.h"

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
             IconImageSequenceItem icon;
             icon.setPixelDataElement(new unsigned char[4](), 4);
             icon.save(data);
         },
         "Unable to create VR for element PixelData due to ambiguous type (OW_OR_OB) and unset member "
         "itsPixelDataElementActualDataTypeCode"},
    };
    for (const auto& [save, message] : cases) {
        const auto& saveInto = save;  // a lambda cannot capture a structured binding in C++17
        DICOMDataObject data;
        EXPECT_EQ(testfiles::failureOf([&] { saveInto(data); }), message);
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
            const UINT16* read = item->getLUTDataElement();
            EXPECT_EQ(std::vector<UINT16>(read, read + item->getLUTDataElementLength()), entries);
            DICOMDataObject saved(endian);
            item->save(saved);
            ASSERT_NE(saved.GetVR(0x0028, 0x3006), nullptr);
            EXPECT_EQ(saved.GetVR(0x0028, 0x3006)->GetVRCode(), code);
            EXPECT_EQ(valuesOf<UINT16>(saved.GetVR(0x0028, 0x3006)), entries);
            EXPECT_EQ(saved.GetVR(0x0028, 0x3002)->GetVRCode(), VRCode::US);
        }
    }
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

// The byte-counted array `Name` of `Container` at (group, element), with its accessors.
#define BYTE_COUNTED_ARRAY(Container, group, element, Name)                             \
    ByteCountedArray<Container> {                                                       \
        group, element, &Container::get##Name##Element, &Container::set##Name##Element, \
            &Container::get##Name##ElementLength                                        \
    }

// The red, green and blue palette data, which the palette module and the icon share.
template <class Container>
std::vector<ByteCountedArray<Container>> colorPaletteData() {
    return {BYTE_COUNTED_ARRAY(Container, 0x0028, 0x1201, RedPaletteColorLookupTableData),
            BYTE_COUNTED_ARRAY(Container, 0x0028, 0x1202, GreenPaletteColorLookupTableData),
            BYTE_COUNTED_ARRAY(Container, 0x0028, 0x1203, BluePaletteColorLookupTableData)};
}

TEST(RawArrays, ByteCountedArraysReadFromADataSetHaveAValueAtEveryIndexBelowTheirLength) {
    expectEveryIndexBelowTheByteLength(BYTE_COUNTED_ARRAY(OverlayPlaneModule, 0x6000, 0x3000, OverlayData));
    using Palette = PaletteColorLookupTableModule;
    std::vector<ByteCountedArray<Palette>> palettes = colorPaletteData<Palette>();
    palettes.insert(palettes.end(),
                    {BYTE_COUNTED_ARRAY(Palette, 0x0028, 0x1221, SegmentedRedPaletteColorLookupTableData),
                     BYTE_COUNTED_ARRAY(Palette, 0x0028, 0x1222, SegmentedGreenPaletteColorLookupTableData),
                     BYTE_COUNTED_ARRAY(Palette, 0x0028, 0x1223, SegmentedBluePaletteColorLookupTableData)});
    for (const auto& palette : palettes) expectEveryIndexBelowTheByteLength(palette);
    for (const auto& icon : colorPaletteData<IconImageSequenceItem>()) expectEveryIndexBelowTheByteLength(icon);
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

// An instance number that is no number is absent; absent type 2 elements are written empty.
TEST(PresentationStateIdentification, AbsentElementsAreWrittenEmptyOnlyWhenOfTypeTwo) {
    DICOMDataObject source;
    putText(source, 0x0020, 0x0013, VRCode::IS, "abc ");
    std::unique_ptr<PresentationStateIdentificationModule> identification(
        PresentationStateIdentificationModule::create(source));
    EXPECT_EQ(identification->isInstanceNumberElementPresent(), 0);
    EXPECT_EQ(identification->isEmpty(), 1);
    identification->setContentLabelElement("LABEL");
    DICOMDataObject saved;
    identification->save(saved);
    for (const auto& [element, code] : {std::pair<UINT16, UINT16>{0x0081, VRCode::LO}, {0x0084, VRCode::PN}}) {
        const VR* written = saved.GetVR(0x0070, element);
        ASSERT_NE(written, nullptr) << element;
        EXPECT_EQ(written->GetLength(), 0u);
        EXPECT_EQ(written->GetVRCode(), code);
    }
    EXPECT_EQ(saved.GetVR(0x0070, 0x0082), nullptr);
    EXPECT_EQ(saved.GetVR(0x0020, 0x0013), nullptr);
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
