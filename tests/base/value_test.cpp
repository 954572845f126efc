#include "base/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kernova {
namespace {

constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
constexpr auto kMin = std::numeric_limits<std::int64_t>::min();

TEST(LenientReads, StringBooleanFollowsThePhoneRule) {
    for (const char* yes : {"YES", "yes", "true", "T", "t", "1", "9", "  \t\n y", "+1", "-1",
                            "0001", "-0009", "+000y", "Tx", "\u30001"}) {
        EXPECT_TRUE(Value(yes).boolValue()) << '"' << yes << '"';
    }
    for (const char* no : {"NO", "no", "false", "0", "000", "", "   ", "+-1", "0x1", "x1", "٣"}) {
        EXPECT_FALSE(Value(no).boolValue()) << '"' << no << '"';
    }
}

TEST(LenientReads, StringIntegerIsTheLeadingDecimalClamped) {
    EXPECT_EQ(Value("42abc").integerValue(), 42);
    EXPECT_EQ(Value("  -17").integerValue(), -17);
    EXPECT_EQ(Value("+5").integerValue(), 5);
    EXPECT_EQ(Value("3.9").integerValue(), 3);
    EXPECT_EQ(Value("abc").integerValue(), 0);
    EXPECT_EQ(Value("").integerValue(), 0);
    EXPECT_EQ(Value("- 4").integerValue(), 0);
    EXPECT_EQ(Value("9223372036854775807").integerValue(), kMax);
    EXPECT_EQ(Value("9223372036854775808").integerValue(), kMax);
    EXPECT_EQ(Value("99999999999999999999999").integerValue(), kMax);
    EXPECT_EQ(Value("-9223372036854775808").integerValue(), kMin);
    EXPECT_EQ(Value("-99999999999999999999999").integerValue(), kMin);
}

TEST(LenientReads, NumbersCoerceByValue) {
    EXPECT_EQ(Value(2.9).integerValue(), 2);
    EXPECT_EQ(Value(-2.9).integerValue(), -2);
    EXPECT_EQ(Value(1e300).integerValue(), kMax);
    EXPECT_EQ(Value(-1e300).integerValue(), kMin);
    EXPECT_EQ(Value(std::nan("")).integerValue(), 0);
    EXPECT_EQ(Value(true).integerValue(), 1);
    EXPECT_TRUE(Value(0.1).boolValue());
    EXPECT_FALSE(Value(0.0).boolValue());
    EXPECT_TRUE(Value(-3).boolValue());
    EXPECT_FALSE(Value(0).boolValue());
    EXPECT_EQ(Value(42).stringValue(), "42");
    EXPECT_EQ(Value(-7).stringValue(), "-7");
    EXPECT_EQ(Value(1.5).stringValue(), "1.5");
    EXPECT_EQ(Value(3.0).stringValue(), "3");
    EXPECT_EQ(Value(true).stringValue(), "1");
    EXPECT_EQ(Value("  2.5e1x").doubleValue(), 25.0);
}

TEST(LenientReads, OtherTypesReadAsNothing) {
    const Value others[] = {Value(), Value(Bytes{1, 2}), Value(Date{5}), Value(Array{Value(1)}),
                            Value(Dictionary{{"a", Value(1)}})};
    for (const Value& v : others) {
        EXPECT_FALSE(v.boolValue());
        EXPECT_EQ(v.integerValue(), 0);
        EXPECT_EQ(v.doubleValue(), 0.0);
        EXPECT_FALSE(v.stringValue().has_value());
    }
}

TEST(ValueLookup, MissingKeysAndWrongContainersReadAbsentAndEqualityIsDeep) {
    Value dict(Dictionary{{"list", Value(Array{Value("x")})}, {"n", Value(3)}});
    EXPECT_EQ(dict["n"].integerValue(), 3);
    EXPECT_TRUE(dict["missing"].isAbsent());
    EXPECT_TRUE(dict["n"]["deeper"].isAbsent());
    EXPECT_EQ(*dict["list"].at(0).asString(), "x");
    EXPECT_TRUE(dict["list"].at(1).isAbsent());
    EXPECT_TRUE(Value("text")["key"].isAbsent());

    // Equality compares contents deeply.
    Value a(Dictionary{{"k", Value(Array{Value(1), Value("s")})}});
    Value b(Dictionary{{"k", Value(Array{Value(1), Value("s")})}});
    Value c(Dictionary{{"k", Value(Array{Value(1), Value("t")})}});
    EXPECT_EQ(a, b);
    EXPECT_NE(a, c);
    EXPECT_NE(Value(1), Value(true));
    EXPECT_NE(Value(Dictionary{}), Value());
}

}  // namespace
}  // namespace kernova
