// Capture on the simulated device: the application list the preferences side
// asks for, the enabled applications against the one in front, what the
// clipboard watch sends, and the hotkey's key and text.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "capture/app_list.h"
#include "capture/clipboard_watch.h"
#include "capture/hotkey.h"
#include "capture_fixture.h"
#include "support_lib/fake_environment.h"
#include "support_lib/temp_dir.h"

namespace kernova::capture {
namespace {

std::string app(const std::string& name, const std::string& more = "") {
    return "[Desktop Entry]\nType=Application\nName=" + name + "\n" + more;
}

TEST(ApplicationList, ListsWhatTheMenusShowNamedInTheUsersLanguageOnRequest) {
    testing::TempDir dir;
    dir.write("data/applications/org.example.Editor.desktop",
              app("Editor", "Name[de]=Bearbeiter\n"));
    dir.write("data/applications/helper.desktop", app("Helper", "NoDisplay=true\n"));
    dir.write("data/applications/kde-only.desktop", app("KDE tool", "OnlyShowIn=KDE;\n"));
    dir.write("data/applications/my-kernova.desktop",
              app("Mine", "Exec=/opt/bin/kernova splode\n"));
    const EnvironmentLookup env =
        testing::environmentOf({{"XDG_DATA_HOME", (dir / "data").string()},
                                {"XDG_DATA_DIRS", (dir / "none").string()},
                                {"XDG_CURRENT_DESKTOP", "GNOME"},
                                {"LANG", "de_DE.UTF-8"}});
    // Nameless entries and kernovad's own are the desktop list's test.
    EXPECT_EQ(applicationList(DesktopEntries::load(env)),
              (ApplicationList{{"org.example.Editor.desktop", "Bearbeiter"}}));

    // The entries are read again at each request (kernovad's answer is proven
    // in tests/desktop).
    sim::Device device;
    std::vector<ApplicationList> answers;
    ApplicationListService service(device.server().context(), env,
                                   [&](const ApplicationList& list) { answers.push_back(list); });
    dir.write("data/applications/viewer.desktop", app("Viewer"));
    device.launchApp("org.example.Preferences").systemNotifications().post(kGetAppsNotification);
    device.runUntilIdle();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].count("viewer.desktop"), 1u);
}

using EnabledApplications = CaptureTest;

TEST_F(EnabledApplications, TheApplicationInFrontCountsOnlyWhenListed) {
    server.start();
    auto availableWith = [&](const Value& list, const std::string& front) {
        savePropertyList(context.paths().enabledAppsFile(), list);
        context.systemNotifications().post(kReloadPreferencesNotification);
        driver.setFrontmostApplication(front);
        device.runUntilIdle();
        server.timerFiredQLN();
        return context.settings().availableInApp;
    };
    const Value list(Dictionary{{"Enabled", Value(Array{Value("org.example.Editor.desktop")})}});
    EXPECT_TRUE(availableWith(list, "org.example.Editor.desktop"));
    EXPECT_TRUE(availableWith(list, "org.example.Editor")) << "with or without .desktop";
    EXPECT_FALSE(availableWith(list, "org.example.Viewer.desktop"));
    EXPECT_FALSE(availableWith(list, "")) << "no application in front";
    // "applistFlag" is stored only: the list always enables.
    set("applistFlag", Value(1));
    EXPECT_TRUE(availableWith(list, "org.example.Editor.desktop"));
    EXPECT_FALSE(availableWith(Value(Dictionary{}), "org.example.Editor.desktop"))
        << "a list without Enabled enables nothing";
}

// Changes fed by the test, as the X11 selection owner would report them.
class ScriptedChanges final : public ClipboardChanges {
  public:
    void start(std::function<void(const ClipboardChange&)> changed) override {
        changed_ = std::move(changed);
    }
    bool started() const { return static_cast<bool>(changed_); }
    void change(std::optional<std::string> text) {
        if (changed_) changed_(ClipboardChange{std::move(text), false});
    }

  private:
    std::function<void(const ClipboardChange&)> changed_;
};

class ClipboardWatchTest : public CaptureTest {
  protected:
    void set(const char* key, bool on) { CaptureTest::set(key, Value(on), true); }
    // The button requests sent so far, once `text` was copied.
    std::size_t popButtonsAfter(const char* text) {
        changes.change(text);
        device.runUntilIdle();
        std::size_t n = 0;
        for (const sim::DeliveredMessage& m : device.deliveredMessages())
            n += m.message.name == kPopButtonMessage && m.sender == sim::kServerBundleIdentifier &&
                 m.message.userInfo.isAbsent();
        return n;
    }

    MessageSender& sender = device.server().messageSender();
    ScriptedChanges changes;
    ClipboardWatch watch{context, sender, changes};
    std::size_t reloadOwner = 0;

    void SetUp() override {
        device.messageCenter().registerForMessageName(kPopButtonMessage, [](const Message&) {});
        startReloadPrefs(context, &reloadOwner);
    }
};

TEST_F(ClipboardWatchTest, CopiedTextByOthersAsksForTheButtonTwoSecondsAfterStart) {
    set("enabled", true);
    set("watchClipboard", true);
    ASSERT_TRUE(watch.startIfWanted());
    device.advance(kClipboardWatchDelaySeconds - 0.1);
    EXPECT_FALSE(changes.started());
    device.advance(0.1);
    ASSERT_TRUE(changes.started());

    // An image only and the panel's own copy are proven end to end.
    EXPECT_EQ(popButtonsAfter(""), 0u);
    EXPECT_EQ(popButtonsAfter("copied"), 1u);
    // Switched off later, it keeps watching until the next start.
    set("watchClipboard", false);
    EXPECT_EQ(popButtonsAfter("again"), 2u);
}

TEST_F(ClipboardWatchTest, OffAtStartStaysOffAfterItIsSwitchedOn) {
    for (bool enabled : {false, true}) {
        ClipboardWatch other{context, sender, changes};
        set("enabled", enabled);
        set("watchClipboard", !enabled);
        EXPECT_FALSE(other.startIfWanted());
        set("enabled", true);
        set("watchClipboard", true);
        EXPECT_FALSE(other.startIfWanted()) << "decided once";
        device.advance(10);
        EXPECT_FALSE(changes.started());
        EXPECT_FALSE(other.started());
    }
}

// The grab as the desktop would answer it: a key without a modifier is invalid.
class ScriptedGrabs final : public HotkeyGrabs {
  public:
    HotkeyStatus grab(const std::string& sequence, std::function<void()> pressed) override {
        grabs.push_back(sequence);
        if (sequence.find('+') == std::string::npos) return HotkeyStatus::invalid;
        grabbed = sequence;
        pressed_ = std::move(pressed);
        return HotkeyStatus::ok;
    }
    void release() override {
        grabbed.clear();
        pressed_ = nullptr;
    }
    void press() {
        if (pressed_) pressed_();
    }

    std::string grabbed;  // empty while none is held
    std::vector<std::string> grabs;

  private:
    std::function<void()> pressed_;
};

class HostTexts final : public SelectionTexts {
  public:
    explicit HostTexts(ServerHost& host) : host_(host) {}
    void readText(Which which, Reply reply) override {
        host_.readSelection(
            which == Which::primary ? SelectionKind::primary : SelectionKind::clipboard,
            std::move(reply));
    }

  private:
    ServerHost& host_;
};

class HotkeyTest : public CaptureTest {
  protected:
    void setHotkey(const std::string& value) { set("hotkey", Value(value), true); }
    // The last "notifySplode" the server handled, and how.
    std::string lastOutcome() const {
        return server.recentMessages().empty() ? "" : server.recentMessages().back().outcome;
    }

    ScriptedGrabs grabs;
    HostTexts texts{host};
    Hotkey hotkey{context, device.server().messageSender(), grabs, texts};

    void SetUp() override {
        server.start();
        hotkey.start();
    }
};

TEST_F(HotkeyTest, OpensThePanelOnPrimaryElseOnTheClipboard) {
    ASSERT_EQ(grabs.grabbed, "Ctrl+Alt+S") << "the default";
    host.setSelectionDelay(0.2);
    host.setPrimarySelection("selected words");
    device.pasteboard().setString("copied words");
    grabs.press();
    device.advance(0.1);
    grabs.press();  // while PRIMARY is read: one request only
    device.advance(0.2);
    ASSERT_EQ(server.receivedCount(), 1u);
    auto sent = [&] {
        return device.deliveredMessages().back().message.userInfo["selection"].stringValue();
    };
    EXPECT_EQ(sent(), "selected words");
    server.panel()->hide();
    device.advance(1);

    // An empty or unreadable PRIMARY gives the clipboard; neither, no text.
    using Row = std::pair<std::optional<std::string>, std::string>;  // PRIMARY, clipboard
    for (const auto& [primary, clipboard] :
         {Row{"", "copied words"}, Row{std::nullopt, "copied words"}, Row{std::nullopt, ""}}) {
        host.setPrimarySelection(primary);
        device.pasteboard().setString(clipboard);
        grabs.press();
        device.advance(0.5);
        EXPECT_EQ(sent(), clipboard);
        if (server.panel()) server.panel()->hide();
        device.advance(1);
    }
    EXPECT_EQ(lastOutcome(), "refused: no text");
}

TEST_F(HotkeyTest, AChangedSettingTakesEffectOnReload) {
    setHotkey("Meta+K");
    EXPECT_EQ(grabs.grabbed, "Meta+K");
    EXPECT_EQ(hotkey.report(), "Meta+K: grabbed");
    const std::size_t grabbed = grabs.grabs.size();
    reload();
    EXPECT_EQ(grabs.grabs.size(), grabbed) << "an unchanged key is kept";

    setHotkey("NONE");
    EXPECT_EQ(grabs.grabbed, "");
    EXPECT_EQ(hotkey.report(), "none: off");
    // A key held by another program, and taken once it is let go, is proven
    // end to end.
    setHotkey("K");
    EXPECT_EQ(hotkey.status(), HotkeyStatus::invalid);
    EXPECT_EQ(grabs.grabbed, "");
    setHotkey("");
    EXPECT_EQ(grabs.grabbed, "Ctrl+Alt+S") << "empty reads as the default";
}

}  // namespace
}  // namespace kernova::capture
