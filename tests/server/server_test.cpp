// The server on the simulated device: the message table, the gates of
// "notifySplode" (master switch, re-entry flags, caller, text), the clipboard
// read that finishes the request later, the board's notices, the live
// settings, and what the log and the message records keep.
#include "server/server.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board/tag_flow_cell.h"
#include "panel/board_overlay.h"
#include "server/message_names.h"
#include "server/settings.h"
#include "sim/device.h"
#include "sim/driver.h"
#include "sim/sim_server_host.h"
#include "ui/alert.h"

namespace kernova::testing {
namespace {

constexpr const char* kApp = "org.example.Editor";
constexpr const char* kSwitchedOff = "Please turn on tweak switch to use it!";
constexpr const char* kNoText = "There is no text in the pasteboard, so copy the text to use it!";

class ServerTest : public ::testing::Test {
  protected:
    ServerTest() {
        server.context().log().setLevel(LogLevel::info);
        server.context().log().setSink(
            [this](LogLevel, std::string_view line) { logLines.emplace_back(line); });
        savePropertyList(server.context().paths().enabledAppsFile(),
                         Value(Dictionary{{"Enabled", Value(Array{Value(kApp)})}}));
        setSwitch(true, false);
        theServer.start();
        driver.setFrontmostApplication(kApp);
    }

    // Writes "enabled" and, when asked, posts the reload notification.
    void setSwitch(bool on, bool announce) {
        updateSettings(server.context(), [on](Dictionary& d) { d["enabled"] = Value(on); });
        if (announce) app.systemNotifications().post(kReloadPreferencesNotification);
        device.runUntilIdle();
    }
    void splodeSelection(const std::string& text) {
        app.messageSender().sendMessageName(
            "notifySplode",
            Value(Dictionary{{"callFromResponder", Value(true)}, {"selection", Value(text)}}));
        device.runUntilIdle();
    }
    std::vector<std::string> toasts() {
        std::vector<std::string> titles;
        for (const auto& shown : server.services().presenter().history()) {
            if (auto* alert = dynamic_cast<ui::AlertController*>(shown.controller.get()))
                titles.push_back(alert->title().value_or(""));
        }
        return titles;
    }
    std::vector<std::string> tags() {
        std::vector<std::string> texts;
        if (!theServer.board()) return texts;
        for (const auto& tag : theServer.board()->tagStates())
            texts.push_back(tag.text);
        return texts;
    }
    const Server::MessageRecord& last() { return theServer.recentMessages().back(); }

    sim::Device device;
    sim::Driver driver{device};
    sim::SimProcess& server = device.server();
    sim::SimProcess& app = device.launchApp(kApp);
    sim::SimServerHost host{device};
    Server theServer{server.context(), device.messageCenter(), host};
    std::vector<std::string> logLines;
};

TEST_F(ServerTest, RegistersTheTableInOrderAndKeepsOnlyNamesSizesAndOutcomes) {
    std::vector<std::string> table(kMessageTable.begin(), kMessageTable.end());
    EXPECT_EQ(device.messageCenter().registeredNames(), table);

    splodeSelection("secret words");
    ASSERT_NE(theServer.board(), nullptr);
    EXPECT_EQ(last().name, "notifySplode");
    EXPECT_EQ(last().keys, 2u);
    EXPECT_EQ(last().outcome.rfind("board opened: 3 tags", 0), 0u) << last().outcome;

    app.messageSender().sendMessageName("doOCR", Value(Dictionary{{"image", Value("secret")}}));
    app.messageSender().sendMessageName("copyText");
    app.messageSender().sendMessageName("noSuchMessage", Value(Dictionary{}));
    device.runUntilIdle();
    const auto& recent = theServer.recentMessages();
    ASSERT_EQ(recent.size(), 4u);
    EXPECT_EQ(recent[1].outcome.rfind("not available yet", 0), 0u);
    EXPECT_FALSE(recent[2].keys.has_value());
    EXPECT_EQ(recent[3].name, "noSuchMessage");
    EXPECT_EQ(recent[3].outcome.rfind("dropped", 0), 0u);
    for (const std::string& line : logLines)
        EXPECT_EQ(line.find("secret"), std::string::npos) << line;
    EXPECT_GE(logLines.size(), 4u);

    for (int i = 0; i < 150; ++i)
        app.messageSender().sendMessageName("showRunning", Value(Dictionary{}));
    device.runUntilIdle();
    EXPECT_EQ(theServer.recentMessages().size(), Server::kRecentMessageLimit);
    EXPECT_EQ(theServer.receivedCount(), 154u);
}

TEST_F(ServerTest, TheMasterSwitchIsReadAgainOnTheNotificationAndOnAFileChange) {
    setSwitch(false, true);
    splodeSelection("words");
    EXPECT_EQ(theServer.board(), nullptr);
    EXPECT_EQ(toasts(), std::vector<std::string>{kSwitchedOff});
    EXPECT_EQ(last().outcome.rfind("refused", 0), 0u);

    setSwitch(true, true);
    splodeSelection("words");
    ASSERT_NE(theServer.board(), nullptr);
    theServer.board()->close();
    device.runUntilIdle();
    EXPECT_EQ(theServer.board(), nullptr);

    // Written without the notification: the folder watch picks it up.
    setSwitch(false, false);
    host.settingsFolderChanged();
    device.runUntilIdle();
    splodeSelection("words");
    EXPECT_EQ(theServer.board(), nullptr);
    EXPECT_EQ(toasts().size(), 2u);
}

TEST_F(ServerTest, OneBoardAtATimeAndTheEmptySelectionToast) {
    int hideRunning = 0;
    server.context().notifications().addObserver(kHideRunningNotification, &hideRunning,
                                                 [&](const Notification&) { ++hideRunning; });
    driver.writeClipboard(app, "clipboard text");
    splodeSelection("");
    EXPECT_EQ(theServer.board(), nullptr);
    EXPECT_EQ(toasts(), std::vector<std::string>{kNoText}) << "the clipboard is not used";
    device.advance(1);

    splodeSelection("first board");
    ASSERT_NE(theServer.board(), nullptr);
    EXPECT_TRUE(theServer.flags().popSplode);
    splodeSelection("second board");
    EXPECT_EQ(tags(), (std::vector<std::string>{"first", " ", "board"}));
    EXPECT_EQ(last().outcome, "dropped: a board is already shown");

    EXPECT_EQ(hideRunning, 3) << "every request first hides the running indicator";

    EXPECT_TRUE(driver.key(ui::KeyEvent{ui::Key::escape, {}}));
    device.runUntilIdle();
    EXPECT_FALSE(theServer.flags().popSplode);
    splodeSelection("second board");
    EXPECT_EQ(tags(), (std::vector<std::string>{"second", " ", "board"}));
    server.context().notifications().removeObservers(&hideRunning);
}

TEST_F(ServerTest, TheClipboardIsReadAsynchronouslyAndAFurtherRequestMeanwhileIsDropped) {
    host.setSelectionDelay(0.3);
    driver.writeClipboard(app, "copied words");
    app.messageSender().sendMessageName("notifySplode");
    device.runUntilIdle();
    EXPECT_EQ(theServer.board(), nullptr);
    EXPECT_EQ(last().outcome, "waiting for the clipboard");

    app.messageSender().sendMessageName(
        "notifySplode",
        Value(Dictionary{{"callFromResponder", Value(true)}, {"selection", Value("other")}}));
    device.advance(0.1);
    EXPECT_EQ(last().outcome, "dropped: a clipboard read is in flight");

    device.advance(0.3);
    EXPECT_EQ(tags(), (std::vector<std::string>{"copied", " ", "words"}));
    EXPECT_EQ(host.selectionReads(), 1u);
    EXPECT_EQ(theServer.recentMessages().front().outcome.rfind("board opened", 0), 0u);
}

TEST_F(ServerTest, TheCallerDecidesWhetherTheApplicationInFrontMustBeEnabled) {
    driver.writeClipboard(app, "copied");
    driver.setFrontmostApplication("org.example.NotEnabled");
    app.messageSender().sendMessageName("notifySplode");
    device.runUntilIdle();
    EXPECT_EQ(last().outcome, "dropped: the application in front is not enabled");
    EXPECT_EQ(host.selectionReads(), 0u);

    app.messageSender().sendMessageName(
        "notifySplode",
        Value(Dictionary{{"callFromCC", Value(true)}, {"selection", Value("ignored")}}));
    device.runUntilIdle();
    EXPECT_EQ(tags(), std::vector<std::string>{"copied"}) << "callFromCC takes the clipboard";
}

TEST_F(ServerTest, TheSystemsOwnClipboardWriteRaisesNothingForHalfASecond) {
    theServer.noteOwnClipboardWrite();
    splodeSelection("words");
    EXPECT_EQ(last().outcome, "dropped: the system's own clipboard write");
    device.advance(Server::kOwnWriteSeconds);
    splodeSelection("words");
    EXPECT_NE(theServer.board(), nullptr);
}

TEST_F(ServerTest, TheBoardsNoticesParkAndRestoreIt) {
    splodeSelection("edit me");
    BoardOverlay* board = theServer.board();
    ASSERT_NE(board, nullptr);
    server.context().notifications().post(kHideNotification);
    EXPECT_TRUE(board->isParked());
    EXPECT_TRUE(board->window().isHidden());
    splodeSelection("another");
    EXPECT_EQ(theServer.board(), board) << "a parked board is still open";

    board->board().flowDatas()[0]->setText("edited");
    server.context().notifications().post(kNotifyReloadNotification);
    device.runUntilIdle();
    EXPECT_FALSE(board->isParked());
    EXPECT_FALSE(board->window().isHidden());
    EXPECT_EQ(tags().front(), "edited");
}

TEST_F(ServerTest, UrlsTextAndSharingGoThroughTheHost) {
    app.messageSender().sendMessageName(
        "openUrl", Value(Dictionary{{"schemeToOpen", Value("https://example.org/")}}));
    app.messageSender().sendMessageName("openUrl");
    app.messageSender().sendMessageName("insertText", Value(Dictionary{{"text", Value("typed")}}));
    app.messageSender().sendMessageName("shareText",
                                        Value(Dictionary{{"shareText", Value("shared")}}));
    device.runUntilIdle();
    EXPECT_EQ(server.services().urlOpener().openedURLs(),
              std::vector<std::string>{"https://example.org/"});
    EXPECT_EQ(device.services().keyboard.insertedTexts(), std::vector<std::string>{"typed"});
    EXPECT_EQ(host.sharedTexts(), std::vector<std::string>{"shared"});
    EXPECT_EQ(theServer.recentMessages()[1].outcome, "ignored: no dictionary");
}

}  // namespace
}  // namespace kernova::testing
