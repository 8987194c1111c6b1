#include "refcntr/core/MVRFactory.h"

#include <cstdio>
#include <cstring>

#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

namespace {

bool isPlainVR(UINT16 vrCode) {
    const ValueType type = MDDEntry::UShortToValueType(vrCode);
    return type != ValueType::Unknown && type != ValueType::Ambiguous;
}

}  // namespace

template <class VRType>
MVRFactory<VRType>::MVRFactory(EndianType endian, MemoryAllocater* allocater)
    : itsEndian(endian),
      itsAllocater(allocater) {}

template <class VRType>
VRType* MVRFactory<VRType>::Build(UINT16 group, UINT16 element, UINT16 vrCode, const void* bytes, size_t length,
                                  const char* pad, bool fromNative) const {
    // 0xFFFFFFFF is the undefined length of the encoding, so no value can be that long.
    if ((bytes == nullptr && length != 0) || length >= 0xFFFFFFFFu) {
        return nullptr;
    }
    // The value, with its pad byte when it is odd, goes straight into the element's own block.
    VRType* built = VRType::WithValue(group, element, vrCode, itsEndian, itsAllocater, bytes, UINT32(length), pad);
    if (fromNative && itsEndian != VR::itsNativeEndian) {
        built->SwapDataEndian();
    }
    return built;
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetVR(UINT16 group, UINT16 element, const char* text, size_t length, char pad,
                                          UINT16 vrCode) const {
    if (vrCode == VRCode::Unknown) vrCode = InstanceSpecificDataDictionary::TypeVR(group, element);
    return MDDEntry::IsStringType(vrCode) ? Build(group, element, vrCode, text, length, &pad, false) : nullptr;
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetVR(UINT16 group, UINT16 element, const RWCString& text, char pad,
                                          UINT16 vrCode) const {
    return InternalGetVR(group, element, text.data(), text.size(), pad, vrCode);
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetVR(UINT16 group, UINT16 element, const RWTValOrderedVector<RWCString>& values,
                                          char pad, UINT16 vrCode) const {
    RWCString joined;
    for (size_t i = 0; i < values.size(); ++i) {
        joined += i == 0 ? values[i] : '\\' + values[i];
    }
    return InternalGetVR(group, element, joined, pad, vrCode);
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetVR(UINT16 group, UINT16 element, const unsigned char* bytes, size_t length,
                                          char pad, UINT16 vrCode) const {
    if (vrCode == VRCode::Unknown) vrCode = InstanceSpecificDataDictionary::TypeVR(group, element);
    const bool holdsBytes = vrCode == VRCode::OB || vrCode == VRCode::UN || vrCode == VRCode::OW_OR_OB;
    return holdsBytes ? Build(group, element, VRCode::OB, bytes, length, &pad, false) : nullptr;
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetVR(UINT16 group, UINT16 element, UINT16 value) const {
    return Build(group, element, VRCode::US, &value, sizeof value, nullptr, true);
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetVR(UINT16 group, UINT16 element, INT16 value) const {
    return Build(group, element, VRCode::SS, &value, sizeof value, nullptr, true);
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetVR(UINT16 group, UINT16 element, UINT32 value) const {
    return Build(group, element, VRCode::UL, &value, sizeof value, nullptr, true);
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetVR(UINT16 group, UINT16 element, FLOAT value) const {
    return Build(group, element, VRCode::FL, &value, sizeof value, nullptr, true);
}

template <class VRType>
SequenceVR* MVRFactory<VRType>::InternalGetSequenceVR(UINT16 group, UINT16 element, UINT16) const {
    auto* sequence = new SequenceVR(group, element, itsEndian, itsAllocater);
    sequence->SetVRCode(VRCode::SQ);
    return sequence;
}

template <class VRType>
VRType* MVRFactory<VRType>::InternalGetArrayVR(UINT16 group, UINT16 element, const void* nativeValues,
                                               UINT32 byteLength, UINT16 vrCode) const {
    if (vrCode == VRCode::Unknown) {
        vrCode = InstanceSpecificDataDictionary::TypeVR(group, element);
    }
    return isPlainVR(vrCode) ? Build(group, element, vrCode, nativeValues, byteLength, nullptr, true) : nullptr;
}

template <class VRType>
UINT16 MVRFactory<VRType>::PrivateVRCode(const char* creator, UINT8 offset, UINT16 group) const {
    const UINT16 vrCode =
        creator != nullptr ? InstanceSpecificDataDictionary::TypeVR(creator, offset, group) : VRCode::Unknown;
    if (vrCode == VRCode::Unknown) {
        char place[48];
        std::snprintf(place, sizeof place, "\", group %04X, offset %02X)", unsigned(group), unsigned(offset));
        throw AttributeNotFoundException("MVRFactory<VRType>::GetPrivateVR(creator \"" +
                                         RWCString(creator != nullptr ? creator : "") + place +
                                         ": not in the private dictionary");
    }
    return vrCode;
}

template <class VRType>
VRType* MVRFactory<VRType>::GetPrivateVR(const char* creator, UINT8 offset, UINT16 group) const {
    return Build(group, offset, PrivateVRCode(creator, offset, group), nullptr, 0, nullptr, false);
}

template <class VRType>
VRType* MVRFactory<VRType>::GetPrivateVR(const char* creator, UINT8 offset, UINT16 group, const RWCString& text,
                                         char pad) const {
    const UINT16 vrCode = PrivateVRCode(creator, offset, group);
    return MDDEntry::IsStringType(vrCode) ? Build(group, offset, vrCode, text.data(), text.size(), &pad, false)
                                          : nullptr;
}

template <class VRType>
VRType* MVRFactory<VRType>::GetPrivateVR(const char* creator, UINT8 offset, UINT16 group, UINT16 value) const {
    PrivateVRCode(creator, offset, group);  // throws for an unknown creator or offset
    return InternalGetVR(group, offset, value);
}

template <class VRType>
VRType* MVRFactory<VRType>::GetPrivateArrayVR(const char* creator, UINT8 offset, UINT16 group, const void* nativeValues,
                                              UINT32 byteLength) const {
    return InternalGetArrayVR(group, offset, nativeValues, byteLength, PrivateVRCode(creator, offset, group));
}

template class MVRFactory<VR>;

}  // namespace refcntr
