#include "refcntr/platform/MDDEntry.h"

namespace refcntr {

namespace {

struct VRName {
    UINT16 code;
    const char* name;
};

constexpr VRName vrNames[] = {
    {VRCode::AE, "AE"},
    {VRCode::AS, "AS"},
    {VRCode::AT, "AT"},
    {VRCode::CS, "CS"},
    {VRCode::DA, "DA"},
    {VRCode::DS, "DS"},
    {VRCode::DT, "DT"},
    {VRCode::FD, "FD"},
    {VRCode::FL, "FL"},
    {VRCode::IS, "IS"},
    {VRCode::LO, "LO"},
    {VRCode::LT, "LT"},
    {VRCode::OB, "OB"},
    {VRCode::OD, "OD"},
    {VRCode::OF, "OF"},
    {VRCode::OL, "OL"},
    {VRCode::OV, "OV"},
    {VRCode::OW, "OW"},
    {VRCode::PN, "PN"},
    {VRCode::SH, "SH"},
    {VRCode::SL, "SL"},
    {VRCode::SQ, "SQ"},
    {VRCode::SS, "SS"},
    {VRCode::ST, "ST"},
    {VRCode::SV, "SV"},
    {VRCode::TM, "TM"},
    {VRCode::UC, "UC"},
    {VRCode::UI, "UI"},
    {VRCode::UL, "UL"},
    {VRCode::UN, "UN"},
    {VRCode::UR, "UR"},
    {VRCode::US, "US"},
    {VRCode::UT, "UT"},
    {VRCode::UV, "UV"},
    {VRCode::US_OR_SS, "US_OR_SS"},
    {VRCode::OW_OR_OB, "OW_OR_OB"},
    {VRCode::OW_OR_US_OR_SS, "OW_OR_US_OR_SS"},
};

}  // namespace

RWCString MDDEntry::UShortToTypeString(UINT16 vrCode) {
    for (const VRName& entry : vrNames)
        if (entry.code == vrCode) return entry.name;
    return RWCString();
}

UINT16 MDDEntry::TypeStringToUShort(const RWCString& text) {
    for (const VRName& entry : vrNames)
        if (text == entry.name) return entry.code;
    return VRCode::Unknown;
}

namespace {

constexpr ValueType valueTypeOf(UINT16 vrCode) {
    using namespace VRCode;
    switch (vrCode) {
    case AE:
    case AS:
    case CS:
    case DA:
    case DS:
    case DT:
    case IS:
    case LO:
    case LT:
    case PN:
    case SH:
    case ST:
    case TM:
    case UC:
    case UI:
    case UR:
    case UT: return ValueType::Text;
    case US:
    case OW: return ValueType::UInt16;
    case SS: return ValueType::Int16;
    case UL:
    case OL: return ValueType::UInt32;
    case SL: return ValueType::Int32;
    case UV:
    case OV: return ValueType::UInt64;
    case SV: return ValueType::Int64;
    case FL:
    case OF: return ValueType::Float32;
    case FD:
    case OD: return ValueType::Float64;
    case OB:
    case UN: return ValueType::Bytes;
    case AT: return ValueType::Tag;
    case SQ: return ValueType::Sequence;
    case US_OR_SS:
    case OW_OR_OB:
    case OW_OR_US_OR_SS: return ValueType::Ambiguous;
    default: return ValueType::Unknown;
    }
}

constexpr std::array<UINT32, 26> textVRTable() {
    std::array<UINT32, 26> table{};
    for (unsigned first = 0; first < 26; ++first)
        for (unsigned second = 0; second < 26; ++second)
            if (valueTypeOf(VRCode::make(char('A' + first), char('A' + second))) == ValueType::Text)
                table[first] |= UINT32(1) << second;
    return table;
}

}  // namespace

const std::array<UINT32, 26> MDDEntry::textVRs = textVRTable();

ValueType MDDEntry::UShortToValueType(UINT16 vrCode) { return valueTypeOf(vrCode); }

unsigned MDDEntry::ValueWidth(UINT16 vrCode) {
    switch (UShortToValueType(vrCode)) {
    case ValueType::UInt16:
    case ValueType::Int16:
    case ValueType::Tag: return 2;
    case ValueType::UInt32:
    case ValueType::Int32:
    case ValueType::Float32: return 4;
    case ValueType::UInt64:
    case ValueType::Int64:
    case ValueType::Float64: return 8;
    default: return 1;
    }
}

}  // namespace refcntr
