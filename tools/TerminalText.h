// Text from files and paths made safe for a terminal: a control character in a patient name or a
// file name must neither move the cursor nor forge a line of output.
#pragma once

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string>

namespace refcntr::cli {

// Appends `text` with every control character written as an escape: \n, \r and \t, else \xHH
// (a C1 control in UTF-8 as \xc2\xHH); and, when `quotes`, '"' as \".
void appendEscaped(std::string& line, const char* text, std::size_t length, bool quotes = false);

// `text` with its control characters escaped, as appendEscaped writes them.
std::string escaped(const std::string& text);

// Writes container dumps with their UTF-8 text as text: a dump writes each byte from 0x80 up as
// an octal escape ("\303\251"); a run of such escapes that is valid UTF-8 for characters from
// U+00A0 up is written as those bytes, anything else as it came.
class UTF8DumpOutput : public std::streambuf {
public:
    explicit UTF8DumpOutput(std::ostream& out) : itsOut(out) {}

protected:
    std::streamsize xsputn(const char* text, std::streamsize length) override;
    int_type overflow(int_type c) override;

private:
    std::ostream& itsOut;
};

}  // namespace refcntr::cli
