// Outputs compared whole with the golden copies in tests/data/golden. After a deliberate change
// of an output, run the tests with REFCNTR_UPDATE_GOLDEN=1 to write the copies anew, and review
// the difference before committing it.
#pragma once

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "support/TestFiles.h"

namespace refcntr::testfiles {

inline void expectGoldenCopy(const std::string& name, const std::string& text) {
    const std::string path = std::string(REFCNTR_TEST_DATA_DIR) + "/golden/" + name;
    if (std::getenv("REFCNTR_UPDATE_GOLDEN") != nullptr) writeWholeFile(path, text);
    EXPECT_EQ(text, readWholeFile(path)) << "differs from " << path;
}

}  // namespace refcntr::testfiles
