// The platform services as the driver plays the user's part on them.
#include <gtest/gtest.h>

#include <memory>

#include "sim/device.h"
#include "sim/driver.h"
#include "ui/alert.h"
#include "ui/web_view.h"

namespace kernova::sim {
namespace {

class ServicesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        window = std::make_shared<ui::Window>(driver.application(), ui::Rect(0, 0, 375, 667));
        root = std::make_shared<ui::ViewController>();
        window->setRootViewController(root);
        window->makeKeyAndVisible();
    }

    Device device;
    Driver driver{device};
    std::shared_ptr<ui::Window> window;
    std::shared_ptr<ui::ViewController> root;
};

TEST_F(ServicesTest, AlertActionsAndTextFieldsAreDrivenByTitle) {
    auto alert = ui::AlertController::alertControllerWithTitle("Translation result", "hello",
                                                               ui::AlertControllerStyle::alert);
    std::string picked;
    alert->addTextFieldWithConfigurationHandler([](ui::TextField&) {});
    alert->addAction(ui::AlertAction::actionWithTitle(
        "Copy", ui::AlertActionStyle::defaultStyle,
        [&](ui::AlertAction&) { picked = "Copy:" + alert->textFields()[0]->text(); }));
    alert->addAction(ui::AlertAction::actionWithTitle("Cancel", ui::AlertActionStyle::cancel));
    root->presentViewController(alert, true);
    driver.runUntilIdle();

    ASSERT_EQ(driver.presentedControllers().size(), 1u);
    EXPECT_EQ(driver.topAlert(), alert);
    EXPECT_TRUE(driver.fillTextField(0, "typed"));
    EXPECT_FALSE(driver.fillTextField(1, "none"));
    EXPECT_FALSE(driver.tapAlertAction("Missing"));
    EXPECT_TRUE(driver.tapAlertAction("Copy"));
    EXPECT_EQ(picked, "Copy:typed");
    EXPECT_TRUE(driver.presentedControllers().empty());
    EXPECT_EQ(device.server().services().presenter().history().size(), 1u);
    EXPECT_EQ(driver.topAlert(), nullptr);
}

class RecordingNavigation final : public ui::WebViewNavigationDelegate,
                                  public ui::WebViewUIDelegate {
  public:
    void didFinishNavigation(ui::WebView&) override { events.push_back("finish"); }
    void didFailNavigation(ui::WebView&, const std::string& error) override {
        events.push_back("fail:" + error);
    }
    std::shared_ptr<ui::WebView> createWebViewWithConfiguration(
        ui::WebView& webView, const ui::WebViewConfiguration&,
        const ui::NavigationAction& action) override {
        events.push_back("new:" + action.requestURL);
        webView.loadRequest(action.requestURL);
        return nullptr;
    }
    std::vector<std::string> events;
};

TEST_F(ServicesTest, WebViewLoadsAreRecordedAndFinishedByTheDriver) {
    RecordingNavigation delegate;
    auto web = std::make_shared<ui::WebView>(driver.application(), ui::Rect(0, 0, 375, 600),
                                             ui::WebViewConfiguration{});
    web->setNavigationDelegate(&delegate);
    web->setUIDelegate(&delegate);
    web->loadRequest("https://example.com/a");
    EXPECT_TRUE(web->isLoading());
    ASSERT_NE(driver.webView(), nullptr);
    EXPECT_EQ(driver.webView()->loads(), std::vector<std::string>{"https://example.com/a"});
    EXPECT_TRUE(driver.finishLoading());
    EXPECT_TRUE(driver.failLoading("offline"));
    driver.openNewWindow("https://example.com/b");
    std::vector<std::string> expected{"finish", "fail:offline", "new:https://example.com/b"};
    EXPECT_EQ(delegate.events, expected);
    EXPECT_EQ(driver.webView()->loads().back(), "https://example.com/b");
    web.reset();
    EXPECT_EQ(driver.webView(), nullptr);
    EXPECT_FALSE(driver.finishLoading());
}

// What the product tests do not reach: a dismissed keyboard types nothing,
// and refused URLs are kept.
TEST_F(ServicesTest, SmallServicesRecordWhatWasAsked) {
    const ui::Platform& platform = driver.application().platform();
    platform.keyboard.insertText("word");
    platform.keyboard.dismiss();
    platform.keyboard.insertText("lost");
    EXPECT_EQ(device.services().keyboard.insertedTexts(), std::vector<std::string>{"word"});

    EXPECT_TRUE(driver.application().openURL("https://example.com"));
    EXPECT_FALSE(driver.application().openURL("weixin://"));
    device.server().services().urlOpener().installScheme("weixin");
    EXPECT_TRUE(driver.application().canOpenURL("WEIXIN://x"));
    EXPECT_EQ(device.server().services().urlOpener().refusedURLs(),
              std::vector<std::string>{"weixin://"});
}

TEST_F(ServicesTest, FrontmostAppAndClipboardReachEveryProcess) {
    SimProcess& notes = device.launchApp("com.example.notes");
    notes.application();
    driver.setFrontmostApplication("com.example.notes");
    EXPECT_EQ(driver.application().frontmostApplicationIdentifier(), "com.example.notes");
    EXPECT_EQ(notes.application().frontmostApplicationIdentifier(), "com.example.notes");
    // An application made later starts with what is in front now.
    EXPECT_EQ(device.launchApp("com.example.late").application().frontmostApplicationIdentifier(),
              "com.example.notes");

    int serverSaw = 0;
    device.server().context().notifications().addObserver(
        ui::kPasteboardChangedNotification, nullptr, [&](const Notification&) { ++serverSaw; });
    driver.writeClipboard(notes, "copied in notes");
    EXPECT_EQ(serverSaw, 1);
    EXPECT_EQ(device.pasteboard().string(), "copied in notes");
}

}  // namespace
}  // namespace kernova::sim
