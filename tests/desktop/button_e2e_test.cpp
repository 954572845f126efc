// The floating button end to end: an enabled application in front (a plain
// X11 window whose desktop entry lives in a private data folder), text on
// the CLIPBOARD from xclip, "popButton" sent with `kernova send`. The button
// slides in on the monitor under the pointer; a click on the transparent
// rest of its window reaches the window beneath, a click on the button opens
// the panel on the clipboard text.
#include <QDir>
#include <fstream>

#include "base/plist.h"
#include "e2e_fixture.h"

namespace kernova::testing {
namespace {

class ButtonEndToEnd : public PanelEndToEnd {
  protected:
    void TearDown() override {
        if (target_.state() == QProcess::Running) {
            target_.closeWriteChannel();
            if (!target_.waitForFinished(2000)) target_.kill();
            target_.waitForFinished();
        }
        if (owner_.state() == QProcess::Running) {
            owner_.kill();
            owner_.waitForFinished();
        }
        PanelEndToEnd::TearDown();
    }

    // The test window's lines so far ("window ID", "press X Y").
    QStringList targetLines() {
        target_.waitForReadyRead(50);
        targetOutput_ += QString::fromUtf8(target_.readAllStandardOutput());
        return targetOutput_.split('\n', Qt::SkipEmptyParts);
    }
    int presses() {
        return static_cast<int>(targetLines().filter(QStringLiteral("press ")).size());
    }
    std::optional<nlohmann::json> floatingButton() {
        auto shown = state();
        if (!shown || !shown->contains("floatingButtons") || (*shown)["floatingButtons"].empty())
            return std::nullopt;
        return (*shown)["floatingButtons"][0];
    }
    bool popButton() {
        return run(desktopCliPath(), {"send", "popButton"}).first == 0 &&
               waitFor([&] { return floatingButton().has_value(); });
    }

    QProcess target_;
    QProcess owner_;
    QString targetOutput_;
};

TEST_F(ButtonEndToEnd, AppearsUnderThePointerPassesOtherClicksAndOpensTheClipboard) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    // The test window's desktop entry, enabled.
    const std::filesystem::path data =
        std::filesystem::path(qEnvironmentVariable("KERNOVA_PREFERENCES_DIR").toStdString()) /
        "button-xdg";
    std::filesystem::create_directories(data / "applications");
    std::ofstream(data / "applications" / "kernova-click-target.desktop")
        << "[Desktop Entry]\nType=Application\nName=Click target\nExec=" KERNOVA_CLICK_TARGET_PATH
           "\nStartupWMClass=KernovaClickTarget\n";
    ASSERT_TRUE(savePropertyList(
        std::filesystem::path(qEnvironmentVariable("KERNOVA_PREFERENCES_DIR").toStdString()) /
            "fun.quorle.kernova.enabledapps.plist",
        Value(Dictionary{{"Enabled", Value(Array{Value("kernova-click-target.desktop")})}})));
    ASSERT_EQ(daemon_->terminate(), 0);
    env_.insert(QStringLiteral("XDG_DATA_HOME"), QString::fromStdString(data.string()));
    daemon_ = std::make_unique<KernovadProcess>(env_);
    ASSERT_TRUE(daemon_->started());

    // The test window, in front on the left monitor, under where the button's
    // window lies but away from the button.
    target_.setProcessEnvironment(env_);
    target_.start(QStringLiteral(KERNOVA_CLICK_TARGET_PATH), {});
    ASSERT_TRUE(waitFor([&] { return !targetLines().isEmpty(); }));
    const QString window = targetLines().front().section(' ', 1);
    ASSERT_TRUE(xdotool({"windowmove", "--sync", window, "300", "200"}));
    ASSERT_TRUE(xdotool({"windowactivate", "--sync", window}));

    // Another client owns the CLIPBOARD, as after a copy.
    owner_.setProcessEnvironment(env_);
    owner_.start(QStringLiteral("xclip"), {"-quiet", "-selection", "clipboard"});
    ASSERT_TRUE(owner_.waitForStarted());
    owner_.write("floating words");
    owner_.closeWriteChannel();
    ASSERT_TRUE(waitFor([&] { return clipboard() == "floating words"; }));

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
    EXPECT_EQ(texts((*state())["tags"]), (std::vector<std::string>{"floating", " ", "words"}));
    EXPECT_FALSE(floatingButton());
    EXPECT_EQ(presses(), 1) << "the click on the button stays with it";
}

}  // namespace
}  // namespace kernova::testing
