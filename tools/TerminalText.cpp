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
            } else if (c < 0x20 || c == 0x7F) {
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

}  // namespace refcntr::cli
