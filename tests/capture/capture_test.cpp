// Capture on the simulated device: the application list the preferences side
// asks for, the enabled applications against the one in front, and what the
// clipboard watch sends.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/plist.h"
#include "capture/app_list.h"
#include "capture/clipboard_watch.h"
#include "server/server.h"
#include "server/settings.h"
#include "sim/device.h"
#include "sim/driver.h"
#include "sim/sim_server_host.h"
#include "support_lib/temp_dir.h"

namespace kernova::capture {
namespace {

EnvironmentLookup lookupIn(std::map<std::string, std::string> env) {
    return [env = std::move(env)](const char* name) -> std::optional<std::string> {
        auto it = env.find(name);
        return it == env.end() ? std::nullopt : std::optional(it->second);
    };
}

std::string app(const std::string& name, const std::string& more = "") {
    return "[Desktop Entry]\nType=Application\nName=" + name + "\n" + more;
}

TEST(ApplicationList, ListsWhatTheMenusShowNamedInTheUsersLanguageOnRequest) {
    testing::TempDir dir;
    dir.write("data/applications/org.example.Editor.desktop",
              app("Editor", "Name[de]=Bearbeiter\n"));
    dir.write("data/applications/nameless.desktop", app(""));
    dir.write("data/applications/helper.desktop", app("Helper", "NoDisplay=true\n"));
    dir.write("data/applications/kde-only.desktop", app("KDE tool", "OnlyShowIn=KDE;\n"));
    dir.write("data/applications/not-here.desktop", app("Not here", "NotShowIn=GNOME;\n"));
    dir.write("data/applications/gone.desktop", "[Desktop Entry]\nHidden=true\n");
    dir.write("data/applications/kernovad.desktop", app("Kernova"));
    dir.write("data/applications/my-kernova.desktop",
              app("Mine", "Exec=/opt/bin/kernova splode\n"));
    const EnvironmentLookup env = lookupIn({{"XDG_DATA_HOME", (dir / "data").string()},
                                            {"XDG_DATA_DIRS", (dir / "none").string()},
                                            {"XDG_CURRENT_DESKTOP", "GNOME"},
                                            {"LANG", "de_DE.UTF-8"}});
    const ApplicationList expected{{"nameless.desktop", kNamelessApplication},
                                   {"org.example.Editor.desktop", "Bearbeiter"}};
    EXPECT_EQ(applicationList(DesktopEntries::load(env)), expected);

    // The server process answers the request of another process; the entries
    // are read at each request.
    sim::Device device;
    std::vector<ApplicationList> answers;
    ApplicationListService service(device.server().context(), env,
                                   [&](const ApplicationList& list) { answers.push_back(list); });
    sim::SimProcess& prefs = device.launchApp("org.example.Preferences");
    prefs.systemNotifications().post(kGetAppsNotification);
    device.runUntilIdle();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0], expected);
    dir.write("data/applications/viewer.desktop", app("Viewer"));
    prefs.systemNotifications().post(kGetAppsNotification);
    device.runUntilIdle();
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].count("viewer.desktop"), 1u);
}

TEST(EnabledApplications, TheApplicationInFrontCountsOnlyWhenListed) {
    sim::Device device;
    sim::Driver driver{device};
    sim::SimServerHost host{device};
    Context& context = device.server().context();
    Server server{context, device.messageCenter(), host};
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
    updateSettings(context, [](Dictionary& d) { d["applistFlag"] = Value(1); });
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
    void change(std::optional<std::string> text, bool ownWrite = false) {
        if (changed_) changed_(ClipboardChange{std::move(text), ownWrite});
    }

  private:
    std::function<void(const ClipboardChange&)> changed_;
};

class ClipboardWatchTest : public ::testing::Test {
  protected:
    void set(const char* key, bool on) {
        updateSettings(server.context(), [&](Dictionary& d) { d[key] = Value(on); });
        server.context().systemNotifications().post(kReloadPreferencesNotification);
        device.runUntilIdle();
    }
    std::size_t popButtons() const {
        std::size_t n = 0;
        for (const sim::DeliveredMessage& m : device.deliveredMessages())
            n += m.message.name == kPopButtonMessage && m.sender == sim::kServerBundleIdentifier &&
                 m.message.userInfo.isAbsent();
        return n;
    }

    sim::Device device;
    sim::SimProcess& server = device.server();
    ScriptedChanges changes;
    ClipboardWatch watch{server.context(), server.messageSender(), changes};
    std::size_t reloadOwner = 0;

    void SetUp() override {
        device.messageCenter().registerForMessageName(kPopButtonMessage, [](const Message&) {});
        startReloadPrefs(server.context(), &reloadOwner);
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

    changes.change(std::nullopt);  // an image only
    changes.change("");
    changes.change("copied", /*ownWrite=*/true);
    device.runUntilIdle();
    EXPECT_EQ(popButtons(), 0u);
    changes.change("copied");
    device.runUntilIdle();
    EXPECT_EQ(popButtons(), 1u);

    // Switched off later, it keeps watching until the next start.
    set("watchClipboard", false);
    changes.change("again");
    device.runUntilIdle();
    EXPECT_EQ(popButtons(), 2u);
}

TEST_F(ClipboardWatchTest, OffAtStartStaysOffAfterItIsSwitchedOn) {
    for (bool enabled : {false, true}) {
        ClipboardWatch other{server.context(), server.messageSender(), changes};
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

}  // namespace
}  // namespace kernova::capture
