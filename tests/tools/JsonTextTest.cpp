// JSON string literals of the applies command: escapes, and bytes that are not UTF-8.
#include <string>

#include <gtest/gtest.h>

#include "refcntr/tools/JsonText.h"

namespace {

TEST(JsonText, EscapesWhatJsonForbidsAndKeepsOnlyWellFormedUTF8) {
    const struct {
        std::string text;
        std::string expected;
    } cases[] = {
        {"", "\"\""},
        {"SCALE TO FIT", "\"SCALE TO FIT\""},
        {"a \"b\" \\c", "\"a \\\"b\\\" \\\\c\""},
        {"line\nnext\ttab\r", "\"line\\nnext\\ttab\\r\""},
        {std::string("nul\0\x01\x1f", 6), "\"nul\\u0000\\u0001\\u001f\""},
        {"Z\xC3\xBCrich \xE2\x82\xAC \xF0\x9F\x98\x80", "\"Z\xC3\xBCrich \xE2\x82\xAC \xF0\x9F\x98\x80\""},
        {"Z\xFCrich", "\"Z\\u00fcrich\""},              // Latin-1
        {"cut \xC3", "\"cut \\u00c3\""},                // truncated sequence
        {"\xC0\xAF", "\"\\u00c0\\u00af\""},             // overlong encoding of '/'
        {"\xED\xA0\x80", "\"\\u00ed\\u00a0\\u0080\""},  // a surrogate
        {"\xE2\x82", "\"\\u00e2\\u0082\""},
    };
    for (const auto& each : cases) EXPECT_EQ(refcntr::cli::jsonString(each.text), each.expected) << each.text;
}

}  // namespace
