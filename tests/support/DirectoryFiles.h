// Small images written with DCMTK's API and media directories made of them by DCMTK's dcmmkdir.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "support/TestFiles.h"

namespace refcntr::testfiles {

// The keys of one image, from its patient down.
struct ImageKeys {
    std::string patientID, patientName;
    std::string studyUID, studyID, studyDate, studyDescription;
    std::string seriesUID, modality, seriesNumber;
    std::string instanceUID, instanceNumber;
};

// A 4 x 4 secondary-capture image with those keys, explicit VR little endian.
inline void writeImage(const std::string& path, const ImageKeys& keys) {
    DcmFileFormat file;
    DcmDataset& data = *file.getDataset();
    const std::pair<DcmTagKey, std::string> texts[] = {{DCM_SOPClassUID, UID_SecondaryCaptureImageStorage},
                                                       {DCM_SOPInstanceUID, keys.instanceUID},
                                                       {DCM_PatientID, keys.patientID},
                                                       {DCM_PatientName, keys.patientName},
                                                       {DCM_StudyInstanceUID, keys.studyUID},
                                                       {DCM_StudyID, keys.studyID},
                                                       {DCM_StudyDate, keys.studyDate},
                                                       {DCM_StudyTime, "101500"},
                                                       {DCM_StudyDescription, keys.studyDescription},
                                                       {DCM_AccessionNumber, "A1"},
                                                       {DCM_SeriesInstanceUID, keys.seriesUID},
                                                       {DCM_Modality, keys.modality},
                                                       {DCM_SeriesNumber, keys.seriesNumber},
                                                       {DCM_InstanceNumber, keys.instanceNumber},
                                                       {DCM_PhotometricInterpretation, "MONOCHROME2"}};
    for (const auto& [tag, value] : texts) ASSERT_TRUE(data.putAndInsertString(tag, value.c_str()).good());
    const std::pair<DcmTagKey, Uint16> numbers[] = {{DCM_SamplesPerPixel, 1},    {DCM_Rows, 4},       {DCM_Columns, 4},
                                                    {DCM_BitsAllocated, 8},      {DCM_BitsStored, 8}, {DCM_HighBit, 7},
                                                    {DCM_PixelRepresentation, 0}};
    for (const auto& [tag, value] : numbers) ASSERT_TRUE(data.putAndInsertUint16(tag, value).good());
    const std::vector<Uint8> pixels(16, 128);
    ASSERT_TRUE(data.putAndInsertUint8Array(DCM_PixelData, pixels.data(), 16).good());
    ASSERT_TRUE(file.saveFile(path.c_str(), EXS_LittleEndianExplicit).good());
}

// Writes the images under directory/IMAGES (file names of at most eight capitals and digits,
// as directories require) and makes directory/DICOMDIR of them, records in the given order.
inline void makeDirectory(const std::filesystem::path& directory,
                          const std::vector<std::pair<std::string, ImageKeys>>& images) {
    std::filesystem::create_directories(directory / "IMAGES");
    std::string files;
    for (const auto& [name, keys] : images) {
        writeImage((directory / "IMAGES" / name).string(), keys);
        files += " IMAGES/" + name;
    }
    ASSERT_EQ(runCommand("cd " + quoted(directory.string()) + " && " + REFCNTR_DCMTK_BIN_DIR +
                         "/dcmmkdir -q +F REFCNTR_TEST +D DICOMDIR" + files),
              0);
}

// Two patients: Doe^Jane with one study of one CT series of two images, Roe^Richard with one
// study of two series (MR and OT) of one image each.
inline void makeTwoPatientDirectory(const std::filesystem::path& directory) {
    const ImageKeys jane{"P1",        "Doe^Jane", "2.25.101", "S1",         "20240102", "CT CHEST",
                         "2.25.1011", "CT",       "1",        "2.25.10111", "1"};
    ImageKeys janeSecond = jane;
    janeSecond.instanceUID = "2.25.10112";
    janeSecond.instanceNumber = "2";
    const ImageKeys richard{"P2",        "Roe^Richard", "2.25.201", "S7",         "20231130", "",
                            "2.25.2011", "MR",          "3",        "2.25.20111", "1"};
    ImageKeys richardOther = richard;
    richardOther.seriesUID = "2.25.2012";
    richardOther.modality = "OT";
    richardOther.seriesNumber = "4";
    richardOther.instanceUID = "2.25.20121";
    makeDirectory(directory, {{"IM1", jane}, {"IM2", janeSecond}, {"IM3", richard}, {"IM4", richardOther}});
}

// The hierarchy of a directory as DCMTK's DcmDicomDir builds it from the record offsets: one
// line per record, its type and one key (patient name, study ID, series number, else file
// ID), two spaces deeper per level. "<unreadable>" when DCMTK cannot read the file.
inline std::string dcmtkHierarchy(DcmDirectoryRecord& record, int depth = -1) {
    std::string result;
    if (depth >= 0) {
        OFString type, key;
        record.findAndGetOFString(DCM_DirectoryRecordType, type);
        const DcmTagKey keyTag = type == "PATIENT"  ? DCM_PatientName
                                 : type == "STUDY"  ? DCM_StudyID
                                 : type == "SERIES" ? DCM_SeriesNumber
                                                    : DCM_ReferencedFileID;
        record.findAndGetOFStringArray(keyTag, key);
        result += std::string(2 * depth, ' ') + type.c_str() + " " + key.c_str() + "\n";
    }
    for (unsigned long i = 0; i < record.cardSub(); ++i) result += dcmtkHierarchy(*record.getSub(i), depth + 1);
    return result;
}

inline std::string dcmtkHierarchy(const std::string& path) {
    DcmDicomDir directory(path.c_str());
    if (directory.error().bad()) return "<unreadable>";
    return dcmtkHierarchy(directory.getRootRecord());
}

}  // namespace refcntr::testfiles
