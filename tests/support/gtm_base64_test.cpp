// GTMBase64 is not called by the product yet; its vectors, both alphabets,
// its decoding rules and hostile input keep it honest until it is.
#include "support/gtm_base64.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

namespace kernova {
namespace {

Bytes bytesOf(std::string_view s) {
    return Bytes(s.begin(), s.end());
}

TEST(GTMBase64, VectorsAndBothAlphabets) {
    const std::pair<const char*, const char*> vectors[] = {
        {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, encoded] : vectors) {
        EXPECT_EQ(GTMBase64::stringByEncodingData(bytesOf(plain)), encoded);
        EXPECT_EQ(GTMBase64::decodeString(encoded), bytesOf(plain));
        EXPECT_EQ(GTMBase64::webSafeDecodeString(encoded), bytesOf(plain));
    }
    EXPECT_EQ(GTMBase64::stringByEncodingData({0xFB, 0xFF, 0xBF}), "+/+/");
    EXPECT_EQ(GTMBase64::stringByWebSafeEncodingData({0xFB, 0xFF}, false), "-_8");
    EXPECT_EQ(GTMBase64::stringByWebSafeEncodingData({0xFB}, true), "-w==");
    EXPECT_EQ(GTMBase64::decodeString("ab-_"), std::nullopt) << "the alphabets do not mix";
    EXPECT_EQ(GTMBase64::webSafeDecodeString("ab+/"), std::nullopt);
}

TEST(GTMBase64, DecodingRules) {
    EXPECT_EQ(GTMBase64::decodeString("QQ"), std::nullopt) << "padding required";
    EXPECT_EQ(GTMBase64::webSafeDecodeString("QQ"), Bytes{0x41}) << "but not web-safe";
    for (const char* bad : {"Q", "QR==", "Q===", "====", "QQ==x", "QQ="})
        EXPECT_EQ(GTMBase64::decodeString(bad), std::nullopt) << bad;
    EXPECT_EQ(GTMBase64::decodeString(std::string("\tZm\n9v\r ", 8)), bytesOf("foo"));
    EXPECT_EQ(GTMBase64::decodeString(std::string("Zm\x01"
                                                  "9v")),
              std::nullopt);
    EXPECT_EQ(GTMBase64::decodeString(std::string("Zm9v\0!!", 7)), bytesOf("foo")) << "NUL ends";
    EXPECT_EQ(GTMBase64::encodeData({}), std::nullopt);
    EXPECT_EQ(GTMBase64::decodeBytes(nullptr, 4), std::nullopt);
}

TEST(GTMBase64, RandomRoundTripsAndHostileInput) {
    std::mt19937 rng(20240611);
    std::uniform_int_distribution<int> byte(0, 255);
    for (std::size_t n = 1; n <= 300; ++n) {
        Bytes data(n);
        for (auto& x : data)
            x = static_cast<std::uint8_t>(byte(rng));
        EXPECT_EQ(GTMBase64::decodeData(*GTMBase64::encodeData(data)), data) << n;
        EXPECT_EQ(GTMBase64::webSafeDecodeData(*GTMBase64::webSafeEncodeData(data, n % 2)), data);
        (void)GTMBase64::decodeData(data);  // garbage never crashes
        (void)GTMBase64::webSafeDecodeData(data);
    }
    EXPECT_EQ(GTMBase64::decodeData(Bytes(1u << 20, '=')), std::nullopt);
}

}  // namespace
}  // namespace kernova
