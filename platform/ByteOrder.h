// Byte order: numbers stored in either order, and runs of fixed-width values reversed in place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace refcntr {

// The 16-bit number stored at `bytes`, in big-endian order when `bigEndian`, else little.
inline std::uint16_t storedNumber16(const unsigned char* bytes, bool bigEndian) {
    return bigEndian ? std::uint16_t(bytes[0] << 8 | bytes[1]) : std::uint16_t(bytes[0] | bytes[1] << 8);
}

// The 32-bit number stored at `bytes`, in the same way.
inline std::uint32_t storedNumber32(const unsigned char* bytes, bool bigEndian) {
    const std::uint32_t first = storedNumber16(bytes, bigEndian), second = storedNumber16(bytes + 2, bigEndian);
    return bigEndian ? (first << 16 | second) : (second << 16 | first);
}

// Reverses the bytes of each whole value of `width` bytes (1, 2, 4 or 8) in the first `length`
// bytes; a trailing partial value is left as it is.
inline void reverseValueBytes(unsigned char* bytes, std::size_t length, unsigned width) {
    std::size_t count = width > 1 ? length / width : 0;
    switch (width) {
    case 2:
        for (std::size_t i = 0; i < count; ++i) {
            std::uint16_t value;
            std::memcpy(&value, bytes + 2 * i, 2);
            value = __builtin_bswap16(value);
            std::memcpy(bytes + 2 * i, &value, 2);
        }
        break;
    case 4:
        for (std::size_t i = 0; i < count; ++i) {
            std::uint32_t value;
            std::memcpy(&value, bytes + 4 * i, 4);
            value = __builtin_bswap32(value);
            std::memcpy(bytes + 4 * i, &value, 4);
        }
        break;
    case 8:
        for (std::size_t i = 0; i < count; ++i) {
            std::uint64_t value;
            std::memcpy(&value, bytes + 8 * i, 8);
            value = __builtin_bswap64(value);
            std::memcpy(bytes + 8 * i, &value, 8);
        }
        break;
    default: break;
    }
}

}  // namespace refcntr
