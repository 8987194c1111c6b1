#include "refcntr/platform/VRAccess.h"

#include <cstring>

#include "refcntr/platform/ByteOrder.h"

namespace refcntr {

template <EndianType Order>
int VRAccess<Order>::GetValues(void* destination, UINT32 byteLength, unsigned valueWidth) const {
    if (destination == nullptr || itsElement.GetLength() < byteLength) return 0;
    if (byteLength == 0) return 1;
    std::memcpy(destination, itsElement.GetData(), byteLength);
    if (Order != VR::itsNativeEndian)
        reverseValueBytes(static_cast<unsigned char*>(destination), byteLength, valueWidth);
    return 1;
}

template class VRAccess<LittleEndian>;
template class VRAccess<BigEndian>;

}  // namespace refcntr
