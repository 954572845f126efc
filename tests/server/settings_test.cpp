#include "server/settings.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/virtual_run_loop.h"
#include "support_lib/temp_dir.h"

namespace kernova {
namespace {

using namespace settings_key;

class SettingsTest : public ::testing::Test {
  protected:
    void writeSettings(Dictionary d) {
        ASSERT_TRUE(savePropertyList(context.paths().settingsFile(), Value(std::move(d))));
    }
    void writeEnabledApps(Value list) {
        ASSERT_TRUE(savePropertyList(context.paths().enabledAppsFile(), list));
    }
    void postReload() { notifications.post(kReloadPreferencesNotification); }

    testing::TempDir dir;
    VirtualClock clock;
    VirtualRunLoop loop{clock};
    InProcessSystemNotifications notifications;
    Context context{loop, notifications, Paths{dir.path(), dir / "bundle"}};
    int owner = 0;
};

TEST_F(SettingsTest, FileNamesFollowTheirFormats) {
    EXPECT_EQ(context.paths().settingsFile().filename(), "fun.quorle.kernova.prefs.plist");
    EXPECT_EQ(context.paths().enabledAppsFile().filename(), "fun.quorle.kernova.enabledapps.plist");
}

TEST_F(SettingsTest, PreferencesFolderComesFromTheEnvironment) {
    auto env = [](std::map<std::string, std::string> vars) {
        return [vars](const char* name) -> std::optional<std::string> {
            auto it = vars.find(name);
            if (it == vars.end()) return std::nullopt;
            return it->second;
        };
    };
    EXPECT_EQ(
        preferencesDirectory(env({{"KERNOVA_PREFERENCES_DIR", "/p"}, {"XDG_CONFIG_HOME", "/x"}})),
        "/p");
    EXPECT_EQ(preferencesDirectory(env({{"XDG_CONFIG_HOME", "/x"}, {"HOME", "/h"}})), "/x/kernova");
    EXPECT_EQ(
        preferencesDirectory(env(
            {{"KERNOVA_PREFERENCES_DIR", ""}, {"XDG_CONFIG_HOME", "relative"}, {"HOME", "/h"}})),
        "/h/.config/kernova");
}

TEST_F(SettingsTest, MissingFileGivesEveryDefault) {
    startReloadPrefs(context, &owner);
    startLoadSettings(context, &owner);
    const SettingsGlobals& g = context.settings();
    EXPECT_FALSE(g.tweakEnabled);
    EXPECT_FALSE(g.enabled);
    EXPECT_FALSE(g.watchClipboard);
    EXPECT_EQ(g.menuType, 0);
    EXPECT_TRUE(g.customMenuName.isAbsent());
    EXPECT_TRUE(g.pref.isAbsent());
    ASSERT_TRUE(g.applistWhite.has_value());
    EXPECT_TRUE(g.applistWhite->empty());
    EXPECT_FALSE(g.isFirstLoad);
}

TEST_F(SettingsTest, GlobalsReadLenientlyAndFollowTheNotification) {
    writeSettings({{kEnabled, Value("YES")},
                   {kWatchClipboard, Value(1)},
                   {kApplistFlag, Value("7 apps")},
                   {kMenuType, Value(2.9)},
                   {kCustomMenuName, Value("Split")}});
    startReloadPrefs(context, &owner);
    startLoadSettings(context, &owner);
    SettingsGlobals& g = context.settings();
    EXPECT_TRUE(g.tweakEnabled);
    EXPECT_TRUE(g.enabled);
    EXPECT_TRUE(g.watchClipboard);
    EXPECT_EQ(g.applistFlag, 7);
    EXPECT_EQ(g.menuType, 2);
    EXPECT_EQ(g.customMenuName, Value("Split"));

    // A file without "enabled" switches the feature off in both globals.
    writeSettings({{kMenuType, Value(1)}, {kEnabled + std::string("X"), Value(true)}});
    postReload();
    EXPECT_FALSE(g.tweakEnabled);
    EXPECT_FALSE(g.enabled);
    EXPECT_EQ(g.menuType, 1);
    EXPECT_TRUE(g.customMenuName.isAbsent());

    // Wrong types read as NO; a malformed file reads as empty.
    writeSettings({{kEnabled, Value(Array{Value(true)})}});
    postReload();
    EXPECT_FALSE(g.tweakEnabled);
    dir.write("fun.quorle.kernova.prefs.plist", "<plist><dict><key>enabled</key><true/>");
    postReload();
    EXPECT_FALSE(g.enabled);
    EXPECT_TRUE(g.pref.isAbsent());

    // After the observers are gone, the globals stay as they were.
    writeSettings({{kEnabled, Value(true)}});
    notifications.removeObservers(&owner);
    postReload();
    EXPECT_FALSE(g.tweakEnabled);
}

TEST_F(SettingsTest, EnabledApplicationsList) {
    startReloadPrefs(context, &owner);
    SettingsGlobals& g = context.settings();

    writeEnabledApps(Value(
        Dictionary{{kEnabledAppsKey,
                    Value(Array{Value("org.gnome.TextEditor"), Value(3), Value("firefox")})}}));
    postReload();
    ASSERT_TRUE(g.applistWhite.has_value());
    EXPECT_EQ(*g.applistWhite, (std::vector<std::string>{"org.gnome.TextEditor", "firefox"}));

    // An existing list without "Enabled" enables nothing and reads as none.
    writeEnabledApps(Value(Dictionary{{"Other", Value(1)}}));
    postReload();
    EXPECT_FALSE(g.applistWhite.has_value());

    // Deleting the list empties it.
    std::filesystem::remove(context.paths().enabledAppsFile());
    postReload();
    ASSERT_TRUE(g.applistWhite.has_value());
    EXPECT_TRUE(g.applistWhite->empty());
}

TEST_F(SettingsTest, SelectionBarIsReleasedOnlyWhereThereIsOne) {
    startLoadSettings(context, &owner);
    EXPECT_FALSE(context.settings().isFirstLoad);

    int released = 0;
    context.settings().releaseSelectionBar = [&] { ++released; };
    postReload();
    EXPECT_EQ(released, 1);
    EXPECT_TRUE(context.settings().isFirstLoad);

    // The flag stays set until the menu code clears it.
    context.settings().releaseSelectionBar = nullptr;
    postReload();
    EXPECT_TRUE(context.settings().isFirstLoad);
}

TEST_F(SettingsTest, KeysReadAtTheMomentOfUseApplyTheirDefaults) {
    SettingsSnapshot empty = readSettings(context);
    EXPECT_TRUE(empty.boolean(kSystemMenu));
    EXPECT_TRUE(empty.boolean(kWechatMenu));
    EXPECT_TRUE(empty.boolean(kQqMenu));
    EXPECT_EQ(empty.integer(kStyle), 0);
    EXPECT_EQ(empty.string(kLongPress), "translateText:");
    EXPECT_EQ(empty.string(kLanguageType), "CHN_ENG");
    EXPECT_EQ(empty.string(kApiKey), "");
    EXPECT_NE(empty.string(kSearchEngine)->find("%s"), std::string::npos);
    EXPECT_FALSE(empty.string(kNotification).has_value());
    EXPECT_EQ(empty.generalMenuTitle(), "Kernova");
    EXPECT_EQ(empty.chatMenuTitle(), "Splode");
    EXPECT_EQ(empty.vibrateSoundId(), 1519);

    writeSettings({{kSystemMenu, Value(false)},
                   {kQqMenu, Value("NO")},
                   {kStyle, Value("2")},
                   {kCustomMenuName, Value("")},
                   {kVibrate, Value(1520)}});
    SettingsSnapshot now = readSettings(context);  // no notification needed
    EXPECT_FALSE(now.boolean(kSystemMenu));
    EXPECT_TRUE(now.boolean(kWechatMenu));
    EXPECT_FALSE(now.boolean(kQqMenu));
    EXPECT_EQ(now.integer(kStyle), 2);
    EXPECT_EQ(now.generalMenuTitle(), "Kernova");
    EXPECT_EQ(now.chatMenuTitle(), "Splode");
    EXPECT_EQ(now.vibrateSoundId(), 1520);

    writeSettings({{kCustomMenuName, Value(12)}});
    EXPECT_EQ(readSettings(context).generalMenuTitle(), "12");
}

TEST_F(SettingsTest, UpdateRewritesTheWholeFileAndKeepsOtherKeys) {
    writeSettings({{kEnabled, Value(true)}, {kStyle, Value(1)}});
    ASSERT_TRUE(updateSettings(context, [](Dictionary& d) {
        d[kNotification] = Value("notice");
        d[kNotifyFlag] = Value(true);
    }));
    SettingsSnapshot s = readSettings(context);
    EXPECT_TRUE(s.boolean(kEnabled));
    EXPECT_EQ(s.integer(kStyle), 1);
    EXPECT_EQ(s.string(kNotification), "notice");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"fun.quorle.kernova.prefs.plist"});

    // A malformed file is replaced by a fresh dictionary rather than lost in place.
    dir.write("fun.quorle.kernova.prefs.plist", "garbage");
    ASSERT_TRUE(updateSettings(context, [](Dictionary& d) { d[kStyle] = Value(2); }));
    EXPECT_EQ(readSettings(context).integer(kStyle), 2);
}

}  // namespace
}  // namespace kernova
