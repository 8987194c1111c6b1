// Text as a JSON string literal.
#pragma once

#include <string>

namespace refcntr::cli {

// `text` quoted for JSON: quotes, backslashes and control characters escaped. Valid UTF-8 is
// kept as it is; any other byte is taken for a Latin-1 character (DICOM's most common
// character set) and written as \u00XX, so the result is always valid JSON.
std::string jsonString(const std::string& text);

}  // namespace refcntr::cli
