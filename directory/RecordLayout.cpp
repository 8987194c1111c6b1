// The layout is computed with the encoder's own lengths, on the very data set it then writes,
// so the offsets match the bytes whatever the values hold.
#include "refcntr/directory/RecordLayout.h"

#include "refcntr/platform/DataSetEncoder.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

namespace {

const SequenceVR& recordSequence(const DICOMDataObject& data) {
    const VR* element = data.GetVR(0x0004, 0x1220);
    const SequenceVR* records = element != nullptr ? element->GetAsSequenceVR() : nullptr;
    if (records == nullptr) throw RuntimeException("no directory record sequence (0004,1220) to lay out");
    return *records;
}

void putOffset(DICOMObject& target, UINT16 element, UINT32 value) {
    unsigned char bytes[4];
    for (int i = 0; i < 4; ++i) bytes[target.GetEndian() == BigEndian ? 3 - i : i] = UINT8(value >> (8 * i));
    auto* offset = new VR(0x0004, element, VRCode::UL, target.GetEndian());
    offset->SetData(bytes, 4);
    target.ReplaceVR(offset);
}

}  // namespace

std::vector<UINT32> recordItemOffsets(const DICOMDataObject& data, TransferSyntax transferSyntax, UINT32 headerLength,
                                      const std::vector<unsigned>& order) {
    const SequenceVR& records = recordSequence(data);
    if (order.size() != records.GetNumberOfItems())
        throw RuntimeException("directory record count changed while writing");
    UINT32 offset = headerLength;
    for (const auto& element : data) {
        if (element->GetGroup() == 0x0002) continue;
        if (element.get() == &records) break;
        offset += encodedLength(*element, transferSyntax, SequenceLengths::Explicit);
    }
    offset += transferSyntax == TransferSyntax::ImplicitLittle ? 8 : 12;
    std::vector<UINT32> offsets;
    offsets.reserve(order.size());
    for (unsigned index : order) {
        offsets.push_back(offset);
        offset +=
            8 + encodedItemLength(*records.GetSequenceItems().at(index), transferSyntax, SequenceLengths::Explicit);
    }
    return offsets;
}

void fillRecordOffsets(DICOMDataObject& data, const std::vector<unsigned>& order,
                       const std::vector<RecordOffsets>& records, UINT32 rootFirst, UINT32 rootLast) {
    putOffset(data, 0x1200, rootFirst);
    putOffset(data, 0x1202, rootLast);
    const auto& items = recordSequence(data).GetSequenceItems();
    for (std::size_t k = 0; k < order.size() && k < records.size(); ++k) {
        putOffset(*items.at(order[k]), 0x1400, records[k].next);
        putOffset(*items.at(order[k]), 0x1420, records[k].lowerLevel);
    }
}

}  // namespace refcntr
