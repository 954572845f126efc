#include "support/gtm_base64.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <utility>

namespace kernova {
namespace {

Bytes bytesOf(std::string_view s) {
    return Bytes(s.begin(), s.end());
}

std::optional<std::string> decodeToText(const std::optional<Bytes>& b) {
    if (!b) return std::nullopt;
    return std::string(b->begin(), b->end());
}

Bytes randomBytes(std::mt19937& rng, std::size_t n) {
    std::uniform_int_distribution<int> byte(0, 255);
    Bytes b(n);
    for (auto& x : b)
        x = static_cast<std::uint8_t>(byte(rng));
    return b;
}

TEST(GTMBase64, Rfc4648Vectors) {
    const std::pair<const char*, const char*> vectors[] = {
        {"f", "Zg=="},        {"fo", "Zm8="},        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, encoded] : vectors) {
        EXPECT_EQ(GTMBase64::stringByEncodingData(bytesOf(plain)), encoded);
        EXPECT_EQ(GTMBase64::stringByEncodingBytes(plain, std::strlen(plain)), encoded);
        EXPECT_EQ(GTMBase64::encodeData(bytesOf(plain)), bytesOf(encoded));
        EXPECT_EQ(decodeToText(GTMBase64::decodeString(encoded)), plain);
        EXPECT_EQ(decodeToText(GTMBase64::webSafeDecodeString(encoded)), plain);
    }
}

TEST(GTMBase64, PaddingOnEncode) {
    EXPECT_EQ(GTMBase64::stringByEncodingData({0xFB}), "+w==");
    EXPECT_EQ(GTMBase64::stringByEncodingData({0xFB, 0xFF}), "+/8=");
    EXPECT_EQ(GTMBase64::stringByEncodingData({0xFB, 0xFF, 0xBF}), "+/+/");
    EXPECT_EQ(GTMBase64::stringByWebSafeEncodingData({0xFB}, false), "-w");
    EXPECT_EQ(GTMBase64::stringByWebSafeEncodingData({0xFB, 0xFF}, false), "-_8");
    EXPECT_EQ(GTMBase64::stringByWebSafeEncodingData({0xFB, 0xFF, 0xBF}, false), "-_-_");
    EXPECT_EQ(GTMBase64::stringByWebSafeEncodingData({0xFB}, true), "-w==");
    EXPECT_EQ(GTMBase64::stringByWebSafeEncodingBytes("\xFB\xFF", 2, true), "-_8=");
    EXPECT_EQ(GTMBase64::webSafeEncodeBytes("A", 1, false), bytesOf("QQ"));
}

TEST(GTMBase64, EmptyOrMissingInputGivesNothing) {
    EXPECT_EQ(GTMBase64::encodeData({}), std::nullopt);
    EXPECT_EQ(GTMBase64::encodeBytes(nullptr, 5), std::nullopt);
    EXPECT_EQ(GTMBase64::webSafeEncodeData({}, true), std::nullopt);
    EXPECT_EQ(GTMBase64::stringByEncodingBytes("abc", 0), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeData({}), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeBytes(nullptr, 4), std::nullopt);
    EXPECT_EQ(GTMBase64::webSafeDecodeString(""), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString(" \r\n\t"), std::nullopt);
}

TEST(GTMBase64, DecodeFailureRules) {
    EXPECT_EQ(GTMBase64::decodeString("QQ"), std::nullopt);  // padding required
    EXPECT_EQ(GTMBase64::webSafeDecodeString("QQ"), Bytes{0x41});
    EXPECT_EQ(GTMBase64::webSafeDecodeString("Q"), std::nullopt);  // lone leftover character
    EXPECT_EQ(GTMBase64::decodeString("QR=="), std::nullopt);      // non-zero leftover bits
    EXPECT_EQ(GTMBase64::decodeString("QUJ="), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString("QUI="), bytesOf("AB"));
    EXPECT_EQ(GTMBase64::decodeString("Q==="), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString("===="), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString("QQ==x"), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString("QQ==="), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString("QQ="), std::nullopt);
    EXPECT_EQ(GTMBase64::webSafeDecodeString("QQ="), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString("QQ== \n"), Bytes{0x41});
    EXPECT_EQ(GTMBase64::webSafeDecodeString("QUI"), bytesOf("AB"));
}

TEST(GTMBase64, AlphabetsDoNotMix) {
    EXPECT_EQ(GTMBase64::decodeString("ab-_"), std::nullopt);
    EXPECT_EQ(GTMBase64::webSafeDecodeString("ab+/"), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString("ab+/"), (Bytes{0x69, 0xBF, 0xBF}));
    EXPECT_EQ(GTMBase64::webSafeDecodeString("ab-_"), (Bytes{0x69, 0xBF, 0xBF}));
    EXPECT_EQ(GTMBase64::decodeString("a-=="), std::nullopt);
}

TEST(GTMBase64, SkippableBytesAnywhere) {
    for (const int skip : {9, 10, 11, 12, 13, 32, 160, 255}) {
        const char c = static_cast<char>(skip);
        const std::string in = std::string{c, 'Z', 'm', c, '9', 'v', 'Y', 'g', '=', c, '=', c};
        EXPECT_EQ(decodeToText(GTMBase64::decodeString(in)), "foob") << skip;
    }
    for (const int other : {1, 8, 14, 31, 33, 127, 128, 159, 161, 254}) {
        const std::string in = std::string("Zm") + static_cast<char>(other) + "9v";
        EXPECT_EQ(GTMBase64::decodeString(in), std::nullopt) << other;
    }
}

TEST(GTMBase64, NulEndsTheInput) {
    using namespace std::string_literals;
    EXPECT_EQ(decodeToText(GTMBase64::decodeString("Zm9v\0!!garbage"s)), "foo");
    EXPECT_EQ(GTMBase64::decodeString("QQ=\0="s), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString("QQ==\0x"s), Bytes{0x41});
    EXPECT_EQ(GTMBase64::decodeString("\0Zm9v"s), std::nullopt);
}

TEST(GTMBase64, RandomRoundTripsAndHostileInput) {
    std::mt19937 rng(20240611);
    for (std::size_t n = 1; n <= 300; ++n) {
        const Bytes data = randomBytes(rng, n);
        EXPECT_EQ(GTMBase64::decodeData(*GTMBase64::encodeData(data)), data) << n;
        EXPECT_EQ(GTMBase64::webSafeDecodeData(*GTMBase64::webSafeEncodeData(data, false)), data);
        const auto padded = GTMBase64::webSafeEncodeData(data, true);
        EXPECT_EQ(padded->size() % 4, 0u);
        EXPECT_EQ(GTMBase64::webSafeDecodeBytes(padded->data(), padded->size()), data);
        (void)GTMBase64::decodeData(data);  // garbage never crashes
        (void)GTMBase64::webSafeDecodeData(data);
    }
    for (int b = 0; b < 256; ++b)
        EXPECT_EQ(GTMBase64::decodeString(std::string(1, static_cast<char>(b))), std::nullopt);
    const Bytes huge = randomBytes(rng, 4u << 20);
    EXPECT_EQ(GTMBase64::decodeData(*GTMBase64::encodeData(huge)), huge);
    EXPECT_EQ(GTMBase64::decodeData(Bytes(1u << 20, '=')), std::nullopt);
}

}  // namespace
}  // namespace kernova
