#include "segment/splode_box.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/text.h"
#include "base/value.h"
#include "segment/break_text.h"
#include "support_lib/fake_environment.h"

namespace kernova {
namespace {

using Texts = std::vector<std::string>;

// The text of each item, with "*" appended for symbol items if `mark`.
Texts texts(const std::vector<GSplodeItem>& items, bool mark = false) {
    Texts out;
    for (const auto& item : items)
        out.push_back(item.text + (mark && item.isSymbolOrEmoji ? "*" : ""));
    return out;
}

std::string joined(const std::vector<GSplodeItem>& items) {
    std::string out;
    for (const auto& item : items)
        out += item.text;
    return out;
}

bool anySymbol(const std::vector<GSplodeItem>& items) {
    return std::any_of(items.begin(), items.end(), [](const auto& i) { return i.isSymbolOrEmoji; });
}

const std::string kThumbsUpMedium = "\U0001F44D\U0001F3FD";
const std::string kFlagJapan = "\U0001F1EF\U0001F1F5";
const std::string kFamily = "\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466";

// Each text's items, symbols and emoji marked "*". Without a word the
// boundary tokenizer gives every piece, none marked.
TEST(Splode, WordsAndTheCharactersBetweenThem) {
    const std::pair<std::string, Texts> rows[] = {
        {"hello, world", {"hello", ",*", " *", "world"}},
        {"a \t\nb.", {"a", " *", "\t*", "\n*", "b", ".*"}},
        {"\u201CHi\u201D", {"\u201C*", "Hi", "\u201D*"}},
        {"  \u00ABok", {" *", " *", "\u00AB*", "ok"}},
        {"pi is 3.14", {"pi", " *", "is", " *", "3.14"}},
        {"ok " + kThumbsUpMedium + kFlagJapan + kFamily + " go",
         {"ok", " *", kThumbsUpMedium + "*", kFlagJapan + "*", kFamily + "*", " *", "go"}},
        {"a\xFF"
         "b",
         {"a", "\uFFFD*", "b"}},
        {"abc \xE6\x88", {"abc", " *", "\uFFFD*"}},
        {"   \n\t \u3000", {}},
        {" ?! ...", {"?", "!", ".", ".", "."}},
        {kThumbsUpMedium + " " + kFlagJapan, {kThumbsUpMedium, kFlagJapan}},
    };
    for (const auto& [text, items] : rows)
        EXPECT_EQ(texts(GSplodeBox::splode(text), true), items) << text;
}

TEST(Splode, ChineseAndJapaneseSplitIntoDictionaryWords) {
    for (std::string sentence : Texts{"我们今天去北京大学看看", "日本語の文章を分割します"}) {
        auto items = GSplodeBox::splode(sentence);
        std::size_t characters = utf16Length(sentence);
        EXPECT_GT(items.size(), 2u) << sentence;
        EXPECT_LT(items.size(), characters) << sentence;
        EXPECT_EQ(joined(items), sentence);
        EXPECT_FALSE(anySymbol(items)) << sentence;
    }
    auto mixed = GSplodeBox::splode("北京大学。東京");
    EXPECT_EQ(texts(mixed).back(), "東京");
    EXPECT_NE(std::find(mixed.begin(), mixed.end(), GSplodeItem{"。", true}), mixed.end());
}

TEST(Splode, SplodeAllKeepsEmojiSequencesWholeAndReadsInvalidUtf8AsReplacements) {
    EXPECT_EQ(texts(GSplodeBox::splodeAll(kThumbsUpMedium + kFlagJapan + kFamily)),
              (Texts{kThumbsUpMedium, kFlagJapan, kFamily}));
    EXPECT_EQ(texts(GSplodeBox::splodeAll("\xC0\xAF")), (Texts{"\uFFFD", "\uFFFD"}));
    EXPECT_EQ(texts(GSplodeBox::splodeWithOption(0, "x\xFFy")), (Texts{"x", "y"}));
}

TEST(Splode, AStreamInStepsGivesTheSegmentsOfOneCall) {
    for (std::string text :
         {std::string("  Hello, 世界! 東京タワーへ行く 👩‍👩‍👧 ok...\n\nnext "
                      "line -- end"),
          std::string("!!! ... ???"), std::string(), std::string(" ")}) {
        for (std::size_t limit : {std::size_t{1}, std::size_t{3}, std::size_t{1000}}) {
            GSplodeStream stream(text, "en");
            std::vector<GSplodeItem> stepped;
            int steps = 0;
            while (stream.next(limit, [&](GSplodeItem&& s) { stepped.push_back(std::move(s)); }))
                ++steps;
            EXPECT_EQ(stepped, GSplodeBox::splode(text, "en")) << text << " / " << limit;
            EXPECT_TRUE(stream.finished());
            EXPECT_EQ(stream.count(), stepped.size());
            if (limit == 1 && text.size() > 20) {
                EXPECT_GT(steps, 5);
            }
        }
    }
}

TEST(Splode, ConcatenationReproducesTheTextAndEmptyTextGivesNothing) {
    std::string big;
    while (big.size() < (1u << 20))
        big += "The quick brown fox, 敏捷的棕色狐狸。速い茶色の狐が跳ぶ! " + kThumbsUpMedium + "\n";
    for (const std::string& text :
         Texts{"  Hello, world!  ", "one\r\ntwo\n\nthree\t", "「こんにちは」と言った。 ok",
               "x" + kFamily + "y " + kFlagJapan, "e\u0301te\u0301 caf\u00E9 (naïve)", big}) {
        auto items = GSplodeBox::splode(text);
        EXPECT_EQ(joined(items), text);
        for (const auto& item : items)
            EXPECT_FALSE(item.text.empty());
    }
    EXPECT_TRUE(GSplodeBox::splode("").empty());
    EXPECT_TRUE(GSplodeBox::splodeAll("").empty());
    for (std::uint64_t option : {0u, 1u, 4u, 5u})
        EXPECT_TRUE(GSplodeBox::splodeWithOption(option, "").empty());
}

TEST(SplodeWithOption, UnitsAndRepeats) {
    std::string text = "cat dog, cat. dog";
    EXPECT_EQ(texts(GSplodeBox::splodeWithOption(0, text)), (Texts{"cat", "dog", "cat", "dog"}));
    EXPECT_EQ(texts(GSplodeBox::splodeWithOption(1, text)), (Texts{"cat", "dog"}));
    EXPECT_EQ(texts(GSplodeBox::splodeWithOption(4, text)),
              (Texts{"cat", "dog", ",", "cat", ".", "dog"}));
    EXPECT_EQ(texts(GSplodeBox::splodeWithOption(5, text)), (Texts{"cat", "dog", ",", "."}));
    // Bits other than 0 and 2 change nothing.
    EXPECT_EQ(GSplodeBox::splodeWithOption(2 | 8, text), GSplodeBox::splodeWithOption(0, text));
    EXPECT_EQ(GSplodeBox::splodeWithOption(0xF0 | 5, text), GSplodeBox::splodeWithOption(5, text));
    EXPECT_FALSE(anySymbol(GSplodeBox::splodeWithOption(4, text)));
}

TEST(SplodeWithOption, WordUnitSplitsChinese) {
    auto words = GSplodeBox::splodeWithOption(0, "我们去北京，我们去东京。");
    EXPECT_EQ(texts(words).front(), "我们");
    EXPECT_EQ(std::count(words.begin(), words.end(), GSplodeItem{"我们", false}), 2);
    EXPECT_EQ(std::count(words.begin(), words.end(), GSplodeItem{"。", false}), 0);
    auto unique = GSplodeBox::splodeWithOption(1, "我们去北京，我们去东京。");
    EXPECT_EQ(std::count(unique.begin(), unique.end(), GSplodeItem{"我们", false}), 1);
}

TEST(SplodeAll, OneItemPerCharacterKeepingWhitespace) {
    auto items = GSplodeBox::splodeAll("a b\r\n\u00E9e\u0301中");
    EXPECT_EQ(texts(items), (Texts{"a", " ", "b", "\r\n", "\u00E9", "e\u0301", "中"}));
    EXPECT_FALSE(anySymbol(items));
    EXPECT_EQ(texts(GSplodeBox::splodeAll("  ")), (Texts{" ", " "}));
}

TEST(IsEmptAllSapce, NilStringsAndOtherValues) {
    EXPECT_TRUE(GSplodeBox::isEmptAllSapce(static_cast<const Value*>(nullptr)));
    for (const Value& value : {Value(3), Value(Array{}), Value(Bytes{}), Value(" a ")})
        EXPECT_FALSE(GSplodeBox::isEmptAllSapce(&value));
    for (const Value& value : {Value(" \t\n\u00A0\u3000"), Value("")})
        EXPECT_TRUE(GSplodeBox::isEmptAllSapce(&value));
    EXPECT_TRUE(GSplodeBox::isEmptAllSapce(""));
    EXPECT_TRUE(GSplodeBox::isEmptAllSapce("\r\n\u2028"));
    EXPECT_FALSE(GSplodeBox::isEmptAllSapce("."));
}

TEST(SegmentationLocale, ComesFromTheUsersLanguageNeverFromTheProcessLocale) {
    auto env = testing::environmentOf;
    EXPECT_EQ(segmentationLocale(env({})), "en");
    EXPECT_EQ(segmentationLocale(env({{"LANG", "C.UTF-8"}, {"LANGUAGE", "de:en"}})), "de");
    EXPECT_EQ(
        segmentationLocale(env(
            {{"LC_ALL", "POSIX"}, {"LC_MESSAGES", "fr_FR.UTF-8@euro"}, {"LANG", "ja_JP.UTF-8"}})),
        "fr_FR");
    EXPECT_EQ(segmentationLocale(env({{"LC_ALL", ""}, {"LANG", "zh_CN.GB18030"}})), "zh_CN");

    // A process started in the C locale (ICU's en_US_POSIX) splits as one
    // started in a terminal; the POSIX rules would split this text otherwise.
    const std::string text = "See example.com, e.g. v1.2: 3.14 isn't 3,5.";
    const std::vector<GSplodeItem> terminal = GSplodeBox::splode(text, "en_US");
    ASSERT_NE(GSplodeBox::splode(text, "en_US_POSIX"), terminal);
    const icu::Locale saved = icu::Locale::getDefault();
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale("en_US_POSIX"), status);
    const std::vector<GSplodeItem> started = GSplodeBox::splode(text, segmentationLocale(env({})));
    icu::Locale::setDefault(saved, status);
    EXPECT_EQ(started, terminal);
}

TEST(BreakText, CheckedRangeRejectsRangesOutsideTheText) {
    segment_detail::BreakText text("abc\U0001F600", "en");  // five UTF-16 units
    EXPECT_EQ(text.length(), 5);
    EXPECT_EQ(text.checkedRange(1, 4).end, 5);
    EXPECT_EQ(text.slice(3, 5), "\U0001F600");
    EXPECT_THROW(text.checkedRange(3, 3), std::out_of_range);
    EXPECT_THROW(text.checkedRange(6, 0), std::out_of_range);
    EXPECT_THROW(text.checkedRange(-1, 1), std::out_of_range);
}

}  // namespace
}  // namespace kernova
