// The panel on the simulated device, driven through messages and input: its
// geometry on a monitor, the tips and picture layouts, the action bar built
// from the menus file and what each button does with the picked tags, the
// close button's gestures, the keys, the running indicator, and that a closed
// panel leaves nothing running.

#include "board/tag_flow_cell.h"
#include "floating/splode_running_view.h"
#include "server/message_names.h"
#include "server/server_fixture.h"
#include "support/base64_categories.h"
#include "ui/activity.h"

namespace kernova::testing {
namespace {

using Texts = std::vector<std::string>;

// The simulated monitor is 375 x 667 points: the card keeps 40 points free.
constexpr double W = 375;
constexpr double H = 627;

class PanelTest : public ServerFixture {
  protected:
    void writeMenus(Value menus) {
        savePropertyList(server.context().paths().menusFile(),
                         Value(Dictionary{{"menus", std::move(menus)}}));
    }
    std::vector<std::string> alertTitles() {
        std::vector<std::string> titles;
        for (const AlertReport& alert : reportScreen(server.application()).alerts)
            titles.push_back(alert.title);
        return titles;
    }
    std::vector<std::string> picked() { return reportPanel(*theServer.panel()).picked; }
};

TEST(PanelGeometry, TheCardFitsTheWorkAreaOfItsMonitor) {
    const std::pair<ui::Rect, ui::Rect> rows[] = {
        // the work area, the card
        {{0, 0, 1920, 1080}, {745, 74, 430, 932}},      // capped both ways
        {{0, 0, 375, 667}, {0, 20, 375, 627}},          // 40 points kept free
        {{1920, 30, 1280, 994}, {2345, 61, 430, 932}},  // a second monitor under a bar
        {{0, 0, 800, 519}, {185, 0, 430, 519}},         // short: the whole height
        {{0, 0, 300, -10}, {0, -5, 300, 0}},            // nothing left counts as 0
    };
    for (const auto& [workArea, card] : rows)
        EXPECT_EQ(Server::panelScreenFrame(workArea), card)
            << workArea.origin.x << "," << workArea.size.height;
}

TEST_F(PanelTest, BuildsItsViewsAroundTheBoardAndCentresShortContent) {
    GTagFlowContainer& panel = open("alpha beta");
    EXPECT_EQ(panel.frame(), ui::Rect(0, 20, W, H));
    EXPECT_EQ(panel.maxFlowViewHeight(), H - 350);
    EXPECT_EQ(panel.menuBackgroundView().frame(), ui::Rect(0, -20, 375, 667))
        << "the backdrop covers the whole monitor";

    const ui::Rect board = panel.flowView()->frame();
    const double content = panel.flowView()->collectionView()->contentSize().height;
    EXPECT_EQ(board, ui::Rect(0, 125 + (H - 350 - content) * 0.5, W, content));
    EXPECT_EQ(panel.selectAllBtn()->frame().origin.y, board.maxY() + 20) << "below the board";

    // Content as tall as the band scrolls; one point less is centred.
    panel.relodLayoutWithCollectionHeight(panel.maxFlowViewHeight());
    EXPECT_EQ(panel.flowView()->frame(), ui::Rect(0, 125, W, H - 350));
    panel.relodLayoutWithCollectionHeight(panel.maxFlowViewHeight() - 1);
    EXPECT_EQ(panel.flowView()->frame(), ui::Rect(0, 125.5, W, H - 351));

    // The default bar's six actions (their slots are the menus file test's).
    std::vector<std::string> names;
    for (const ButtonState& button : reportPanel(panel).actions)
        names.push_back(button.name);
    EXPECT_EQ(names, (Texts{"Copy", "UrlScheme", "Translate", "Search", "Share", "History"}));
}

TEST_F(PanelTest, TipsComeShortLongOrNotAtAll) {
    for (std::int64_t tips : {0, 1, 2}) {
        set("tips", Value(tips));
        GTagFlowContainer& panel = open("tips");
        std::vector<std::string> shown = reportPanel(panel).tips;
        if (tips == 0) {
            EXPECT_EQ(shown.size(), 8u);
            EXPECT_EQ(panel.tipLabels()[3]->text(), "[Long press blank]");
        } else if (tips == 1) {
            EXPECT_EQ(shown,
                      (Texts{"→Right Swipe ⓧ Inverse selection", "Left Swipe ⓧ Select all←",
                             "Long press ⓧ splode again", "Long press blank to toggle orderly"}));
        } else {
            EXPECT_TRUE(shown.empty());
        }
        EXPECT_EQ(panel.btmHorizontalLine()->isHidden(), tips != 0);
        panel.hide();
        device.advance(1);
    }
}

TEST_F(PanelTest, APictureShowsAboveTheBoardPixelForPixelAndIsBuiltOnce) {
    set("textCheck", Value(true));
    splodeSelection("picture words", {{"image", Value(pngBase64(100, 50, 0xff336699u))}});
    device.advance(1);
    GTagFlowContainer& panel = *theServer.panel();
    const double band = (H - 350) * 0.5 - 1;
    EXPECT_EQ(panel.maxFlowViewHeight(), band);
    ASSERT_NE(panel.photoView(), nullptr);
    EXPECT_EQ(panel.photoView()->frame(), ui::Rect(0, 125, W, band));
    // 100 x 50 pixels on a screen of scale 2: 50 x 25 points, centred.
    const auto& picture = panel.photoView()->subviews().front();
    EXPECT_EQ(picture->frame(), ui::Rect((W - 50) / 2, (band - 25) / 2, 50, 25));
    EXPECT_EQ(panel.photoView()->contentSize(), (ui::Size{50, 25}));
    EXPECT_EQ(panel.tableViewHorizontalLine()->frame().origin.y, 125 + band + 1);
    const double content = panel.flowView()->collectionView()->contentSize().height;
    EXPECT_EQ(panel.flowView()->frame().origin.y, 125 + band + 2 + (band - content) * 0.5);

    const ui::ScrollView* photo = panel.photoView().get();
    panel.configDatas(panel.flowView()->flowDatas());
    EXPECT_EQ(panel.photoView().get(), photo);
}

TEST_F(PanelTest, TheMenusFileSetsTheBarAndAnEmptyNameKeepsItsSlot) {
    writeMenus(Value(
        Dictionary{{"Enabled", Value(Array{Value("Copy"), Value(""), Value(7), Value("Share")})}}));
    open("menus");
    std::vector<double> slots;
    for (const ButtonState& button : reportPanel(*theServer.panel()).actions)
        slots.push_back(button.frame.origin.x);
    EXPECT_EQ(slots, (std::vector<double>{37.5 + 75 * 0 + 20, 37.5 + 75 * 3 + 20}));
    theServer.panel()->hide();
    device.advance(1);

    writeMenus(Value(Dictionary{{"Disabled", Value(Array{})}}));
    open("menus");
    EXPECT_TRUE(reportPanel(*theServer.panel()).actions.empty());
}

// Copy in board or pick order is proven through kernovad in tests/desktop.
TEST_F(PanelTest, CopyOpensNoSecondPanelAndWithNothingPickedTakesTheWholeText) {
    open("alpha beta gamma");
    driver.tap(tag("gamma"));
    driver.tap(tag("alpha"));
    EXPECT_EQ(picked(), (Texts{"gamma", "alpha"}));
    driver.tap(middle(action("Copy")));
    EXPECT_EQ(device.pasteboard().string(), "alphagamma");
    EXPECT_TRUE(theServer.flags().usingSplode);
    device.advance(0.1);
    EXPECT_EQ(theServer.panel(), nullptr) << "Copy hides the panel";

    // The clipboard watch answers the panel's own write: no second panel.
    send("notifySplode", Value(Dictionary{{"callFromCC", Value(true)}}));
    EXPECT_EQ(theServer.panel(), nullptr);
    device.advance(ServerFlags::kOwnWriteSeconds);
    EXPECT_FALSE(theServer.flags().usingSplode);

    // Nothing picked: the whole text.
    open("whole text");
    driver.tap(middle(action("Copy")));
    EXPECT_EQ(device.pasteboard().string(), "whole text");
}

TEST_F(PanelTest, OnlyAButtonNamedFuZhiCopiesOnALongPress) {
    writeMenus(Value(Dictionary{{"Enabled", Value(Array{Value("复制"), Value("Copy")})}}));
    open("one two");
    driver.longPress(middle(action("Copy")), 1.0);
    EXPECT_TRUE(alertTitles().empty()) << "the copy button has no long press";

    driver.longPress(middle(action("复制")), 1.0);
    EXPECT_EQ(alertTitles(), std::vector<std::string>{GTagFlowContainer::kNoSelectionTitle});
    // The notice lets touches through to the panel beneath it.
    driver.tap(tag("two"));
    driver.longPress(middle(action("复制")), 1.0);
    EXPECT_EQ(device.pasteboard().string(), "two");
    EXPECT_TRUE(theServer.panel()->isShown()) << "the panel stays open";
    device.advance(1.0);
    EXPECT_TRUE(alertTitles().empty()) << "the notice is gone after 0.7 s";
}

TEST_F(PanelTest, ShareAndAnUnknownActionAndTheActionBlock) {
    writeMenus(Value(Dictionary{{"Enabled", Value(Array{Value("Other"), Value("Share")})}}));
    GTagFlowContainer& panel = open("share me");
    std::vector<std::string> calls;
    panel.setActionBlock([&](const std::string& name, const std::string& text) {
        calls.push_back(name + ":" + text);
    });
    driver.tap(middle(action("Other")));
    EXPECT_TRUE(alertTitles().empty());
    EXPECT_TRUE(panel.isShown());

    driver.tap(middle(action("Share")));
    device.runUntilIdle();
    auto sheet =
        std::dynamic_pointer_cast<ui::ActivityViewController>(driver.presentedControllers().back());
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet->activityItems().front().string(), "share me");
    EXPECT_EQ(calls, (Texts{"Other:share me", "Share:share me"}));
    EXPECT_NE(theServer.panel(), nullptr) << "kept while the sheet is up";
    EXPECT_TRUE(driver.chooseActivity(ui::kActivityTypeCopyToPasteboard));
    device.advance(0.1);
    EXPECT_EQ(theServer.panel(), nullptr) << "the panel Share hid is let go once it is done";
}

TEST_F(PanelTest, TheCloseButtonsSwipesSelectAllOrInverseAndItsLongPressSplitsAgain) {
    GTagFlowContainer& panel = open("ab cd");
    driver.swipe(middle(*panel.closeBtn()), sim::Direction::left);
    EXPECT_EQ(picked(), (Texts{"ab", " ", "cd"}));
    driver.tap(tag("cd"));
    driver.swipe(middle(*panel.closeBtn()), sim::Direction::right);
    EXPECT_EQ(picked(), std::vector<std::string>{"cd"});
    driver.tap(middle(*panel.selectAllBtn()));
    driver.tap(middle(*panel.inverseBtn()));
    EXPECT_TRUE(picked().empty());

    driver.tap(tag("ab"));
    driver.longPress(middle(*panel.closeBtn()), 1.0);
    EXPECT_TRUE(panel.splodeAllFlag());
    EXPECT_TRUE(picked().empty()) << ::testing::PrintToString(picked());
    EXPECT_EQ(panel.flowView()->flowDatas().size(), 5u) << "one tag per character";
    driver.longPress(middle(*panel.closeBtn()), 1.0);
    EXPECT_FALSE(panel.splodeAllFlag());
    EXPECT_EQ(panel.flowView()->flowDatas().size(), 3u);
    EXPECT_TRUE(panel.isShown());

    // A long press on blank space toggles the order of copying.
    const bool order = panel.flowView()->orderCopy();
    driver.longPress(panel.convertPointToScreen(ui::Point{10, H - 20}), 1.0);
    EXPECT_EQ(panel.flowView()->orderCopy(), !order);
}

// Escape, Control+C and a click on the backdrop are proven end to end.
TEST_F(PanelTest, ATapOnTheCardsBlankSpaceOrAPlainLetterKeepsItOpen) {
    open("keys here");
    driver.tap(ui::Point{200, 150});
    EXPECT_FALSE(driver.key(ui::KeyEvent{ui::Key::other, "c", false}));
    EXPECT_TRUE(theServer.panel()->isShown());
}

TEST_F(PanelTest, TheKeyboardWalksTheTagsPicksThemAndPressesTheButtons) {
    GTagFlowContainer& panel =
        open("ab cd ef gh ij kl mn op qr st uv wx yz ab cd ef gh ij kl mn op");
    GTagFlowView& board = *panel.flowView();
    auto key = [&](ui::Key which, bool shift = false) {
        EXPECT_TRUE(driver.key(ui::KeyEvent{which, {}, false, shift}));
    };
    auto ringed = [&] {
        std::vector<std::int64_t> shown;
        for (ui::CollectionViewCell* cell : board.collectionView()->visibleCells())
            if (static_cast<GTagFlowCell*>(cell)->hasFocusRing())
                shown.push_back(board.collectionView()->indexPathForCell(cell)->item);
        return shown;
    };
    for (int i = 0; i < 3; ++i)
        key(ui::Key::right);
    EXPECT_EQ(ringed(), std::vector<std::int64_t>{2});
    key(ui::Key::space);
    EXPECT_EQ(picked(), std::vector<std::string>{"cd"});
    // Screen readers hear the tags by their text, picked or not; a space as "space".
    auto* picks =
        static_cast<GTagFlowCell*>(board.collectionView()->cellForItemAtIndexPath({0, 2}));
    EXPECT_EQ(picks->accessibilityLabel(), "cd");
    EXPECT_TRUE(picks->isAccessibilitySelected());
    EXPECT_EQ(board.collectionView()->cellForItemAtIndexPath({0, 1})->accessibilityLabel(),
              "space");
    // Shift extends like a slide that starts on "ab": it picks what it crosses.
    for (auto [which, shift] : {std::pair{ui::Key::left, false},
                                {ui::Key::left, false},
                                {ui::Key::right, true},
                                {ui::Key::right, true}})
        key(which, shift);
    EXPECT_EQ(picked(), (Texts{"cd", "ab", " "}));

    // Down goes to the line below, near the same place across; up comes back.
    const ui::Rect before = tagStatesOf(board)[2].frame;
    key(ui::Key::down);
    const std::int64_t below = *board.focusedItem();
    EXPECT_GT(tagStatesOf(board)[static_cast<std::size_t>(below)].frame.origin.y, before.origin.y);
    key(ui::Key::up);
    EXPECT_EQ(tagStatesOf(board)[static_cast<std::size_t>(*board.focusedItem())].frame.origin.y,
              before.origin.y);

    EXPECT_TRUE(driver.key(ui::KeyEvent{ui::Key::other, "i", true}));
    EXPECT_EQ(picked().size(), board.flowDatas().size() - 3);
    EXPECT_TRUE(driver.key(ui::KeyEvent{ui::Key::other, "a", true}));
    EXPECT_EQ(picked().size(), board.flowDatas().size());

    // Tab leaves the tags for the buttons; Shift+Tab comes back to the tag.
    const std::int64_t tag = *board.focusedItem();
    key(ui::Key::tab);
    EXPECT_EQ(panel.focusedButton()->currentTitle(), "Copy");
    EXPECT_TRUE(ringed().empty());
    key(ui::Key::tab, true);
    EXPECT_EQ(panel.focusedButton(), nullptr);
    EXPECT_EQ(board.focusedItem(), tag);
    key(ui::Key::tab);
    key(ui::Key::enter);
    EXPECT_EQ(device.pasteboard().string(),
              "ab cd ef gh ij kl mn op qr st uv wx yz ab cd ef gh ij kl mn op");
    device.advance(0.1);
    EXPECT_EQ(theServer.panel(), nullptr);
}

TEST_F(PanelTest, AClosedPanelLeavesNoTimerAndTheClickSoundFollowsItsSwitch) {
    set("vibrateSwitch", Value(true));
    set("vibrate", Value(0));
    GTagFlowContainer& panel = open("sound");
    EXPECT_NE(panel.headerTimer(), 0u);
    device.advance(GTagFlowContainer::kHeaderBlinkSeconds + 0.01);
    EXPECT_EQ(panel.headerView()->alpha(), 0.2) << "the header blinks";
    panel.hide();
    device.advance(2);
    EXPECT_EQ(theServer.panel(), nullptr);
    EXPECT_EQ(device.clock().pendingCount(), 0u) << "nothing runs once the panel is gone";
    EXPECT_EQ(server.services().haptic().sounds(),
              (std::vector<std::uint32_t>{GTagFlowContainer::kDefaultVibrate,
                                          GTagFlowContainer::kDefaultVibrate}));
}

TEST_F(PanelTest, RunningIndicatorsBlinkAndOneNoticeHidesThemAll) {
    send("showRunning", Value(Dictionary{}));
    send("showRunning", Value(Dictionary{}));
    ASSERT_EQ(reportScreen(server.application()).runningIndicators.size(), 2u);

    device.advance(GSplodeRunningView::kBlinkSeconds * 2 + 0.01);
    server.context().notifications().post(kHideRunningNotification);
    EXPECT_TRUE(reportScreen(server.application()).runningIndicators.empty());
    device.advance(1);
    EXPECT_EQ(device.clock().pendingCount(), 0u) << "the blink stops with the indicator";

    auto indicator = GSplodeRunningView::init(server.application(), ui::Rect(0, 0, 375, 667));
    indicator->show();
    indicator->setAlpha(0.5);
    device.advance(GSplodeRunningView::kBlinkSeconds + 0.01);
    EXPECT_EQ(indicator->alpha(), 1.0);
    indicator->hide();
}

}  // namespace
}  // namespace kernova::testing
