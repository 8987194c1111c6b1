// Cutting container dumps down to their first levels: which blocks collapse, what stays of
// the lines around them.
#include <gtest/gtest.h>

#include "refcntr/tools/DumpDepth.h"

namespace refcntr::cli {
namespace {

// The shape of an IOD dump: entity, module, sequence, items with a comma between them.
const char* const dump =
    "itsEntity =\n"
    "{\n"
    "  itsModule =\n"
    "  {\n"
    "    itsValueElement = \"{\"\n"
    "    itsSequenceElement = \n"
    "    {\n"
    "      Item 0:\n"
    "      {\n"
    "        itsNumbersElement = \n"
    "        {\n"
    "          itsNumbersElement[0] = 1\n"
    "        }\n"
    "      },\n"
    "      Item 1:\n"
    "      {\n"
    "        itsOtherElement = <not present>\n"
    "      }\n"
    "    }\n"
    "  }\n"
    "  itsEmptyModule = <empty>\n"
    "}\n"
    "itsOtherEntity = <not present>";

TEST(DumpDepth, EachLevelOpensOneMoreBlockAndCollapsesTheRestOntoTheirNamingLine) {
    EXPECT_EQ(limitDumpDepth(dump, 1), "itsEntity = {...}\nitsOtherEntity = <not present>");
    EXPECT_EQ(limitDumpDepth(dump, 2),
              "itsEntity =\n{\n  itsModule = {...}\n  itsEmptyModule = <empty>\n}\nitsOtherEntity = <not present>");
    EXPECT_EQ(limitDumpDepth(dump, 4),
              "itsEntity =\n{\n  itsModule =\n  {\n    itsValueElement = \"{\"\n    itsSequenceElement = \n    {\n"
              "      Item 0: {...},\n      Item 1: {...}\n    }\n  }\n  itsEmptyModule = <empty>\n}\n"
              "itsOtherEntity = <not present>");
    // Enough levels leave the dump as it was.
    EXPECT_EQ(limitDumpDepth(dump, 6), dump);
    EXPECT_EQ(limitDumpDepth(std::string(dump) + "\n", 60), std::string(dump) + "\n");
    EXPECT_EQ(limitDumpDepth("itsValueElement = 1", 1), "itsValueElement = 1");
    EXPECT_EQ(limitDumpDepth("", 1), "");
}

}  // namespace
}  // namespace refcntr::cli
