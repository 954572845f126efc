#include "support/safe_array.h"

#include <gtest/gtest.h>

#include <string>

namespace kernova {
namespace {

using Strings = std::vector<std::string>;

// Every call out of range, or with nothing to add, leaves the list as it was.
TEST(SafeArray, OutOfRangeAndNothingAreIgnored) {
    Strings v{"a", "b"};
    EXPECT_EQ(*objectAtIndexSafely(v, 1), "b");
    EXPECT_EQ(objectAtIndexSafely(v, 2), nullptr);
    EXPECT_EQ(objectAtIndexSafely(v, static_cast<std::size_t>(-1)), nullptr);
    addObjectSafely(v, std::nullopt);
    insertObjectSafely(v, "z", 2);  // index == count: nothing happens
    insertObjectSafely(v, std::nullopt, 0);
    removeObjectAtIndexSafely(v, 2);
    replaceObjectAtIndexSafely(v, 2, "q");
    replaceObjectAtIndexSafely(v, 0, std::nullopt);
    EXPECT_EQ(v, (Strings{"a", "b"}));
    addObjectSafely(v, "c");
    insertObjectSafely(v, "z", 1);
    removeObjectAtIndexSafely(v, 0);
    replaceObjectAtIndexSafely(v, 2, "q");
    EXPECT_EQ(v, (Strings{"z", "b", "q"}));
    Strings empty;
    insertObjectSafely(empty, "z", 0);
    removeObjectAtIndexSafely(empty, 0);
    EXPECT_EQ(objectAtIndexSafely(empty, 0), nullptr);
    EXPECT_TRUE(empty.empty());
}

}  // namespace
}  // namespace kernova
