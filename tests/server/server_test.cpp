// The server on the simulated device: the message table, the gates of
// "notifySplode" (master switch, re-entry flags, caller, text, style, image),
// the clipboard read that finishes the request later, the other handlers, the
// live settings, and what the log and the message records keep.

#include "board/tag_flow_cell.h"
#include "panel/history.h"
#include "segment/splode_box.h"
#include "server/message_names.h"
#include "server/server_fixture.h"
#include "server/tag_feed.h"
#include "sim/sim_http_client.h"
#include "support/base64_categories.h"

namespace kernova::testing {
namespace {

constexpr const char* kSwitchedOff = "Please turn on tweak switch to use it!";
constexpr const char* kNoText = "There is no text in the pasteboard, so copy the text to use it!";

class ServerTest : public ServerFixture {
  protected:
    // Writes "enabled" and, when asked, posts the reload notification.
    void setSwitch(bool on, bool announce) {
        updateSettings(server.context(), [on](Dictionary& d) { d["enabled"] = Value(on); });
        if (announce) app.systemNotifications().post(kReloadPreferencesNotification);
        device.runUntilIdle();
    }
    std::vector<std::string> tags() {
        std::vector<std::string> texts;
        if (!theServer.panel()) return texts;
        for (const auto& tag : tagStatesOf(*theServer.panel()->flowView()))
            texts.push_back(tag.text);
        return texts;
    }
    const Server::MessageRecord& last() { return theServer.recentMessages().back(); }
};

// The table served, each message's record in the log without its text, and
// unknown names dropped are proven through kernovad; here the records' bound.
TEST_F(ServerTest, RegistersTheTableInOrderAndKeepsABoundedRecord) {
    std::vector<std::string> table(kMessageTable.begin(), kMessageTable.end());
    EXPECT_EQ(device.messageCenter().registeredNames(), table);
    splodeSelection("secret words");
    EXPECT_EQ(last().keys, 2u);
    expectNotInTheLog("secret");
    for (int i = 0; i < 150; ++i)
        send("copyText");
    EXPECT_EQ(theServer.recentMessages().size(), Server::kRecentMessageLimit);
    EXPECT_FALSE(last().keys.has_value());
    EXPECT_EQ(theServer.receivedCount(), 151u);
}

TEST_F(ServerTest, TheMasterSwitchIsReadAgainOnTheNotificationAndOnAFileChange) {
    setSwitch(false, true);
    splodeSelection("words");
    EXPECT_EQ(theServer.panel(), nullptr);
    EXPECT_EQ(toasts(), std::vector<std::string>{kSwitchedOff});
    EXPECT_EQ(last().outcome.rfind("refused", 0), 0u);

    setSwitch(true, true);
    splodeSelection("words");
    ASSERT_NE(theServer.panel(), nullptr);
    closePanel();
    EXPECT_EQ(theServer.panel(), nullptr);

    // Written without the notification: the folder watch picks it up.
    setSwitch(false, false);
    host.settingsFolderChanged();
    device.runUntilIdle();
    splodeSelection("words");
    EXPECT_EQ(theServer.panel(), nullptr);
    EXPECT_EQ(toasts().size(), 2u);
}

TEST_F(ServerTest, OnePanelAtATimeAndTheEmptySelectionToast) {
    int hideRunning = 0;
    server.context().notifications().addObserver(kHideRunningNotification, &hideRunning,
                                                 [&](const Notification&) { ++hideRunning; });
    driver.writeClipboard(app, "clipboard text");
    splodeSelection("");
    EXPECT_EQ(theServer.panel(), nullptr);
    EXPECT_EQ(toasts(), std::vector<std::string>{kNoText}) << "the clipboard is not used";
    device.advance(1);

    splodeSelection("first panel");
    ASSERT_NE(theServer.panel(), nullptr);
    EXPECT_TRUE(theServer.flags().popSplode);
    splodeSelection("second panel");
    EXPECT_EQ(last().outcome, "dropped: a panel has just popped up");
    device.advance(ServerFlags::kPopSeconds);
    EXPECT_FALSE(theServer.flags().popSplode);
    splodeSelection("second panel");
    EXPECT_EQ(last().outcome, "dropped: a panel is already shown");
    EXPECT_EQ(tags(), (std::vector<std::string>{"first", " ", "panel"}));

    EXPECT_EQ(hideRunning, 4) << "every request first hides the running indicator";

    EXPECT_TRUE(driver.key(ui::KeyEvent{ui::Key::escape, {}, false}));
    device.advance(0.1);
    EXPECT_EQ(theServer.panel(), nullptr) << "a hidden panel is let go";
    splodeSelection("second panel");
    EXPECT_EQ(tags(), (std::vector<std::string>{"second", " ", "panel"}));
    server.context().notifications().removeObservers(&hideRunning);
}

// About 200 KB of lines of mixed English and Chinese, each line different,
// sent one turn of the loop at a time.
class LargeTextTest : public ServerTest {
  protected:
    LargeTextTest() {
        for (int line = 0; text.size() < 200 * 1024; ++line)
            text += "Line " + std::to_string(line) + " of the big text, 文字 " +
                    std::to_string(line * 7) + " 在这里 and more words.\n";
    }
    // Sends the text and runs turns until the panel shows; returns the turns.
    int openBig() {
        app.messageSender().sendMessageName(
            "notifySplode",
            Value(Dictionary{{"callFromResponder", Value(true)}, {"selection", Value(text)}}));
        int turns = 0;
        while (!(theServer.panel() && theServer.panel()->isShown()) && turns < 50 && clock.runOne())
            ++turns;
        EXPECT_TRUE(theServer.panel() && theServer.panel()->isShown() && !feedComplete());
        return turns;
    }
    bool feedComplete() { return !theServer.feed() || theServer.feed()->complete(); }
    // The key itself, on this turn (the driver's key runs every turn before it).
    bool key(ui::Key which, const char* letter = "", bool control = false) {
        const bool handled =
            server.application().handleKey(ui::KeyEvent{which, letter, control, false});
        device.runUntilIdle();
        return handled;
    }
    std::string text;
    VirtualClock& clock = device.clock();
};

TEST_F(LargeTextTest, ArrivesInSlicesBetweenOtherWorkAndEscapeStopsIt) {
    std::vector<std::string> expected;
    for (const GSplodeItem& segment : GSplodeBox::splode(text, server.context().locale()))
        expected.push_back(segment.text);

    // The panel shows after a few turns with the first screen's tags.
    EXPECT_LE(openBig(), 10);
    EXPECT_EQ(last().outcome.rfind("panel opening: ", 0), 0u) << last().outcome;
    GTagFlowView& board = *theServer.panel()->flowView();
    server.application().layoutIfNeeded();
    EXPECT_GT(board.flowDatas().size(), 100u);
    EXPECT_LE(board.flowDatas().size(), TagFeed::kSliceTags);
    auto* layout = dynamic_cast<GTagCollectionViewLayout*>(
        board.collectionView()->collectionViewLayout().get());
    ASSERT_NE(layout, nullptr);
    EXPECT_GT(layout->arrayItemAtts().back().frame.maxY(), board.bounds().height())
        << "the first slice fills the first screen";

    // A message sent meanwhile is answered between two slices.
    app.messageSender().sendMessageName("openURL",
                                        Value(Dictionary{{"schemeToOpen", Value("https://a.b")}}));
    for (int turn = 0; turn < 8 && last().name != "openURL"; ++turn)
        clock.runOne();
    EXPECT_EQ(last().name, "openURL");
    EXPECT_FALSE(feedComplete()) << "tags were still arriving";

    // Every tag arrives, laid out by appending; the history gets the whole text.
    for (int turn = 0; turn < 10000 && !feedComplete(); ++turn)
        clock.runOne();
    ASSERT_TRUE(feedComplete());
    server.application().layoutIfNeeded();
    EXPECT_EQ(tags(), expected);
    EXPECT_GT(layout->appendPassCount(), 0u);
    device.advance(GTagFlowContainer::kShowSeconds);
    ASSERT_FALSE(loadHistory(server.context()).empty());
    EXPECT_EQ(loadHistory(server.context()).front().size(), text.size());
    EXPECT_TRUE(key(ui::Key::escape));
    device.advance(1);

    // Escape while tags arrive stops the work: nothing runs afterwards.
    openBig();
    std::shared_ptr<GTagFlowView> closed = theServer.panel()->flowView();
    const std::size_t arrived = closed->flowDatas().size();
    EXPECT_TRUE(key(ui::Key::escape));
    EXPECT_LE(closed->flowDatas().size(), arrived + TagFeed::kSliceTags)
        << "at most the slice under way when the panel closed";
    device.advance(1);
    EXPECT_EQ(theServer.panel(), nullptr);
    EXPECT_EQ(theServer.feed(), nullptr);
    EXPECT_EQ(clock.pendingCount(), 0u);
}

TEST_F(LargeTextTest, PicksAreCopiedAtOnceAndNothingPickedWaitsForTheWholeText) {
    openBig();
    GTagFlowView* board = theServer.panel()->flowView().get();
    board->didSelectItemAtIndexPath(*board->collectionView(), ui::IndexPath{0, 2});
    const std::string picked = board->flowDatas()[2]->text();
    const std::size_t arrived = board->flowDatas().size();
    EXPECT_TRUE(key(ui::Key::other, "c", true));
    EXPECT_LE(board->flowDatas().size(), arrived + TagFeed::kSliceTags) << "no waiting";
    EXPECT_EQ(device.pasteboard().string(), picked);
    device.advance(1);
    EXPECT_EQ(clock.pendingCount(), 0u);

    // Nothing picked, or everything: Copy takes the whole text. Select all
    // picks the tags that arrive after it too.
    for (bool selectAll : {false, true}) {
        openBig();
        board = theServer.panel()->flowView().get();
        if (selectAll) {
            EXPECT_TRUE(key(ui::Key::other, "a", true));
            EXPECT_EQ(board->selectItems().size(), board->flowDatas().size());
        }
        EXPECT_TRUE(key(ui::Key::other, "c", true));
        EXPECT_EQ(device.pasteboard().string(), text);
        EXPECT_EQ(board->selectItems().size(), selectAll ? board->flowDatas().size() : 0u);
        device.advance(1);
    }
}

TEST_F(ServerTest, TheClipboardIsReadAsynchronouslyAndAFurtherRequestMeanwhileIsDropped) {
    host.setSelectionDelay(0.3);
    driver.writeClipboard(app, "copied words");
    send("notifySplode");
    EXPECT_EQ(theServer.panel(), nullptr);
    EXPECT_EQ(last().outcome, "waiting for the clipboard");

    splodeSelection("other");
    device.advance(0.1);
    EXPECT_EQ(last().outcome, "dropped: a clipboard read is in flight");

    device.advance(0.3);
    EXPECT_EQ(tags(), (std::vector<std::string>{"copied", " ", "words"}));
    EXPECT_EQ(host.selectionReads(), 1u);
    EXPECT_EQ(theServer.recentMessages().front().outcome.rfind("panel opened", 0), 0u);
}

TEST_F(ServerTest, TheCallerDecidesWhetherTheApplicationInFrontMustBeEnabled) {
    driver.writeClipboard(app, "copied");
    driver.setFrontmostApplication("org.example.NotEnabled");
    send("notifySplode");
    EXPECT_EQ(last().outcome, "dropped: the application in front is not enabled");
    EXPECT_EQ(host.selectionReads(), 0u);

    send("notifySplode",
         Value(Dictionary{{"callFromCC", Value(true)}, {"selection", Value("ignored")}}));
    EXPECT_EQ(tags(), std::vector<std::string>{"copied"}) << "callFromCC takes the clipboard";
}

TEST_F(ServerTest, StylesColourTheTagsAndAnUnknownStyleShowsAnEmptyPanel) {
    for (std::int64_t style : {0, 1, 2, 3}) {
        SCOPED_TRACE(style);
        set("style", Value(style));
        splodeSelection("word, end");
        ASSERT_NE(theServer.panel(), nullptr);
        const auto& items = theServer.panel()->flowView()->flowDatas();
        ASSERT_EQ(items.size(), style == 3 ? 0u : 4u);  // "word" "," " " "end"
        if (style != 3) {
            const GTagFlowAppearance& word = *items[0]->appearance();
            const GTagFlowAppearance& comma = *items[1]->appearance();
            EXPECT_EQ(&word == &comma, style != 2) << "style 2 greys the punctuation";
            EXPECT_NE(word.backgroundColor == comma.backgroundColor, style == 2);
            EXPECT_EQ(word.selectTextColor == (ui::Color{1, 0, 0, 1}), style == 1)
                << "style 1 picks in red";
        }
        closePanel();
    }
}

TEST_F(ServerTest, AnImageGoesToThePanelAndUnreadableOnesAreLeftOut) {
    // Line breaks and other characters outside the alphabet are skipped.
    const std::string base64 = pngBase64(4, 2, 0xff00ff00u).insert(4, "\n*");
    for (const std::string& image : {base64, std::string("not an image")}) {
        splodeSelection("seen", {{"image", Value(image)}});
        ASSERT_NE(theServer.panel(), nullptr);
        const auto& shown = theServer.panel()->image();
        EXPECT_EQ(shown ? shown->size().width : 0, image == base64 ? 4 : 0);
        closePanel();
    }
}

TEST_F(ServerTest, ThePanelsNoticesParkAndRestoreIt) {
    splodeSelection("edit me");
    GTagFlowContainer* panel = theServer.panel();
    ASSERT_NE(panel, nullptr);
    server.context().notifications().post(kHideNotification);
    EXPECT_EQ(panel->state(), GTagFlowContainer::State::parked);
    EXPECT_TRUE(panel->keyWindow()->isHidden());

    panel->flowView()->flowDatas()[0]->setText("edited");
    server.context().notifications().post(kNotifyReloadNotification);
    device.runUntilIdle();
    EXPECT_TRUE(panel->isShown());
    EXPECT_EQ(tags().front(), "edited");
}

TEST_F(ServerTest, TheOtherHandlers) {
    // A part of the translation result the user selected and copied in the
    // dialog: the system's own write, and the dialog stays until Cancel.
    send("alertTrans", Value(Dictionary{{"transResult", Value("bonjour le monde")}}));
    auto result = driver.topAlert();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->copyActionIndex(), 0u);
    EXPECT_FALSE(result->copySelection(""));
    EXPECT_FALSE(theServer.flags().usingSplode);
    EXPECT_TRUE(result->copySelection("le monde"));
    EXPECT_EQ(device.pasteboard().string(), "le monde");
    splodeSelection("le monde");
    EXPECT_EQ(last().outcome, "dropped: the system's own clipboard write");
    EXPECT_EQ(driver.topAlert(), result);
    device.advance(ServerFlags::kOwnWriteSeconds);
    EXPECT_FALSE(theServer.flags().usingSplode);
    EXPECT_TRUE(driver.tapAlertAction("Cancel"));
    device.runUntilIdle();
    EXPECT_TRUE(reportScreen(server.application()).alerts.empty());
    EXPECT_EQ(device.pasteboard().string(), "le monde");

    // The floating button's flag: set by the first "popButton", cleared 2.5 s
    // after every one.
    send("popButton");
    EXPECT_TRUE(theServer.flags().showing);
    device.advance(1);
    app.messageSender().sendMessageName("popButton");
    device.advance(1.6);
    EXPECT_FALSE(theServer.flags().showing);
}

TEST_F(ServerTest, OpenPrefsStartsThePreferencesForTheirUrlsAndHandsOtherUrlsOn) {
    for (const char* path : {"kernova-prefs:/Translation", "KERNOVA-PREFS:/Nowhere", "",
                             "https://example.org/?q=1", "prefs:root"})
        send("openPrefs", Value(*path ? Dictionary{{"prefsPath", Value(path)}} : Dictionary{}));
    send("openPrefs");
    EXPECT_EQ(host.launches(), (std::vector<std::vector<std::string>>{
                                   {"kernova", "prefs", "kernova-prefs:/Translation"},
                                   {"kernova", "prefs", "KERNOVA-PREFS:/Nowhere"},
                                   {"kernova", "prefs", "kernova-prefs:/General"}}));
    EXPECT_EQ(server.services().urlOpener().openedURLs(),
              std::vector<std::string>{"https://example.org/?q=1"});
    EXPECT_EQ(server.services().urlOpener().refusedURLs(), std::vector<std::string>{"prefs:root"});
    EXPECT_EQ(last().outcome, "ignored: no dictionary");
}

TEST_F(ServerTest, UrlsAndTextGoThroughTheHost) {
    app.messageSender().sendMessageName(
        "openUrl", Value(Dictionary{{"schemeToOpen", Value("https://example.org/")}}));
    app.messageSender().sendMessageName("openUrl");
    app.messageSender().sendMessageName("insertText", Value(Dictionary{{"text", Value("typed")}}));
    device.runUntilIdle();
    EXPECT_EQ(server.services().urlOpener().openedURLs(),
              std::vector<std::string>{"https://example.org/"});
    EXPECT_EQ(device.services().keyboard.insertedTexts(), std::vector<std::string>{"typed"});
    EXPECT_EQ(theServer.recentMessages()[1].outcome, "ignored: no dictionary");
}

TEST_F(ServerTest, TheNoticeIsKeptOnlyWhenItIsNew) {
    const std::string url = "http://127.0.0.1:7/notification.php";
    auto notice = [&](std::string body) {
        server.http().answer(url, answer(std::move(body)));
        theServer.checkNotification();
        device.runUntilIdle();
    };
    auto stored = [&] {
        const Value settings = readSettings(server.context()).dictionary();
        return settings["notification"].stringValue().value_or("-") + "|" +
               (settings["notifyFlag"].boolValue() ? "YES" : "NO");
    };
    theServer.checkNotification();
    device.runUntilIdle();
    EXPECT_TRUE(server.http().requests().empty()) << "no notice URL was built in";

    host.setEnvironment({{"KERNOVA_DEBUG", "1"}, {"KERNOVA_NOTICE_URL", url}});
    notice("Kernova 2 is out");
    EXPECT_EQ(stored(), "Kernova 2 is out|YES");
    set("notifyFlag", Value(false));
    notice("Kernova 2 is out");
    EXPECT_EQ(stored(), "Kernova 2 is out|NO") << "the same notice writes nothing";
    notice("bad \xff bytes");
    theServer.checkNotification();  // nothing scripted: the service cannot be reached
    device.runUntilIdle();
    EXPECT_EQ(stored(), "Kernova 2 is out|NO");
    EXPECT_EQ(server.http().requests().size(), 4u);
}

}  // namespace
}  // namespace kernova::testing
