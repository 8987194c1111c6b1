// DICOM bytes written exactly as told, lengths included: for files that DCMTK's tools would
// correct (damaged ones) or that are too large to keep as dumps. Little endian; an element is in
// explicit VR, or in implicit VR when its VR is "".
#pragma once

#include <cstdint>
#include <string>

namespace refcntr::testfiles::raw {

inline std::string u16(std::uint16_t value) { return {char(value & 0xFF), char(value >> 8)}; }
inline std::string u32(std::uint32_t value) {
    return u16(std::uint16_t(value & 0xFFFF)) + u16(std::uint16_t(value >> 16));
}

// The value padded to even length with `pad`.
inline std::string even(std::string value, char pad = ' ') { return value.size() % 2 ? value + pad : value; }
inline std::string uid(const std::string& value) { return even(value, '\0'); }

// An element's tag, VR and length field, the length saying `length` whatever follows.
inline std::string header(std::uint16_t group, std::uint16_t element, const std::string& vr, std::uint32_t length) {
    const std::string tag = u16(group) + u16(element);
    if (vr.empty()) return tag + u32(length);
    const std::string longLengths = "OB OD OF OL OV OW SQ SV UC UN UR UT UV";
    if (longLengths.find(vr) != std::string::npos) return tag + vr + u16(0) + u32(length);
    return tag + vr + u16(std::uint16_t(length));
}

inline std::string element(std::uint16_t group, std::uint16_t number, const std::string& vr, const std::string& value) {
    return header(group, number, vr, std::uint32_t(value.size())) + value;
}

inline std::string item(const std::string& content) {
    return u16(0xFFFE) + u16(0xE000) + u32(std::uint32_t(content.size())) + content;
}

inline std::string undefinedLengthItemStart() { return u16(0xFFFE) + u16(0xE000) + u32(0xFFFFFFFF); }
inline std::string itemDelimiter() { return u16(0xFFFE) + u16(0xE00D) + u32(0); }
inline std::string sequenceDelimiter() { return u16(0xFFFE) + u16(0xE0DD) + u32(0); }

inline std::string undefinedLengthSequenceStart(std::uint16_t group, std::uint16_t number) {
    return header(group, number, "SQ", 0xFFFFFFFF);
}
// A sequence of undefined length holding one item of undefined length.
inline std::string undefinedLengthSequence(std::uint16_t group, std::uint16_t number, const std::string& itemContent) {
    return undefinedLengthSequenceStart(group, number) + undefinedLengthItemStart() + itemContent + itemDelimiter() +
           sequenceDelimiter();
}

// Preamble and meta header of a file of the SOP class in the transfer syntax.
inline std::string fileStart(const std::string& sopClass, const std::string& transferSyntax = "1.2.840.10008.1.2.1") {
    const std::string meta =
        element(0x0002, 0x0001, "OB", std::string("\0\1", 2)) + element(0x0002, 0x0002, "UI", uid(sopClass)) +
        element(0x0002, 0x0003, "UI", "2.25.77130") + element(0x0002, 0x0010, "UI", uid(transferSyntax));
    return std::string(128, '\0') + "DICM" + element(0x0002, 0x0000, "UL", u32(std::uint32_t(meta.size()))) + meta;
}

}  // namespace refcntr::testfiles::raw
