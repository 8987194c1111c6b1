#include "GeneratedDirectory.h"

#include <cstdio>
#include <stdexcept>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

namespace refcntr::testfiles {

namespace {

// Adds records under a parent until the count is used up.
class RecordBudget {
public:
    explicit RecordBudget(unsigned count) : itsLeft(count) {}
    bool exhausted() const { return itsLeft == 0; }

    DcmDirectoryRecord* add(DcmDirectoryRecord& parent, E_DirRecType type) {
        auto* record = new DcmDirectoryRecord(type, nullptr, OFFilename());
        parent.insertSub(record);
        --itsLeft;
        return record;
    }

private:
    unsigned itsLeft;
};

void put(DcmDirectoryRecord& record, const DcmTagKey& tag, const std::string& value) {
    record.putAndInsertString(tag, value.c_str());
}

void addImages(RecordBudget& budget, DcmDirectoryRecord& series, const std::string& file, const std::string& uid) {
    for (unsigned i = 0; i < imagesPerSeries && !budget.exhausted(); ++i) {
        DcmDirectoryRecord& image = *budget.add(series, ERT_Image);
        const std::string number = std::to_string(i);
        put(image, DCM_ReferencedFileID, file + "\\I" + number);
        put(image, DCM_ReferencedSOPClassUIDInFile, UID_CTImageStorage);
        put(image, DCM_ReferencedSOPInstanceUIDInFile, uid + "." + number);
        put(image, DCM_ReferencedTransferSyntaxUIDInFile, UID_LittleEndianExplicitTransferSyntax);
        put(image, DCM_InstanceNumber, std::to_string(i + 1));
    }
}

void addSeries(RecordBudget& budget, DcmDirectoryRecord& study, const std::string& file, const std::string& uid) {
    for (unsigned e = 0; e < seriesPerStudy && !budget.exhausted(); ++e) {
        DcmDirectoryRecord& series = *budget.add(study, ERT_Series);
        const std::string seriesUID = uid + "." + std::to_string(e);
        put(series, DCM_Modality, "CT");
        put(series, DCM_SeriesInstanceUID, seriesUID);
        put(series, DCM_SeriesNumber, std::to_string(e + 1));
        addImages(budget, series, file + "\\E" + std::to_string(e), seriesUID);
    }
}

void addStudies(RecordBudget& budget, DcmDirectoryRecord& patient, const std::string& file, unsigned p) {
    for (unsigned s = 0; s < studiesPerPatient && !budget.exhausted(); ++s) {
        DcmDirectoryRecord& study = *budget.add(patient, ERT_Study);
        const std::string uid = "2.25." + std::to_string(p) + "." + std::to_string(s);
        put(study, DCM_StudyDate, "20240102");
        put(study, DCM_StudyTime, "101500");
        put(study, DCM_StudyDescription, "STUDY " + std::to_string(s));
        put(study, DCM_StudyInstanceUID, uid);
        put(study, DCM_StudyID, "S" + std::to_string(s));
        put(study, DCM_AccessionNumber, "A" + std::to_string(p));
        addSeries(budget, study, file + "\\S" + std::to_string(s), uid);
    }
}

}  // namespace

void writeGeneratedDirectory(const std::string& path, unsigned recordCount) {
    std::remove(path.c_str());  // DcmDicomDir starts a new directory only where none is
    DcmDicomDir directory(path.c_str(), "GENERATED");
    RecordBudget budget(recordCount);
    for (unsigned p = 0; !budget.exhausted(); ++p) {
        DcmDirectoryRecord& patient = *budget.add(directory.getRootRecord(), ERT_Patient);
        put(patient, DCM_PatientName, "Patient^" + std::to_string(p));
        put(patient, DCM_PatientID, "P" + std::to_string(p));
        addStudies(budget, patient, "IMAGES\\P" + std::to_string(p), p);
    }
    const OFCondition status = directory.write(EXS_LittleEndianExplicit);
    if (status.bad()) throw std::runtime_error("cannot write '" + path + "': " + status.text());
}

}  // namespace refcntr::testfiles
