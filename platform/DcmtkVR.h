// The one table between DCMTK's VRs and this library's VR codes, and the three ways it is read.
#pragma once

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcvr.h>

#include "refcntr/platform/Types.h"

namespace refcntr {

// The VR code of a dictionary entry: DCMTK's internal VRs of data-dependent tags become the
// ambiguous codes (US_OR_SS, OW_OR_OB, OW_OR_US_OR_SS); any other VR without a code is
// VRCode::Unknown.
UINT16 dictionaryVRCode(DcmEVR vr);

// The VR code of an element DCMTK holds: an internal VR becomes the VR its value is held in,
// anything without a VR of its own is passed through as bytes (UN).
UINT16 elementVRCode(DcmEVR vr);

// The VR DCMTK is given for a VR code: ambiguous codes get the VR their bytes are held in,
// codes that name no VR get UN.
DcmEVR dcmtkVR(UINT16 vrCode);

}  // namespace refcntr
