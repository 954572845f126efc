#include "support/safe_array.h"

#include <gtest/gtest.h>

#include <string>

namespace kernova {
namespace {

using Strings = std::vector<std::string>;

TEST(SafeArray, ObjectAtIndex) {
    const Strings v{"a", "b"};
    ASSERT_NE(objectAtIndexSafely(v, 1), nullptr);
    EXPECT_EQ(*objectAtIndexSafely(v, 1), "b");
    EXPECT_EQ(objectAtIndexSafely(v, 2), nullptr);  // index == count
    EXPECT_EQ(objectAtIndexSafely(v, static_cast<std::size_t>(-1)), nullptr);
    EXPECT_EQ(objectAtIndexSafely(Strings{}, 0), nullptr);
}

TEST(SafeArray, AddIgnoresNil) {
    Strings v;
    addObjectSafely(v, std::nullopt);
    addObjectSafely(v, "x");
    addObjectSafely(v, std::optional<std::string>("y"));
    EXPECT_EQ(v, (Strings{"x", "y"}));
}

TEST(SafeArray, InsertOnlyBelowCount) {
    Strings v{"a", "b"};
    insertObjectSafely(v, "z", 2);  // index == count: nothing happens
    insertObjectSafely(v, "z", 99);
    insertObjectSafely(v, std::nullopt, 0);
    EXPECT_EQ(v, (Strings{"a", "b"}));
    insertObjectSafely(v, "z", 1);
    EXPECT_EQ(v, (Strings{"a", "z", "b"}));
    Strings empty;
    insertObjectSafely(empty, "z", 0);
    EXPECT_TRUE(empty.empty());
}

TEST(SafeArray, RemoveAndReplace) {
    Strings v{"a", "b", "c"};
    removeObjectAtIndexSafely(v, 3);
    replaceObjectAtIndexSafely(v, 3, "q");
    replaceObjectAtIndexSafely(v, 0, std::nullopt);
    EXPECT_EQ(v, (Strings{"a", "b", "c"}));
    removeObjectAtIndexSafely(v, 1);
    replaceObjectAtIndexSafely(v, 1, "q");
    EXPECT_EQ(v, (Strings{"a", "q"}));
    Strings empty;
    removeObjectAtIndexSafely(empty, 0);
    EXPECT_TRUE(empty.empty());
}

}  // namespace
}  // namespace kernova
