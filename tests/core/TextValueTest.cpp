// The compact text of the containers: the same characters back whatever the length, through
// copies, moves and assignments across the 15-character boundary of in-place storage.
#include <gtest/gtest.h>

#include <utility>

#include "refcntr/core/TextValue.h"

using refcntr::RWCString;
using refcntr::TextValue;

TEST(TextValue, EveryLengthComesBackThroughCopiesMovesAndAssignments) {
    const RWCString texts[] = {
        "", "A", std::string(15, 'b'), std::string(16, 'c'), std::string(300, 'd'), std::string("with\0nul", 8)};
    for (const RWCString& text : texts) {
        SCOPED_TRACE(text.size());
        TextValue value(text);
        EXPECT_EQ(RWCString(value), text);
        EXPECT_EQ(value.size(), text.size());
        EXPECT_EQ(value.empty(), text.empty());
        TextValue copy(value);
        EXPECT_EQ(copy, value);
        TextValue moved(std::move(copy));
        EXPECT_EQ(RWCString(moved), text);
        EXPECT_TRUE(copy.empty());
        for (const RWCString& other : texts) {
            TextValue assigned(other);
            assigned = value;
            EXPECT_EQ(RWCString(assigned), text);
            assigned = other;
            EXPECT_EQ(RWCString(assigned), other);
            assigned = TextValue(text);
            EXPECT_EQ(RWCString(assigned), text);
            EXPECT_EQ(assigned == TextValue(other), text == other);
        }
        const TextValue& self = value;
        value = self;
        EXPECT_EQ(RWCString(value), text);
    }
    EXPECT_EQ(sizeof(TextValue), 16u);
}
