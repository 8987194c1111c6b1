#include "TerminalText.h"

namespace refcntr::cli {

void appendEscaped(std::string& line, const char* text, std::size_t length, bool quotes) {
    static constexpr char digits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < length; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        switch (c) {
        case '\n': line += "\\n"; break;
        case '\r': line += "\\r"; break;
        case '\t': line += "\\t"; break;
        default:
            if (c == '"' && quotes) {
                line += "\\\"";
            } else if (c < 0x20 || c == 0x7F || (c == 0xC2 && i + 1 < length && (text[i + 1] & 0xE0) == 0x80)) {
                // C0 controls and DEL, and the C1 controls U+0080 to U+009F in UTF-8.
                if (c == 0xC2) {
                    line += "\\xc2\\x";
                    const unsigned char next = static_cast<unsigned char>(text[++i]);
                    line += digits[next >> 4];
                    line += digits[next & 0xF];
                    break;
                }
                line += "\\x";
                line += digits[c >> 4];
                line += digits[c & 0xF];
            } else {
                line += char(c);
            }
        }
    }
}

std::string escaped(const std::string& text) {
    std::string line;
    line.reserve(text.size());
    appendEscaped(line, text.data(), text.size());
    return line;
}

namespace {

// The byte of an octal escape "\ooo" of a byte from 0x80 up at `text`, or -1.
int escapedHighByte(const char* text, std::size_t left) {
    if (left < 4 || text[0] != '\\') return -1;
    int value = 0;
    for (int i = 1; i <= 3; ++i) {
        if (text[i] < '0' || text[i] > '7') return -1;
        value = value * 8 + (text[i] - '0');
    }
    return value >= 0x80 && value <= 0xFF ? value : -1;
}

// The length of the UTF-8 character for U+00A0 and up that `bytes` start with, or 0.
std::size_t characterLength(const unsigned char* bytes, std::size_t count) {
    const unsigned char lead = bytes[0];
    const std::size_t length = lead >= 0xF0 && lead <= 0xF4  ? 4
                               : lead >= 0xE0                ? 3
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                                                             : 0;
    if (length == 0 || length > count) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((bytes[i] & 0xC0) != 0x80) return 0;
    if (length == 2 && lead == 0xC2 && bytes[1] < 0xA0) return 0;  // C1 controls stay escaped
    return length;
}

}  // namespace

std::streamsize UTF8DumpOutput::xsputn(const char* text, std::streamsize length) {
    const std::size_t size = std::size_t(length);
    std::size_t at = 0, plainFrom = 0;
    while (at < size) {
        if (escapedHighByte(text + at, size - at) < 0) {
            ++at;
            continue;
        }
        itsOut.write(text + plainFrom, std::streamsize(at - plainFrom));
        // The run of escaped bytes, decoded.
        unsigned char bytes[256];
        std::size_t count = 0, end = at;
        for (int byte; count < sizeof bytes && (byte = escapedHighByte(text + end, size - end)) >= 0; end += 4)
            bytes[count++] = static_cast<unsigned char>(byte);
        for (std::size_t i = 0; i < count;) {
            const std::size_t character = characterLength(bytes + i, count - i);
            if (character) {
                itsOut.write(reinterpret_cast<const char*>(bytes + i), std::streamsize(character));
                i += character;
            } else {
                itsOut.write(text + at + 4 * i, 4);
                ++i;
            }
        }
        at = plainFrom = end;
    }
    itsOut.write(text + plainFrom, std::streamsize(size - plainFrom));
    return itsOut ? length : 0;
}

UTF8DumpOutput::int_type UTF8DumpOutput::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    itsOut.put(traits_type::to_char_type(c));
    return itsOut ? c : traits_type::eof();
}

}  // namespace refcntr::cli
