#include "JsonText.h"

namespace refcntr::cli {

namespace {

// The length of the well-formed UTF-8 sequence at `position`, or 0 when there is none.
std::size_t utf8Length(const std::string& text, std::size_t position) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[position + i]); };
    const unsigned char lead = byte(0);
    std::size_t length = 0;
    unsigned low = 0x80, high = 0xBF;  // the range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (position + length > text.size()) return 0;
    if (byte(1) < low || byte(1) > high) return 0;
    for (std::size_t i = 2; i < length; ++i)
        if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
    return length;
}

}  // namespace

std::string jsonString(const std::string& text) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string result = "\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += char(c);
        } else if (c == '\n') {
            result += "\\n";
        } else if (c == '\t') {
            result += "\\t";
        } else if (c == '\r') {
            result += "\\r";
        } else if (c < 0x20 || c == 0x7F) {
            result += "\\u00";
            result += digits[c >> 4];
            result += digits[c & 0xF];
        } else if (c < 0x80) {
            result += char(c);
        } else if (const std::size_t length = utf8Length(text, i)) {
            result.append(text, i, length);
            i += length - 1;
        } else {
            result += "\\u00";
            result += digits[c >> 4];
            result += digits[c & 0xF];
        }
    }
    return result + '"';
}

}  // namespace refcntr::cli
