// The preferences window on the offscreen platform, against real files in a
// private folder and a private session bus.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QEventLoop>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "base/plist.h"
#include "desktop/dbus_system_notifications.h"
#include "kernova/prefs/preferences_window.h"
#include "kernova/prefs/single_instance.h"
#include "server/settings.h"
#include "support_lib/fake_environment.h"
#include "support_lib/temp_dir.h"

namespace kernova::prefs {
namespace {

using kernova::testing::TempDir;

bool waitFor(const std::function<bool()>& done) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > 5000) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    return true;
}

// A value the key takes that is not its default, as `kernova set` writes it.
QString sampleText(const SettingKey& key) {
    auto q = [](std::string_view s) {
        return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
    };
    const QString name = q(key.name);
    if (key.type == SettingType::boolean) return key.defaultBoolean ? "NO" : "YES";
    if (!key.choices.empty()) return q(key.choices.back().label);
    if (key.type == SettingType::integer) return QString::number(key.maximum);
    if (!key.texts.empty())
        return q(key.texts.back() == key.defaultString ? key.texts.front() : key.texts.back());
    if (key.name == settings_key::kHotkey.name()) return "Meta+F7";
    if (key.httpUrl) return "https://ocr.example/" + name;
    if (key.url) return "https://example.org/" + name + "?q=%s";
    return "sample " + name + " 样本";
}

class PrefsWindowTest : public ::testing::Test {
  protected:
    PrefsWindowTest() {
        std::filesystem::create_directories(dir / "data/applications");
        std::filesystem::create_directories(dir / "prefs");
        writeEntry("org.example.Editor", "Editor");
        writeEntry("org.example.Viewer", "Image Viewer");
    }

    void writeEntry(const std::string& id, const std::string& name) {
        std::ofstream(dir / ("data/applications/" + id + ".desktop"))
            << "[Desktop Entry]\nType=Application\nName=" << name << "\nExec=" << id << "\n";
    }

    // A window on the private folders; `announce` replaces the counted reload.
    std::unique_ptr<PreferencesWindow> open(std::function<void()> announce = {}) {
        WindowOptions options;
        options.paths = paths;
        options.environment =
            kernova::testing::environmentOf({{"XDG_DATA_HOME", (dir / "data").string()},
                                             {"XDG_DATA_DIRS", (dir / "none").string()}});
        options.checkHotkey = [](const std::string& sequence) {
            if (sequence == "Ctrl+Alt+J") return capture::HotkeyStatus::refused;
            if (sequence == "A") return capture::HotkeyStatus::invalid;
            return capture::HotkeyStatus::noDisplay;
        };
        options.announceReload = announce ? std::move(announce) : [this] { ++reloads; };
        return std::make_unique<PreferencesWindow>(std::move(options));
    }

    Value settings() const { return loadPropertyList(paths.settingsFile()); }
    void writeFile(const std::filesystem::path& path, const Value& value) {
        ASSERT_TRUE(savePropertyList(path, value));
    }

    TempDir dir;
    Paths paths{dir / "prefs", dir / "bundle"};
    int reloads = 0;
};

class PageRoundTrip : public PrefsWindowTest, public ::testing::WithParamInterface<SettingsPage> {};

TEST_P(PageRoundTrip, EveryKeyOfThePageIsWrittenAndReadBack) {
    Dictionary expected;
    {
        auto window = open();
        window->showPage(GetParam());
        EXPECT_EQ(window->currentPage(), GetParam());
        for (const SettingKey& key : kSettingKeys) {
            if (key.page != GetParam()) continue;
            SCOPED_TRACE(std::string(key.name));
            ASSERT_NE(window->field(key.name), nullptr);
            EXPECT_FALSE(window->field(key.name)->accessibleName().isEmpty());
            window->setFieldText(key.name, sampleText(key));
            EXPECT_EQ(window->fieldError(key.name), "");
            std::string error;
            expected[std::string(key.name)] =
                *parseSettingText(key, sampleText(key).toStdString(), error);
        }
        EXPECT_TRUE(window->save()) << window->statusText().toStdString();
    }
    EXPECT_EQ(settings(), expected.empty() ? Value() : Value(expected));
    EXPECT_EQ(reloads, expected.empty() ? 0 : 1);
    auto again = open();
    for (const SettingKey& key : kSettingKeys) {
        if (key.page != GetParam()) continue;
        EXPECT_EQ(again->fieldText(key.name), sampleText(key)) << key.name;
    }
    EXPECT_FALSE(again->hasEdits());
}

INSTANTIATE_TEST_SUITE_P(Pages, PageRoundTrip, ::testing::ValuesIn(kSettingsPages),
                         [](const ::testing::TestParamInfo<SettingsPage>& page) {
                             std::string name(settingsPageTitle(page.param));
                             std::erase(name, ' ');
                             return name;
                         });

TEST_F(PrefsWindowTest, EveryUserKeyHasAFieldOnAPageAndInternalOnesNone) {
    auto window = open();
    for (const SettingKey& key : kSettingKeys)
        EXPECT_EQ(window->field(key.name) != nullptr, key.userVisible()) << key.name;
}

TEST_F(PrefsWindowTest, ASaveWritesOnlyEditsAndKeepsEverythingElse) {
    Dictionary before{{"notification", Value("news")},
                      {"notifyFlag", Value(true)},
                      {"someFutureKey", Value(Array{Value(1)})},
                      {"fontSize", Value(20)},
                      {"popButton", Value(7)}};
    writeFile(paths.settingsFile(), Value(before));
    writeFile(paths.menusFile(),
              Value(Dictionary{{"menus", Value(Dictionary{{"Enabled", Value(Array{Value("Copy")})},
                                                          {"Note", Value("kept")}})},
                               {"other", Value("kept")}}));
    writeFile(
        paths.schemesFile(),
        Value(Dictionary{{"items", Value(Array{Value(Dictionary{{"name", Value("Maps")},
                                                                {"scheme", Value("maps://?q=%s")},
                                                                {"extra", Value("kept")}})})}}));
    auto window = open();
    EXPECT_EQ(window->fieldText("fontSize"), "20");
    window->setFieldText("enabled", "YES");
    window->setActions({"Search", "Copy"});
    window->setUrlTemplates({{"Karten", "maps://?q=%s"}, {"Dict", "dict://%s"}});
    EXPECT_FALSE(window->restartOffered());
    ASSERT_TRUE(window->save());
    EXPECT_EQ(reloads, 1);
    before["enabled"] = Value(true);
    EXPECT_EQ(settings(), Value(before));
    const Value menus = loadPropertyList(paths.menusFile());
    EXPECT_EQ(menus["other"], Value("kept"));
    EXPECT_EQ(menus["menus"]["Note"], Value("kept"));
    EXPECT_EQ(menus["menus"]["Enabled"], Value(Array{Value("Search"), Value("Copy")}));
    EXPECT_EQ(menus["menus"]["Disabled"].asArray()->size(), 4u);
    const Value schemes = loadPropertyList(paths.schemesFile());
    const Value& first = schemes["items"].asArray()->front();
    EXPECT_EQ(first["extra"], Value("kept"));
    EXPECT_EQ(first["name"], Value("Karten"));
    EXPECT_EQ(schemes["items"].asArray()->back()["scheme"], Value("dict://%s"));
    // Files the user did not touch are not created.
    EXPECT_FALSE(std::filesystem::exists(paths.languagesFile()));
    EXPECT_FALSE(std::filesystem::exists(paths.enabledAppsFile()));
    // Nothing edited since: nothing written, nothing announced.
    EXPECT_TRUE(window->save());
    EXPECT_EQ(reloads, 1);
}

TEST_F(PrefsWindowTest, TheListPagesRoundTripTheirFiles) {
    writeFile(paths.enabledAppsFile(),
              Value(Dictionary{{"Enabled", Value(Array{Value("org.example.Editor"),
                                                       Value("gone.App.desktop")})}}));
    {
        auto window = open();
        EXPECT_EQ(window->languages(), QStringList{"en"});
        EXPECT_EQ(window->actions().first.size(), 6);
        EXPECT_EQ(window->enabledApplications(),
                  (std::set<std::string>{"gone.App.desktop", "org.example.Editor.desktop"}));
        window->filterApplications("view");
        EXPECT_EQ(window->visibleApplicationCount(), 1);
        window->setApplicationEnabled("org.example.Viewer", true);
        window->setApplicationEnabled("gone.App.desktop", false);
        window->setLanguages({"ja", "zh-TW"});
        ASSERT_TRUE(window->save()) << window->statusText().toStdString();
        EXPECT_EQ(reloads, 1);
    }
    EXPECT_EQ(loadPropertyList(paths.enabledAppsFile())["Enabled"],
              Value(Array{Value("org.example.Editor"), Value("org.example.Viewer.desktop")}));
    EXPECT_EQ(loadPropertyList(paths.languagesFile())["languages"],
              Value(Array{Value("ja"), Value("zh-TW")}));
    auto again = open();
    EXPECT_EQ(again->languages(), (QStringList{"ja", "zh-TW"}));
    EXPECT_FALSE(again->hasEdits());
}

TEST_F(PrefsWindowTest, AMalformedFileShowsItsDefaultsAndAWarningAndIsReplacedOnSave) {
    std::ofstream(paths.settingsFile()) << "<?xml version=\"1.0\"?><plist><dict><key>en";
    auto window = open();
    EXPECT_NE(window->statusText().indexOf(kSettingsFileName), -1);
    EXPECT_EQ(window->fieldText("fontSize"), "12");
    window->setFieldText("enabled", "YES");
    ASSERT_TRUE(window->save());
    EXPECT_EQ(settings(), Value(Dictionary{{"enabled", Value(true)}}));
}

TEST_F(PrefsWindowTest, AFileChangedMeanwhileIsReadAgainAndNotOverwritten) {
    writeFile(paths.settingsFile(), Value(Dictionary{{"fontSize", Value(20)}}));
    auto window = open();
    window->setFieldText("enabled", "YES");
    writeFile(paths.settingsFile(),
              Value(Dictionary{{"fontSize", Value(30)}, {"notification", Value("new")}}));
    EXPECT_FALSE(window->save());
    EXPECT_NE(window->statusText().indexOf("changed by another program"), -1);
    EXPECT_EQ(reloads, 0);
    EXPECT_EQ(settings()["enabled"], Value());
    // What was not edited shows the new file; the edit stays and goes in next.
    EXPECT_EQ(window->fieldText("fontSize"), "30");
    EXPECT_EQ(window->fieldText("enabled"), "YES");
    ASSERT_TRUE(window->save());
    EXPECT_EQ(settings(), Value(Dictionary{{"fontSize", Value(30)},
                                           {"notification", Value("new")},
                                           {"enabled", Value(true)}}));
}

TEST_F(PrefsWindowTest, AListFileChangedMeanwhileKeepsItsEditForTheNextSave) {
    auto window = open();
    window->setLanguages({"ja"});
    writeFile(paths.languagesFile(),
              Value(Dictionary{{"languages", Value(Array{Value("fr")})}, {"note", Value("kept")}}));
    EXPECT_FALSE(window->save());
    EXPECT_EQ(loadPropertyList(paths.languagesFile())["languages"], Value(Array{Value("fr")}));
    ASSERT_TRUE(window->save());
    EXPECT_EQ(loadPropertyList(paths.languagesFile()),
              Value(Dictionary{{"languages", Value(Array{Value("ja")})}, {"note", Value("kept")}}));
}

TEST_F(PrefsWindowTest, InvalidValuesAreMarkedWithTheirReasonAndNothingIsWritten) {
    auto window = open();
    const std::map<std::string, QString> invalid{{"fontSize", "200"}, {"hotkey", "Ctrl+Alt+J"}};
    for (const auto& [key, text] : invalid) {
        window->setFieldText(key, text);
        EXPECT_NE(window->fieldError(key), "") << key;
        EXPECT_EQ(window->field(key)->accessibleDescription(), window->fieldError(key)) << key;
    }
    EXPECT_NE(window->fieldError("hotkey").indexOf("held by another program"), -1);
    window->setFieldText("enabled", "YES");
    EXPECT_FALSE(window->save());
    EXPECT_FALSE(std::filesystem::exists(paths.settingsFile()));
    EXPECT_EQ(reloads, 0);

    window->setFieldText("fontSize", "96");
    window->setFieldText("hotkey", "Meta+K");
    window->setUrlTemplates({{"Bad", "no url here"}});
    window->setLanguages({"en", "two words"});
    EXPECT_FALSE(window->save());
    EXPECT_FALSE(std::filesystem::exists(paths.settingsFile()));
    window->setUrlTemplates({{"Good", "dict://%s"}});
    window->setLanguages({"en"});
    ASSERT_TRUE(window->save()) << window->statusText().toStdString();
    EXPECT_EQ(settings()["fontSize"], Value(96));
    EXPECT_EQ(settings()["hotkey"], Value("Meta+K"));
}

TEST_F(PrefsWindowTest, KeysReadAtStartOfferARestartOnceSaved) {
    auto window = open();
    window->setFieldText("watchClipboard", "YES");
    EXPECT_FALSE(window->restartOffered());
    ASSERT_TRUE(window->save());
    EXPECT_TRUE(window->restartOffered());
}

TEST(PrefsUrls, AKernovaPrefsUrlNamesItsPageAndAnythingElseIsGeneral) {
    EXPECT_EQ(pageForUrl("kernova-prefs:/Translation"), SettingsPage::translation);
    EXPECT_EQ(pageForUrl("KERNOVA-PREFS:/url%20templates"), SettingsPage::schemes);
    EXPECT_EQ(pageForUrl("kernova-prefs:/History%20and%20search/"), SettingsPage::history);
    EXPECT_EQ(pageForUrl("kernova-prefs:/Nowhere"), SettingsPage::general);
    EXPECT_EQ(pageForUrl("kernova-prefs:ocr"), SettingsPage::ocr);
    EXPECT_EQ(pageForUrl("https://example.org/Translation"), SettingsPage::general);
    EXPECT_EQ(pageForUrl(""), SettingsPage::general);
}

// On the private session bus: a save's notification leaves, and a second
// window hands its page to the first.
class PrefsBusTest : public PrefsWindowTest {};

TEST_F(PrefsBusTest, ASaveReachesTheBus) {
    QDBusConnection observerBus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, "observer");
    desktop::DBusSystemNotifications observer(observerBus);
    ASSERT_TRUE(observer.listening());
    int seen = 0;
    int owner = 0;
    observer.observe(kReloadPreferencesNotification, &owner, [&] { ++seen; });
    ASSERT_TRUE(observer.sync());

    auto window = open([] { announceReload(QDBusConnection::sessionBus()); });
    window->setFieldText("fontSize", "30");
    window->setLanguages({"de"});
    ASSERT_TRUE(window->save());
    EXPECT_TRUE(waitFor([&] { return seen == 1; }));
}

TEST_F(PrefsBusTest, ASecondStartRaisesTheFirstAtItsPage) {
    auto window = open();
    PreferencesService service(*window);
    QDBusConnection first = QDBusConnection::sessionBus();
    ASSERT_EQ(claimInstance(first, "kernova-prefs:/General"), InstanceClaim::first);
    service.serve(first);
    QDBusConnection second = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "second");
    EXPECT_EQ(claimInstance(second, "kernova-prefs:/OCR"), InstanceClaim::handedOver);
    EXPECT_EQ(window->currentPage(), SettingsPage::ocr);
    EXPECT_TRUE(window->isVisible());
    first.unregisterService(kPreferencesService);
    first.unregisterObject(kPreferencesPath);
}

}  // namespace
}  // namespace kernova::prefs

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    kernova::testing::usePrivateEnvironment(prefs);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
