#include "DataSetCode.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "IODExercise.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr::fuzz {

namespace {

constexpr unsigned maximumDepth = 200;
constexpr unsigned maximumRepeatedElements = 1u << 7;
constexpr std::size_t maximumValueBytes = std::size_t(1) << 11;

enum Instruction {
    KnownElement,
    AnyElement,
    OpenSequence,
    OpenItem,
    CloseSequence,
    PrivateCreator,
    RepeatItem,
    RemoveElement
};
constexpr unsigned flag = 0x08;
constexpr unsigned zorvikFlag = 0x10;

class Reader {
public:
    Reader(const std::uint8_t* bytes, std::size_t size) : itsBytes(bytes), itsSize(size) {}
    bool atEnd() const { return itsPosition >= itsSize; }
    std::uint8_t u8() { return itsPosition < itsSize ? itsBytes[itsPosition++] : 0; }
    std::uint16_t u16() {
        const std::uint8_t low = u8();
        return std::uint16_t(low | (u8() << 8));
    }
    // `length` bytes; past the end of the input the bytes read so far repeat (zeros when none).
    // `length` bytes repeating the next bytes of input (at most `takeAtMost` of them); past
    // `longest`, the input is passed over the same way and nothing is returned.
    std::vector<unsigned char> bytes(std::size_t length, std::size_t takeAtMost, std::size_t longest = SIZE_MAX) {
        const std::size_t available = std::min({length, takeAtMost, itsSize - std::min(itsPosition, itsSize)});
        const std::uint8_t* from = itsBytes + itsPosition;
        itsPosition += available;
        if (length > longest || available == 0) return std::vector<unsigned char>(length > longest ? 0 : length);
        std::vector<unsigned char> result(length);
        std::copy(from, from + available, result.begin());
        for (std::size_t filled = available; filled < length;) {
            const std::size_t count = std::min(filled, length - filled);
            std::copy(result.begin(), result.begin() + std::ptrdiff_t(count), result.begin() + std::ptrdiff_t(filled));
            filled += count;
        }
        return result;
    }

private:
    const std::uint8_t* itsBytes;
    std::size_t itsSize;
    std::size_t itsPosition = 0;
};

// A value, or none when it is longer than `longest` (the rest of the value budget).
std::vector<unsigned char> readValue(Reader& in, std::size_t longest) {
    switch (in.u8() & 3) {
    case 0: return {};
    case 1: {
        const std::size_t length = in.u8();
        return in.bytes(length, length, longest);
    }
    case 2: {
        const std::size_t length = in.u16();
        return in.bytes(length, length, longest);
    }
    default: return in.bytes(std::size_t(in.u16()) * 16, 16, longest);
    }
}

}  // namespace

std::size_t valueBytes(const DICOMObject& data, unsigned* elements) {
    std::size_t bytes = 0;
    for (const auto& element : data) {
        bytes += element->GetLength();
        if (elements) ++*elements;
        if (const SequenceVR* sequence = element->GetAsSequenceVR())
            for (const DICOMDataObject* item : sequence->GetSequenceItems()) bytes += valueBytes(*item, elements);
    }
    return bytes;
}

namespace {

// The rows of public sequences, which instruction 2 picks from.
const std::vector<const KnownAttribute*>& sequenceRows() {
    static const std::vector<const KnownAttribute*> rows = [] {
        std::vector<const KnownAttribute*> sequences;
        for (const KnownAttribute& row : knownAttributes())
            if (row.isSequence && !row.privateCreator) sequences.push_back(&row);
        return sequences;
    }();
    return rows;
}

struct OpenSequenceFrame {
    std::unique_ptr<SequenceVR> sequence;
    DICOMDataObject* parent;
    DICOMDataObject* item;  // owned by the sequence; null until an item is opened
};

class Decoder {
public:
    Decoder(const std::uint8_t* bytes, std::size_t size) : itsIn(bytes, size) {
        itsEndian = (itsIn.u8() & 1) ? BigEndian : LittleEndian;
        itsRoot = std::make_unique<DICOMDataObject>(itsEndian);
    }

    std::unique_ptr<DICOMDataObject> run() {
        while (!itsIn.atEnd()) step(itsIn.u8());
        while (!itsOpen.empty()) close();
        return std::move(itsRoot);
    }

private:
    // The data set elements go to: the open item, a new item when a sequence has none open,
    // or the top level.
    DICOMDataObject& current() {
        if (itsOpen.empty()) return *itsRoot;
        OpenSequenceFrame& frame = itsOpen.back();
        if (!frame.item) openItem();
        return *frame.item;
    }

    void openItem() {
        if (itsOpen.empty()) return;
        OpenSequenceFrame& frame = itsOpen.back();
        frame.item = new DICOMDataObject(itsEndian);
        frame.sequence->AddSequenceItem(frame.item);
    }

    void close() {
        OpenSequenceFrame frame = std::move(itsOpen.back());
        itsOpen.pop_back();
        frame.parent->ReplaceVR(frame.sequence.release());
    }

    void store(DICOMDataObject& data, UINT16 group, UINT16 element, UINT16 vrCode,
               const std::vector<unsigned char>& value, const char* creator) {
        auto made = std::make_unique<VR>(group, element, vrCode, itsEndian);
        if (itsValueBytes + value.size() <= maximumValueBytes) {
            itsValueBytes += value.size();
            made->SetData(value.data(), UINT32(value.size()));
        }
        try {
            if (creator)
                data.ReplaceVR(creator, made.release());
            else
                data.ReplaceVR(made.release());
        } catch (const RuntimeException&) {
            // Every private block of the group is taken: the element cannot be placed.
        }
    }

    static UINT16 codeOf(const char* vr) { return vr && vr[0] && vr[1] ? VRCode::make(vr[0], vr[1]) : VRCode::Unknown; }

    void step(std::uint8_t opcode) {
        switch (opcode & 7) {
        case KnownElement: {
            const auto& rows = knownAttributes();
            const KnownAttribute& row = rows[itsIn.u16() % rows.size()];
            const UINT16 vrCode = (opcode & flag) ? itsIn.u16() : codeOf(row.vr);
            const std::vector<unsigned char> value = readValue(itsIn, maximumValueBytes - itsValueBytes);
            store(current(), row.group, row.element, vrCode, value, row.privateCreator);
            break;
        }
        case AnyElement: {
            const UINT16 group = itsIn.u16();
            const UINT16 element = itsIn.u16();
            const UINT16 vrCode = itsIn.u16();
            store(current(), group, element, vrCode, readValue(itsIn, maximumValueBytes - itsValueBytes), nullptr);
            break;
        }
        case OpenSequence: {
            UINT16 group = 0, element = 0;
            if (opcode & flag) {
                group = itsIn.u16();
                element = itsIn.u16();
            } else {
                const KnownAttribute& row = *itsSequenceRows[itsIn.u16() % itsSequenceRows.size()];
                group = row.group;
                element = row.element;
            }
            if (itsOpen.size() >= maximumDepth) break;
            DICOMDataObject& parent = current();
            itsOpen.push_back({std::make_unique<SequenceVR>(group, element, itsEndian), &parent, nullptr});
            break;
        }
        case OpenItem: openItem(); break;
        case CloseSequence:
            if (!itsOpen.empty()) close();
            break;
        case PrivateCreator: {
            const UINT16 group = (opcode & flag) ? UINT16(0x0023) : UINT16(itsIn.u16() | 1);
            const UINT16 block = itsIn.u8();
            std::vector<unsigned char> creator;
            if (opcode & zorvikFlag) {
                creator.assign({'Z', 'O', 'R', 'V', 'I', 'K', '0', ' '});
            } else {
                const std::size_t length = itsIn.u8();
                creator = itsIn.bytes(length, length);
            }
            store(current(), group, block, VRCode::LO, creator, nullptr);
            break;
        }
        case RepeatItem: {
            const unsigned count = itsIn.u16() % 4096;
            if (itsOpen.empty() || !itsOpen.back().item) break;
            SequenceVR& sequence = *itsOpen.back().sequence;
            const DICOMDataObject& last = *sequence.GetSequenceItems().back();
            unsigned cost = 1;
            const std::size_t bytes = valueBytes(last, &cost);
            for (unsigned i = 0; i < count && itsRepeatedElements + cost <= maximumRepeatedElements &&
                                 itsValueBytes + bytes <= maximumValueBytes;
                 ++i) {
                itsRepeatedElements += cost;
                itsValueBytes += bytes;
                sequence.AddSequenceItem(new DICOMDataObject(last));
            }
            // Elements still go to the item that was open.
            break;
        }
        case RemoveElement: {
            const UINT16 group = itsIn.u16();
            const UINT16 element = itsIn.u16();
            current().RemoveVR(group, element);
            break;
        }
        }
    }

    Reader itsIn;
    EndianType itsEndian = LittleEndian;
    std::unique_ptr<DICOMDataObject> itsRoot;
    std::vector<OpenSequenceFrame> itsOpen;
    const std::vector<const KnownAttribute*>& itsSequenceRows = sequenceRows();
    unsigned itsRepeatedElements = 0;
    std::size_t itsValueBytes = 0;
};

void put16(std::string& out, UINT16 value) {
    out += char(value & 0xFF);
    out += char(value >> 8);
}

void encodeElements(const DICOMObject& data, std::string& out) {
    for (const auto& element : data) {
        if (const SequenceVR* sequence = element->GetAsSequenceVR()) {
            out += char(OpenSequence | flag);
            put16(out, element->GetGroup());
            put16(out, element->GetElement());
            for (const DICOMDataObject* item : sequence->GetSequenceItems()) {
                out += char(OpenItem);
                encodeElements(*item, out);
            }
            out += char(CloseSequence);
            continue;
        }
        out += char(AnyElement);
        put16(out, element->GetGroup());
        put16(out, element->GetElement());
        put16(out, element->GetVRCode());
        const UINT32 length = std::min<UINT32>(element->GetLength(), 0xFFFF);
        out += char(2);
        put16(out, UINT16(length));
        if (length) out.append(reinterpret_cast<const char*>(element->GetData()), length);
    }
}

}  // namespace

std::unique_ptr<DICOMDataObject> decodeDataSet(const std::uint8_t* bytes, std::size_t size) {
    return Decoder(bytes, size).run();
}

std::string encodeDataSet(const DICOMDataObject& data) {
    std::string out(1, data.GetEndian() == BigEndian ? char(1) : char(0));
    encodeElements(data, out);
    return out;
}

}  // namespace refcntr::fuzz
