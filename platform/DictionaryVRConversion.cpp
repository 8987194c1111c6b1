#include "refcntr/platform/DictionaryVRConversion.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcistrmb.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <dcmtk/dcmdata/dcelem.h>

#include "refcntr/platform/ByteOrder.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MAttributeTag.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/ReadNotes.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/platform/StructureScan.h"

namespace refcntr {

namespace {

// A file with many faults gets this many notes in all, and a count of the rest.
constexpr std::size_t mostNotes = 100;

enum class NumberKind { None, Unsigned, Signed, Float, Double };

struct NumberType {
    NumberKind kind;
    unsigned width;
};

NumberType binaryNumberType(UINT16 vrCode) {
    switch (vrCode) {
    case VRCode::US: return {NumberKind::Unsigned, 2};
    case VRCode::UL: return {NumberKind::Unsigned, 4};
    case VRCode::UV: return {NumberKind::Unsigned, 8};
    case VRCode::SS: return {NumberKind::Signed, 2};
    case VRCode::SL: return {NumberKind::Signed, 4};
    case VRCode::SV: return {NumberKind::Signed, 8};
    case VRCode::FL:
    case VRCode::OF: return {NumberKind::Float, 4};
    case VRCode::FD:
    case VRCode::OD: return {NumberKind::Double, 8};
    default: return {NumberKind::None, 0};
    }
}

bool isNumberText(UINT16 vrCode) { return vrCode == VRCode::DS || vrCode == VRCode::IS; }

// A text that may hold numbers written out: any text VR but a UID's, whose digits and dots mean
// no number. Whether it does is up to its values.
bool mayHoldNumbers(UINT16 vrCode) { return MDDEntry::IsStringType(vrCode) && vrCode != VRCode::UI; }

// Integers up to 2^53 pass through a double exactly; wider ones are not converted.
constexpr double exactIntegerLimit = 9007199254740992.0;

// The values of a binary element, or false when one is wider than a double holds exactly.
bool binaryValues(const VR& element, NumberType type, std::vector<double>& values) {
    const auto* bytes = static_cast<const unsigned char*>(element.GetData());
    const bool bigEndian = element.GetEndian() == BigEndian;
    for (UINT32 at = 0; at + type.width <= element.GetLength(); at += type.width) {
        std::uint64_t raw = 0;
        for (unsigned i = 0; i < type.width; ++i) raw = raw << 8 | bytes[at + (bigEndian ? i : type.width - 1 - i)];
        const unsigned unusedBits = 64 - 8 * type.width;
        double value = 0;
        switch (type.kind) {
        case NumberKind::Unsigned: value = double(raw); break;
        case NumberKind::Signed: value = double(std::int64_t(raw << unusedBits) >> unusedBits); break;
        case NumberKind::Float: {
            const std::uint32_t bits = std::uint32_t(raw);
            float number;
            std::memcpy(&number, &bits, 4);
            value = number;
            break;
        }
        case NumberKind::Double: std::memcpy(&value, &raw, 8); break;
        case NumberKind::None: return false;
        }
        if ((type.kind == NumberKind::Unsigned || type.kind == NumberKind::Signed) &&
            std::fabs(value) > exactIntegerLimit)
            return false;
        values.push_back(value);
    }
    return element.GetLength() % type.width == 0;
}

// The values of a DS or IS text; false when one is empty or not a number.
bool textValues(const VR& element, std::vector<double>& values) {
    const char* text = reinterpret_cast<const char*>(element.GetData());
    std::size_t length = text ? element.GetLength() : 0;
    while (length > 0 && (text[length - 1] == ' ' || text[length - 1] == '\0')) --length;
    if (length == 0) return true;  // no value
    std::size_t start = 0;
    while (start <= length) {
        std::size_t end = start;
        while (end < length && text[end] != '\\') ++end;
        std::size_t first = start, last = end;
        while (first < last && (text[first] == ' ' || text[first] == '\0')) ++first;
        while (last > first && (text[last - 1] == ' ' || text[last - 1] == '\0')) --last;
        if (first < last && text[first] == '+') ++first;
        double value = 0;
        const auto parsed = std::from_chars(text + first, text + last, value);
        if (first == last || parsed.ec != std::errc() || parsed.ptr != text + last || !std::isfinite(value))
            return false;
        values.push_back(value);
        start = end + 1;
    }
    return true;
}

// The bytes of the values as numbers of `type`, in `order`; false when one does not fit.
bool binaryBytes(const std::vector<double>& values, NumberType type, EndianType order, std::string& bytes) {
    for (double value : values) {
        std::uint64_t raw = 0;
        const bool integer = type.kind == NumberKind::Unsigned || type.kind == NumberKind::Signed;
        if (integer) {
            const bool isSigned = type.kind == NumberKind::Signed;
            const double limit = std::ldexp(1.0, int(8 * type.width) - (isSigned ? 1 : 0));
            if (value != std::floor(value) || value >= limit || value < (isSigned ? -limit : 0.0)) return false;
            raw = isSigned ? std::uint64_t(std::int64_t(value)) : std::uint64_t(value);
        } else if (type.kind == NumberKind::Float) {
            if (std::fabs(value) > std::numeric_limits<float>::max()) return false;
            const float number = float(value);
            std::uint32_t bits;
            std::memcpy(&bits, &number, 4);
            raw = bits;
        } else if (type.kind == NumberKind::Double) {
            std::memcpy(&raw, &value, 8);
        } else {
            return false;
        }
        for (unsigned i = 0; i < type.width; ++i) {
            const unsigned shift = 8 * (order == BigEndian ? type.width - 1 - i : i);
            bytes += char((raw >> shift) & 0xFF);
        }
    }
    return true;
}

// The values as DS or IS text, each in its shortest exact form; false when one needs more
// characters than the VR allows or an IS value is not an integer.
bool numberText(const std::vector<double>& values, bool singlePrecision, UINT16 vrCode, std::string& text) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        char buffer[32];
        std::to_chars_result written{};
        if (vrCode == VRCode::IS) {
            if (values[i] != std::floor(values[i]) || std::fabs(values[i]) > 2147483647.0) return false;
            written = std::to_chars(buffer, buffer + sizeof buffer, std::int64_t(values[i]));
        } else if (singlePrecision) {
            written = std::to_chars(buffer, buffer + sizeof buffer, float(values[i]));
        } else {
            written = std::to_chars(buffer, buffer + sizeof buffer, values[i]);
        }
        const std::size_t length = std::size_t(written.ptr - buffer);
        if (written.ec != std::errc() || length > (vrCode == VRCode::IS ? 12u : 16u)) return false;
        if (i) text += '\\';
        text.append(buffer, length);
    }
    if (text.size() % 2) text += ' ';
    return true;
}

// A UN value read as the sequence of implicit VR little endian items it holds; null when it
// holds none DCMTK can read, is damaged or nests too deeply.
std::unique_ptr<VR> sequenceFromUnknown(const VR& element, EndianType endian, std::size_t deepestNesting) {
    const auto* bytes = static_cast<const unsigned char*>(element.GetData());
    const UINT32 length = bytes ? element.GetLength() : 0;
    // DCMTK allocates what a value claims before it finds the bytes missing: only a value whose
    // every element fits is handed to it.
    const StructureScan scan = scanImplicitLittleEndian(bytes, length, deepestNesting);
    if (scan.deepestNesting > deepestNesting || !scan.whole) return nullptr;
    // DCMTK reads the element again from an implicit VR header, where the dictionary makes it a
    // sequence.
    std::string encoded(8, '\0');
    const UINT32 header[2] = {UINT32(element.GetGroup()) | UINT32(element.GetElement()) << 16, length};
    for (unsigned i = 0; i < 8; ++i) encoded[i] = char((header[i / 4] >> (8 * (i % 4))) & 0xFF);
    encoded.append(reinterpret_cast<const char*>(bytes), length);
    DcmDataset holder;
    DcmInputBufferStream stream;
    stream.setBuffer(encoded.data(), offile_off_t(encoded.size()));
    stream.setEos();
    holder.transferInit();
    const OFCondition read = holder.read(stream, EXS_LittleEndianImplicit);
    holder.transferEnd();
    if (read.bad() || holder.card() != 1 || holder.getElement(0)->ident() != EVR_SQ) return nullptr;
    DICOMDataObject converted(endian);
    try {
        appendFromDcmItem(holder, converted);
    } catch (const RuntimeException&) {
        return nullptr;
    }
    const VR* result = converted.GetVR(element.GetGroup(), element.GetElement());
    return std::unique_ptr<VR>(result ? result->Clone() : nullptr);
}

// The element converted to the dictionary's VR, or null when that would change its meaning.
std::unique_ptr<VR> converted(const VR& element, UINT16 dictionaryCode, EndianType endian, std::size_t deepestNesting) {
    const UINT16 stored = element.GetVRCode();
    if (stored == VRCode::UN && dictionaryCode == VRCode::SQ)
        return sequenceFromUnknown(element, endian, deepestNesting);
    auto result = std::make_unique<VR>(element.GetGroup(), element.GetElement(), dictionaryCode, element.GetEndian());
    const NumberType from = binaryNumberType(stored), to = binaryNumberType(dictionaryCode);
    std::vector<double> values;
    std::string bytes;
    if (stored == VRCode::UN && dictionaryCode != VRCode::SQ) {
        // A UN value holds the bytes the dictionary's VR would.
        if (element.GetLength() % MDDEntry::ValueWidth(dictionaryCode) != 0) return nullptr;
        bytes.assign(reinterpret_cast<const char*>(element.GetData()), element.GetLength());
    } else if (mayHoldNumbers(stored) && to.kind != NumberKind::None) {
        if (!textValues(element, values) || !binaryBytes(values, to, element.GetEndian(), bytes)) return nullptr;
    } else if (from.kind != NumberKind::None && isNumberText(dictionaryCode)) {
        if (!binaryValues(element, from, values) ||
            !numberText(values, from.kind == NumberKind::Float, dictionaryCode, bytes))
            return nullptr;
    } else if (from.kind != NumberKind::None && to.kind != NumberKind::None) {
        if (!binaryValues(element, from, values) || !binaryBytes(values, to, element.GetEndian(), bytes))
            return nullptr;
        // Single precision holds a double only when it reads back the same.
        if (to.kind == NumberKind::Float)
            for (double value : values)
                if (double(float(value)) != value) return nullptr;
    } else {
        return nullptr;
    }
    if (!bytes.empty()) result->SetData(bytes.data(), UINT32(bytes.size()));
    // Text held as UN becomes its VR only when valid there: DCMTK takes a UN value for bytes,
    // but may not read the same value under its VR (a directory record type of 64 characters
    // makes its parser throw), and the file written would then be unreadable. A value DCMTK
    // refuses outright (a UID starting with "=", which it takes for a UID's name) is not valid
    // either.
    if (stored == VRCode::UN && MDDEntry::IsStringType(dictionaryCode)) {
        try {
            const std::unique_ptr<DcmElement> check(newDcmElement(*result));
            if (check->checkValue("1-n").bad()) return nullptr;
        } catch (const RuntimeException&) {
            return nullptr;
        }
    }
    return result;
}

bool isAmbiguous(UINT16 code) {
    return code == VRCode::US_OR_SS || code == VRCode::OW_OR_OB || code == VRCode::OW_OR_US_OR_SS;
}

std::string vrName(UINT16 code) {
    switch (code) {
    case VRCode::US_OR_SS: return "US or SS";
    case VRCode::OW_OR_OB: return "OB or OW";
    case VRCode::OW_OR_US_OR_SS: return "US, SS or OW";
    default: {
        const std::string name = MDDEntry::UShortToTypeString(code);
        return name.empty() ? "??" : name;
    }
    }
}

class Converter {
public:
    Converter(std::vector<std::string>* notes, std::size_t deepestNesting)
        : itsNotes(notes),
          itsDeepestNesting(deepestNesting) {}

    void Convert(DICOMObject& data, std::size_t depth) {
        for (auto position = data.begin(); position != data.end(); ++position) {
            VR& element = **position;
            const UINT16 group = element.GetGroup(), number = element.GetElement();
            if (SequenceVR* sequence = element.GetAsSequenceVR()) {
                for (DICOMDataObject* item : sequence->GetSequenceItems()) Convert(*item, depth + 1);
                continue;
            }
            // Private elements are not in the dictionary; encapsulated pixel data keep their OB.
            if (group % 2 != 0 || element.IsEncapsulated()) continue;
            const UINT16 dictionaryCode = InstanceSpecificDataDictionary::TypeVR(group, number);
            if (agreesWithDictionary(element.GetVRCode(), dictionaryCode)) continue;
            std::unique_ptr<VR> replacement;
            if (!isAmbiguous(dictionaryCode))
                replacement = converted(element, dictionaryCode, data.GetEndian(),
                                        depth + 1 < itsDeepestNesting ? itsDeepestNesting - depth - 1 : 0);
            Note(group, number, element.GetVRCode(), dictionaryCode, replacement != nullptr);
            if (!replacement) continue;
            if (SequenceVR* sequence = replacement->GetAsSequenceVR())
                for (DICOMDataObject* item : sequence->GetSequenceItems()) Convert(*item, depth + 1);
            data.ReplaceVR(replacement.release());  // replaces in place: the walk goes on
        }
    }

    void Finish() {
        if (itsNotes && itsSkipped) itsNotes->push_back("and " + std::to_string(itsSkipped) + " more");
    }

private:
    void Note(UINT16 group, UINT16 number, UINT16 stored, UINT16 dictionaryCode, bool wasConverted) {
        if (!itsNotes) return;
        if (itsNotes->size() >= mostNotes) {
            ++itsSkipped;
            return;
        }
        std::string line = MAttributeTag(group, number).ToString();
        const RWCString keyword = InstanceSpecificDataDictionary::Keyword(group, number);
        if (!keyword.empty()) line += " " + keyword;
        const std::string dictionaryName = vrName(dictionaryCode);
        line += ": VR " + vrName(stored) + " where the dictionary has " + dictionaryName;
        line += wasConverted ? "; converted to " + dictionaryName : "; kept as read";
        itsNotes->push_back(std::move(line));
    }

    std::vector<std::string>* itsNotes;
    std::size_t itsDeepestNesting;
    std::size_t itsSkipped = 0;
};

}  // namespace

bool agreesWithDictionary(UINT16 vrCode, UINT16 dictionaryCode) {
    switch (dictionaryCode) {
    case VRCode::Unknown:
    case VRCode::UN: return true;
    case VRCode::US_OR_SS: return vrCode == VRCode::US || vrCode == VRCode::SS;
    case VRCode::OW_OR_OB: return vrCode == VRCode::OW || vrCode == VRCode::OB;
    case VRCode::OW_OR_US_OR_SS: return vrCode == VRCode::OW || vrCode == VRCode::US || vrCode == VRCode::SS;
    default: return vrCode == dictionaryCode;
    }
}

void convertToDictionaryVRs(DICOMObject& data, std::vector<std::string>* notes, std::size_t deepestNesting) {
    Converter converter(notes, deepestNesting);
    converter.Convert(data, 0);
    converter.Finish();
}

}  // namespace refcntr
