// Base64 as the server reads images and the OCR activity writes them, and the
// conveniences built on it (no caller uses those yet: one test keeps them).
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

std::vector<std::size_t> lineLengths(const std::string& s) {
    std::vector<std::size_t> lengths;
    std::size_t at = 0;
    for (std::size_t br; (br = s.find("\r\n", at)) != std::string::npos; at = br + 2)
        lengths.push_back(br - at);
    lengths.push_back(s.size() - at);
    return lengths;
}

TEST(PlatformBase64, LinesOf64Or76CharactersAndRandomRoundTrips) {
    EXPECT_EQ(lineLengths(platformBase64Encode(sequence(100), Base64Lines::Width64)),
              (std::vector<std::size_t>{64, 64, 8}));
    EXPECT_EQ(lineLengths(platformBase64Encode(sequence(100), Base64Lines::Width76)),
              (std::vector<std::size_t>{76, 60}));
    EXPECT_EQ(lineLengths(platformBase64Encode(sequence(48), Base64Lines::Width64)),
              (std::vector<std::size_t>{64}));
    EXPECT_EQ(platformBase64Encode(Bytes{'f'}, Base64Lines::None), "Zg==");
    std::mt19937 rng(99);
    std::uniform_int_distribution<int> byte(0, 255);
    for (std::size_t n = 1; n <= 200; ++n) {
        Bytes data(n);
        for (auto& x : data)
            x = static_cast<std::uint8_t>(byte(rng));
        for (Base64Lines lines : {Base64Lines::None, Base64Lines::Width64, Base64Lines::Width76})
            EXPECT_EQ(platformBase64Decode(platformBase64Encode(data, lines), true), data) << n;
        (void)platformBase64Decode(std::string(data.begin(), data.end()), false);  // garbage
    }
    const Bytes huge(3u << 20, 0xAB);
    EXPECT_EQ(platformBase64Decode(platformBase64Encode(huge, Base64Lines::Width76), true), huge);
}

TEST(PlatformBase64, DecodeNeedsPaddingAndSkipsOtherCharactersOnlyWhenAsked) {
    EXPECT_EQ(platformBase64Decode("Zm9v", false), (Bytes{'f', 'o', 'o'}));
    EXPECT_EQ(platformBase64Decode("Z*m9\r\nv \xC3\xA9-_", true), (Bytes{'f', 'o', 'o'}));
    EXPECT_EQ(platformBase64Decode("Zm-9v", false), std::nullopt);
    EXPECT_EQ(platformBase64Decode("Zg==", false), Bytes{'f'});
    EXPECT_EQ(platformBase64Decode("", false), Bytes{});
    for (const char* bad : {"Zg", "Zm9", "Zg=a", "Z===", "Zg==Zg=="})
        EXPECT_EQ(platformBase64Decode(bad, true), std::nullopt) << bad;
}

TEST(Base64Categories, WrapWidthsTextFormsAndNothingForEmpty) {
    const Bytes data = sequence(30);  // 40 characters
    EXPECT_EQ(lineLengths(*base64EncodedStringWithWrapWidth(data, 10)),
              (std::vector<std::size_t>{8, 8, 8, 8, 8}));
    for (const std::size_t width : {0u, 3u, 40u})
        EXPECT_EQ(base64EncodedStringWithWrapWidth(data, width)->size(), 40u) << width;
    EXPECT_EQ(base64EncodedStringWithWrapWidth(Bytes{}, 10), std::nullopt);
    EXPECT_EQ(base64EncodedString(std::string_view("\xFF")), "77+9");  // repaired to U+FFFD
    EXPECT_EQ(stringWithBase64EncodedString("aGVsbG8="), "hello");
    EXPECT_EQ(base64DecodedString("/w=="), std::nullopt);          // not UTF-8
    EXPECT_EQ(dataWithBase64EncodedString("!!!!"), std::nullopt);  // zero bytes
    EXPECT_EQ(base64DecodedData("aGk="), (Bytes{'h', 'i'}));
}

}  // namespace
}  // namespace kernova
