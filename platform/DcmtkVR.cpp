#include "refcntr/platform/DcmtkVR.h"

#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/MDDEntry.h"

namespace refcntr {

namespace {

struct VRPair {
    DcmEVR dcmtk;
    UINT16 code;
};

// Every VR of the standard, on both sides.
constexpr VRPair standardVRs[] = {
    {EVR_AE, VRCode::AE}, {EVR_AS, VRCode::AS}, {EVR_AT, VRCode::AT}, {EVR_CS, VRCode::CS}, {EVR_DA, VRCode::DA},
    {EVR_DS, VRCode::DS}, {EVR_DT, VRCode::DT}, {EVR_FL, VRCode::FL}, {EVR_FD, VRCode::FD}, {EVR_IS, VRCode::IS},
    {EVR_LO, VRCode::LO}, {EVR_LT, VRCode::LT}, {EVR_OB, VRCode::OB}, {EVR_OD, VRCode::OD}, {EVR_OF, VRCode::OF},
    {EVR_OL, VRCode::OL}, {EVR_OV, VRCode::OV}, {EVR_OW, VRCode::OW}, {EVR_PN, VRCode::PN}, {EVR_SH, VRCode::SH},
    {EVR_SL, VRCode::SL}, {EVR_SQ, VRCode::SQ}, {EVR_SS, VRCode::SS}, {EVR_ST, VRCode::ST}, {EVR_SV, VRCode::SV},
    {EVR_TM, VRCode::TM}, {EVR_UC, VRCode::UC}, {EVR_UI, VRCode::UI}, {EVR_UL, VRCode::UL}, {EVR_UN, VRCode::UN},
    {EVR_UR, VRCode::UR}, {EVR_US, VRCode::US}, {EVR_UT, VRCode::UT}, {EVR_UV, VRCode::UV},
};

}  // namespace

UINT16 dictionaryVRCode(DcmEVR vr) {
    for (const VRPair& pair : standardVRs)
        if (pair.dcmtk == vr) return pair.code;
    switch (vr) {
    case EVR_up: return VRCode::UL;
    case EVR_xs: return VRCode::US_OR_SS;
    case EVR_ox:
    case EVR_px:
    case EVR_pixelSQ:
    case EVR_PixelData:
    case EVR_OverlayData: return VRCode::OW_OR_OB;
    case EVR_lt: return VRCode::OW_OR_US_OR_SS;
    default: return VRCode::Unknown;
    }
}

UINT16 elementVRCode(DcmEVR vr) { return concreteVRCode(dictionaryVRCode(vr)); }

DcmEVR dcmtkVR(UINT16 vrCode) {
    const UINT16 concrete = concreteVRCode(vrCode);
    for (const VRPair& pair : standardVRs)
        if (pair.code == concrete) return pair.dcmtk;
    return EVR_UN;
}

}  // namespace refcntr
