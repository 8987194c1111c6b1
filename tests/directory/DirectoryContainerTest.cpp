// The directory containers on hand-made data sets: what create makes of empty and odd
// values, what save writes (and drops, and never computes), the icon's smallest pixel value
// read as SS, the file meta information, the report paths and the IOD's assignment.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/directory/DirectoryModules.h"
#include "refcntr/directory/DirectoryRecords.h"
#include "refcntr/directory/FileMetaInformationModule.h"
#include "refcntr/directory/IconImageSequenceItem.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::RecordingListener;

// Stores native-order value bytes as an element of the data set's byte order.
void put(DICOMDataObject& data, UINT16 group, UINT16 element, UINT16 vrCode, const void* bytes, UINT32 length) {
    VR* stored = new VR(group, element, vrCode, data.GetEndian());
    stored->SetData(bytes, length);
    if (data.GetEndian() != VR::itsNativeEndian) stored->SwapDataEndian();
    data.ReplaceVR(stored);
}

void putText(DICOMDataObject& data, UINT16 group, UINT16 element, UINT16 vrCode, const std::string& text) {
    put(data, group, element, vrCode, text.data(), UINT32(text.size()));
}

std::unique_ptr<BasicDirectoryCompositeIOD> createDirectory(const DICOMDataObject& data) {
    return std::unique_ptr<BasicDirectoryCompositeIOD>(BasicDirectoryCompositeIOD::create(data));
}

DirectoryInformationModule& moduleOf(BasicDirectoryCompositeIOD& directory) {
    return *directory.getDirectoryInformationEntity()->getDirectoryInformationModule();
}

const SequenceVR& savedRecords(const DICOMDataObject& data) {
    const VR* records = data.GetVR(0x0004, 0x1220);
    EXPECT_NE(records, nullptr);
    return *records->GetAsSequenceVR();
}

// The record sequence is always saved: empty for an empty directory, and empty when its flag
// is cleared although it holds records.
TEST(DirectoryIOD, EmptyDataSetGivesEmptyModulesAndTheRecordSequenceIsAlwaysSaved) {
    auto directory = createDirectory(DICOMDataObject());
    ASSERT_TRUE(directory->isFileInformationEntityPresent());
    ASSERT_TRUE(directory->isDirectoryInformationEntityPresent());
    EXPECT_EQ(directory->getFileInformationEntity()->getFileMetaInformationModule()->isEmpty(), 1);
    EXPECT_EQ(directory->getDirectoryInformationEntity()->getFileSetIdentificationModule()->isEmpty(), 1);
    DirectoryInformationModule& module = moduleOf(*directory);
    EXPECT_EQ(module.isEmpty(), 1);
    DICOMDataObject empty;
    directory->save(empty);
    ASSERT_EQ(empty.GetNumberOfVRs(), 1u);
    EXPECT_EQ(savedRecords(empty).GetNumberOfItems(), 0u);

    auto* record = new DirectoryRecordSequenceItem;
    record->setDirectoryRecordTypeElement("PATIENT");
    module.getDirectoryRecordSequenceElement().addItem(record);
    module.setDirectoryRecordSequenceElementPresent(0);
    DICOMDataObject cleared;
    directory->save(cleared);
    EXPECT_EQ(savedRecords(cleared).GetNumberOfItems(), 0u);
    module.setDirectoryRecordSequenceElementPresent(1);
    DICOMDataObject restored;
    directory->save(restored);
    EXPECT_EQ(savedRecords(restored).GetNumberOfItems(), 1u);
}

TEST(DirectoryIOD, EmptyRecordsAreDroppedAndOffsetsWrittenAsStored) {
    for (EndianType endian : {LittleEndian, BigEndian}) {
        auto directory = createDirectory(DICOMDataObject());
        DirectoryInformationModule& module = moduleOf(*directory);
        module.setRootDirectoryFirstRecordElement(0);
        module.setRootDirectoryLastRecordElement(0xFFFFFFFF);
        DirectoryRecordSequence& records = module.getDirectoryRecordSequenceElement();
        for (UINT32 next : {0xFFFFFFFFu, 0u, 1234u}) {
            auto* record = new DirectoryRecordSequenceItem;
            record->setNextDirectoryRecordOffsetElement(next);
            record->setLowerLevelDirectoryOffsetElement(next);
            records.addItem(record);
        }
        records.addItem(new DirectoryRecordSequenceItem);
        records.removeItem(records.at(2));
        DICOMDataObject saved(endian);
        directory->save(saved);
        UINT32 value = 1;
        EXPECT_TRUE(saved.GetUINT32(0x0004, 0x1200, value) && value == 0);
        EXPECT_TRUE(saved.GetUINT32(0x0004, 0x1202, value) && value == 0xFFFFFFFF);
        const SequenceVR& written = savedRecords(saved);
        ASSERT_EQ(written.GetNumberOfItems(), 2u);
        for (unsigned i = 0; i < 2; ++i) {
            const DICOMDataObject& item = *written.GetSequenceItems()[i];
            EXPECT_EQ(item.GetVR(0x0004, 0x1400)->GetVRCode(), VRCode::UL);
            EXPECT_TRUE(item.GetUINT32(0x0004, 0x1400, value) && value == (i ? 0u : 0xFFFFFFFFu)) << i;
            EXPECT_TRUE(item.GetUINT32(0x0004, 0x1420, value) && value == (i ? 0u : 0xFFFFFFFFu)) << i;
        }
    }
}

TEST(DirectoryRecord, ReferencedFileIDSplitsAtEveryBackslashAndKeepsAnEmptyValue) {
    const std::pair<std::string, std::vector<RWCString>> cases[] = {
        {"PAT1\\ST1\\IM1", {"PAT1", "ST1", "IM1"}}, {"A\\\\B", {"A", "", "B"}}, {"A\\", {"A"}}, {"", {}}};
    for (const auto& [value, components] : cases) {
        DICOMDataObject data;
        putText(data, 0x0004, 0x1500, VRCode::CS, value);
        std::unique_ptr<DirectoryRecordSequenceItem> record(DirectoryRecordSequenceItem::create(data));
        EXPECT_EQ(record->isReferencedFileIDElementPresent(), 1) << value;
        EXPECT_EQ(record->getReferencedFileIDElement(), components) << value;
        DICOMDataObject saved;
        record->save(saved);
        ASSERT_NE(saved.GetVR(0x0004, 0x1500), nullptr) << value;
        if (value.empty()) {
            EXPECT_EQ(saved.GetVR(0x0004, 0x1500)->GetLength(), 0u);
        }
    }
}

TEST(IconImage, SmallestPixelValueReadAsSSIsWrittenBackAsUS) {
    DICOMDataObject data;
    const INT16 smallest = -5;
    put(data, 0x0028, 0x0106, VRCode::SS, &smallest, 2);
    std::unique_ptr<IconImageSequenceItem> icon(IconImageSequenceItem::create(data));
    EXPECT_EQ(icon->getSmallestImagePixelValueElementActualDataTypeCode(), "SS");
    DICOMDataObject saved;
    icon->save(saved);
    EXPECT_EQ(saved.GetVR(0x0028, 0x0106)->GetVRCode(), VRCode::US);
    UINT16 value = 0;
    EXPECT_TRUE(saved.GetUINT16(0x0028, 0x0106, value) && value == UINT16(smallest));
}

TEST(FileMetaInformation, SourceTitleIsNeverReadAndGroupLengthIsWrittenAsStored) {
    DICOMDataObject data;
    putText(data, 0x0002, 0x0016, VRCode::AE, "STATION1");
    const UINT32 zero = 0;
    put(data, 0x0002, 0x0000, VRCode::UL, &zero, 4);
    putText(data, 0x0002, 0x0002, VRCode::UI, "1.2.840.10008.1.3.10");
    std::unique_ptr<FileMetaInformationModule> meta(FileMetaInformationModule::create(data));
    EXPECT_EQ(meta->isSourceApplicationEntityTitleElementPresent(), 0);
    DICOMDataObject saved;
    meta->save(saved);
    EXPECT_EQ(saved.GetVR(0x0002, 0x0016), nullptr);
    UINT32 length = 1;
    EXPECT_TRUE(saved.GetUINT32(0x0002, 0x0000, length) && length == 0);

    meta->setSourceApplicationEntityTitleElement(AETitle("WRITER"));
    meta->save(saved);
    RWCString title;
    EXPECT_TRUE(saved.GetString(0x0002, 0x0016, title) && title == "WRITER");
}

TEST(FileMetaInformation, VersionSetWithTheHeldBufferReportsNothingAndSetsNoBit) {
    FileMetaInformationModule meta;
    RecordingListener listener;
    meta.addListener(listener, "");
    auto* version = new unsigned char[2]{0, 1};
    meta.setFileMetaInformationVersionElement(version, 2);
    meta.setFileMetaInformationVersionElementPresent(0);
    meta.setFileMetaInformationVersionElement(version, 2);
    EXPECT_EQ(listener.heard,
              std::vector<std::string>{"elementUpdated FileMetaInformationModule.FileMetaInformationVersionElement"});
    EXPECT_EQ(meta.isFileMetaInformationVersionElementPresent(), 0);
}

TEST(DirectoryNotifications, RecordChangesReachTheIODWithTheirPaths) {
    auto directory = createDirectory(DICOMDataObject());
    RecordingListener onDirectory, onRecord;
    directory->addListener(onDirectory, "");
    DirectoryInformationModule& module = moduleOf(*directory);
    auto* record = new DirectoryRecordSequenceItem;
    module.getDirectoryRecordSequenceElement().addItem(record);
    record->addListener(onRecord, "");
    record->setPatientIDElement("P1");
    auto* icon = new IconImageSequenceItem;
    record->getIconImageSequenceElement().addItem(icon);
    icon->setRowsElement(16);
    module.getDirectoryRecordSequenceElement().removeItem(record);
    module.setFileSetConsistencyFlagElement(0);

    const std::string inRecord = "DirectoryRecordSequenceItem.DirectoryRecordSequenceElement";
    const std::string icons = inRecord + ".IconImageSequenceElement.IconImageSequenceItem.RowsElement";
    EXPECT_EQ(onRecord.heard, (std::vector<std::string>{"elementUpdated DirectoryRecordSequenceItem.PatientIDElement",
                                                        "elementUpdated " + inRecord, "elementUpdated " + icons}));
    const std::string top =
        "elementUpdated BasicDirectoryCompositeIOD.DirectoryInformationEntity.DirectoryInformationModule.";
    const std::string records = top + "DirectoryRecordSequenceElement.";
    EXPECT_EQ(onDirectory.heard,
              (std::vector<std::string>{top + "Element", records + "DirectoryRecordSequenceItem.PatientIDElement",
                                        records + inRecord, records + icons, top + "Element",
                                        top + "FileSetConsistencyFlagElement"}));
}

TEST(DirectoryIOD, AssignmentCopiesTheSourcesEntitiesAndBecomesTheirParent) {
    DICOMDataObject data;
    putText(data, 0x0004, 0x1130, VRCode::CS, "SOURCE");
    const auto source = createDirectory(data);
    auto target = createDirectory(DICOMDataObject());
    RecordingListener onTarget;
    target->addListener(onTarget, "");
    *target = *source;
    EXPECT_EQ(target->toString(0), source->toString(0));
    FileSetIdentificationModule& fileSet = *target->getDirectoryInformationEntity()->getFileSetIdentificationModule();
    EXPECT_NE(&fileSet, source->getDirectoryInformationEntity()->getFileSetIdentificationModule());
    fileSet.setFileSetIDElement("TARGET");
    EXPECT_EQ(onTarget.heard,
              std::vector<std::string>{"elementUpdated BasicDirectoryCompositeIOD."
                                       "DirectoryInformationEntity.FileSetIdentificationModule.FileSetIDElement"});
    EXPECT_EQ(source->getDirectoryInformationEntity()->getFileSetIdentificationModule()->getFileSetIDElement(),
              "SOURCE");

    *target = BasicDirectoryCompositeIOD();
    EXPECT_EQ(target->toString(0),
              "itsFileInformationEntity = <not present>\nitsDirectoryInformationEntity = <not present>");
}

}  // namespace
}  // namespace refcntr
