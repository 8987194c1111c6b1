// Builds the elements that containers write into a data set: typed by the data dictionary
// (or by the kind of value), in the data set's byte order. Every builder returns a new element
// owned by the caller, or null when it builds nothing.
#pragma once

#include <cstddef>

#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/VR.h"

namespace refcntr {

class SequenceVR;

template <class VRType = VR>
class MVRFactory {
public:
    explicit MVRFactory(EndianType endian, MemoryAllocater* allocater = VR::itsDefaultMemoryAllocater);

    EndianType GetEndian() const { return itsEndian; }

    // Text, for a tag whose VR is a string type; an odd length is padded with `pad`. The VR is
    // `vrCode`, or without one the dictionary's: callers that know the tag's VR save the lookup.
    VRType* InternalGetVR(UINT16 group, UINT16 element, const char* text, size_t length, char pad,
                          UINT16 vrCode = VRCode::Unknown) const;
    VRType* InternalGetVR(UINT16 group, UINT16 element, const RWCString& text, char pad,
                          UINT16 vrCode = VRCode::Unknown) const;
    // The values joined with single backslashes into one text value.
    VRType* InternalGetVR(UINT16 group, UINT16 element, const RWTValOrderedVector<RWCString>& values, char pad,
                          UINT16 vrCode = VRCode::Unknown) const;
    // Bytes as OB, for a tag whose VR (`vrCode`, or the dictionary's) is OB, UN or OB-or-OW; an
    // odd length is padded.
    VRType* InternalGetVR(UINT16 group, UINT16 element, const unsigned char* bytes, size_t length, char pad,
                          UINT16 vrCode = VRCode::Unknown) const;
    // One number as US, SS, UL or FL, whatever the dictionary says (a US-or-SS tag becomes US).
    VRType* InternalGetVR(UINT16 group, UINT16 element, UINT16 value) const;
    VRType* InternalGetVR(UINT16 group, UINT16 element, INT16 value) const;
    VRType* InternalGetVR(UINT16 group, UINT16 element, UINT32 value) const;
    VRType* InternalGetVR(UINT16 group, UINT16 element, FLOAT value) const;
    // An empty sequence element; the last argument is not used.
    SequenceVR* InternalGetSequenceVR(UINT16 group, UINT16 element, UINT16) const;
    // Values in native byte order, typed by `vrCode` or, without one, by the dictionary; null
    // when the resulting VR is ambiguous or unknown. The bytes are converted to the factory's
    // byte order with the value width of the VR.
    VRType* InternalGetArrayVR(UINT16 group, UINT16 element, const void* nativeValues, UINT32 byteLength,
                               UINT16 vrCode = VRCode::Unknown) const;

    // Private elements of `creator`'s block in `group`. The element is tagged (group, offset) for
    // DICOMObject::ReplaceVR(creator, element) to place, and typed by the private dictionary.
    // A creator or offset the dictionary does not know throws AttributeNotFoundException.
    VRType* GetPrivateVR(const char* creator, UINT8 offset, UINT16 group) const;
    // Text as InternalGetVR does it; null when the private VR is not a string type.
    VRType* GetPrivateVR(const char* creator, UINT8 offset, UINT16 group, const RWCString& text, char pad) const;
    // One value as US.
    VRType* GetPrivateVR(const char* creator, UINT8 offset, UINT16 group, UINT16 value) const;
    // Values in native byte order as InternalGetArrayVR does it, with the private VR.
    VRType* GetPrivateArrayVR(const char* creator, UINT8 offset, UINT16 group, const void* nativeValues,
                              UINT32 byteLength) const;

private:
    // A new element holding `length` bytes, padded to even length with `*pad` when a pad is
    // given, and swapped from native to the factory's byte order when `fromNative`.
    VRType* Build(UINT16 group, UINT16 element, UINT16 vrCode, const void* bytes, size_t length, const char* pad,
                  bool fromNative) const;
    UINT16 PrivateVRCode(const char* creator, UINT8 offset, UINT16 group) const;

    EndianType itsEndian;
    MemoryAllocater* itsAllocater;
};

extern template class MVRFactory<VR>;

}  // namespace refcntr
