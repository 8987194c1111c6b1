#include "refcntr/platform/VR.h"

#include <cstring>
#include <new>

#include "refcntr/platform/ByteOrder.h"
#include "refcntr/platform/MDDEntry.h"

namespace refcntr {

namespace {
MemoryAllocater defaultAllocater;
}  // namespace

MemoryAllocater* const VR::itsDefaultMemoryAllocater = &defaultAllocater;

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
const EndianType VR::itsNativeEndian = BigEndian;
#else
const EndianType VR::itsNativeEndian = LittleEndian;
#endif

VR::VR(UINT16 group, UINT16 element, EndianType endian, MemoryAllocater* allocater)
    : VR(group, element, VRCode::Unknown, endian, allocater) {}

VR::VR(UINT16 group, UINT16 element, UINT16 vrCode, EndianType endian, MemoryAllocater* allocater)
    : itsTag(group, element),
      itsVRCode(vrCode),
      itsEndian(UINT8(endian)),
      itsAllocater(allocater != nullptr ? allocater : itsDefaultMemoryAllocater) {}

VR::VR(const VR& other)
    : itsTag(other.itsTag),
      itsVRCode(other.itsVRCode),
      itsEndian(other.itsEndian),
      itsEncapsulated(other.itsEncapsulated),
      itsAllocater(other.itsAllocater) {
    SetData(other.itsData, other.itsLength);
}

VR::~VR() { ReleaseData(); }

VR* VR::WithRoom(UINT16 group, UINT16 element, UINT16 vrCode, EndianType endian, MemoryAllocater* allocater,
                 UINT32 room) {
    if (allocater == nullptr) allocater = itsDefaultMemoryAllocater;
    if (room <= itsInlineCapacity || allocater != itsDefaultMemoryAllocater)
        return new VR(group, element, vrCode, endian, allocater);
    // One block for the element and its value; operator delete gives back the whole block.
    void* block = allocateBlock(sizeof(VR) + room);
    VR* made = ::new (block) VR(group, element, vrCode, endian, allocater);
    made->itsPlaceCapacity = room;
    return made;
}

VR* VR::WithValue(UINT16 group, UINT16 element, UINT16 vrCode, EndianType endian, MemoryAllocater* allocater,
                  const void* bytes, UINT32 length, const char* pad) {
    const UINT32 stored = pad != nullptr ? length + (length & 1) : length;
    VR* made = WithRoom(group, element, vrCode, endian, allocater, stored);
    if (stored != 0) {
        // A new element holds no value that `bytes` could point into: a plain copy does.
        unsigned char* value = made->ResizeData(stored);
        std::memcpy(value, bytes, length);
        if (stored != length) value[length] = static_cast<unsigned char>(*pad);
    }
    return made;
}

void VR::ReleaseData() {
    if (itsData != nullptr && itsData != Place()) itsAllocater->Release(itsData);
    itsData = nullptr;
    itsLength = 0;
}

VR* VR::Clone() const { return new VR(*this); }

SequenceVR* VR::GetAsSequenceVR() { return nullptr; }

const SequenceVR* VR::GetAsSequenceVR() const { return nullptr; }

void VR::SetData(const void* bytes, UINT32 length) { StoreValue(bytes, length, length, '\0'); }

void VR::SetPaddedData(const void* bytes, UINT32 length, char pad) {
    StoreValue(bytes, length, length + (length & 1), pad);
}

void VR::StoreValue(const void* bytes, UINT32 length, UINT32 stored, char pad) {
    if (stored == 0 || bytes == nullptr) {
        ReleaseData();
        return;
    }
    unsigned char* place = Place();
    unsigned char* value =
        stored <= itsPlaceCapacity ? place : static_cast<unsigned char*>(itsAllocater->Allocate(stored));
    std::memmove(value, bytes, length);  // `bytes` may point into the current value
    if (stored != length) value[length] = static_cast<unsigned char>(pad);
    // The old buffer goes only after the copy.
    if (itsData != nullptr && itsData != place) itsAllocater->Release(itsData);
    itsData = value;
    itsLength = stored;
}

unsigned char* VR::ResizeData(UINT32 length) {
    // The old value goes first: the new one is not copied from it.
    unsigned char* place = Place();
    if (itsData != place && itsData != nullptr) itsAllocater->Release(itsData);
    itsData = length == 0                  ? nullptr
              : length <= itsPlaceCapacity ? place
                                           : static_cast<unsigned char*>(itsAllocater->Allocate(length));
    itsLength = itsData != nullptr ? length : 0;
    return itsData;
}

void VR::SwapDataEndian() {
    if (itsLength && !itsEncapsulated) reverseValueBytes(itsData, itsLength, MDDEntry::ValueWidth(itsVRCode));
}

}  // namespace refcntr
