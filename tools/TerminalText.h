// Text from files and paths made safe for a terminal: a control character in a patient name or a
// file name must neither move the cursor nor forge a line of output.
#pragma once

#include <cstddef>
#include <string>

namespace refcntr::cli {

// Appends `text` with every control character written as an escape: \n, \r and \t, else \xHH;
// and, when `quotes`, '"' as \".
void appendEscaped(std::string& line, const char* text, std::size_t length, bool quotes = false);

// `text` with its control characters escaped, as appendEscaped writes them.
std::string escaped(const std::string& text);

}  // namespace refcntr::cli
