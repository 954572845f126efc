// The tag cell (look, badge, in-place editor), the overlay window, and a large
// board scrolled by the wheel.
#include <gtest/gtest.h>

#include <set>

#include "board_fixture.h"
#include "ui/alert.h"

namespace kernova::testing {
namespace {

using CellTest = BoardTest;

ui::Label* badgeOf(GTagFlowCell* cell) {
    if (!cell) return nullptr;
    for (const auto& subview : cell->tagLabel()->subviews()) {
        if (auto* label = dynamic_cast<ui::Label*>(subview.get())) return label;
    }
    return nullptr;
}

TEST_F(CellTest, DrawsTheUnselectedAndSelectedLook) {
    show({"abc"});
    GTagFlowCell* cell = cellOf(0);
    ASSERT_NE(cell, nullptr);
    const auto& look = *board->flowDatas()[0]->appearance();
    EXPECT_EQ(cell->tagLabel()->text(), "abc");
    EXPECT_EQ(cell->tagLabel()->textColor(), look.textColor);
    EXPECT_EQ(cell->tagLabel()->backgroundColor(), look.backgroundColor);
    ASSERT_NE(badgeOf(cell), nullptr);
    EXPECT_TRUE(badgeOf(cell)->isHidden());

    driver.tap(on(0));
    cell = cellOf(0);
    EXPECT_EQ(cell->tagLabel()->textColor(), *look.selectTextColor);
    EXPECT_EQ(cell->tagLabel()->backgroundColor(), look.selectBackgroundColor);
    EXPECT_EQ(cell->tagLabel()->borderWidth(), 0.0);
}

TEST_F(CellTest, BadgeShowsTheSelectionPlaceOnlyWithOrdering) {
    show({"a", "b", "c", "d"});
    for (int i : {3, 0, 2})
        driver.tap(on(i));
    EXPECT_EQ(badgeOf(cellOf(2))->text(), "3");
    EXPECT_TRUE(badgeOf(cellOf(2))->isHidden());
    EXPECT_TRUE(badgeOf(cellOf(1))->isHidden());
    EXPECT_EQ(badgeOf(cellOf(1))->text(), "");
    // Switching ordering on shows the numbers at the next reload.
    board->setOrderCopy(true);
    board->reloadDatas();
    settle();
    EXPECT_FALSE(badgeOf(cellOf(2))->isHidden());
    EXPECT_EQ(badgeOf(cellOf(3))->text(), "1");
    EXPECT_TRUE(badgeOf(cellOf(1))->isHidden());
    // Taking out the first pick renumbers the shown badges at once, without
    // laying the board out again.
    const std::uint64_t passes = tagLayout().passCount();
    driver.tap(on(3));
    EXPECT_TRUE(badgeOf(cellOf(3))->isHidden());
    EXPECT_EQ(badgeOf(cellOf(0))->text(), "1");
    EXPECT_EQ(badgeOf(cellOf(2))->text(), "2");
    EXPECT_EQ(tagLayout().passCount(), passes);
}

TEST_F(CellTest, OrderingIsReadFromTheSettingsWhenTheBoardIsMade) {
    EXPECT_FALSE(board->orderCopy());
    setSetting("orderCopy", true);
    board->removeFromSuperview();
    board = makeBoard();
    EXPECT_TRUE(board->orderCopy());
}

TEST_F(CellTest, SelectedTagWithoutBorderKeepsTheReusedCellsBorder) {
    auto framed = GTagFlowAppearance::create(context);
    framed->borderWidth = 2;
    framed->borderColor = ui::Color{0, 0, 1, 1};
    auto plain = GTagFlowAppearance::create(context);
    auto tag = GTagFlowItem::tagFlowItemWithText(context, measurer, "abc", framed);
    showItems({tag});
    EXPECT_EQ(cellOf(0)->tagLabel()->borderWidth(), 2.0);

    // One tag, one cell: the tap reconfigures the same cell, now borderless.
    tag->setAppearance(plain);
    driver.tap(on(0));
    EXPECT_EQ(cellOf(0)->tagLabel()->borderWidth(), 2.0);
    EXPECT_EQ(cellOf(0)->tagLabel()->borderColor(), (ui::Color{0, 0, 1, 1}));

    // With a border width the selected state draws its own border.
    plain->borderWidth = 3;
    board->reloadDatas();
    settle();
    EXPECT_EQ(cellOf(0)->tagLabel()->borderWidth(), 3.0);
    EXPECT_EQ(cellOf(0)->tagLabel()->borderColor(), ui::Color::black());
}

struct EditorTest : BoardTest {
    int hides = 0;
    int reloads = 0;
    void SetUp() override {
        context.notifications().addObserver(kHideNotification, this,
                                            [this](const Notification&) { ++hides; });
        context.notifications().addObserver(kNotifyReloadNotification, this,
                                            [this](const Notification&) { ++reloads; });
        show({"alpha", "beta"});
    }
    void TearDown() override { context.notifications().removeObservers(this); }
    std::size_t overlayCount() {
        std::size_t n = 0;
        for (ui::Window* w : app.windows())
            n += dynamic_cast<GSplodeWindow*>(w) != nullptr && w != window.get();
        return n;
    }
};

TEST_F(EditorTest, LongPressOpensThePrefilledEditorAndOkChangesTheTag) {
    setSetting("vibrateSwitch", true);
    driver.longPress(on(1), 0.6);
    EXPECT_EQ(hides, 1);
    EXPECT_EQ(reloads, 0);
    EXPECT_EQ(server.services().haptic().sounds(), (std::vector<std::uint32_t>{1519}));
    EXPECT_EQ(overlayCount(), 1u);
    auto alert = driver.topAlert();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->title(), "Edit");
    ASSERT_EQ(alert->textFields().size(), 1u);
    EXPECT_EQ(alert->textFields()[0]->text(), "beta");
    EXPECT_TRUE(alert->textFields()[0]->isFirstResponder());
    EXPECT_FALSE(board->flowDatas()[1]->isSelected());

    ASSERT_TRUE(driver.fillTextField(0, "betamax"));
    ASSERT_TRUE(driver.tapAlertAction("OK"));
    const auto& tag = board->flowDatas()[1];
    EXPECT_EQ(tag->text(), "betamax");
    EXPECT_DOUBLE_EQ(tag->itemSize().width,
                     measurer.boundingSize("betamax", ui::Font::systemFont(12)).width + 18);
    EXPECT_EQ(cellOf(1)->tagLabel()->text(), "betamax");
    EXPECT_EQ(reloads, 1);
    EXPECT_EQ(overlayCount(), 0u);
    // The edited tag is laid out again at its new width, with no reload.
    settle();
    EXPECT_DOUBLE_EQ(frameOf(1).size.width, tag->itemSize().width);
    // A size set from outside moves the tags after it as well.
    board->flowDatas()[0]->setItemSize({200, 30});
    settle();
    EXPECT_EQ(frameOf(0).size.width, 200);
    EXPECT_EQ(frameOf(1).origin.x, 10 + 200 + 4);
}

TEST_F(EditorTest, CancelLeavesTheTagAndAnEmptyEditKeepsTheSize) {
    driver.longPress(on(0), 0.6);
    ASSERT_TRUE(driver.fillTextField(0, "ignored"));
    ASSERT_TRUE(driver.tapAlertAction("Cancel"));
    EXPECT_EQ(board->flowDatas()[0]->text(), "alpha");
    EXPECT_EQ(reloads, 1);
    EXPECT_EQ(overlayCount(), 0u);
    EXPECT_TRUE(server.services().haptic().sounds().empty());

    ui::Size before = board->flowDatas()[0]->itemSize();
    driver.longPress(on(0), 0.6);
    ASSERT_TRUE(driver.fillTextField(0, ""));
    ASSERT_TRUE(driver.tapAlertAction("OK"));
    EXPECT_EQ(board->flowDatas()[0]->text(), "");
    EXPECT_EQ(board->flowDatas()[0]->itemSize(), before);
    EXPECT_EQ(hides, 2);
    EXPECT_EQ(reloads, 2);
}

TEST_F(EditorTest, OnePressOpensOneEditorWhateverTheFingerDoesAfter) {
    ui::TouchId id = driver.touchDown(on(0));
    driver.advance(0.6);
    driver.touchMove(id, on(0, 0.6));
    driver.advance(0.2);
    driver.touchMove(id, on(0, 0.4));
    driver.touchUp(id, on(0, 0.4));
    EXPECT_EQ(server.services().presenter().history().size(), 1u);
    EXPECT_EQ(hides, 1);
    // While the editor is up its window takes every touch.
    driver.tap(on(1));
    EXPECT_FALSE(board->flowDatas()[1]->isSelected());
    ASSERT_TRUE(driver.tapAlertAction("Cancel"));
    // A short press is a tap, not an edit.
    driver.tap(on(1));
    EXPECT_EQ(server.services().presenter().history().size(), 1u);
    EXPECT_TRUE(board->flowDatas()[1]->isSelected());
}

TEST_F(CellTest, OverlayWindowFloatsAboveAlertsAtOnce) {
    auto alertWindow = std::make_shared<ui::Window>(app, app.screen().bounds);
    alertWindow->setWindowLevel(ui::kWindowLevelAlert);
    alertWindow->setHidden(false);
    auto overlay = GSplodeWindow::initWithFrame(app, app.screen().bounds);
    EXPECT_EQ(app.windows().back(), overlay.get());
    overlay->setHidden(true);
    alertWindow->setHidden(true);
}

// Nothing calls the cells' random fade-in yet; one test keeps it honest.
TEST_F(CellTest, RandomFadeInsLastOneToFiveWholeSeconds) {
    board->seedRandomNumbers(7);
    std::set<std::int64_t> seen;
    for (int i = 0; i < 500; ++i)
        seen.insert(board->getRandomNumber(1, 4));
    EXPECT_EQ(seen, (std::set<std::int64_t>{1, 2, 3, 4, 5}));
    EXPECT_EQ(board->getRandomNumber(9, -1), 9);
    show({"a", "b", "c"});
    board->hiddenAllVisibleCells();
    board->showCellsWithAnimation();
    ASSERT_FALSE(cellOf(1)->transitions().empty());
    const double seconds = cellOf(1)->transitions().front().duration;
    EXPECT_TRUE(seconds >= 1 && seconds <= 5 && seconds == std::floor(seconds)) << seconds;
}

TEST_F(CellTest, HundredThousandTagsRealiseOnlyVisibleCellsWhileScrolling) {
    std::vector<GSplodeItem> segments(100000, GSplodeItem{"word", false});
    auto look = GTagFlowAppearance::create(context);
    showItems(GTagFlowItem::factoryFolwLayoutWithItems(context, measurer, segments, look));
    // Only what is on screen has cells (the cells in a rectangle are the
    // layout tests'); a scroll reuses the frames and the cells.
    auto& cv = *board->collectionView();
    const std::size_t screenful = cv.visibleCells().size();
    const std::uint64_t passes = tagLayout().passCount();
    driver.wheel(board->convertPointToScreen({100, 100}), 0, 300000);
    settle();
    EXPECT_EQ(cv.contentOffset().y, 300000);
    EXPECT_EQ(tagLayout().passCount(), passes);
    auto shown = cv.indexPathsForVisibleItems();
    ASSERT_FALSE(shown.empty());
    EXPECT_LE(cv.visibleCells().size() + cv.reusableCellCount(), 2 * screenful + 20);

    // A tap after the scroll selects the tag under the finger.
    std::int64_t target = shown[shown.size() / 2].item;
    driver.tap(on(target));
    EXPECT_TRUE(board->flowDatas()[static_cast<std::size_t>(target)]->isSelected());
    EXPECT_EQ(board->selectItems().size(), 1u);
}

}  // namespace
}  // namespace kernova::testing
