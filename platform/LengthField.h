// The explicit VR encoding of an element's length.
#pragma once

#include "refcntr/platform/MDDEntry.h"

namespace refcntr {

// Whether an element of this VR has, in explicit VR, two reserved bytes and a 32-bit length
// after its VR; the other VRs have a 16-bit length.
inline bool hasLongLengthField(UINT16 vrCode) {
    switch (vrCode) {
    case VRCode::OB:
    case VRCode::OD:
    case VRCode::OF:
    case VRCode::OL:
    case VRCode::OV:
    case VRCode::OW:
    case VRCode::SQ:
    case VRCode::UC:
    case VRCode::UN:
    case VRCode::UR:
    case VRCode::UT:
    case VRCode::SV:
    case VRCode::UV: return true;
    default: return false;
    }
}

}  // namespace refcntr
