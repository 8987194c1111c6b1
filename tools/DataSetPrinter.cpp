#include "DataSetPrinter.h"

#include <charconv>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "TerminalText.h"
#include "refcntr/core/ContainerUtils.h"
#include "refcntr/platform/ByteOrder.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/platform/VRAccess.h"

namespace refcntr {

namespace {

constexpr unsigned shownBytes = 16;    // of a binary value
constexpr unsigned shownNumbers = 32;  // of a numeric value

void indent(std::ostream& out, unsigned level) {
    for (unsigned i = 0; i < level; ++i) out << "  ";
}

void appendText(std::string& line, const VR& element) {
    const char* text = reinterpret_cast<const char*>(element.GetData());
    std::size_t length = text != nullptr ? element.GetLength() : 0;
    const bool dropNuls = element.GetVRCode() == VRCode::UI;
    while (length > 0 && (text[length - 1] == ' ' || (dropNuls && text[length - 1] == '\0'))) --length;
    line += '"';
    cli::appendEscaped(line, text, length, true);
    line += '"';
}

void appendBinary(std::string& line, const VR& element) {
    static constexpr char digits[] = "0123456789abcdef";
    line += std::to_string(element.GetLength());
    line += element.GetLength() == 1 ? " byte" : " bytes";
    const unsigned shown = element.GetLength() < shownBytes ? element.GetLength() : shownBytes;
    for (unsigned i = 0; i < shown; ++i) {
        line += i == 0 ? ": " : " ";
        line += digits[element.GetData()[i] >> 4];
        line += digits[element.GetData()[i] & 0xF];
    }
    if (shown < element.GetLength()) line += " ...";
}

// Encapsulated pixel data: how its items divide the value, the first being the offset table.
void appendEncapsulated(std::string& line, const VR& element) {
    const unsigned char* bytes = element.GetData();
    std::size_t offset = 0, items = 0, tableLength = 0;
    while (offset + 8 <= element.GetLength()) {
        const std::size_t length = storedNumber32(bytes + offset + 4, false);
        if (items++ == 0) tableLength = length;
        offset += 8 + length;
    }
    const std::size_t fragments = items > 0 ? items - 1 : 0;
    line += "encapsulated, " + std::to_string(fragments) + (fragments == 1 ? " fragment" : " fragments") +
            " after an offset table of " + std::to_string(tableLength) + (tableLength == 1 ? " byte" : " bytes") +
            ", " + std::to_string(element.GetLength()) + " bytes in all";
}

// Integers in decimal; FL and FD as the shortest text that reads back as the stored value.
template <class T>
void appendNumber(std::string& line, T value) {
    if constexpr (std::is_floating_point_v<T>) {
        char text[32];
        line.append(text, std::to_chars(text, text + sizeof text, value).ptr);
    } else if constexpr (std::is_signed_v<T>) {
        line += ContainerUtils::toString((long long)value);
    } else {
        line += ContainerUtils::toString((unsigned long long)value);
    }
}

// Every whole value of type T, decimal, separated by backslashes.
template <class T>
void appendNumbers(std::string& line, const VR& element) {
    const unsigned count = element.GetLength() / sizeof(T);
    if (count == 0) {
        line += "(no value)";
        return;
    }
    std::vector<T> values(count);
    if (element.GetEndian() == LittleEndian)
        VRAccessLE(element).GetValues(values.data(), UINT32(count * sizeof(T)), sizeof(T));
    else
        VRAccessBE(element).GetValues(values.data(), UINT32(count * sizeof(T)), sizeof(T));
    const unsigned shown = count < shownNumbers ? count : shownNumbers;
    for (unsigned i = 0; i < shown; ++i) {
        if (i > 0) line += '\\';
        appendNumber(line, values[i]);
    }
    if (shown < count) line += "\\... (" + std::to_string(count) + " values)";
}

void appendTags(std::string& line, const VR& element) {
    const unsigned count = element.GetLength() / 4;
    if (count == 0) {
        line += "(no value)";
        return;
    }
    std::vector<UINT16> numbers(count * 2);
    if (element.GetEndian() == LittleEndian)
        VRAccessLE(element).GetUINT16Array(numbers.data(), count * 2);
    else
        VRAccessBE(element).GetUINT16Array(numbers.data(), count * 2);
    for (unsigned i = 0; i < count; ++i) {
        if (i > 0) line += '\\';
        line += MAttributeTag(numbers[2 * i], numbers[2 * i + 1]).ToString();
    }
}

void appendValue(std::string& line, const VR& element) {
    if (element.IsEncapsulated()) {
        appendEncapsulated(line, element);
        return;
    }
    switch (element.GetVRCode()) {
    case VRCode::OB:
    case VRCode::OW:
    case VRCode::OF:
    case VRCode::OD:
    case VRCode::OL:
    case VRCode::OV:
    case VRCode::UN: appendBinary(line, element); return;
    default: break;
    }
    switch (MDDEntry::UShortToValueType(element.GetVRCode())) {
    case ValueType::Text: appendText(line, element); break;
    case ValueType::UInt16: appendNumbers<UINT16>(line, element); break;
    case ValueType::Int16: appendNumbers<INT16>(line, element); break;
    case ValueType::UInt32: appendNumbers<UINT32>(line, element); break;
    case ValueType::Int32: appendNumbers<INT32>(line, element); break;
    case ValueType::UInt64: appendNumbers<std::uint64_t>(line, element); break;
    case ValueType::Int64: appendNumbers<std::int64_t>(line, element); break;
    case ValueType::Float32: appendNumbers<FLOAT>(line, element); break;
    case ValueType::Float64: appendNumbers<DOUBLE>(line, element); break;
    case ValueType::Tag: appendTags(line, element); break;
    default: appendBinary(line, element); break;
    }
}

// The keyword of a standard element, or of a private element whose block is reserved by a
// creator the private dictionary knows.
std::string keywordOf(const VR& element, const DICOMObject& dataSet) {
    const UINT16 group = element.GetGroup();
    const UINT16 number = element.GetElement();
    if (!element.GetTag().IsPrivate()) return InstanceSpecificDataDictionary::Keyword(group, number);
    if (number >= 0x0010 && number <= 0x00FF) return "PrivateCreator";
    if (number < 0x1000) return std::string();
    RWCString creator;
    if (!dataSet.GetString(group, UINT16(number >> 8), creator)) return std::string();
    const PrivateDictionaryEntry* entry = PrivateDataDictionary::Find(creator.c_str(), group, UINT8(number & 0xFF));
    return entry != nullptr ? entry->itsKeyword : std::string();
}

void printObject(std::ostream& out, const DICOMObject& dataSet, unsigned level) {
    std::string line;
    for (const auto& element : dataSet) {
        line.clear();
        line += element->GetTag().ToString();
        line += ' ';
        const RWCString vr = MDDEntry::UShortToTypeString(element->GetVRCode());
        line += vr.empty() ? "??" : vr;
        line += ' ';
        const SequenceVR* sequence = element->GetAsSequenceVR();
        if (sequence != nullptr) {
            const unsigned items = sequence->GetNumberOfItems();
            line += std::to_string(items) + (items == 1 ? " item" : " items");
        } else {
            appendValue(line, *element);
        }
        const std::string keyword = keywordOf(*element, dataSet);
        if (!keyword.empty()) line += "  # " + keyword;
        indent(out, level);
        out << line << '\n';
        if (sequence == nullptr) continue;
        // Counted from 0, as the container dump, applies and the paths of check and roundtrip count.
        unsigned number = 0;
        for (const DICOMDataObject* item : sequence->GetSequenceItems()) {
            indent(out, level + 1);
            out << "Item " << number++ << '\n';
            printObject(out, *item, level + 2);
        }
    }
}

}  // namespace

void printDataSet(std::ostream& out, const DICOMObject& dataSet) { printObject(out, dataSet, 0); }

}  // namespace refcntr
