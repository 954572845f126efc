#include "support/base64_categories.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace kernova {
namespace {

Bytes sequence(std::size_t n) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i)
        b[i] = static_cast<std::uint8_t>(i * 7 + 3);
    return b;
}

std::vector<std::string> splitLines(const std::string& s) {
    std::vector<std::string> lines;
    std::size_t at = 0;
    for (std::size_t br; (br = s.find("\r\n", at)) != std::string::npos; at = br + 2) {
        lines.push_back(s.substr(at, br - at));
    }
    lines.push_back(s.substr(at));
    return lines;
}

std::vector<std::size_t> lineLengths(const std::string& s) {
    std::vector<std::size_t> lengths;
    for (const auto& line : splitLines(s))
        lengths.push_back(line.size());
    return lengths;
}

// Lines are cut in pieces of whole multiples of four characters; widths under
// four, zero, or at least the length keep one line.
TEST(Base64Categories, WrapWidthsGiveTheirLineLengthsAndDecodeBack) {
    struct Row {
        std::size_t bytes, width;
        std::vector<std::size_t> lengths;
    };
    const Row rows[] = {
        {30, 10, {8, 8, 8, 8, 8}},
        {30, 4, std::vector<std::size_t>(10, 4)},
        {30, 0, {40}},
        {30, 40, {40}},
        {30, 3, {40}},
        {30, 1, {40}},
        {100, 64, {64, 64, 8}},
        {100, 76, {76, 60}},
        {48, 64, {64}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.bytes) + " bytes at " + std::to_string(row.width));
        const auto wrapped = base64EncodedStringWithWrapWidth(sequence(row.bytes), row.width);
        ASSERT_TRUE(wrapped);
        EXPECT_EQ(lineLengths(*wrapped), row.lengths);
        EXPECT_EQ(dataWithBase64EncodedString(*wrapped), sequence(row.bytes));
    }
    EXPECT_EQ(base64EncodedStringWithWrapWidth(Bytes{}, 10), std::nullopt);
}

TEST(Base64Categories, DecodeIgnoresUnknownCharactersButNeedsPadding) {
    EXPECT_EQ(dataWithBase64EncodedString(""), std::nullopt);
    EXPECT_EQ(dataWithBase64EncodedString("Zm9v"), (Bytes{'f', 'o', 'o'}));
    EXPECT_EQ(dataWithBase64EncodedString("Z*m9\r\nv \xC3\xA9-_"), (Bytes{'f', 'o', 'o'}));
    EXPECT_EQ(dataWithBase64EncodedString("Zg=="), Bytes{'f'});
    EXPECT_EQ(dataWithBase64EncodedString("Zg"), std::nullopt);
    EXPECT_EQ(dataWithBase64EncodedString("Zm9"), std::nullopt);
    EXPECT_EQ(dataWithBase64EncodedString("Zg=a"), std::nullopt);
    EXPECT_EQ(dataWithBase64EncodedString("Z==="), std::nullopt);
    EXPECT_EQ(dataWithBase64EncodedString("Zg==Zg=="), std::nullopt);
    EXPECT_EQ(dataWithBase64EncodedString("!!!!"), std::nullopt);  // zero bytes
    EXPECT_EQ(platformBase64Decode("Zm-9v", false), std::nullopt);
    EXPECT_EQ(platformBase64Decode("Zm-9v", true), (Bytes{'f', 'o', 'o'}));
    EXPECT_EQ(platformBase64Decode("", false), Bytes{});
}

TEST(Base64Categories, TextForms) {
    EXPECT_EQ(base64EncodedString(std::string_view("hello")), "aGVsbG8=");
    EXPECT_EQ(base64EncodedString(std::string_view("")), std::nullopt);
    EXPECT_EQ(base64EncodedString(std::string_view("\xFF")), "77+9");  // repaired to U+FFFD
    EXPECT_EQ(base64EncodedStringWithWrapWidth(std::string_view("hello world"), 8),
              "aGVsbG8g\r\nd29ybGQ=");
    EXPECT_EQ(stringWithBase64EncodedString("aGVsbG8="), "hello");
    EXPECT_EQ(base64DecodedString("5Lit5paH"), "\xE4\xB8\xAD\xE6\x96\x87");
    EXPECT_EQ(base64DecodedString("/w=="), std::nullopt);  // not UTF-8
    EXPECT_EQ(base64DecodedString("@@@"), std::nullopt);
    EXPECT_EQ(base64DecodedData("aGk="), (Bytes{'h', 'i'}));
}

TEST(Base64Categories, RandomRoundTripsAndHostileInput) {
    std::mt19937 rng(99);
    std::uniform_int_distribution<int> byte(0, 255);
    for (std::size_t n = 1; n <= 200; ++n) {
        Bytes data(n);
        for (auto& x : data)
            x = static_cast<std::uint8_t>(byte(rng));
        EXPECT_EQ(base64DecodedData(*base64EncodedStringWithWrapWidth(data, n % 90)), data);
        std::string garbage(data.begin(), data.end());
        (void)dataWithBase64EncodedString(garbage);
        (void)platformBase64Decode(garbage, false);
        (void)stringWithBase64EncodedString(garbage);
    }
    const Bytes huge(3u << 20, 0xAB);
    EXPECT_EQ(dataWithBase64EncodedString(*base64EncodedStringWithWrapWidth(huge, 76)), huge);
}

}  // namespace
}  // namespace kernova
