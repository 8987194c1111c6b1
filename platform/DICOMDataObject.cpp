#include "refcntr/platform/DICOMDataObject.h"

#include <algorithm>
#include <cstring>

#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/VRAccess.h"

namespace refcntr {

namespace {

using ElementList = DICOMObject::ElementList;

constexpr UINT32 tagKey(UINT16 group, UINT16 element) { return (UINT32(group) << 16) | element; }

ElementList::const_iterator findPosition(const ElementList& elements, UINT32 key) {
    return std::lower_bound(
        elements.begin(), elements.end(), key,
        [](const std::unique_ptr<VR>& element, UINT32 wanted) { return element->GetTag().GetKey() < wanted; });
}

// Length of the text once its trailing pad is dropped: blanks, and NULs, which pad UIDs and
// which no other text may hold (some writers pad every text with them). Dropping them whatever
// the VR keeps a text the same when it is read with one VR and written with another.
std::size_t trimmedLength(const char* text, std::size_t length) {
    while (length > 0 && (text[length - 1] == ' ' || text[length - 1] == '\0')) --length;
    return length;
}

int readText(const VR* element, const char*& text, std::size_t& length) {
    if (element == nullptr || !MDDEntry::IsStringType(element->GetVRCode())) return 0;
    text = reinterpret_cast<const char*>(element->GetData());
    length = text != nullptr ? trimmedLength(text, element->GetLength()) : 0;
    return 1;
}

int readString(const VR* element, RWCString& value) {
    const char* text;
    std::size_t length;
    if (!readText(element, text, length)) return 0;
    value.assign(text != nullptr ? text : "", length);
    return 1;
}

// The first value of the element, read in the element's own byte order.
template <class T>
int readFirstValue(const VR& element, T& value) {
    T first;
    int read = element.GetEndian() == LittleEndian ? VRAccessLE(element).GetValues(&first, sizeof first, sizeof first)
                                                   : VRAccessBE(element).GetValues(&first, sizeof first, sizeof first);
    if (read) value = first;
    return read;
}

template <class T>
int readTyped(const VR* element, UINT16 vrCode, UINT16 alternativeVRCode, T& value) {
    if (element == nullptr) return 0;
    UINT16 code = element->GetVRCode();
    if (code != vrCode && code != alternativeVRCode) return 0;
    return readFirstValue(*element, value);
}

}  // namespace

DICOMObject::DICOMObject(EndianType endian) : itsEndian(endian) {}

DICOMObject::DICOMObject(const DICOMObject& other) : itsEndian(other.itsEndian) {
    itsElements.reserve(other.itsElements.size());
    for (const auto& element : other.itsElements) itsElements.emplace_back(element->Clone());
}

DICOMObject& DICOMObject::operator=(const DICOMObject& other) {
    if (this != &other) {
        DICOMObject copy(other);
        *this = std::move(copy);
    }
    return *this;
}

DICOMObject::DICOMObject(DICOMObject&&) noexcept = default;
DICOMObject& DICOMObject::operator=(DICOMObject&&) noexcept = default;
DICOMObject::~DICOMObject() = default;

VR* DICOMObject::GetVR(UINT16 group, UINT16 element) const {
    UINT32 key = tagKey(group, element);
    auto position = findPosition(itsElements, key);
    if (position == itsElements.end() || (*position)->GetTag().GetKey() != key) return nullptr;
    return position->get();
}

VR* DICOMObject::GetVR(const char* creator, UINT8 offset, UINT16 group) const {
    UINT8 block = FindPrivateBlock(creator, group);
    if (block == 0) return nullptr;
    return GetVR(group, UINT16((block << 8) | offset));
}

int DICOMObject::GetString(UINT16 group, UINT16 element, RWCString& value) const {
    return readString(GetVR(group, element), value);
}

int DICOMObject::GetString(const char* creator, UINT8 offset, RWCString& value, UINT16 group) const {
    return readString(GetVR(creator, offset, group), value);
}

int DICOMObject::GetText(UINT16 group, UINT16 element, const char*& text, std::size_t& length) const {
    return readText(GetVR(group, element), text, length);
}

int DICOMObject::GetText(const char* creator, UINT8 offset, UINT16 group, const char*& text,
                         std::size_t& length) const {
    return readText(GetVR(creator, offset, group), text, length);
}

int DICOMObject::GetText(const VR& element, const char*& text, std::size_t& length) {
    return readText(&element, text, length);
}

int DICOMObject::GetUINT16(const VR& element, UINT16& value) {
    return readTyped(&element, VRCode::US, VRCode::SS, value);
}

int DICOMObject::GetUINT16(UINT16 group, UINT16 element, UINT16& value) const {
    return readTyped(GetVR(group, element), VRCode::US, VRCode::SS, value);
}

int DICOMObject::GetUINT16(const char* creator, UINT8 offset, UINT16& value, UINT16 group) const {
    return readTyped(GetVR(creator, offset, group), VRCode::US, VRCode::SS, value);
}

int DICOMObject::GetINT16(UINT16 group, UINT16 element, INT16& value) const {
    return readTyped(GetVR(group, element), VRCode::SS, VRCode::US, value);
}

int DICOMObject::GetUINT32(UINT16 group, UINT16 element, UINT32& value) const {
    return readTyped(GetVR(group, element), VRCode::UL, VRCode::SL, value);
}

int DICOMObject::GetFLOAT(UINT16 group, UINT16 element, FLOAT& value) const {
    return readTyped(GetVR(group, element), VRCode::FL, VRCode::FL, value);
}

void DICOMObject::ReplaceVR(VR* element) {
    if (element == nullptr) return;
    const UINT32 key = element->GetTag().GetKey();
    // Elements usually arrive in ascending order (a file is read in tag order): append.
    if (itsElements.empty() || itsElements.back()->GetTag().GetKey() < key) {
        try {
            // Most item data sets hold two to four elements: start with room for four at once.
            if (itsElements.capacity() == 0) itsElements.reserve(4);
            itsElements.emplace_back(element);
        } catch (...) {
            delete element;
            throw;
        }
        return;
    }
    std::unique_ptr<VR> owned(element);
    auto position = itsElements.begin() + (findPosition(itsElements, key) - itsElements.cbegin());
    if (position != itsElements.end() && (*position)->GetTag().GetKey() == key) {
        if (position->get() != element)
            *position = std::move(owned);
        else
            owned.release();
        return;
    }
    itsElements.insert(position, std::move(owned));
}

void DICOMObject::ReplaceVR(const char* creator, VR* element) {
    if (element == nullptr) return;
    std::unique_ptr<VR> owned(element);
    UINT16 group = element->GetGroup();
    if (creator == nullptr || *creator == '\0')
        throw RuntimeException("private element " + element->GetTag().ToString() + " needs a private creator");
    if ((group & 1) == 0)
        throw RuntimeException("element " + element->GetTag().ToString() + " is not in a private group");

    UINT8 block = FindPrivateBlock(creator, group);
    if (block == 0) {
        for (UINT16 candidate = 0x10; candidate <= 0xFF; ++candidate) {
            if (GetVR(group, candidate) == nullptr) {
                block = UINT8(candidate);
                break;
            }
        }
        if (block == 0)
            throw RuntimeException("no free private block in group " + MAttributeTag(group, 0).ToString().substr(1, 4) +
                                   " for creator '" + creator + "'");
        auto creatorElement = std::make_unique<VR>(group, block, VRCode::LO, itsEndian);
        creatorElement->SetPaddedData(creator, UINT32(std::strlen(creator)), ' ');
        ReplaceVR(creatorElement.release());
    }
    owned->SetTag(MAttributeTag(group, UINT16((block << 8) | (owned->GetElement() & 0xFF))));
    ReplaceVR(owned.release());
}

int DICOMObject::RemoveVR(UINT16 group, UINT16 element) {
    UINT32 key = tagKey(group, element);
    auto position = findPosition(itsElements, key);
    if (position == itsElements.end() || (*position)->GetTag().GetKey() != key) return 0;
    itsElements.erase(position);
    return 1;
}

UINT8 DICOMObject::FindPrivateBlock(const char* creator, UINT16 group) const {
    if (creator == nullptr) return 0;
    std::size_t wantedLength = trimmedLength(creator, std::strlen(creator));
    if (wantedLength == 0) return 0;
    for (auto position = findPosition(itsElements, tagKey(group, 0x0010)); position != itsElements.end(); ++position) {
        const VR& element = **position;
        if (element.GetGroup() != group || element.GetElement() > 0x00FF) break;
        const char* value = reinterpret_cast<const char*>(element.GetData());
        if (value == nullptr) continue;
        if (trimmedLength(value, element.GetLength()) == wantedLength && std::memcmp(value, creator, wantedLength) == 0)
            return UINT8(element.GetElement());
    }
    return 0;
}

}  // namespace refcntr
