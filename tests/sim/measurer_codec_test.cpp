// The fixed text metrics and the test image codec.
#include <gtest/gtest.h>

#include "sim/sim_image_codec.h"
#include "sim/sim_text_measurer.h"

namespace kernova::sim {
namespace {

// 0.6 of the font size a cluster (wide ones 1.0), 1.2 of it a line.
TEST(TextMeasurerTest, FollowsTheDocumentedRule) {
    struct Row {
        std::string text;
        double size, width, height;
    };
    const Row rows[] = {
        {"", 10, 0, 0},
        {"hello", 10, 30, 12},
        {"hello", 20, 60, 24},
        {"中文字", 10, 30, 12},  // wide
        {"ＡＢ", 10, 20, 12},    // fullwidth
        {"a中", 10, 16, 12},
        {"e\xCC\x81", 10, 6, 12},  // e + combining acute: one cluster
        {"😀", 10, 10, 12},
        {"👨\u200D👩\u200D👧", 10, 10, 12},  // ZWJ family
        {"🇫🇷", 10, 10, 12},               // regional indicator pair
        {"1\uFE0F\u20E3", 10, 10, 12},    // keycap
        {"👍🏽a", 10, 16, 12},        // skin tone joins its base
        {"ab\nabcd\r\nc", 10, 24, 36},    // the widest line wins
        {"abc\n", 10, 18, 24},
        {"\r", 10, 0, 24},
        {"a\xff\xfe", 10, 18, 12},  // measured as repaired
        {std::string(200000, 'x'), 1, 120000, 1.2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text.substr(0, 20));
        ui::Size size = SimTextMeasurer().boundingSize(row.text, ui::Font::systemFont(row.size));
        EXPECT_DOUBLE_EQ(size.width, row.width);
        EXPECT_DOUBLE_EQ(size.height, row.height);
    }
}

TEST(ImageCodecTest, RoundTripKeepsPixelsAndScaleAndDrawnImagesArePixels) {
    ui::PixelBuffer px{
        3, 2, {0xFF000000, 0xFFFF0000, 0x8000FF00, 0x00000000, 0xFFFFFFFF, 0x12345678}};
    SimImageCodec codec;
    std::optional<Bytes> bytes =
        codec.encode(*ui::Image::fromPixels(px, 2.0), ui::ImageFormat::png);
    ASSERT_TRUE(bytes.has_value());
    auto back = codec.decode(*bytes);
    ASSERT_TRUE(back && back->pixels());
    EXPECT_EQ(back->pixels()->argb, px.argb);
    EXPECT_DOUBLE_EQ(back->scale(), 2.0);
    EXPECT_EQ(back->size(), (ui::Size{1.5, 1}));
    EXPECT_EQ(codec.encode(*back, ui::ImageFormat::jpeg, 0.1), bytes);

    auto drawn = codec.decode(
        *codec.encode(*ui::Image::fromPaths(ui::Size{4, 3}, {}, 2.0), ui::ImageFormat::png));
    ASSERT_NE(drawn, nullptr);
    EXPECT_EQ(drawn->pixels()->width, 8);
    EXPECT_EQ(drawn->pixels()->argb, std::vector<std::uint32_t>(48, 0));
    EXPECT_FALSE(codec.encode(*ui::Image::fromPaths(ui::Size{0, 0}, {}), ui::ImageFormat::png));
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
    const Bytes bad[] = {
        {},
        {'G', 'I', 'F', '8'},
        {'K', 'I', 'M', 'G', 1, 0, 0, 0},  // truncated
        // A header promising more pixels than follow.
        {'K', 'I', 'M', 'G', 2, 0, 0, 0, 2, 0, 0, 0, 0xE8, 3, 0, 0, 1, 2, 3},
        // Sizes past the limits, refused before anything is allocated.
        {'K', 'I', 'M', 'G', 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xE8, 3, 0, 0},
        {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0,    0,    0,    13,
         'I',  'H', 'D', 'R', 0x7F, 0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF},
        {0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8},  // cut SOF
        {0xFF, 0xD8, 0xFF, 0xE0, 0xFF, 0xFF},
        {0xFF, 0xD8, 0x00, 0x00, 0x00, 0x00},
    };
    for (std::size_t i = 0; i < std::size(bad); ++i)
        EXPECT_EQ(SimImageCodec().decode(bad[i]), nullptr) << i;
}

}  // namespace
}  // namespace kernova::sim
