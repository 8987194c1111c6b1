#include "refcntr/platform/DcmtkVR.h"

#include <array>
#include <cstddef>

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

// DCMTK's VRs are numbered from 0 without gaps: the dictionary's code of each, by number.
constexpr std::size_t dcmtkVRCount = std::size_t(EVR_UNKNOWN2B) + 1;

std::array<UINT16, dcmtkVRCount> dictionaryCodes() {
    std::array<UINT16, dcmtkVRCount> codes{};
    codes.fill(VRCode::Unknown);
    for (const VRPair& pair : standardVRs) codes[pair.dcmtk] = pair.code;
    codes[EVR_up] = VRCode::UL;
    codes[EVR_xs] = VRCode::US_OR_SS;
    for (DcmEVR held : {EVR_ox, EVR_px, EVR_pixelSQ, EVR_PixelData, EVR_OverlayData}) codes[held] = VRCode::OW_OR_OB;
    codes[EVR_lt] = VRCode::OW_OR_US_OR_SS;
    return codes;
}

}  // namespace

// Both are asked for every element DCMTK reads, so each is one look into a table made once.
UINT16 dictionaryVRCode(DcmEVR vr) {
    static const std::array<UINT16, dcmtkVRCount> codes = dictionaryCodes();
    return std::size_t(vr) < dcmtkVRCount ? codes[vr] : VRCode::Unknown;
}

UINT16 elementVRCode(DcmEVR vr) {
    static const std::array<UINT16, dcmtkVRCount> codes = [] {
        std::array<UINT16, dcmtkVRCount> concrete = dictionaryCodes();
        for (UINT16& code : concrete) code = concreteVRCode(code);
        return concrete;
    }();
    return std::size_t(vr) < dcmtkVRCount ? codes[vr] : VRCode::UN;
}

DcmEVR dcmtkVR(UINT16 vrCode) {
    const UINT16 concrete = concreteVRCode(vrCode);
    for (const VRPair& pair : standardVRs)
        if (pair.code == concrete) return pair.dcmtk;
    return EVR_UN;
}

}  // namespace refcntr
