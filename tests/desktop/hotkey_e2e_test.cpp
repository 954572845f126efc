// The global hotkey end to end: kernovad grabs Ctrl+Alt+S on the root window,
// and pressing it (whatever the locks; held, once) opens the panel on PRIMARY; a changed
// "hotkey" takes effect on ReloadPreferences; a key another client holds is
// reported as refused and taken once that client lets go.
#include "desktop/dbus_messaging.h"
#include "desktop/x11_hotkey.h"
#include "e2e_fixture.h"

namespace kernova::testing {
namespace {

class HotkeyEndToEnd : public PanelEndToEnd {
  protected:
    void SetUp() override {
        PanelEndToEnd::SetUp();
        if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    }
    void TearDown() override {
        PanelEndToEnd::TearDown();
        setKernovaEnabled(true);  // the default key again
    }

    // kernovad's debug report of its hotkey: "Ctrl+Alt+S: grabbed".
    std::string hotkeyReport() {
        return debugCall(desktop::sessionConnection(), "Hotkey").toString().toStdString();
    }
    bool reportIs(const std::string& expected) {
        return waitFor([&] { return hotkeyReport() == expected; });
    }
    bool setHotkey(const QString& value) { return kernova({"set", "hotkey", value}); }
    // Presses `key`: true when it opened the panel (then closed again).
    bool opensPanel(const QString& key) {
        if (!xdotool({"key", key}) || !waitForShown(true) || !panelHasKeyboard()) return false;
        return xdotool({"key", "Escape"}) && waitForShown(false);
    }
    // Presses `key`: true when kernovad received nothing for it.
    bool sendsNothing(const QString& key) {
        QDBusConnection bus = desktop::sessionConnection();
        const std::optional<qulonglong> before = receivedCount(bus);
        if (!before || !xdotool({"key", key})) return false;
        waitFor([] { return false; }, 700);
        return receivedCount(bus) == before;
    }
};

TEST_F(HotkeyEndToEnd, CtrlAltSOpensThePanelOnThePrimarySelectionWhateverTheLocks) {
    ASSERT_TRUE(reportIs("Ctrl+Alt+S: grabbed")) << hotkeyReport();
    ASSERT_TRUE(holdSelection("primary", QString::fromUtf8("selected 文字")));
    ASSERT_TRUE(xdotool({"key", "ctrl+alt+s"}));
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(tags(), (std::vector<std::string>{"selected", " ", "文字"}));
    ASSERT_TRUE(panelHasKeyboard());
    ASSERT_TRUE(xdotool({"key", "Escape"}) && waitForShown(false));
    // The hotkey's command reads it the same way.
    ASSERT_TRUE(kernova({"splode", "--primary"})) << lastError_;
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(tags(), (std::vector<std::string>{"selected", " ", "文字"}));
    ASSERT_TRUE(panelHasKeyboard());
    ASSERT_TRUE(xdotool({"key", "Escape"}) && waitForShown(false));

    for (const char* lock : {"Caps_Lock", "Num_Lock"}) {
        ASSERT_TRUE(xdotool({"key", lock}));
        EXPECT_TRUE(opensPanel(QStringLiteral("ctrl+alt+s"))) << "with " << lock << " on";
        ASSERT_TRUE(xdotool({"key", lock}));
    }
    // Held down, the key repeats; it still asks once: four presses in all.
    ASSERT_TRUE(xdotool({"keydown", "ctrl+alt+s"}));
    waitFor([] { return false; }, 1200);
    ASSERT_TRUE(xdotool({"keyup", "ctrl+alt+s"}));
    ASSERT_TRUE(waitForShown(true));
    QString log;
    auto presses = [&] {
        log += QString::fromLocal8Bit(daemon_->process().readAllStandardError());
        return log.count(QStringLiteral("hotkey: pressed"));
    };
    waitFor([&] { return presses() > 4; }, 500);
    EXPECT_EQ(presses(), 4) << log.toStdString();
}

TEST_F(HotkeyEndToEnd, AChangedKeyIsTakenOnReloadAndAHeldOneIsReported) {
    ASSERT_TRUE(holdSelection("primary", QStringLiteral("picked")));
    ASSERT_TRUE(reportIs("Ctrl+Alt+S: grabbed"));
    ASSERT_TRUE(setHotkey(QStringLiteral("Ctrl+Alt+K")));
    ASSERT_TRUE(reportIs("Ctrl+Alt+K: grabbed")) << hotkeyReport();
    EXPECT_TRUE(sendsNothing(QStringLiteral("ctrl+alt+s"))) << "the old key was let go";
    EXPECT_TRUE(opensPanel(QStringLiteral("ctrl+alt+k")));

    // Another program holds Ctrl+Alt+J.
    QProcess holder;
    holder.setProcessEnvironment(env_);
    holder.start(QStringLiteral(KERNOVA_CLICK_TARGET_PATH), {"--grab-ctrl-alt", "j"});
    ASSERT_TRUE(waitFor([&] { return holder.readAllStandardOutput().contains("grabbed"); }));
    // The check the preferences will ask.
    const std::string shown = display().toStdString();
    const EnvironmentLookup onDisplay = [&](const char* name) -> std::optional<std::string> {
        return std::string_view(name) == "DISPLAY" ? std::optional(shown) : std::nullopt;
    };
    using capture::HotkeyStatus;
    EXPECT_EQ(desktop::checkHotkey("Ctrl+Alt+J", onDisplay), HotkeyStatus::refused);
    EXPECT_EQ(desktop::checkHotkey("Meta+Shift+F5", onDisplay), HotkeyStatus::ok);
    for (const char* bad : {"J", "Shift+J", "Ctrl+Alt+Nonsense", "Ctrl+A, Ctrl+B", ""})
        EXPECT_EQ(desktop::checkHotkey(bad, onDisplay), HotkeyStatus::invalid) << bad;
    EXPECT_EQ(desktop::checkHotkey("Ctrl+Alt+J", [](const char*) { return std::nullopt; }),
              HotkeyStatus::noDisplay);
    ASSERT_TRUE(setHotkey(QStringLiteral("Ctrl+Alt+J")));
    ASSERT_TRUE(reportIs("Ctrl+Alt+J: refused")) << hotkeyReport();
    EXPECT_TRUE(sendsNothing(QStringLiteral("ctrl+alt+k"))) << "the old key was let go";
    holder.closeWriteChannel();
    ASSERT_TRUE(holder.waitForFinished(5000));
    // Once it is free, the next reload takes it.
    ASSERT_TRUE(setHotkey(QStringLiteral("Ctrl+Alt+J")));
    ASSERT_TRUE(reportIs("Ctrl+Alt+J: grabbed")) << hotkeyReport();
    EXPECT_TRUE(opensPanel(QStringLiteral("ctrl+alt+j")));
    const QString log = QString::fromLocal8Bit(daemon_->process().readAllStandardError());
    EXPECT_EQ(log.count(QStringLiteral("Ctrl+Alt+J is held by another program")), 1)
        << log.toStdString();
}

}  // namespace
}  // namespace kernova::testing
