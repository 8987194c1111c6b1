// Copies the raw values of an element out into native byte order.
#pragma once

#include "refcntr/platform/VR.h"

namespace refcntr {

// Reads an element whose value bytes are in byte order `Order`. Each copy reports success (1)
// only when the element holds at least the requested bytes; on failure the destination is
// left as it is and 0 is returned.
template <EndianType Order>
class VRAccess {
public:
    explicit VRAccess(const VR& element) : itsElement(element) {}

    // `byteLength` bytes into `destination`, each whole value of `valueWidth` bytes converted to
    // native order (valueWidth 1: a plain copy).
    int GetValues(void* destination, UINT32 byteLength, unsigned valueWidth) const;

    int GetBytes(unsigned char* destination, UINT32 byteLength) const { return GetValues(destination, byteLength, 1); }
    int GetUINT16Array(UINT16* destination, unsigned count) const { return GetValues(destination, count * 2u, 2); }
    int GetINT16Array(INT16* destination, unsigned count) const { return GetValues(destination, count * 2u, 2); }
    int GetUINT32Array(UINT32* destination, unsigned count) const { return GetValues(destination, count * 4u, 4); }
    int GetINT32Array(INT32* destination, unsigned count) const { return GetValues(destination, count * 4u, 4); }
    int GetFLOATArray(FLOAT* destination, unsigned count) const { return GetValues(destination, count * 4u, 4); }

private:
    const VR& itsElement;
};

using VRAccessLE = VRAccess<LittleEndian>;
using VRAccessBE = VRAccess<BigEndian>;

extern template class VRAccess<LittleEndian>;
extern template class VRAccess<BigEndian>;

}  // namespace refcntr
