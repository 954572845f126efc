// The tray menu on the simulated device: each item's request reaches the
// server's handlers (the master switch and the first run are proven through
// kernovad in tests/desktop/tray_e2e_test.cpp).
#include "server/tray_menu.h"

#include "server_fixture.h"

namespace kernova::testing {
namespace {

class TrayMenuTest : public ServerFixture {
  protected:
    std::string lastOutcome() { return theServer.recentMessages().back().outcome; }

    int quits = 0;
    TrayMenu menu{server.context(), {&theServer.loopback(), &host, "kernova", [this] { ++quits; }}};
};

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

}  // namespace
}  // namespace kernova::testing
