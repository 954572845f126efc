#include "base/text.h"

#include <gtest/gtest.h>

namespace kernova {
namespace {

TEST(Utf16, LengthsCountSurrogatePairsAsTwoAndLoneOnesAreReplaced) {
    EXPECT_EQ(utf16Length(""), 0u);
    EXPECT_EQ(utf16Length("abc"), 3u);
    EXPECT_EQ(utf16Length("中文"), 2u);
    EXPECT_EQ(utf16Length("😀"), 2u);
    EXPECT_EQ(utf16Length("👍🏽"), 4u);
    EXPECT_EQ(toUtf16("a😀").size(), 3u);
    EXPECT_EQ(fromUtf16(toUtf16("héllo 中文 😀")), "héllo 中文 😀");
    // A lone surrogate becomes a replacement character.
    std::u16string lone = {u'a', static_cast<char16_t>(0xD800), u'b'};
    EXPECT_EQ(fromUtf16(lone),
              "a\xEF\xBF\xBD"
              "b");
}

TEST(Utf8Repair, EachIllFormedSequenceBecomesOneReplacement) {
    const std::string fffd = "\xEF\xBF\xBD";
    EXPECT_TRUE(isValidUtf8("plain 中文 😀"));
    EXPECT_EQ(repairUtf8("plain"), "plain");
    EXPECT_EQ(repairUtf8("a\xFF"
                         "b"),
              "a" + fffd + "b");
    EXPECT_EQ(repairUtf8("a\xC0\xAF"
                         "b"),
              "a" + fffd + fffd + "b");  // overlong
    EXPECT_EQ(repairUtf8("a\xED\xA0\x80"
                         "b"),
              "a" + fffd + fffd + fffd + "b");       // surrogate
    EXPECT_EQ(repairUtf8("a\xE4\xB8"), "a" + fffd);  // truncated
    EXPECT_EQ(repairUtf8("\xF0\x9F\x98"), fffd);
    EXPECT_EQ(repairUtf8("\x80\x80"), fffd + fffd);
    EXPECT_TRUE(isValidUtf8(repairUtf8(std::string("\xF4\x90\x80\x80 \xC3", 6))));
}

TEST(Trimming, UsesTheWhiteSpaceAndNewlineSet) {
    EXPECT_EQ(trimWhitespaceAndNewlines("  a b \n"), "a b");
    EXPECT_EQ(trimWhitespaceAndNewlines("\u3000中文\u00A0"), "中文");
    EXPECT_EQ(trimWhitespaceAndNewlines("\u0085\u2028x\u2029\t\v\f\r"), "x");
    EXPECT_EQ(trimWhitespaceAndNewlines(" \t\n "), "");
    EXPECT_EQ(trimWhitespaceAndNewlines("\u200Bx"), "\u200Bx");  // zero width space is Cf
    EXPECT_EQ(trimWhitespaceAndNewlines("x\xFF "), "x\xFF");
}

}  // namespace
}  // namespace kernova
