// Media directories made by DCMTK's dcmmkdir from images made with DCMTK's API: read into the
// containers, checked record by record against DCMTK's own parse, saved, written in each
// transfer syntax and compared element by element with the original.
#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/TestFiles.h"
#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/directory/DirectoryModules.h"
#include "refcntr/directory/DirectoryRecords.h"
#include "refcntr/directory/FileMetaInformationModule.h"
#include "refcntr/platform/DicomFile.h"
#include "support/SameDataSet.h"

namespace refcntr {
namespace {

using testfiles::ScratchDirectory;
using testing::expectSameDataSet;

struct Image {
    const char* file;
    const char* patientID;
    const char* patientName;
    const char* study;
    const char* series;
    const char* seriesNumber;
    const char* instanceNumber;
};

// Two patients; the first has one study with two series.
const Image images[] = {
    {"PAT1/ST1/SE1/IM1", "P1", "Doe^Jane", "2.25.101", "2.25.1011", "1", "1"},
    {"PAT1/ST1/SE1/IM2", "P1", "Doe^Jane", "2.25.101", "2.25.1011", "1", "2"},
    {"PAT1/ST1/SE2/IM1", "P1", "Doe^Jane", "2.25.101", "2.25.1012", "2", "1"},
    {"PAT2/ST1/SE1/IM1", "P2", "Roe^Rick", "2.25.201", "2.25.2011", "1", "1"},
};

void writeImage(const ScratchDirectory& scratch, const Image& image, unsigned number) {
    DcmFileFormat file;
    DcmDataset& data = *file.getDataset();
    const std::pair<DcmTagKey, std::string> texts[] = {{DCM_SOPClassUID, UID_SecondaryCaptureImageStorage},
                                                       {DCM_SOPInstanceUID, "2.25.9" + std::to_string(number)},
                                                       {DCM_PatientID, image.patientID},
                                                       {DCM_PatientName, image.patientName},
                                                       {DCM_StudyInstanceUID, image.study},
                                                       {DCM_SeriesInstanceUID, image.series},
                                                       {DCM_StudyDate, "20240102"},
                                                       {DCM_StudyTime, "101500"},
                                                       {DCM_StudyID, "S1"},
                                                       {DCM_AccessionNumber, "A1"},
                                                       {DCM_Modality, "OT"},
                                                       {DCM_SeriesNumber, image.seriesNumber},
                                                       {DCM_InstanceNumber, image.instanceNumber},
                                                       {DCM_PhotometricInterpretation, "MONOCHROME2"}};
    for (const auto& [tag, value] : texts) ASSERT_TRUE(data.putAndInsertString(tag, value.c_str()).good());
    const std::pair<DcmTagKey, Uint16> numbers[] = {{DCM_SamplesPerPixel, 1},    {DCM_Rows, 8},       {DCM_Columns, 8},
                                                    {DCM_BitsAllocated, 8},      {DCM_BitsStored, 8}, {DCM_HighBit, 7},
                                                    {DCM_PixelRepresentation, 0}};
    for (const auto& [tag, value] : numbers) ASSERT_TRUE(data.putAndInsertUint16(tag, value).good());
    Uint8 pixels[64];
    for (unsigned i = 0; i < 64; ++i) pixels[i] = Uint8(i * 4 + number);
    ASSERT_TRUE(data.putAndInsertUint8Array(DCM_PixelData, pixels, 64).good());
    std::filesystem::create_directories(std::filesystem::path(scratch.File(image.file)).parent_path());
    ASSERT_TRUE(file.saveFile(scratch.File(image.file).c_str(), EXS_LittleEndianExplicit).good());
}

DcmSequenceOfItems& dcmtkRecords(DcmFileFormat& file) {
    DcmSequenceOfItems* records = nullptr;
    EXPECT_TRUE(file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).good());
    return *records;
}

class DirectoryFile : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // Odd-length UIDs are written padded with a blank, which DCMTK warns about on reading.
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        scratch = new ScratchDirectory;
        unsigned number = 0;
        for (const Image& image : images) writeImage(*scratch, image, ++number);
        const std::string tools = REFCNTR_DCMTK_BIN_DIR;
        const std::string in = "cd " + testfiles::quoted(scratch->Path().string()) + " && ";
        ASSERT_EQ(testfiles::runCommand(in + tools +
                                        "/dcmmkdir -q --recurse +F REFCNTR_TEST +X -Xs 16 +D DICOMDIR PAT1 PAT2"),
                  0);
        ASSERT_EQ(testfiles::runCommand(in + tools + "/dcmconv -q +tb DICOMDIR BIGDIR"), 0);
    }
    static void TearDownTestSuite() { delete scratch; }

    static std::unique_ptr<BasicDirectoryCompositeIOD> readDirectory(const std::string& name) {
        return std::unique_ptr<BasicDirectoryCompositeIOD>(
            BasicDirectoryCompositeIOD::create(*readDicomFile(scratch->File(name))));
    }
    static const DirectoryRecordSequence& recordsOf(const BasicDirectoryCompositeIOD& directory) {
        return directory.getDirectoryInformationEntity()
            ->getDirectoryInformationModule()
            ->getDirectoryRecordSequenceElement();
    }

    static ScratchDirectory* scratch;
};
ScratchDirectory* DirectoryFile::scratch = nullptr;

TEST_F(DirectoryFile, RecordsAndTheirOffsetsMatchDCMTKsParse) {
    DcmFileFormat oracle;
    ASSERT_TRUE(oracle.loadFile(scratch->File("DICOMDIR").c_str()).good());
    DcmSequenceOfItems& expected = dcmtkRecords(oracle);
    const auto directory = readDirectory("DICOMDIR");
    const DirectoryRecordSequence& records = recordsOf(*directory);
    ASSERT_EQ(records.length(), 11u);
    ASSERT_EQ(expected.card(), 11u);

    std::map<UINT32, unsigned> indexAtOffset;
    std::vector<std::string> fileIDs;
    for (unsigned i = 0; i < records.length(); ++i) {
        const DirectoryRecordSequenceItem& record = *records.at(i);
        auto& original = static_cast<DcmDirectoryRecord&>(*expected.getItem(i));
        indexAtOffset[UINT32(original.getFileOffset())] = i;
        OFString type, fileID;
        Uint32 next = 0, lower = 0;
        original.findAndGetOFString(DCM_DirectoryRecordType, type);
        original.findAndGetUint32(DCM_OffsetOfTheNextDirectoryRecord, next);
        original.findAndGetUint32(DCM_OffsetOfReferencedLowerLevelDirectoryEntity, lower);
        EXPECT_EQ(record.getDirectoryRecordTypeElement(), type.c_str()) << i;
        EXPECT_EQ(record.getNextDirectoryRecordOffsetElement(), next) << i;
        EXPECT_EQ(record.getLowerLevelDirectoryOffsetElement(), lower) << i;
        EXPECT_EQ(record.getRecordInUseFlagElement(), 0xFFFF) << i;
        if (original.findAndGetOFStringArray(DCM_ReferencedFileID, fileID).good()) {
            std::string joined;
            for (const RWCString& component : record.getReferencedFileIDElement())
                joined += (joined.empty() ? "" : "/") + component;
            EXPECT_EQ(record.getReferencedFileIDElement().size(), 4u);
            fileIDs.push_back(joined);
        } else {
            EXPECT_FALSE(record.isReferencedFileIDElementPresent()) << i;
        }
    }
    std::vector<std::string> expectedIDs;
    for (const Image& image : images) expectedIDs.push_back(image.file);
    EXPECT_EQ(fileIDs, expectedIDs);

    // The root offsets as stored; DirectoryFile follows them and the hierarchy tests check where
    // they lead.
    const DirectoryInformationModule& module =
        *directory->getDirectoryInformationEntity()->getDirectoryInformationModule();
    Uint32 first = 0, last = 0;
    oracle.getDataset()->findAndGetUint32(DCM_OffsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity, first);
    oracle.getDataset()->findAndGetUint32(DCM_OffsetOfTheLastDirectoryRecordOfTheRootDirectoryEntity, last);
    EXPECT_EQ(module.getRootDirectoryFirstRecordElement(), first);
    EXPECT_EQ(module.getRootDirectoryLastRecordElement(), last);
    EXPECT_EQ(records.at(indexAtOffset.at(last))->getPatientIDElement(), "P2");

    const IconImageSequence& icons = records.at(3)->getIconImageSequenceElement();
    ASSERT_EQ(icons.length(), 1u);
    EXPECT_EQ(icons.at(0)->getRowsElement(), 16);
    EXPECT_EQ(icons.at(0)->getPixelDataElementLength(), 256u);
    EXPECT_EQ(icons.at(0)->getPixelDataElementActualDataTypeCode(), "OB");

    const FileMetaInformationModule& meta = *directory->getFileInformationEntity()->getFileMetaInformationModule();
    EXPECT_EQ(meta.getMediaStorageSOPClassUIDElement(), UID_MediaStorageDirectoryStorage);
    EXPECT_EQ(directory->getDirectoryInformationEntity()->getFileSetIdentificationModule()->getFileSetIDElement(),
              "REFCNTR_TEST");
}

TEST_F(DirectoryFile, SavedDirectoryWrittenInEachTransferSyntaxEqualsTheOriginal) {
    DcmFileFormat original;
    ASSERT_TRUE(original.loadFile(scratch->File("DICOMDIR").c_str()).good());
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(scratch->File("DICOMDIR"));
    const std::unique_ptr<BasicDirectoryCompositeIOD> directory(BasicDirectoryCompositeIOD::create(*read));
    DICOMDataObject fresh;
    directory->save(fresh);
    DICOMDataObject intoRead(*read);
    directory->save(intoRead);
    const std::pair<const char*, const DICOMDataObject*> saved[] = {{"fresh", &fresh}, {"read", &intoRead}};
    const TransferSyntax syntaxes[] = {TransferSyntax::ExplicitLittle, TransferSyntax::ExplicitBig,
                                       TransferSyntax::ImplicitLittle};
    for (const auto& [name, data] : saved) {
        for (TransferSyntax syntax : syntaxes) {
            const std::string where = std::string(name) + " syntax " + std::to_string(int(syntax)) + " ";
            const std::string path = scratch->File("WRITTEN");
            writeDicomFile(path, *data, syntax);
            DcmFileFormat written;
            ASSERT_TRUE(written.loadFile(path.c_str()).good()) << where;
            expectSameDataSet(*original.getDataset(), *written.getDataset(), where,
                              testing::Comparison(syntax != TransferSyntax::ImplicitLittle));
            OFString sopClass;
            written.getMetaInfo()->findAndGetOFString(DCM_MediaStorageSOPClassUID, sopClass);
            EXPECT_EQ(sopClass, UID_MediaStorageDirectoryStorage) << where;
            // Same lengths as the original, so the stored offsets still point at the records.
            if (syntax == TransferSyntax::ExplicitLittle) {
                EXPECT_EQ(testfiles::readWholeFile(path), testfiles::readWholeFile(scratch->File("DICOMDIR"))) << where;
            }
        }
    }
}

TEST_F(DirectoryFile, BigEndianDirectoryReadsTheSameValuesAndWritesBackUnchanged) {
    const auto little = readDirectory("DICOMDIR");
    const std::unique_ptr<DICOMDataObject> read = readDicomFile(scratch->File("BIGDIR"));
    ASSERT_EQ(read->GetEndian(), BigEndian);
    const std::unique_ptr<BasicDirectoryCompositeIOD> big(BasicDirectoryCompositeIOD::create(*read));
    EXPECT_EQ(big->getDirectoryInformationEntity()->toString(0), little->getDirectoryInformationEntity()->toString(0));
    const IconImageSequenceItem& bigIcon = *recordsOf(*big).at(3)->getIconImageSequenceElement().at(0);
    const IconImageSequenceItem& littleIcon = *recordsOf(*little).at(3)->getIconImageSequenceElement().at(0);
    ASSERT_EQ(bigIcon.getPixelDataElementLength(), littleIcon.getPixelDataElementLength());
    EXPECT_EQ(std::memcmp(bigIcon.getPixelDataElement(), littleIcon.getPixelDataElement(), 256), 0);

    DICOMDataObject saved(BigEndian);
    big->save(saved);
    writeDicomFile(scratch->File("BIGOUT"), saved, TransferSyntax::ExplicitBig);
    DcmFileFormat original, written;
    ASSERT_TRUE(original.loadFile(scratch->File("BIGDIR").c_str()).good());
    ASSERT_TRUE(written.loadFile(scratch->File("BIGOUT").c_str()).good());
    expectSameDataSet(*original.getDataset(), *written.getDataset(), "big ");
}

// Words swap by two bytes on a big-endian write and read, also when the item holds them as bytes.
TEST_F(DirectoryFile, WordPixelDataAndPaletteSurviveABigEndianFile) {
    const Uint16 words[4] = {0x0102, 0x0304, 0xA0B0, 0x00FF};
    auto* icon = new IconImageSequenceItem;
    auto* pixels = new unsigned char[8];
    std::memcpy(pixels, words, 8);
    icon->setPixelDataElement(pixels, 8);
    icon->setPixelDataElementActualDataTypeCode("OW");
    icon->setRedPaletteColorLookupTableDataElement(new UINT16[8]{0x0102, 0x0304, 0xA0B0, 0x00FF}, 8);
    auto* record = new DirectoryRecordSequenceItem;
    record->setDirectoryRecordTypeElement("IMAGE");
    record->getIconImageSequenceElement().addItem(icon);
    std::unique_ptr<BasicDirectoryCompositeIOD> directory(BasicDirectoryCompositeIOD::create(DICOMDataObject()));
    directory->getDirectoryInformationEntity()
        ->getDirectoryInformationModule()
        ->getDirectoryRecordSequenceElement()
        .addItem(record);
    DICOMDataObject saved(BigEndian);
    directory->save(saved);
    writeDicomFile(scratch->File("WORDS"), saved, TransferSyntax::ExplicitBig);

    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(scratch->File("WORDS").c_str()).good());
    DcmItem* written = nullptr;
    ASSERT_TRUE(dcmtkRecords(file).getItem(0)->findAndGetSequenceItem(DCM_IconImageSequence, written).good());
    for (const DcmTagKey& tag : {DCM_PixelData, DCM_RedPaletteColorLookupTableData}) {
        const Uint16* values = nullptr;
        ASSERT_TRUE(written->findAndGetUint16Array(tag, values).good()) << tag.toString();
        EXPECT_EQ(std::vector<Uint16>(values, values + 4), std::vector<Uint16>(words, words + 4)) << tag.toString();
    }
    const auto reread = readDirectory("WORDS");
    const IconImageSequenceItem& read = *recordsOf(*reread).at(0)->getIconImageSequenceElement().at(0);
    ASSERT_EQ(read.getPixelDataElementLength(), 8u);
    EXPECT_EQ(std::memcmp(read.getPixelDataElement(), words, 8), 0);
    EXPECT_EQ(std::memcmp(read.getRedPaletteColorLookupTableDataElement(), words, 8), 0);
}

}  // namespace
}  // namespace refcntr
