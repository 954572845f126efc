// The desktop services: text measurement, the image codec, URL handlers and
// the platform's choices on the offscreen plugin. (The clipboard is read and
// written end to end in tests/desktop.)
#include <string>
#include <vector>

#include "desktop_ui/desktop_ui_fixture.h"

namespace kernova::desktop::testing {
namespace {

using ServicesTest = DesktopUiTest;

TEST_F(ServicesTest, MeasurerFollowsLinesAndFontSizes) {
    const ui::TextMeasurer& m = desktop->platform().textMeasurer;
    ui::Font body = ui::Font::systemFont(17);
    EXPECT_EQ(m.boundingSize("", body), (ui::Size{0, 0}));
    ui::Size one = m.boundingSize("word", body);
    ui::Size two = m.boundingSize("word\nword", body);
    EXPECT_GT(one.width, 0);
    EXPECT_NEAR(two.width, one.width, 0.01);
    EXPECT_NEAR(two.height, 2 * one.height, 0.5);
    EXPECT_NEAR(m.boundingSize("word\r\nword", body).height, two.height, 0.01);
    EXPECT_GT(m.boundingSize("word", ui::Font::systemFont(34)).width, one.width * 1.8);
    EXPECT_GT(m.boundingSize("bad \xff\xfe bytes", body).width, 0);
}

TEST_F(ServicesTest, CodecRoundTripsPixelsAndRefusesGarbage) {
    const ui::ImageCodec& codec = desktop->platform().imageCodec;
    ui::PixelBuffer pixels{
        3, 2, {0xffff0000u, 0xff00ff00u, 0xff0000ffu, 0x80000080u, 0u, 0xffffffffu}};
    auto image = ui::Image::fromPixels(pixels);
    auto png = codec.encode(*image, ui::ImageFormat::png);
    ASSERT_TRUE(png.has_value());
    auto decoded = codec.decode(*png);
    ASSERT_NE(decoded, nullptr);
    ASSERT_NE(decoded->pixels(), nullptr);
    EXPECT_EQ(decoded->pixels()->argb, pixels.argb);
    EXPECT_EQ(decoded->size(), (ui::Size{3, 2}));

    auto jpeg = codec.encode(*image, ui::ImageFormat::jpeg, 0.8);
    ASSERT_TRUE(jpeg.has_value());
    auto fromJpeg = codec.decode(*jpeg);
    ASSERT_NE(fromJpeg, nullptr);
    EXPECT_EQ(fromJpeg->size(), (ui::Size{3, 2}));

    EXPECT_EQ(codec.decode({}), nullptr);
    EXPECT_EQ(codec.decode(Bytes{'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'g'}), nullptr);
    Bytes truncated(png->begin(), png->begin() + 20);
    EXPECT_EQ(codec.decode(truncated), nullptr);
}

TEST_F(ServicesTest, PlatformChoosesServicesForTheOffscreenPlugin) {
    EXPECT_EQ(desktop->qtPlatformName(), "offscreen");
    auto* keyboard = dynamic_cast<CommandKeyboard*>(&desktop->keyboard());
    ASSERT_NE(keyboard, nullptr);
    EXPECT_TRUE(keyboard->program().isEmpty());
    desktop->platform().keyboard.insertText("dropped");  // no helper: nothing happens
    // Nobody hears the offscreen plugin: the sound library is never tried.
    desktop->platform().haptic.playSystemSound(1519);
    EXPECT_EQ(desktop->haptic().playCount(), 1u);
    EXPECT_TRUE(desktop->haptic().isSilent());
    EXPECT_FALSE(desktop->haptic().triedSound());
    // Elsewhere libcanberra loads on the first play only; without a sound
    // device (as here) it falls silent with at most one debug line.
    std::vector<std::string> lines;
    Logger log("test", LogLevel::debug);
    log.setSink([&](LogLevel, std::string_view line) { lines.emplace_back(line); });
    DesktopHaptic haptic(true, &log);
    EXPECT_FALSE(haptic.triedSound());
    for (int i = 0; i < 3; ++i)
        haptic.playSystemSound(1104);
    EXPECT_TRUE(haptic.triedSound());
    EXPECT_EQ(haptic.playCount(), 3u);
    EXPECT_LE(lines.size(), 1u);
    EXPECT_EQ(haptic.isSilent(), !lines.empty());

    const ui::UrlOpener& urls = desktop->platform().urlOpener;
    EXPECT_TRUE(urls.canOpenURL("https://example.org/a?b=c"));
    EXPECT_FALSE(urls.canOpenURL("no-such-scheme-for-kernova://x"));
    EXPECT_FALSE(urls.canOpenURL(""));
}

TEST_F(ServicesTest, WebViewsMakeNoEngineUntilTheyLoad) {
    auto window = makeWindow();
    auto web =
        std::make_shared<ui::WebView>(app, ui::Rect{0, 0, 50, 50}, ui::WebViewConfiguration{});
    window->addSubview(web);
    ASSERT_EQ(desktop->webViews()->backings().size(), 1u);
    EXPECT_FALSE(desktop->webViews()->backings().front()->hasEngine());
    EXPECT_EQ(web->selectedText(), "");
    web.reset();
    window->subviews().front()->removeFromSuperview();
    EXPECT_TRUE(desktop->webViews()->backings().empty());
}

}  // namespace
}  // namespace kernova::desktop::testing
