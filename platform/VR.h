// One encoded data element: tag, VR code, value bytes and the byte order of those bytes.
#pragma once

#include "refcntr/platform/Arena.h"
#include "refcntr/platform/MAttributeTag.h"
#include "refcntr/platform/MemoryAllocater.h"
#include "refcntr/platform/Types.h"

namespace refcntr {

class SequenceVR;

class VR : public ArenaAllocated {
public:
    // The allocator every element uses unless told otherwise.
    static MemoryAllocater* const itsDefaultMemoryAllocater;
    // The byte order of this machine.
    static const EndianType itsNativeEndian;

    // An element without value and with VR code VRCode::Unknown (the caller or the dictionary types it).
    VR(UINT16 group, UINT16 element, EndianType endian = LittleEndian,
       MemoryAllocater* allocater = itsDefaultMemoryAllocater);
    VR(UINT16 group, UINT16 element, UINT16 vrCode, EndianType endian,
       MemoryAllocater* allocater = itsDefaultMemoryAllocater);
    VR(const VR& other);
    VR& operator=(const VR&) = delete;
    virtual ~VR();

    // A new element with room for a value of `room` bytes in its own block, so that a value
    // set later needs no buffer of its own (with the default allocator; another allocator
    // keeps its say over every value buffer).
    static VR* WithRoom(UINT16 group, UINT16 element, UINT16 vrCode, EndianType endian, MemoryAllocater* allocater,
                        UINT32 room);
    // A new element that holds `length` bytes from `bytes`, followed by `*pad` when `pad` is
    // given and the length is odd; in one block with the element when the value does not fit
    // inside it (with the default allocator).
    static VR* WithValue(UINT16 group, UINT16 element, UINT16 vrCode, EndianType endian, MemoryAllocater* allocater,
                         const void* bytes, UINT32 length, const char* pad);

    // A deep copy (items of a sequence included), owned by the caller.
    virtual VR* Clone() const;
    // This element as a sequence element, or null when it is not one.
    virtual SequenceVR* GetAsSequenceVR();
    virtual const SequenceVR* GetAsSequenceVR() const;

    const MAttributeTag& GetTag() const { return itsTag; }
    UINT16 GetGroup() const { return itsTag.GetGroup(); }
    UINT16 GetElement() const { return itsTag.GetElement(); }
    void SetTag(const MAttributeTag& tag) { itsTag = tag; }

    UINT16 GetVRCode() const { return itsVRCode; }
    void SetVRCode(UINT16 vrCode) { itsVRCode = vrCode; }

    EndianType GetEndian() const { return EndianType(itsEndian); }

    // The value bytes as stored (in GetEndian() order); null when the length is 0.
    const unsigned char* GetData() const { return itsLength ? itsData : nullptr; }
    UINT32 GetLength() const { return itsLength; }
    // Replaces the value with a copy of `length` bytes (no byte-order conversion).
    void SetData(const void* bytes, UINT32 length);
    // As SetData, followed by `pad` when the length is odd: texts are kept at even length, as
    // they are encoded.
    void SetPaddedData(const void* bytes, UINT32 length, char pad);
    // Makes the value `length` bytes long, its content unset, and returns it to be filled.
    unsigned char* ResizeData(UINT32 length);

    // Encapsulated (compressed) pixel data: the value is the pixel sequence's items as stored,
    // each an item tag and a 32-bit length in little-endian order and its fragment, the basic
    // offset table first, without the sequence delimiter. Such a value is written only in the
    // compressed transfer syntax it was read in, and its bytes are never swapped.
    bool IsEncapsulated() const { return itsEncapsulated; }
    void SetEncapsulated(bool encapsulated) { itsEncapsulated = encapsulated; }
    // Reverses the bytes of every value, the value width taken from the VR code
    // (MDDEntry::ValueWidth); a trailing partial value is left as it is. The byte order
    // recorded in the element does not change.
    void SwapDataEndian();

private:
    // Values of up to this many bytes (numbers, flags, short codes) are kept inside the
    // element, which saves an allocation for most elements of a presentation state.
    static constexpr UINT32 itsInlineCapacity = 16;

    // Where the element keeps a value in place: inline, or in the room after it.
    unsigned char* Place() {
        return itsPlaceCapacity > itsInlineCapacity ? reinterpret_cast<unsigned char*>(this + 1) : itsInline;
    }
    void ReleaseData();
    // The value becomes `length` bytes from `bytes`, then `pad` up to `stored` bytes: in place
    // when it fits, else in a buffer of the allocator.
    void StoreValue(const void* bytes, UINT32 length, UINT32 stored, char pad);

    // The small fields first and the byte order in one byte: an element is 56 bytes, not 64.
    MAttributeTag itsTag;
    UINT16 itsVRCode;
    UINT8 itsEndian;  // an EndianType
    bool itsEncapsulated = false;
    MemoryAllocater* itsAllocater;
    unsigned char* itsData = nullptr;
    UINT32 itsLength = 0;
    unsigned char itsInline[itsInlineCapacity];
    UINT32 itsPlaceCapacity = itsInlineCapacity;
};

}  // namespace refcntr
