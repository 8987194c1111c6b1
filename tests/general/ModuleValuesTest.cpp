// Values of the general modules and shared items that are not plain text: DS and IS numbers,
// multi-valued text, and the US-or-SS pixel values with their type code.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "refcntr/core/AttributeWriter.h"
#include "refcntr/general/EquipmentModules.h"
#include "refcntr/general/SeriesModules.h"
#include "refcntr/general/StudyModules.h"
#include "refcntr/macros/PersonIdentificationItems.h"
#include "support/RecordingListener.h"

namespace refcntr {
namespace {

using testing::RecordingListener;

void putText(DICOMDataObject& data, UINT16 group, UINT16 element, const RWCString& value) {
    attribute::Factory factory(data.GetEndian());
    attribute::writeText(data, factory, group, element, value);
}

std::string rawText(const DICOMDataObject& data, UINT16 group, UINT16 element) {
    const VR* found = data.GetVR(group, element);
    if (!found) return "<none>";
    return std::string(reinterpret_cast<const char*>(found->GetData()), found->GetLength());
}

TEST(GeneralNumbers, WeightIsWrittenAsDecimalStringAndReadBack) {
    PatientStudyModule module;
    module.setPatientWeightElement(72.5);
    DICOMDataObject data;
    module.save(data);
    EXPECT_EQ(rawText(data, 0x0010, 0x1030), "72.5");
    EXPECT_EQ(data.GetVR(0x0010, 0x1030)->GetVRCode(), VRCode::DS);
    std::unique_ptr<PatientStudyModule> back(PatientStudyModule::create(data));
    EXPECT_EQ(back->isPatientWeightElementPresent(), 1);
    EXPECT_DOUBLE_EQ(back->getPatientWeightElement(), 72.5);
    EXPECT_EQ(back->isPatientSizeElementPresent(), 0);
}

TEST(GeneralNumbers, SeriesNumberIsWrittenAsIntegerStringAndReadBack) {
    GeneralSeriesModule module;
    module.setSeriesNumberElement(7);
    DICOMDataObject data;
    module.save(data);
    EXPECT_EQ(rawText(data, 0x0020, 0x0011), "7 ");
    std::unique_ptr<GeneralSeriesModule> back(GeneralSeriesModule::create(data));
    EXPECT_EQ(back->isSeriesNumberElementPresent(), 1);
    EXPECT_EQ(back->getSeriesNumberElement(), 7);
}

TEST(GeneralNumbers, UnparsableValuesAreAbsent) {
    DICOMDataObject data;
    putText(data, 0x0010, 0x1030, "heavy");
    putText(data, 0x0010, 0x1020, "1.8 ");
    putText(data, 0x0020, 0x0011, "x7");
    putText(data, 0x0018, 0x1050, "");
    std::unique_ptr<PatientStudyModule> study(PatientStudyModule::create(data));
    EXPECT_EQ(study->isPatientWeightElementPresent(), 0);
    EXPECT_EQ(study->isPatientSizeElementPresent(), 1);
    EXPECT_DOUBLE_EQ(study->getPatientSizeElement(), 1.8);
    std::unique_ptr<GeneralSeriesModule> series(GeneralSeriesModule::create(data));
    EXPECT_EQ(series->isSeriesNumberElementPresent(), 0);
    std::unique_ptr<GeneralEquipmentModule> equipment(GeneralEquipmentModule::create(data));
    EXPECT_EQ(equipment->isSpatialResolutionElementPresent(), 0);
}

TEST(MultiValuedText, TelephoneNumbersSplitAtBackslashes) {
    struct Case {
        const char* text;
        std::vector<std::string> values;
    };
    const Case cases[] = {
        {"555-1\\555-2 ", {"555-1", "555-2"}},
        {"555-1\\", {"555-1"}},
        {"1\\\\2", {"1", "", "2"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        DICOMDataObject data;
        putText(data, 0x0040, 0x1103, c.text);
        std::unique_ptr<OperatorIdentificationSequenceItem> item(OperatorIdentificationSequenceItem::create(data));
        ASSERT_EQ(item->isPersonTelephoneNumbersElementPresent(), 1);
        const auto& values = item->getPersonTelephoneNumbersElement();
        EXPECT_EQ(std::vector<std::string>(values.begin(), values.end()), c.values);
    }
}

TEST(PixelValueTypeCode, SetterMarksTheModalityBitAndReportsItsOwnPath) {
    GeneralSeriesModule module;
    RecordingListener listener;
    module.addListener(listener, "");
    module.setSmallestPixelValueInSeriesElementActualDataTypeCode("SS");
    EXPECT_EQ(module.getSmallestPixelValueInSeriesElementActualDataTypeCode(), "SS");
    EXPECT_EQ(module.isModalityElementPresent(), 1);
    EXPECT_EQ(module.isSmallestPixelValueInSeriesElementPresent(), 0);
    EXPECT_EQ(listener.heard, std::vector<std::string>{
                                  "elementUpdated GeneralSeriesModule.SmallestPixelValueInSeriesElementActualDataTypeCode"});
}

TEST(PixelValueTypeCode, SignedValueKeepsItsTypeCodeAndIsWrittenBackAsUnsigned) {
    for (EndianType endian : {LittleEndian, BigEndian}) {
        SCOPED_TRACE(endian == LittleEndian ? "little endian" : "big endian");
        DICOMDataObject data(endian);
        const INT16 smallest = -5;
        auto* element = new VR(0x0028, 0x0108, VRCode::SS, endian);
        element->SetData(&smallest, sizeof smallest);
        if (endian != VR::itsNativeEndian) element->SwapDataEndian();
        data.ReplaceVR(element);
        std::unique_ptr<GeneralSeriesModule> module(GeneralSeriesModule::create(data));
        ASSERT_EQ(module->isSmallestPixelValueInSeriesElementPresent(), 1);
        EXPECT_EQ(module->getSmallestPixelValueInSeriesElement(), UINT16(0xFFFB));
        EXPECT_EQ(module->getSmallestPixelValueInSeriesElementActualDataTypeCode(), "SS");
        EXPECT_EQ(module->isLargestPixelValueInSeriesElementPresent(), 0);
        DICOMDataObject saved(endian);
        module->save(saved);
        const VR* written = saved.GetVR(0x0028, 0x0108);
        ASSERT_NE(written, nullptr);
        EXPECT_EQ(written->GetVRCode(), VRCode::US);
        ASSERT_EQ(written->GetLength(), 2u);
        EXPECT_EQ(std::memcmp(written->GetData(), element->GetData(), 2), 0);
    }
}

}  // namespace
}  // namespace refcntr
