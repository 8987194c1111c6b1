#include "refcntr/platform/DataSetDecoder.h"

#include <cstring>

#include "refcntr/platform/ByteOrder.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/DictionaryVRConversion.h"
#include "refcntr/platform/LengthField.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

namespace {

constexpr UINT32 undefinedLength = 0xFFFFFFFF;
// Deeper nesting is left to DCMTK's reader and its handling of hostile files.
constexpr int deepestNesting = 64;

class Decoder {
public:
    Decoder(const unsigned char* bytes, std::size_t size, std::vector<UINT32>* recordOffsets)
        : itsBytes(bytes),
          itsSize(size),
          itsRecordOffsets(recordOffsets) {}

    std::unique_ptr<DICOMDataObject> File() {
        if (itsSize < 132 || std::memcmp(itsBytes + 128, "DICM", 4) != 0) return nullptr;
        itsPosition = 132;
        DICOMDataObject meta(LittleEndian);
        std::size_t metaEnd = itsPosition;
        // Meta elements out of order or repeated are left to DCMTK, which keeps the first of two.
        int previous = -1;
        while (metaEnd + 4 <= itsSize && Number16(metaEnd) == 0x0002) {
            const int number = Number16(metaEnd + 2);
            if (number <= previous) return nullptr;
            previous = number;
            itsPosition = metaEnd;
            if (!Element(meta, 0)) return nullptr;
            metaEnd = itsPosition;
        }
        itsPosition = metaEnd;
        // DCMTK ends the meta header where its group length says; where that is not where group
        // 0002 ends, DCMTK's reading is left to DCMTK.
        UINT32 groupLength = 0;
        if (meta.GetUINT32(0x0002, 0x0000, groupLength) == 1 && metaEnd != 132 + 12 + std::size_t(groupLength))
            return nullptr;
        RWCString syntax;
        if (meta.GetString(0x0002, 0x0010, syntax) != 1) return nullptr;
        if (syntax == "1.2.840.10008.1.2.2")
            itsEndian = BigEndian;
        else if (syntax != "1.2.840.10008.1.2.1")
            return nullptr;
        auto dataSet = std::make_unique<DICOMDataObject>(itsEndian);
        for (const auto& element : meta) dataSet->ReplaceVR(InDataSetOrder(*element).release());
        if (!Elements(*dataSet, itsSize, false, 0) || itsPosition != itsSize) return nullptr;
        return dataSet;
    }

private:
    // A meta element (little endian in the file) in the byte order of the data set.
    std::unique_ptr<VR> InDataSetOrder(const VR& element) const {
        auto copy = std::make_unique<VR>(element.GetGroup(), element.GetElement(), element.GetVRCode(), itsEndian);
        copy->SetData(element.GetData(), element.GetLength());
        if (itsEndian != element.GetEndian()) copy->SwapDataEndian();
        return copy;
    }

    UINT16 Number16(std::size_t at) const { return storedNumber16(itsBytes + at, itsEndian == BigEndian); }
    UINT32 Number32(std::size_t at) const { return storedNumber32(itsBytes + at, itsEndian == BigEndian); }

    // Elements up to `end`, or up to an item delimiter when `delimited`.
    bool Elements(DICOMObject& target, std::size_t end, bool delimited, int depth) {
        UINT32 previous = 0;
        bool first = true;
        while (delimited || itsPosition < end) {
            if (itsPosition + 8 > end) return false;
            const UINT16 group = Number16(itsPosition), number = Number16(itsPosition + 2);
            if (group == 0xFFFE) {
                if (!delimited || number != 0xE00D || Number32(itsPosition + 4) != 0) return false;
                itsPosition += 8;
                return true;
            }
            const UINT32 key = UINT32(group) << 16 | number;
            if (group == 0x0002 || (!first && key <= previous)) return false;
            previous = key;
            first = false;
            if (!Element(target, depth)) return false;
        }
        return itsPosition == end;
    }

    bool Element(DICOMObject& target, int depth) {
        if (itsPosition + 8 > itsSize) return false;
        const UINT16 group = Number16(itsPosition), number = Number16(itsPosition + 2);
        const UINT16 vrCode = VRCode::make(char(itsBytes[itsPosition + 4]), char(itsBytes[itsPosition + 5]));
        const ValueType type = MDDEntry::UShortToValueType(vrCode);
        if (type == ValueType::Unknown || type == ValueType::Ambiguous || vrCode == VRCode::UN) return false;
        UINT32 length = 0;
        if (hasLongLengthField(vrCode)) {
            if (itsPosition + 12 > itsSize) return false;
            length = Number32(itsPosition + 8);
            itsPosition += 12;
        } else {
            length = Number16(itsPosition + 6);
            itsPosition += 8;
        }
        if (group % 2 == 0 && !agreesWithDictionary(vrCode, InstanceSpecificDataDictionary::TypeVR(group, number)))
            return false;
        if (vrCode == VRCode::SQ) return Sequence(target, group, number, length, depth + 1);
        if (length == undefinedLength || length % 2 != 0 || length > itsSize - itsPosition) return false;
        const unsigned char* value = itsBytes + itsPosition;
        itsPosition += length;
        std::unique_ptr<VR> element(VR::WithRoom(group, number, vrCode, target.GetEndian(), nullptr, length));
        if (type == ValueType::Text) return Text(target, std::move(element), value, length);
        if (length % MDDEntry::ValueWidth(vrCode) != 0) return false;
        element->SetData(value, length);
        target.ReplaceVR(element.release());
        return true;
    }

    // DCMTK hands texts over without trailing pad (blanks, or NULs in a UID); they are kept
    // padded again to even length, as the bridge keeps what DCMTK reads. DCMTK removes every
    // white-space character from a UID, so such UIDs are left to it.
    static bool Text(DICOMObject& target, std::unique_ptr<VR> element, const unsigned char* value, UINT32 length) {
        const bool uid = element->GetVRCode() == VRCode::UI;
        for (UINT32 i = 0; i < length; ++i) {
            const bool whiteSpace = value[i] == ' ' || (value[i] >= '\t' && value[i] <= '\r');
            if (uid ? whiteSpace : value[i] == '\0') return false;
        }
        const char pad = uid ? '\0' : ' ';
        while (length > 0 && value[length - 1] == pad) --length;
        element->SetPaddedData(value, length, pad);
        target.ReplaceVR(element.release());
        return true;
    }

    bool Sequence(DICOMObject& target, UINT16 group, UINT16 number, UINT32 length, int depth) {
        if (depth > deepestNesting) return false;
        const bool delimited = length == undefinedLength;
        if (!delimited && length > itsSize - itsPosition) return false;
        const std::size_t end = delimited ? itsSize : itsPosition + length;
        auto sequence = std::make_unique<SequenceVR>(group, number, target.GetEndian());
        const bool records = itsRecordOffsets != nullptr && depth == 1 && group == 0x0004 && number == 0x1220;
        for (;;) {
            if (!delimited && itsPosition == end) break;
            if (itsPosition + 8 > end || Number16(itsPosition) != 0xFFFE) return false;
            if (records && Number16(itsPosition + 2) == 0xE000) itsRecordOffsets->push_back(UINT32(itsPosition));
            const UINT16 tag = Number16(itsPosition + 2);
            const UINT32 itemLength = Number32(itsPosition + 4);
            itsPosition += 8;
            if (delimited && tag == 0xE0DD) {
                if (itemLength != 0) return false;
                break;
            }
            if (tag != 0xE000) return false;
            auto item = std::make_unique<DICOMDataObject>(target.GetEndian());
            if (itemLength == undefinedLength) {
                if (!Elements(*item, end, true, depth)) return false;
            } else {
                if (itemLength > end - itsPosition || !Elements(*item, itsPosition + itemLength, false, depth))
                    return false;
            }
            sequence->AddSequenceItem(item.release());
        }
        target.ReplaceVR(sequence.release());
        return true;
    }

    const unsigned char* itsBytes;
    std::size_t itsSize;
    std::size_t itsPosition = 0;
    EndianType itsEndian = LittleEndian;
    std::vector<UINT32>* itsRecordOffsets;
};

}  // namespace

std::unique_ptr<DICOMDataObject> decodeCommonFile(const unsigned char* bytes, std::size_t size,
                                                  std::vector<UINT32>* recordOffsets) {
    const std::size_t known = recordOffsets ? recordOffsets->size() : 0;
    std::unique_ptr<DICOMDataObject> dataSet = Decoder(bytes, size, recordOffsets).File();
    if (!dataSet && recordOffsets) recordOffsets->resize(known);
    return dataSet;
}

}  // namespace refcntr
