// The floating button end to end: an enabled application in front (a plain
// X11 window whose desktop entry lives in a private data folder), text on
// the CLIPBOARD from xclip, "popButton" sent with `kernova send`. The button
// slides in on the monitor under the pointer; a click on the transparent
// rest of its window reaches the window beneath, a click on the button opens
// the panel on the clipboard text.
#include "base/paths.h"
#include "base/plist.h"
#include "e2e_fixture.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

class ButtonEndToEnd : public PanelEndToEnd {
  protected:
    std::optional<nlohmann::json> floatingButton() {
        const nlohmann::json buttons = shown("floatingButtons");
        return buttons.empty() ? std::nullopt : std::optional(buttons[0]);
    }
    bool popButton() {
        return kernova({"send", "popButton"}) &&
               waitFor([&] { return floatingButton().has_value(); });
    }
};

TEST_F(ButtonEndToEnd, AppearsUnderThePointerPassesOtherClicksAndOpensTheClipboard) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    // The test window's desktop entry, enabled.
    TempDir data;
    data.write(
        "applications/kernova-click-target.desktop",
        "[Desktop Entry]\nType=Application\nName=Click target\nExec=" KERNOVA_CLICK_TARGET_PATH
        "\nStartupWMClass=KernovaClickTarget\n");
    ASSERT_TRUE(savePropertyList(
        preferencesDirectory(processEnvironment()) / "fun.quorle.kernova.enabledapps.plist",
        Value(Dictionary{{"Enabled", Value(Array{Value("kernova-click-target.desktop")})}})));
    env_.insert(QStringLiteral("XDG_DATA_HOME"), QString::fromStdString(data.path().string()));
    ASSERT_TRUE(restartDaemon());

    // The test window, in front on the left monitor, under where the button's
    // window lies but away from the button; another client owns the CLIPBOARD.
    const QString window = startTarget();
    ASSERT_FALSE(window.isEmpty());
    ASSERT_TRUE(holdSelection("clipboard", QStringLiteral("floating words")));

    // The pointer is on the left monitor (1024 by 768 device pixels): the
    // button comes from its left edge, centred, 65 points.
    ASSERT_TRUE(popButton());
    const double scale = (*state())["devicePixelRatio"].get<double>();
    nlohmann::json button = *floatingButton();
    EXPECT_EQ(button["x"].get<double>(), 0);
    EXPECT_EQ(button["width"].get<double>(), 65);
    EXPECT_NEAR((button["y"].get<double>() + 32.5) * scale, 384, 1);

    // A click beside the button, inside its window, reaches the test window;
    // the keyboard stays with it.
    ASSERT_TRUE(click({"500", "400"}));
    EXPECT_TRUE(floatingButton()) << "the button was still up for the click";
    EXPECT_TRUE(waitFor([&] { return presses() == 1; }, 3000)) << targetOutput_.toStdString();
    auto [focused, focus] = run(QStringLiteral("xdotool"), {"getwindowfocus"});
    EXPECT_EQ(QString::fromStdString(focus).trimmed(), window);

    // The button goes by itself; the next copy raises it again, and a click
    // on it opens the panel on the clipboard.
    ASSERT_TRUE(waitFor([&] { return !floatingButton(); }, 5000));
    ASSERT_TRUE(popButton());
    button = *floatingButton();
    ASSERT_TRUE(click(at(button)));
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(tags(), (std::vector<std::string>{"floating", " ", "words"}));
    EXPECT_FALSE(floatingButton());
    EXPECT_EQ(presses(), 1) << "the click on the button stays with it";
}

}  // namespace
}  // namespace kernova::testing
