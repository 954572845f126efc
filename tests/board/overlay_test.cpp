// The board overlay on the simulated device: a card centred on a dimmed
// backdrop, picking tags by tap and slide, closing by Escape or by a tap
// outside the card, and the plain style used for still renderings.
#include <gtest/gtest.h>

#include "panel/board_overlay.h"
#include "sim/device.h"
#include "sim/driver.h"

namespace kernova::testing {
namespace {

class OverlayTest : public ::testing::Test {
  protected:
    sim::Device device;
    sim::Driver driver{device};
    ui::Application& app = device.server().application();

    std::shared_ptr<BoardOverlay> open(std::string_view text) {
        auto overlay = BoardOverlay::show(app, text, app.screen().bounds);
        settle();
        return overlay;
    }
    void settle() {
        device.runUntilIdle();
        app.layoutIfNeeded();
    }
    static ui::Point centre(const ui::Rect& r) { return {r.midX(), r.midY()}; }
    static std::vector<std::string> texts(const BoardOverlay& overlay) {
        std::vector<std::string> all;
        for (const auto& tag : overlay.tagStates())
            all.push_back(tag.text);
        return all;
    }
};

TEST_F(OverlayTest, ShowsTheTextsTagsOnACentredCardAboveADimmedScreen) {
    auto overlay = open("Tap the words you need.");
    ASSERT_TRUE(overlay->isShown());
    EXPECT_FALSE(overlay->window().isHidden());
    EXPECT_TRUE(overlay->window().isKeyWindow());
    EXPECT_EQ(overlay->window().windowLevel(), GSplodeWindow::kLevel);
    EXPECT_EQ(texts(*overlay), (std::vector<std::string>{"Tap", " ", "the", " ", "words", " ",
                                                         "you", " ", "need", "."}));

    const ui::Rect screen = app.screen().bounds;
    const ui::Rect card = overlay->card().frame();
    EXPECT_DOUBLE_EQ(card.size.width, screen.size.width - 2 * BoardOverlay::kScreenMargin);
    EXPECT_DOUBLE_EQ(card.midX(), screen.midX());
    EXPECT_DOUBLE_EQ(card.midY(), screen.midY());
    // The card is as tall as the board's content.
    const ui::Rect last = overlay->tagStates().back().frame;
    EXPECT_DOUBLE_EQ(card.maxY(), last.maxY() + GTagFlowView::kDefaultEdgeInsets.bottom);
    for (const auto& tag : overlay->tagStates())
        EXPECT_TRUE(card.contains(centre(tag.frame))) << tag.text;
}

TEST_F(OverlayTest, LongTextsScrollInsideACardOfBoundedHeight) {
    std::string text;
    for (int i = 0; i < 400; ++i)
        text += "word" + std::to_string(i) + " ";
    auto overlay = open(text);
    const ui::Rect screen = app.screen().bounds;
    EXPECT_LE(overlay->card().frame().size.height,
              screen.size.height * BoardOverlay::kMaxCardHeightFraction);
    EXPECT_GT(overlay->board().collectionView()->contentSize().height,
              overlay->card().frame().size.height);
}

TEST_F(OverlayTest, TapAndSlidePickTagsInOrder) {
    auto overlay = open("alpha beta gamma delta epsilon");
    auto tags = overlay->tagStates();
    ASSERT_EQ(tags.size(), 9u);
    driver.tap(centre(tags[8].frame));  // epsilon
    settle();
    // Slide from alpha across beta to gamma (spaces between are swept too).
    const ui::Rect alpha = tags[0].frame;
    ui::TouchId id = driver.touchDown({alpha.origin.x + 2, alpha.midY()});
    driver.touchMove(id, {alpha.origin.x + alpha.size.width - 2, alpha.midY()});
    driver.touchMove(id, centre(tags[2].frame));
    driver.touchMove(id, centre(tags[4].frame));
    driver.touchUp(id, centre(tags[4].frame));
    settle();
    EXPECT_EQ(overlay->selectedTexts(),
              (std::vector<std::string>{"epsilon", "alpha", " ", "beta", " ", "gamma"}));
    tags = overlay->tagStates();
    EXPECT_EQ(tags[8].selectionIndex, 1);
    EXPECT_EQ(tags[0].selectionIndex, 2);
    EXPECT_EQ(tags[6].selectionIndex, 0);
    EXPECT_TRUE(overlay->isShown());
}

TEST_F(OverlayTest, EscapeOrATapOutsideTheCardClosesOnce) {
    auto overlay = open("close me");
    int closed = 0;
    overlay->setClosedBlock([&] { ++closed; });
    EXPECT_FALSE(driver.key({ui::Key::enter, {}}));
    EXPECT_TRUE(overlay->isShown());
    EXPECT_TRUE(driver.key({ui::Key::escape, {}}));
    EXPECT_FALSE(overlay->isShown());
    EXPECT_TRUE(overlay->window().isHidden());
    overlay->close();
    EXPECT_EQ(closed, 1);

    auto second = open("tap outside");
    int secondClosed = 0;
    second->setClosedBlock([&] { ++secondClosed; });
    driver.tap(centre(second->tagStates().front().frame));  // inside: a pick, not a close
    settle();
    EXPECT_TRUE(second->isShown());
    driver.tap({5, 5});
    settle();
    EXPECT_FALSE(second->isShown());
    EXPECT_EQ(secondClosed, 1);
}

TEST_F(OverlayTest, DroppingTheOverlayHidesItsWindow) {
    auto overlay = open("short lived");
    std::weak_ptr<ui::View> window = overlay->window().shared_from_this();
    overlay.reset();
    settle();
    if (auto still = window.lock()) {
        EXPECT_TRUE(still->isHidden());
    }
    EXPECT_FALSE(driver.key({ui::Key::escape, {}}));
}

TEST_F(OverlayTest, PlainStyleFillsTheWindowAndFitsTheContentWhenNoHeightIsGiven) {
    auto fixed =
        BoardOverlay::show(app, "one two", ui::Rect(0, 0, 300, 200), BoardOverlay::Style::plain);
    EXPECT_EQ(fixed->card().frame(), ui::Rect(0, 0, 300, 200));
    EXPECT_EQ(fixed->card().cornerRadius(), 0.0);

    auto fitted = BoardOverlay::show(app, "one two three four five six seven eight",
                                     ui::Rect(0, 0, 120, 0), BoardOverlay::Style::plain);
    settle();
    const auto tags = fitted->tagStates();
    EXPECT_DOUBLE_EQ(fitted->window().frame().size.height,
                     tags.back().frame.maxY() + GTagFlowView::kDefaultEdgeInsets.bottom);
    EXPECT_GT(tags.back().frame.origin.y, tags.front().frame.origin.y);

    // A limit on the fitted height: only the tags inside the window get cells.
    std::string many;
    for (int i = 0; i < 2000; ++i)
        many += "w ";
    auto capped =
        BoardOverlay::show(app, many, ui::Rect(0, 0, 50, 0), BoardOverlay::Style::plain, 4000);
    settle();
    EXPECT_EQ(capped->window().frame().size.height, 4000);
    auto& cells = *capped->board().collectionView();
    EXPECT_GT(cells.contentSize().height, 4000 * 10);
    EXPECT_GT(cells.visibleCells().size(), 50u);
    EXPECT_LT(cells.visibleCells().size(), 200u);
}

TEST_F(OverlayTest, EmptyAndInvalidTextStillOpenACard) {
    auto empty = open("");
    EXPECT_TRUE(empty->isShown());
    EXPECT_TRUE(empty->tagStates().empty());
    EXPECT_GE(empty->card().frame().size.height, 1.0);
    empty->close();
    auto broken = open(std::string("ok \xff\xfe end"));
    EXPECT_FALSE(broken->tagStates().empty());
}

}  // namespace
}  // namespace kernova::testing
