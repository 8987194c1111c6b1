#include "DumpDepth.h"

namespace refcntr::cli {

namespace {

// The line without its leading and trailing blanks.
std::string trimmed(const std::string& line) {
    const std::size_t first = line.find_first_not_of(' ');
    if (first == std::string::npos) return std::string();
    return line.substr(first, line.find_last_not_of(' ') - first + 1);
}

}  // namespace

std::string limitDumpDepth(const std::string& dump, unsigned levels) {
    std::string result;
    unsigned open = 0;    // blocks open among those shown
    unsigned hidden = 0;  // blocks open inside a collapsed one
    std::size_t start = 0;
    while (start < dump.size()) {
        std::size_t end = dump.find('\n', start);
        if (end == std::string::npos) end = dump.size();
        const std::string line = dump.substr(start, end - start);
        start = end + 1;

        const std::string content = trimmed(line);
        const bool opens = content == "{";
        const bool closes = content == "}" || content == "},";
        if (hidden > 0) {
            if (opens) ++hidden;
            if (closes && --hidden == 0) {
                // The collapsed block ends: "{...}" goes after the line that named it.
                if (!result.empty() && result.back() == '\n') result.pop_back();
                while (!result.empty() && result.back() == ' ') result.pop_back();
                result += content == "}," ? " {...},\n" : " {...}\n";
            }
            continue;
        }
        if (opens && open + 1 >= levels) {
            hidden = 1;
            continue;
        }
        if (opens) ++open;
        if (closes && open > 0) --open;
        result += line;
        result += '\n';
    }
    if (!dump.empty() && dump.back() != '\n' && !result.empty()) result.pop_back();
    return result;
}

}  // namespace refcntr::cli
