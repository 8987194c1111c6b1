// A media directory file (DICOMDIR) as a whole: the typed container tree, the hierarchy of its
// records, and a write that computes every record offset for the bytes it writes.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Types.h"

namespace refcntr {

class BasicDirectoryCompositeIOD;
class DirectoryRecordSequenceItem;
struct RecordHierarchy;

/// A media directory file: the typed tree plus the record hierarchy that its offsets describe.
///
/// The directory containers hold the record offsets (0004,1200), (0004,1202), (0004,1400) and
/// (0004,1420) as plain numbers. This class follows them once, on reading, into a hierarchy of
/// records (patients, their studies, their series, their images...) that it keeps by record
/// identity. From then on the offsets held by the records are not consulted: edits, added and
/// removed records and another transfer syntax all leave them stale, and `write` computes them
/// all again for the bytes it writes.
///
/// Damaged links. A file whose links are damaged is still read, and every record is kept:
/// - a link to an offset where no record starts ends its chain there;
/// - a link to a record already reached (a cycle, or a record that two links lead to) is cut:
///   the record stays where it was first reached;
/// - a record that no link reaches is put at the root level, after the records that are
///   reached, in file order, together with the records that its own links lead to.
/// Each damaged link, and each record no link reaches, is one line of the read notes. A record
/// whose in-use flag (0004,1410) is 0 takes part like any other; when no link reaches it, which
/// is how deleted records are often left, it is kept at the root level without a note. `write`
/// then links the records as this hierarchy says, so the file it writes has no damaged link.
///
/// Records are owned by the IOD's record sequence, (0004,1220). Add and remove them through
/// this class, which keeps the hierarchy: a record added to the sequence directly is written at
/// the root level, and a record must not be removed from the sequence directly.
class DirectoryFile {
public:
    using Record = DirectoryRecordSequenceItem;

    /// Reads `path`; throws RuntimeException naming the file and the reason (not DICOM, not a
    /// directory...).
    static std::unique_ptr<DirectoryFile> read(const std::string& path);
    /// The same; `notes` gets the read faults (as readDicomFile's) and one line per damaged link.
    static std::unique_ptr<DirectoryFile> read(const std::string& path, std::vector<std::string>& notes);
    /// The same from a data set already read with readDicomFile(path, notes, recordOffsets), for
    /// a reader that needs the data set as well; `path` names the file in messages.
    static std::unique_ptr<DirectoryFile> read(const std::string& path, const DICOMDataObject& data,
                                               const std::vector<UINT32>& recordOffsets,
                                               std::vector<std::string>& notes);
    /// A new, empty directory (no records) with this file-set ID.
    static std::unique_ptr<DirectoryFile> create(const RWCString& fileSetID);
    ~DirectoryFile();

    DirectoryFile(const DirectoryFile&) = delete;
    DirectoryFile& operator=(const DirectoryFile&) = delete;

    /// The typed tree. Edits of any record through it are kept and written.
    BasicDirectoryCompositeIOD& directory();
    const BasicDirectoryCompositeIOD& directory() const;

    /// The records of the root level, in link order. Records are owned by the IOD's record sequence.
    const std::vector<Record*>& roots() const;
    /// The records one level below `record`, in link order (empty for a record this file does not know).
    const std::vector<Record*>& children(const Record& record) const;
    /// The record one level up; null for a root record (and for a record this file does not know).
    Record* parent(const Record& record) const;

    /// Takes ownership; appends `record` as the last child of `parent` (the root level when null),
    /// through the IOD's record sequence (listeners hear it). Throws RuntimeException, and deletes
    /// `record`, when `parent` is not a record of this file.
    void addRecord(Record* record, Record* parent = nullptr);
    /// Removes and deletes `record` and everything below it, through the record sequence.
    /// Throws RuntimeException when `record` is not a record of this file.
    void removeRecord(Record* record);

    /// Saves the IOD, lays the records out parent before children, each level in link order,
    /// sets every record's offsets (0004,1400), (0004,1420) and the root offsets (0004,1200),
    /// (0004,1202) for the encoding actually written, and writes atomically: a temporary file
    /// beside `path`, flushed to disk and renamed into place. On any
    /// failure `path` is left as it was. A record without an in-use flag gets 0xFFFF (in use), a
    /// directory without a consistency flag (0004,1212) gets 0. Throws RuntimeException naming
    /// the file and the reason.
    void write(const std::string& path, TransferSyntax transferSyntax);

private:
    struct Links {
        Record* parent = nullptr;
        std::vector<Record*> children;
    };

    DirectoryFile();
    static std::unique_ptr<DirectoryFile> fromDataSet(const std::string& path, const DICOMDataObject& data,
                                                      const std::vector<UINT32>& recordOffsets,
                                                      std::vector<std::string>* notes);
    // Takes the hierarchy found on reading, by index into the record sequence.
    void adopt(const RecordHierarchy& hierarchy);
    void prepareForWriting();
    // Lays the records out parent before children, fills in every offset, in the data set saved
    // and in the records, and returns the order in which the record items are written.
    std::vector<unsigned> linkInLayout(DICOMDataObject& data, TransferSyntax transferSyntax, UINT32 headerLength);
    // Every record, parent before children, each level in link order.
    std::vector<Record*> layoutOrder() const;

    std::unique_ptr<BasicDirectoryCompositeIOD> itsDirectory;
    std::vector<Record*> itsRoots;
    std::unordered_map<const Record*, Links> itsLinks;
};

}  // namespace refcntr
