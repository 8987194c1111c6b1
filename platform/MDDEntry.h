// Value representation codes and the conversions between codes, their texts and their value types.
#pragma once

#include <array>

#include "refcntr/platform/Types.h"

namespace refcntr {

// A VR code is the two ASCII letters of the VR packed into 16 bits ('U' << 8 | 'S' for US).
// The dictionary also yields three ambiguous codes for tags whose VR depends on the data
// (pixel data OB or OW, pixel values and descriptors US or SS, LUT data OW, US or SS), and 0
// for "unknown".
namespace VRCode {
constexpr UINT16 make(char first, char second) { return UINT16((UINT8(first) << 8) | UINT8(second)); }

constexpr UINT16 Unknown = 0;
constexpr UINT16 US_OR_SS = 1;
constexpr UINT16 OW_OR_OB = 2;
constexpr UINT16 OW_OR_US_OR_SS = 3;

constexpr UINT16 AE = make('A', 'E'), AS = make('A', 'S'), AT = make('A', 'T'), CS = make('C', 'S');
constexpr UINT16 DA = make('D', 'A'), DS = make('D', 'S'), DT = make('D', 'T'), FD = make('F', 'D');
constexpr UINT16 FL = make('F', 'L'), IS = make('I', 'S'), LO = make('L', 'O'), LT = make('L', 'T');
constexpr UINT16 OB = make('O', 'B'), OD = make('O', 'D'), OF = make('O', 'F'), OL = make('O', 'L');
constexpr UINT16 OV = make('O', 'V'), OW = make('O', 'W'), PN = make('P', 'N'), SH = make('S', 'H');
constexpr UINT16 SL = make('S', 'L'), SQ = make('S', 'Q'), SS = make('S', 'S'), ST = make('S', 'T');
constexpr UINT16 SV = make('S', 'V'), TM = make('T', 'M'), UC = make('U', 'C'), UI = make('U', 'I');
constexpr UINT16 UL = make('U', 'L'), UN = make('U', 'N'), UR = make('U', 'R'), US = make('U', 'S');
constexpr UINT16 UT = make('U', 'T'), UV = make('U', 'V');
}  // namespace VRCode

// What the value bytes of an element of a VR hold.
enum class ValueType {
    Unknown,
    Text,      // character strings, multi-values separated by backslashes
    UInt16,    // US, and OW words
    Int16,     // SS
    UInt32,    // UL, OL
    Int32,     // SL
    UInt64,    // UV, OV
    Int64,     // SV
    Float32,   // FL, OF
    Float64,   // FD, OD
    Bytes,     // OB, UN
    Tag,       // AT: pairs of 16-bit group and element numbers
    Sequence,  // SQ
    Ambiguous  // US_OR_SS, OW_OR_OB, OW_OR_US_OR_SS
};

class MDDEntry {
public:
    // "US" for VRCode::US; "US_OR_SS", "OW_OR_OB", "OW_OR_US_OR_SS" for the ambiguous codes;
    // "" for an unknown code.
    static RWCString UShortToTypeString(UINT16 vrCode);
    // The inverse of UShortToTypeString; VRCode::Unknown for a text that names no VR.
    static UINT16 TypeStringToUShort(const RWCString& text);
    static ValueType UShortToValueType(UINT16 vrCode);
    // 1 when the VR holds character strings (AE, AS, CS, DA, DS, DT, IS, LO, LT, PN, SH, ST, TM, UC, UI, UR, UT).
    // Inline, with a table: it runs for every text that is read or written.
    static int IsStringType(UINT16 vrCode) {
        const unsigned first = unsigned(vrCode >> 8) - 'A';
        const unsigned second = unsigned(vrCode & 0xFF) - 'A';
        return first < 26 && second < 26 && (textVRs[first] >> second & 1) != 0 ? 1 : 0;
    }
    // Bytes per value for the byte-order swap: 2 (US, SS, OW, AT), 4 (UL, SL, FL, OF, OL), 8 (FD, OD, SV, UV, OV),
    // else 1.
    static unsigned ValueWidth(UINT16 vrCode);

private:
    // Per first letter of a VR, a bit per second letter that makes it a text VR.
    static const std::array<UINT32, 26> textVRs;
};

}  // namespace refcntr
