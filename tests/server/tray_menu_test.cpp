// The tray menu and the first run on the simulated device: the master switch
// written into the settings file (other keys kept) and followed by the next
// request, each item's request reaching the server's handlers, and the
// preferences opened only for an autostarted first run.
#include "server/tray_menu.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "server/first_run.h"
#include "server_fixture.h"

namespace kernova::testing {
namespace {

class TrayMenuTest : public ServerFixture {
  protected:
    TrayMenuTest() {
        set("style", Value(std::int64_t{2}));
        device.runUntilIdle();
    }
    bool checked() { return menu.items().front().checked; }
    std::string lastOutcome() { return theServer.recentMessages().back().outcome; }

    int quits = 0;
    TrayMenu menu{server.context(), {&theServer.loopback(), &host, "kernova", [this] { ++quits; }}};
};

TEST_F(TrayMenuTest, TheMasterSwitchWritesTheFileKeepsOtherKeysAndTheNextRequestFollowsIt) {
    ASSERT_TRUE(checked());
    ASSERT_TRUE(menu.trigger(TrayMenu::kEnabled));
    device.runUntilIdle();
    SettingsSnapshot file = readSettings(server.context());
    EXPECT_FALSE(file.get(settings_key::kEnabled));
    EXPECT_EQ(file.get(settings_key::kStyle), 2);
    EXPECT_FALSE(checked());
    splodeSelection("words");
    EXPECT_EQ(theServer.panel(), nullptr);
    EXPECT_EQ(toasts().back(), "Please turn on tweak switch to use it!");

    ASSERT_TRUE(menu.trigger(TrayMenu::kEnabled));
    device.runUntilIdle();
    EXPECT_TRUE(checked());
    splodeSelection("words");
    EXPECT_NE(theServer.panel(), nullptr);
}

TEST_F(TrayMenuTest, ItemsSendTheirRequestsThroughTheServersHandlers) {
    std::vector<std::string> titles;
    for (const TrayMenu::Item& item : menu.items())
        titles.push_back(item.title);
    EXPECT_EQ(titles, (std::vector<std::string>{"Enabled", "Split clipboard", "OCR screen region",
                                                "History", "Preferences…", "Quit"}));

    // The clipboard, even while the application in front is not an enabled one.
    driver.writeClipboard(app, "copied");
    driver.setFrontmostApplication("org.example.NotEnabled");
    menu.trigger(TrayMenu::kSplitClipboard);
    device.runUntilIdle();
    EXPECT_EQ(theServer.recentMessages().back().name, "notifySplode");
    EXPECT_EQ(lastOutcome().rfind("panel opened", 0), 0u) << lastOutcome();
    theServer.panel()->hide();
    device.advance(1);

    menu.trigger(TrayMenu::kHistory);
    device.runUntilIdle();
    EXPECT_EQ(lastOutcome(), "history shown");

    menu.trigger(TrayMenu::kOcrScreen);
    device.runUntilIdle();
    EXPECT_EQ(theServer.recentMessages().back().name, "doOCR");
    EXPECT_EQ(theServer.recentMessages().back().keys, std::optional<std::size_t>(1));

    menu.trigger(TrayMenu::kPreferences);
    device.runUntilIdle();
    EXPECT_EQ(host.launches().back(), (std::vector<std::string>{"kernova", "prefs"}));

    EXPECT_FALSE(menu.trigger("openPrefs"));
    EXPECT_EQ(quits, 0);
    menu.trigger(TrayMenu::kQuit);
    EXPECT_EQ(quits, 1);
}

TEST_F(TrayMenuTest, OnlyAnAutostartWithoutSettingsOpensThePreferencesAndNothingIsWritten) {
    EXPECT_FALSE(openPreferencesOnFirstRun(server.context(), host, "kernova", true));
    std::filesystem::remove(server.context().paths().settingsFile());
    EXPECT_FALSE(openPreferencesOnFirstRun(server.context(), host, "kernova", false));
    device.runUntilIdle();
    EXPECT_TRUE(host.launches().empty());

    EXPECT_TRUE(openPreferencesOnFirstRun(server.context(), host, "/opt/k/kernova", true));
    device.runUntilIdle();
    EXPECT_EQ(host.launches(),
              (std::vector<std::vector<std::string>>{
                  {"/opt/k/kernova", "prefs", "--first-run", "kernova-prefs:/General"}}));
    EXPECT_FALSE(std::filesystem::exists(server.context().paths().settingsFile()));
}

}  // namespace
}  // namespace kernova::testing
