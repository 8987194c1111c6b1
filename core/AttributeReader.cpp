#include "refcntr/core/AttributeReader.h"

#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/MDDEntry.h"

namespace refcntr {
namespace attribute {

namespace {
// The raw value text of an element, for the IS and DS parsers (which need the pad byte).
const VR* textElement(const DICOMDataObject& data, UINT16 group, UINT16 element) { return data.GetVR(group, element); }
const char* text(const VR& element) { return reinterpret_cast<const char*>(element.GetData()); }
}  // namespace

bool readText(const DICOMDataObject& data, UINT16 group, UINT16 element, RWCString& value) {
    return data.GetString(group, element, value) != 0;
}

bool readText(const DICOMDataObject& data, const char* creator, UINT8 offset, UINT16 group, RWCString& value) {
    return data.GetString(creator, offset, value, group) != 0;
}

// A stored text is copied straight from the element's value.
bool readText(const DICOMDataObject&, const VR& element, TextValue& value) {
    const char* text;
    std::size_t length;
    if (!DICOMDataObject::GetText(element, text, length)) return false;
    value.Replace(text, length);
    return true;
}

bool readText(const DICOMDataObject& data, UINT16 group, UINT16 element, TextValue& value) {
    const VR* found = data.GetVR(group, element);
    return found && readText(data, *found, value);
}

bool readText(const DICOMDataObject& data, const char* creator, UINT8 offset, UINT16 group, TextValue& value) {
    const char* text;
    std::size_t length;
    if (!data.GetText(creator, offset, group, text, length)) return false;
    value.Replace(text, length);
    return true;
}

bool readTexts(const DICOMDataObject& data, UINT16 group, UINT16 element, RWTValOrderedVector<RWCString>& values) {
    RWCString whole;
    if (!data.GetString(group, element, whole)) return false;
    values.clear();
    std::size_t separators = 0;
    for (char c : whole)
        if (c == '\\') ++separators;
    values.reserve(separators + 1);
    std::size_t start = 0;
    for (std::size_t position; (position = whole.find('\\', start)) != RWCString::npos; start = position + 1)
        values.push_back(whole.substr(start, position - start));
    if (start < whole.size()) values.push_back(whole.substr(start));
    return true;
}

bool readAETitle(const DICOMDataObject& data, UINT16 group, UINT16 element, AETitle& value) {
    RWCString title;
    if (!data.GetString(group, element, title)) return false;
    value.Set(title.c_str());
    return true;
}

bool readIS(const DICOMDataObject& data, UINT16 group, UINT16 element, int& value) {
    const VR* found = textElement(data, group, element);
    int parsed = 0;
    if (!found || !ContainerUtils::parseIS(text(*found), found->GetLength(), parsed)) return false;
    value = parsed;
    return true;
}

bool readDS(const DICOMDataObject& data, UINT16 group, UINT16 element, double& value) {
    const VR* found = textElement(data, group, element);
    double parsed = 0.0;
    if (!found || !ContainerUtils::parseDS(text(*found), found->GetLength(), parsed)) return false;
    value = parsed;
    return true;
}

bool readUS(const DICOMDataObject&, const VR& element, UINT16& value) {
    return DICOMDataObject::GetUINT16(element, value) != 0;
}

bool readUS(const DICOMDataObject& data, UINT16 group, UINT16 element, UINT16& value) {
    return data.GetUINT16(group, element, value) != 0;
}

bool readUS(const DICOMDataObject& data, const char* creator, UINT8 offset, UINT16 group, UINT16& value) {
    return data.GetUINT16(creator, offset, value, group) != 0;
}

bool readSS(const DICOMDataObject& data, UINT16 group, UINT16 element, INT16& value) {
    return data.GetINT16(group, element, value) != 0;
}

bool readUL(const DICOMDataObject& data, UINT16 group, UINT16 element, UINT32& value) {
    return data.GetUINT32(group, element, value) != 0;
}

bool readFL(const DICOMDataObject& data, UINT16 group, UINT16 element, FLOAT& value) {
    return data.GetFLOAT(group, element, value) != 0;
}

bool readUSOrSS(const DICOMDataObject& data, UINT16 group, UINT16 element, UINT16& value, RWCString& typeCode) {
    if (!data.GetUINT16(group, element, value)) return false;
    typeCode = readTypeCode(data, group, element);
    return true;
}

bool readISArray(const DICOMDataObject&, const VR& element, OwnedArray<int>& values) {
    int* parsed = nullptr;
    unsigned count = 0;
    if (!ContainerUtils::parseISToArray(text(element), element.GetLength(), parsed, count)) return false;
    values.adopt(parsed, count);
    return true;
}

bool readISArray(const DICOMDataObject& data, UINT16 group, UINT16 element, OwnedArray<int>& values) {
    const VR* found = textElement(data, group, element);
    return found && readISArray(data, *found, values);
}

bool readDSArray(const DICOMDataObject& data, UINT16 group, UINT16 element, OwnedArray<double>& values) {
    const VR* found = textElement(data, group, element);
    if (!found) return false;
    double* parsed = nullptr;
    unsigned count = 0;
    if (!ContainerUtils::parseDSToArray(text(*found), found->GetLength(), parsed, count)) return false;
    values.adopt(parsed, count);
    return true;
}

RWCString readTypeCode(const DICOMDataObject& data, UINT16 group, UINT16 element) {
    const VR* found = data.GetVR(group, element);
    if (!found) return RWCString();
    // save needs a VR to write the values with: a code that names none (a data set not made by
    // DCMTK) is replaced by the dictionary's, the first choice of an ambiguous one, else UN.
    UINT16 code = found->GetVRCode();
    if (MDDEntry::UShortToTypeString(code).empty()) {
        code = InstanceSpecificDataDictionary::TypeVR(group, element);
        if (code == VRCode::US_OR_SS) code = VRCode::US;
        if (code == VRCode::OW_OR_OB || code == VRCode::OW_OR_US_OR_SS) code = VRCode::OW;
        if (MDDEntry::UShortToTypeString(code).empty()) code = VRCode::UN;
    }
    return MDDEntry::UShortToTypeString(code);
}

bool copyRawValues(const DICOMDataObject& data, const VR& element, void* destination, UINT32 length,
                   unsigned valueWidth) {
    if (length == 0) return true;
    if (data.GetEndian() == LittleEndian) return VRAccessLE(element).GetValues(destination, length, valueWidth) != 0;
    return VRAccessBE(element).GetValues(destination, length, valueWidth) != 0;
}

}  // namespace attribute
}  // namespace refcntr
