// Media directories of any size, for benchmarks and for tests that need many records.
#pragma once

#include <string>

namespace refcntr::testfiles {

// The proportions of a generated directory: per patient 2 studies, per study 3 series, per
// series 8 images, so 57 records to a patient.
constexpr unsigned studiesPerPatient = 2;
constexpr unsigned seriesPerStudy = 3;
constexpr unsigned imagesPerSeries = 8;

// Writes at `path` a DICOMDIR (explicit VR little endian) of exactly `recordCount` records,
// made by DCMTK's DcmDicomDir so that its offsets are DCMTK's own. Patients are added whole in
// that order, the last one cut short where the count ends. Keys follow the positions: patient
// p is "Patient^p" [Pp]; study s of it has ID Ss and UID 2.25.p.s; series e has number e+1,
// modality CT and UID 2.25.p.s.e; image i has instance number i+1 and file IMAGES/Pp/Ss/Ee/Ii.
// Throws std::runtime_error naming the file when DCMTK cannot write it.
void writeGeneratedDirectory(const std::string& path, unsigned recordCount);

}  // namespace refcntr::testfiles
