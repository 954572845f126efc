// The fixed text metrics and the test image codec.
#include <gtest/gtest.h>

#include "sim/sim_image_codec.h"
#include "sim/sim_text_measurer.h"

namespace kernova::sim {
namespace {

ui::Size measure(std::string_view text, double size = 10) {
    return SimTextMeasurer().boundingSize(text, ui::Font::systemFont(size));
}

TEST(TextMeasurerTest, FollowsTheDocumentedRule) {
    EXPECT_EQ(measure(""), (ui::Size{0, 0}));
    EXPECT_DOUBLE_EQ(measure("hello").width, 30);  // 5 x 0.6 x 10
    EXPECT_DOUBLE_EQ(measure("hello").height, 12);
    EXPECT_DOUBLE_EQ(measure("hello", 20).width, 60);
    EXPECT_DOUBLE_EQ(measure("中文字").width, 30);  // wide
    EXPECT_DOUBLE_EQ(measure("ＡＢ").width, 20);    // fullwidth
    EXPECT_DOUBLE_EQ(measure("a中").width, 16);
    EXPECT_DOUBLE_EQ(measure("e\xCC\x81").width, 6);  // e + combining acute: one cluster
}

TEST(TextMeasurerTest, EmojiSequencesAreOneWideCluster) {
    EXPECT_DOUBLE_EQ(measure("😀").width, 10);
    // Family: man ZWJ woman ZWJ girl.
    EXPECT_DOUBLE_EQ(measure("👨\u200D👩\u200D👧").width, 10);
    EXPECT_DOUBLE_EQ(measure("🇫🇷").width, 10);             // regional indicator pair
    EXPECT_DOUBLE_EQ(measure("1\uFE0F\u20E3").width, 10);  // keycap
    EXPECT_DOUBLE_EQ(measure("👍🏽a").width, 16);      // skin tone modifier joins its base
}

TEST(TextMeasurerTest, NewlinesBreakLinesAndTheWidestLineWins) {
    ui::Size s = measure("ab\nabcd\r\nc");
    EXPECT_DOUBLE_EQ(s.width, 24);
    EXPECT_DOUBLE_EQ(s.height, 36);
    EXPECT_DOUBLE_EQ(measure("abc\n").height, 24);
    EXPECT_DOUBLE_EQ(measure("\r").height, 24);
    EXPECT_DOUBLE_EQ(measure("\r").width, 0);
}

TEST(TextMeasurerTest, IllFormedInputIsMeasuredAsRepaired) {
    EXPECT_DOUBLE_EQ(measure("a\xff\xfe").width, 18);
    std::string huge(200000, 'x');
    EXPECT_DOUBLE_EQ(measure(huge, 1).width, 120000);
}

TEST(ImageCodecTest, RoundTripKeepsPixelsAndScale) {
    ui::PixelBuffer px;
    px.width = 3;
    px.height = 2;
    px.argb = {0xFF000000, 0xFFFF0000, 0x8000FF00, 0x00000000, 0xFFFFFFFF, 0x12345678};
    auto image = ui::Image::fromPixels(px, 2.0);
    SimImageCodec codec;
    std::optional<Bytes> bytes = codec.encode(*image, ui::ImageFormat::png);
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(bytes->size(), 16u + 6 * 4);
    EXPECT_EQ(std::string(bytes->begin(), bytes->begin() + 4), "KIMG");
    auto back = codec.decode(*bytes);
    ASSERT_NE(back, nullptr);
    ASSERT_NE(back->pixels(), nullptr);
    EXPECT_EQ(back->pixels()->argb, px.argb);
    EXPECT_EQ(back->pixels()->width, 3);
    EXPECT_DOUBLE_EQ(back->scale(), 2.0);
    EXPECT_EQ(back->size(), (ui::Size{1.5, 1}));
    EXPECT_EQ(codec.encode(*back, ui::ImageFormat::jpeg, 0.1), bytes);
}

TEST(ImageCodecTest, DrawnImagesEncodeAsTransparentPixels) {
    auto drawn = ui::Image::fromPaths(ui::Size{4, 3}, {}, 2.0);
    auto back = SimImageCodec().decode(*SimImageCodec().encode(*drawn, ui::ImageFormat::png));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->pixels()->width, 8);
    EXPECT_EQ(back->pixels()->height, 6);
    EXPECT_EQ(back->pixels()->argb, std::vector<std::uint32_t>(48, 0));
}

TEST(ImageCodecTest, ReadsPngAndJpegSizes) {
    Bytes png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0,    0, 0, 13, 'I', 'H', 'D',
              'R',  0,   0,   1,   0x2C, 0,    0,    0,    0xC8, 8, 6, 0,  0,   0};
    auto p = SimImageCodec().decode(png);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->size(), (ui::Size{300, 200}));
    // SOI, an APP0 segment of 4 bytes, then SOF2 with height 480 and width 640.
    Bytes jpeg{0xFF, 0xD8, 0xFF, 0xE0, 0,    4,    'J', 'F', 0xFF, 0xC2, 0,
               11,   8,    0x01, 0xE0, 0x02, 0x80, 3,   1,   0x22, 0};
    auto j = SimImageCodec().decode(jpeg);
    ASSERT_NE(j, nullptr);
    EXPECT_EQ(j->size(), (ui::Size{640, 480}));
    EXPECT_EQ(j->pixels()->argb.size(), 640u * 480u);
}

TEST(ImageCodecTest, BadInputDecodesAsNull) {
    SimImageCodec codec;
    EXPECT_EQ(codec.decode({}), nullptr);
    EXPECT_EQ(codec.decode(Bytes{'G', 'I', 'F', '8'}), nullptr);
    EXPECT_EQ(codec.decode(Bytes{'K', 'I', 'M', 'G', 1, 0, 0, 0}), nullptr);  // truncated
    // A header promising more pixels than follow.
    Bytes shortBody{'K', 'I', 'M', 'G', 2, 0, 0, 0, 2, 0, 0, 0, 0xE8, 3, 0, 0, 1, 2, 3};
    EXPECT_EQ(codec.decode(shortBody), nullptr);
    // A size past the limits is refused before anything is allocated.
    Bytes huge{'K', 'I', 'M', 'G', 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xE8, 3, 0, 0};
    EXPECT_EQ(codec.decode(huge), nullptr);
    Bytes hugePng{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0,    0,    0,    13,
                  'I',  'H', 'D', 'R', 0x7F, 0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(codec.decode(hugePng), nullptr);
    EXPECT_EQ(codec.decode(Bytes{0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8}), nullptr);  // cut SOF
    EXPECT_EQ(codec.decode(Bytes{0xFF, 0xD8, 0xFF, 0xE0, 0xFF, 0xFF}), nullptr);
    EXPECT_EQ(codec.decode(Bytes{0xFF, 0xD8, 0x00, 0x00, 0x00, 0x00}), nullptr);
    auto empty = ui::Image::fromPaths(ui::Size{0, 0}, {});
    EXPECT_FALSE(codec.encode(*empty, ui::ImageFormat::png).has_value());
}

}  // namespace
}  // namespace kernova::sim
