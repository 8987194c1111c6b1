// The directory file layer: reading with the record hierarchy resolved, editing it, and
// writing with every record offset computed.
#include "refcntr/directory/DirectoryFile.h"

#include <algorithm>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcuid.h>

#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/directory/DirectoryModules.h"
#include "refcntr/directory/DirectoryRecords.h"
#include "refcntr/directory/FileMetaInformationModule.h"
#include "refcntr/directory/RecordLayout.h"
#include "refcntr/directory/RecordLinks.h"
#include "refcntr/platform/DataSetEncoder.h"
#include "refcntr/platform/Exceptions.h"

namespace refcntr {

namespace {

const char* const mediaStorageDirectoryStorage = "1.2.840.10008.1.3.10";
const std::vector<DirectoryFile::Record*> noRecords;

[[noreturn]] void failToWrite(const std::string& path, const std::string& reason) {
    throw RuntimeException("cannot write '" + path + "': " + reason);
}

bool isMediaDirectory(const DICOMDataObject& data) {
    RWCString sopClass;
    return data.GetVR(0x0004, 0x1220) != nullptr ||
           (data.GetString(0x0002, 0x0002, sopClass) && sopClass == mediaStorageDirectoryStorage);
}

// The module that holds the records; the IOD's setters can take it away, which is refused here.
DirectoryInformationModule& informationModule(BasicDirectoryCompositeIOD& directory) {
    DirectoryInformationEntity* entity = directory.getDirectoryInformationEntity();
    if (entity == nullptr || entity->getDirectoryInformationModule() == nullptr)
        throw RuntimeException("the directory has no directory information module to hold its records");
    return *entity->getDirectoryInformationModule();
}

std::vector<RecordPosition> positionsOf(const DirectoryRecordSequence& records, const std::vector<UINT32>& offsets) {
    std::vector<RecordPosition> positions(records.length());
    for (unsigned i = 0; i < positions.size(); ++i) {
        const DirectoryRecordSequenceItem& record = *records.items()[i];
        positions[i].offset = offsets[i];
        positions[i].next = record.getNextDirectoryRecordOffsetElement();
        positions[i].lowerLevel = record.getLowerLevelDirectoryOffsetElement();
        positions[i].inUse = !record.isRecordInUseFlagElementPresent() || record.getRecordInUseFlagElement() != 0;
    }
    return positions;
}

// A record about to be written holds its offsets and its in-use flag, so it is never left out
// as empty and laying out never changes its length.
void complete(DirectoryRecordSequenceItem& record) {
    if (!record.isNextDirectoryRecordOffsetElementPresent()) record.setNextDirectoryRecordOffsetElement(0);
    if (!record.isRecordInUseFlagElementPresent()) record.setRecordInUseFlagElement(0xFFFF);
    if (!record.isLowerLevelDirectoryOffsetElementPresent()) record.setLowerLevelDirectoryOffsetElement(0);
}

void complete(DirectoryInformationModule& module) {
    if (!module.isRootDirectoryFirstRecordElementPresent()) module.setRootDirectoryFirstRecordElement(0);
    if (!module.isRootDirectoryLastRecordElementPresent()) module.setRootDirectoryLastRecordElement(0);
    if (!module.isFileSetConsistencyFlagElementPresent()) module.setFileSetConsistencyFlagElement(0);
    module.setDirectoryRecordSequenceElementPresent(1);
}

// Only changed values are set: an unchanged directory reports no change.
void setLinks(DirectoryRecordSequenceItem& record, const RecordOffsets& links) {
    if (record.getNextDirectoryRecordOffsetElement() != links.next)
        record.setNextDirectoryRecordOffsetElement(links.next);
    if (record.getLowerLevelDirectoryOffsetElement() != links.lowerLevel)
        record.setLowerLevelDirectoryOffsetElement(links.lowerLevel);
}

}  // namespace

DirectoryFile::DirectoryFile() = default;
DirectoryFile::~DirectoryFile() = default;

// Without notes, the read faults are not looked for: that walks every element again.
std::unique_ptr<DirectoryFile> DirectoryFile::read(const std::string& path) {
    std::vector<UINT32> offsets;
    const std::unique_ptr<DICOMDataObject> data = readDicomFile(path, nullptr, offsets);
    return fromDataSet(path, *data, offsets, nullptr);
}

std::unique_ptr<DirectoryFile> DirectoryFile::read(const std::string& path, std::vector<std::string>& notes) {
    std::vector<UINT32> offsets;
    const std::unique_ptr<DICOMDataObject> data = readDicomFile(path, &notes, offsets);
    return fromDataSet(path, *data, offsets, &notes);
}

std::unique_ptr<DirectoryFile> DirectoryFile::read(const std::string& path, const DICOMDataObject& data,
                                                   const std::vector<UINT32>& recordOffsets,
                                                   std::vector<std::string>& notes) {
    return fromDataSet(path, data, recordOffsets, &notes);
}

std::unique_ptr<DirectoryFile> DirectoryFile::fromDataSet(const std::string& path, const DICOMDataObject& data,
                                                          const std::vector<UINT32>& offsets,
                                                          std::vector<std::string>* notes) {
    if (!isMediaDirectory(data))
        throw RuntimeException("cannot read '" + path + "': not a media directory (no directory record sequence)");
    std::unique_ptr<DirectoryFile> file(new DirectoryFile());
    file->itsDirectory.reset(BasicDirectoryCompositeIOD::create(data));
    DirectoryInformationModule& module = informationModule(*file->itsDirectory);
    const DirectoryRecordSequence& records = module.getDirectoryRecordSequenceElement();
    if (offsets.size() != records.length())
        throw RuntimeException("cannot read '" + path + "': the directory records could not be located");
    std::vector<std::string> linkNotes;
    const UINT32 root = module.getRootDirectoryFirstRecordElement();
    file->adopt(resolveRecordLinks(positionsOf(records, offsets), root, linkNotes));
    if (notes) notes->insert(notes->end(), linkNotes.begin(), linkNotes.end());
    return file;
}

std::unique_ptr<DirectoryFile> DirectoryFile::create(const RWCString& fileSetID) {
    std::unique_ptr<DirectoryFile> file(new DirectoryFile());
    file->itsDirectory.reset(BasicDirectoryCompositeIOD::create(DICOMDataObject()));
    char instanceUID[100];
    FileMetaInformationModule& meta = *file->itsDirectory->getFileInformationEntity()->getFileMetaInformationModule();
    meta.setMediaStorageSOPClassUIDElement(mediaStorageDirectoryStorage);
    meta.setMediaStorageSOPInstanceUIDElement(dcmGenerateUniqueIdentifier(instanceUID, SITE_INSTANCE_UID_ROOT));
    DirectoryInformationEntity& entity = *file->itsDirectory->getDirectoryInformationEntity();
    entity.getFileSetIdentificationModule()->setFileSetIDElement(fileSetID);
    complete(*entity.getDirectoryInformationModule());
    return file;
}

void DirectoryFile::adopt(const RecordHierarchy& hierarchy) {
    const auto& records = informationModule(*itsDirectory).getDirectoryRecordSequenceElement().items();
    itsLinks.reserve(records.size());
    for (unsigned i = 0; i < records.size(); ++i) {
        Links& links = itsLinks[records[i]];
        const unsigned parent = hierarchy.parents[i];
        links.parent = parent == RecordHierarchy::noParent ? nullptr : records[parent];
        links.children.reserve(hierarchy.children[i].size());
        for (unsigned child : hierarchy.children[i]) links.children.push_back(records[child]);
    }
    itsRoots.reserve(hierarchy.roots.size());
    for (unsigned root : hierarchy.roots) itsRoots.push_back(records[root]);
}

BasicDirectoryCompositeIOD& DirectoryFile::directory() { return *itsDirectory; }
const BasicDirectoryCompositeIOD& DirectoryFile::directory() const { return *itsDirectory; }

const std::vector<DirectoryFile::Record*>& DirectoryFile::roots() const { return itsRoots; }

const std::vector<DirectoryFile::Record*>& DirectoryFile::children(const Record& record) const {
    auto found = itsLinks.find(&record);
    return found == itsLinks.end() ? noRecords : found->second.children;
}

DirectoryFile::Record* DirectoryFile::parent(const Record& record) const {
    auto found = itsLinks.find(&record);
    return found == itsLinks.end() ? nullptr : found->second.parent;
}

void DirectoryFile::addRecord(Record* record, Record* parent) {
    std::unique_ptr<Record> owned(record);
    DirectoryRecordSequence& records = informationModule(*itsDirectory).getDirectoryRecordSequenceElement();
    if (parent != nullptr && itsLinks.count(parent) == 0)
        throw RuntimeException("DirectoryFile::addRecord: the parent is not a record of this directory");
    records.addItem(owned.release());
    itsLinks[record].parent = parent;
    (parent == nullptr ? itsRoots : itsLinks[parent].children).push_back(record);
}

void DirectoryFile::removeRecord(Record* record) {
    auto found = itsLinks.find(record);
    if (found == itsLinks.end())
        throw RuntimeException("DirectoryFile::removeRecord: the record is not a record of this directory");
    std::vector<Record*>& level = found->second.parent == nullptr ? itsRoots : itsLinks[found->second.parent].children;
    level.erase(std::find(level.begin(), level.end(), record));
    std::vector<Record*> below{record};
    for (std::size_t i = 0; i < below.size(); ++i) {
        const std::vector<Record*>& children = itsLinks[below[i]].children;
        below.insert(below.end(), children.begin(), children.end());
    }
    DirectoryRecordSequence& records = informationModule(*itsDirectory).getDirectoryRecordSequenceElement();
    for (Record* removed : below) {
        itsLinks.erase(removed);
        records.removeItem(removed);
    }
}

std::vector<DirectoryFile::Record*> DirectoryFile::layoutOrder() const {
    std::vector<Record*> order;
    order.reserve(itsLinks.size());
    std::vector<std::pair<const std::vector<Record*>*, std::size_t>> levels{{&itsRoots, 0}};
    while (!levels.empty()) {
        auto& [level, next] = levels.back();
        if (next == level->size()) {
            levels.pop_back();
            continue;
        }
        Record* record = (*level)[next++];
        order.push_back(record);
        levels.push_back({&itsLinks.at(record).children, 0});
    }
    return order;
}

void DirectoryFile::write(const std::string& path, TransferSyntax transferSyntax) {
    DICOMDataObject data;
    std::string header;
    SequenceOrder order{MAttributeTag(0x0004, 0x1220), {}};
    try {
        prepareForWriting();
        itsDirectory->save(data);
        header = encodeFileHeader(data, transferSyntax);
        order.items = linkInLayout(data, transferSyntax, UINT32(header.size()));
    } catch (const RuntimeException& error) {
        failToWrite(path, error.GetMessage());
    }
    writeEncodedFile(path, header, data, transferSyntax, SequenceLengths::Explicit, &order);
}

void DirectoryFile::prepareForWriting() {
    DirectoryInformationModule& module = informationModule(*itsDirectory);
    complete(module);
    for (Record* record : module.getDirectoryRecordSequenceElement().items()) {
        complete(*record);
        if (itsLinks.emplace(record, Links()).second) itsRoots.push_back(record);
    }
}

// Puts the records of DCMTK's file (saved in sequence order) in layout order and sets the
// offsets, in the file and in the containers.
std::vector<unsigned> DirectoryFile::linkInLayout(DICOMDataObject& data, TransferSyntax transferSyntax,
                                                  UINT32 headerLength) {
    DirectoryInformationModule& module = informationModule(*itsDirectory);
    const auto& records = module.getDirectoryRecordSequenceElement().items();
    const std::vector<Record*> order = layoutOrder();
    std::unordered_map<const Record*, unsigned> sequenceIndex, layoutIndex;
    sequenceIndex.reserve(records.size());
    layoutIndex.reserve(order.size());
    for (unsigned i = 0; i < records.size(); ++i) sequenceIndex.emplace(records[i], i);
    std::vector<unsigned> itemOrder;
    itemOrder.reserve(order.size());
    for (unsigned k = 0; k < order.size(); ++k) {
        itemOrder.push_back(sequenceIndex.at(order[k]));
        layoutIndex.emplace(order[k], k);
    }
    const std::vector<UINT32> offsets = recordItemOffsets(data, transferSyntax, headerLength, itemOrder);
    auto offsetOf = [&](const Record* record) { return offsets[layoutIndex.at(record)]; };

    std::vector<RecordOffsets> links(order.size());
    auto linkLevel = [&](const std::vector<Record*>& level) {
        for (std::size_t i = 0; i + 1 < level.size(); ++i)
            links[layoutIndex.at(level[i])].next = offsetOf(level[i + 1]);
    };
    linkLevel(itsRoots);
    for (unsigned k = 0; k < order.size(); ++k) {
        const std::vector<Record*>& children = itsLinks.at(order[k]).children;
        linkLevel(children);
        if (!children.empty()) links[k].lowerLevel = offsetOf(children.front());
    }
    const UINT32 rootFirst = itsRoots.empty() ? 0 : offsetOf(itsRoots.front());
    const UINT32 rootLast = itsRoots.empty() ? 0 : offsetOf(itsRoots.back());
    fillRecordOffsets(data, itemOrder, links, rootFirst, rootLast);

    for (unsigned k = 0; k < order.size(); ++k) setLinks(*order[k], links[k]);
    if (module.getRootDirectoryFirstRecordElement() != rootFirst) module.setRootDirectoryFirstRecordElement(rootFirst);
    if (module.getRootDirectoryLastRecordElement() != rootLast) module.setRootDirectoryLastRecordElement(rootLast);
    return itemOrder;
}

}  // namespace refcntr
