#include "server/settings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "base/virtual_run_loop.h"
#include "support_lib/fake_environment.h"
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

TEST_F(SettingsTest, PreferencesFolderComesFromTheEnvironment) {
    auto in = [](std::map<std::string, std::string> env) {
        return preferencesDirectory(testing::environmentOf(std::move(env)));
    };
    EXPECT_EQ(in({{"KERNOVA_PREFERENCES_DIR", "/p"}, {"XDG_CONFIG_HOME", "/x"}}), "/p");
    EXPECT_EQ(in({{"XDG_CONFIG_HOME", "/x"}, {"HOME", "/h"}}), "/x/kernova");
    EXPECT_EQ(
        in({{"KERNOVA_PREFERENCES_DIR", ""}, {"XDG_CONFIG_HOME", "relative"}, {"HOME", "/h"}}),
        "/h/.config/kernova");
}

TEST_F(SettingsTest, GlobalsReadLenientlyAndFollowTheNotification) {
    writeSettings({{"enabled", Value("YES")},
                   {"watchClipboard", Value(1)},
                   {"menuType", Value(2.9)},
                   {"customMenuName", Value("Split")}});
    startReloadPrefs(context, &owner);
    startLoadSettings(context, &owner);
    SettingsGlobals& g = context.settings();
    EXPECT_TRUE(g.tweakEnabled);
    EXPECT_TRUE(g.enabled);
    EXPECT_TRUE(g.watchClipboard);
    EXPECT_EQ(g.menuType, 2);
    EXPECT_EQ(g.customMenuName, Value("Split"));

    // A file without "enabled" switches the feature off in both globals.
    writeSettings({{"menuType", Value(1)}, {"enabledX", Value(true)}});
    postReload();
    EXPECT_FALSE(g.tweakEnabled);
    EXPECT_FALSE(g.enabled);
    EXPECT_EQ(g.menuType, 1);
    EXPECT_TRUE(g.customMenuName.isAbsent());

    // Wrong types read as NO; a malformed file reads as empty.
    writeSettings({{"enabled", Value(Array{Value(true)})}});
    postReload();
    EXPECT_FALSE(g.tweakEnabled);
    dir.write("fun.quorle.kernova.prefs.plist", "<plist><dict><key>enabled</key><true/>");
    postReload();
    EXPECT_FALSE(g.enabled);
    EXPECT_TRUE(g.pref.isAbsent());

    // After the observers are gone, the globals stay as they were.
    writeSettings({{"enabled", Value(true)}});
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

TEST_F(SettingsTest, EveryKeyIsListedOnceAndFoundByName) {
    std::set<std::string_view> names;
    for (const SettingKey& key : kSettingKeys) {
        EXPECT_TRUE(names.insert(key.name).second) << key.name << " is listed twice";
        EXPECT_FALSE(key.description.empty()) << key.name;
        EXPECT_EQ(findSettingKey(key.name), &key);
    }
    EXPECT_EQ(findSettingKey("nosuchkey"), nullptr);
    for (const char* hidden : {"notification", "notifyFlag", "applistFlag", "wechatMenu", "qqMenu"})
        EXPECT_FALSE(findSettingKey(hidden)->userVisible()) << hidden;
    EXPECT_TRUE(findSettingKey("enabled")->userVisible());
}

TEST_F(SettingsTest, ReadsAreLenientAndKeepNumbersInRange) {
    writeSettings({{"systemMenu", Value(false)},
                   {"tips", Value(7)},  // a choice the reader gives its own meaning
                   {"customMenuName", Value("")},
                   {"vibrate", Value(0)},
                   {"fontSize", Value(-30)},
                   {"buttonSize", Value(std::int64_t{1} << 40)},
                   {"historyCount", Value("-3")},
                   {"ocrMenuName", Value("")},
                   {"APIKey", Value(42)},
                   {"SearchEngine", Value(Array{})}});
    SettingsSnapshot now = readSettings(context);  // no notification needed
    EXPECT_FALSE(now.get(kSystemMenu));
    EXPECT_TRUE(now.get(kWechatMenu));
    EXPECT_EQ(now.get(kTips), 7);
    EXPECT_EQ(now.generalMenuTitle(), "Kernova");
    EXPECT_EQ(now.chatMenuTitle(), "Splode");
    EXPECT_EQ(now.get(kVibrate), 1519);
    EXPECT_EQ(now.get(kFontSize), 6);
    EXPECT_EQ(now.get(kButtonSize), 300);
    EXPECT_EQ(now.get(kHistoryCount), 0);
    EXPECT_EQ(now.get(kOcrMenuName), "OCR & Splode");
    EXPECT_EQ(now.get(kApiKey), "42");
    EXPECT_EQ(now.get(kSearchEngine), "https://www.google.com/search?q=%s");
    EXPECT_FALSE(now.has(kEnabled));
    EXPECT_TRUE(now.has(kTips));

    writeSettings({{"customMenuName", Value(12)}, {"vibrate", Value(1520)}});
    EXPECT_EQ(readSettings(context).generalMenuTitle(), "12");
    EXPECT_EQ(readSettings(context).get(kVibrate), 1520);
}

TEST_F(SettingsTest, TextsAreCheckedAgainstTheKeyBeforeWriting) {
    auto parse = [](std::string_view name, std::string_view text) {
        std::string error;
        std::optional<Value> v = parseSettingText(*findSettingKey(name), text, error);
        return v ? *v : Value("error: " + error);
    };
    EXPECT_EQ(parse("enabled", "YES"), Value(true));
    EXPECT_EQ(parse("enabled", "off"), Value(false));
    EXPECT_EQ(parse("enabled", "maybe"),
              Value("error: \"enabled\" takes YES or NO, not \"maybe\""));
    EXPECT_EQ(parse("fontSize", "17"), Value(17));
    EXPECT_EQ(parse("fontSize", "0"), Value(0));
    EXPECT_EQ(parse("fontSize", "-30"),
              Value("error: \"fontSize\" takes a whole number from 6 to 96, or 0 for the "
                    "default, not \"-30\""));
    EXPECT_EQ(parse("fontSize", "1099511627776").asString()->substr(0, 6), "error:");
    EXPECT_EQ(parse("fontSize", "12.5").asString()->substr(0, 6), "error:");
    EXPECT_EQ(parse("historyCount", "+30"), Value(30));
    EXPECT_EQ(parse("popButton", "bottom"), Value(1));
    EXPECT_EQ(parse("popButton", "2"), Value(2));
    EXPECT_EQ(parse("popButton", "3"),
              Value("error: \"popButton\" takes one of 0 (left), 1 (bottom), 2 (right), not "
                    "\"3\""));
    EXPECT_EQ(parse("longPress", "searchText:"), Value("searchText:"));
    EXPECT_EQ(parse("longPress", "rm -rf").asString()->substr(0, 6), "error:");
    EXPECT_EQ(parse("SearchEngine", "https://duckduckgo.com/?q=%s"),
              Value("https://duckduckgo.com/?q=%s"));
    EXPECT_EQ(parse("TranslationAlert", "https://example.org/"),
              Value("error: \"TranslationAlert\" takes a URL containing %s, not "
                    "\"https://example.org/\""));
    EXPECT_EQ(parse("SearchEngine", "dict:%s"), Value("dict:%s"));
    for (const char* notUrl : {"search %s", "://x?q=%s", "1x:%s", "https:", "https://a b/%s"})
        EXPECT_EQ(parse("SearchEngine", notUrl).asString()->substr(0, 6), "error:") << notUrl;
    EXPECT_EQ(parse("customMenuName", "\xff"), Value("error: the text is not valid UTF-8"));
    EXPECT_EQ(parse("customMenuName", std::string(5000, 'a')).asString()->substr(0, 6), "error:");
}

TEST_F(SettingsTest, UpdateRewritesTheWholeFileAndKeepsOtherKeys) {
    writeSettings({{"enabled", Value(true)}, {"style", Value(1)}});
    ASSERT_TRUE(updateSettings(context, [](Dictionary& d) {
        d["notification"] = Value("notice");
        d["notifyFlag"] = Value(true);
    }));
    SettingsSnapshot s = readSettings(context);
    EXPECT_TRUE(s.get(kEnabled));
    EXPECT_EQ(s.get(kStyle), 1);
    EXPECT_EQ(s.get(kNotification), "notice");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"fun.quorle.kernova.prefs.plist"});

    // A malformed file is replaced by a fresh dictionary rather than lost in place.
    dir.write("fun.quorle.kernova.prefs.plist", "garbage");
    ASSERT_TRUE(updateSettings(context, [](Dictionary& d) { d["style"] = Value(2); }));
    EXPECT_EQ(readSettings(context).get(kStyle), 2);
}

// Writing one key through `kernova set` (other keys kept, an unreadable file
// left alone) is the settings command's test; a value of the wrong type
// cannot come from its parsed texts.
TEST_F(SettingsTest, WritingAValueOfTheWrongTypeIsRefused) {
    SaveResult wrongType = writeSetting(context, kFontSize.key(), Value("big"));
    EXPECT_FALSE(wrongType);
    EXPECT_NE(wrongType.error.find("fontSize"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(context.paths().settingsFile()));
}

}  // namespace
}  // namespace kernova
