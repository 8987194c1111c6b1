// The layout is computed with DCMTK's own length calculation on the very items it then
// writes, so the offsets match the bytes whatever the values hold.
#include "refcntr/directory/RecordLayout.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcmetinf.h>
#include <dcmtk/dcmdata/dcsequen.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include "refcntr/platform/Exceptions.h"

namespace refcntr {

namespace {

// Preamble and the "DICM" prefix.
constexpr UINT32 filePrefixLength = 128 + 4;

// The transfer syntax toDcmFileFormat put in the meta header.
E_TransferSyntax targetTransferSyntax(DcmFileFormat& file) {
    const char* uid = nullptr;
    if (file.getMetaInfo()->findAndGetString(DCM_TransferSyntaxUID, uid).bad() || uid == nullptr)
        throw RuntimeException("no transfer syntax UID (0002,0010) to lay out for");
    return DcmXfer(uid).getXfer();
}

DcmSequenceOfItems& recordSequence(DcmDataset& dataset) {
    DcmSequenceOfItems* records = nullptr;
    if (dataset.findAndGetSequence(DCM_DirectoryRecordSequence, records).bad() || records == nullptr)
        throw RuntimeException("no directory record sequence (0004,1220) to lay out");
    return *records;
}

void reorder(DcmSequenceOfItems& records, const std::vector<unsigned>& order) {
    std::vector<DcmItem*> items;
    items.reserve(records.card());
    while (records.card() > 0) items.push_back(records.remove(0UL));
    for (unsigned index : order) records.append(items.at(index));
}

// The offset of the first item of the record sequence: the meta header as DCMTK will write it,
// then the data set's elements before the sequence, then the sequence's own tag and length.
// The write mode and the encoding of lengths are those of saveDcmFileFormat.
UINT32 firstItemOffset(DcmFileFormat& file, E_TransferSyntax target) {
    const E_EncodingType lengths = EET_ExplicitLength;
    OFCondition status = file.validateMetaInfo(target, EWM_fileformat);
    if (status.bad()) throw RuntimeException(std::string("meta header: ") + status.text());
    UINT32 offset = filePrefixLength + file.getMetaInfo()->getLength(EXS_LittleEndianExplicit, lengths);
    DcmDataset& dataset = *file.getDataset();
    for (DcmObject* element = dataset.nextInContainer(nullptr); element != nullptr;
         element = dataset.nextInContainer(element)) {
        if (element->getTag() == DCM_DirectoryRecordSequence) break;
        offset += element->calcElementLength(target, lengths);
    }
    return offset + (DcmXfer(target).isExplicitVR() ? 12 : 8);
}

void putOffset(DcmItem& item, const DcmTagKey& tag, UINT32 value) {
    DcmElement* element = nullptr;
    OFCondition status = item.findAndGetElement(tag, element, OFFalse);
    if (status.good()) status = element->putUint32(value);
    if (status.bad())
        throw RuntimeException("cannot set offset " + std::string(DcmTag(tag).getTagName()) + ": " + status.text());
}

}  // namespace

std::vector<UINT32> arrangeRecordItems(DcmFileFormat& file, const std::vector<unsigned>& order) {
    const E_TransferSyntax target = targetTransferSyntax(file);
    DcmSequenceOfItems& records = recordSequence(*file.getDataset());
    if (order.size() != records.card()) throw RuntimeException("directory record count changed while writing");
    reorder(records, order);
    std::vector<UINT32> offsets;
    offsets.reserve(order.size());
    UINT32 offset = firstItemOffset(file, target);
    for (DcmObject* item = records.nextInContainer(nullptr); item != nullptr; item = records.nextInContainer(item)) {
        offsets.push_back(offset);
        offset += item->calcElementLength(target, EET_ExplicitLength);
    }
    return offsets;
}

void fillRecordOffsets(DcmFileFormat& file, const std::vector<RecordOffsets>& records, UINT32 rootFirst,
                       UINT32 rootLast) {
    DcmDataset& dataset = *file.getDataset();
    putOffset(dataset, DCM_OffsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity, rootFirst);
    putOffset(dataset, DCM_OffsetOfTheLastDirectoryRecordOfTheRootDirectoryEntity, rootLast);
    DcmSequenceOfItems& sequence = recordSequence(dataset);
    auto links = records.begin();
    for (DcmObject* item = sequence.nextInContainer(nullptr); item != nullptr && links != records.end();
         item = sequence.nextInContainer(item), ++links) {
        putOffset(static_cast<DcmItem&>(*item), DCM_OffsetOfTheNextDirectoryRecord, links->next);
        putOffset(static_cast<DcmItem&>(*item), DCM_OffsetOfReferencedLowerLevelDirectoryEntity, links->lowerLevel);
    }
}

}  // namespace refcntr
