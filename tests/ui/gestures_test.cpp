// Swipes, and recognizers on buttons and inside other views' recognizers, are
// checked through the panel's close and action buttons (tests/panel); taps,
// long presses and pans on one view through the board's cells (tests/board).
#include "ui/gestures.h"

#include <gtest/gtest.h>

#include "ui_fixture.h"

namespace kernova::ui {
namespace {

// Records the states a recognizer's target hears.
template <class R>
std::shared_ptr<R> recorded(std::vector<GestureState>& log) {
    auto r = std::make_shared<R>();
    r->addTarget([&log](GestureRecognizer& g) { log.push_back(g.state()); });
    return r;
}

struct GestureTest : ::testing::Test {
    testing::Process p;
    std::shared_ptr<Window> window = p.window();
    std::shared_ptr<View> pad = std::make_shared<View>(Rect(0, 0, 300, 300));
    void SetUp() override { window->addSubview(pad); }
};

TEST_F(GestureTest, TapRecognizesWithinTheMovementThreshold) {
    std::vector<GestureState> log;
    auto tap = recorded<TapGestureRecognizer>(log);
    pad->addGestureRecognizer(tap);
    p.touch(1, TouchPhase::began, 100, 100);
    p.touch(1, TouchPhase::moved, 108, 100);
    p.touch(1, TouchPhase::ended, 108, 100);
    EXPECT_EQ(log, std::vector<GestureState>{GestureState::ended});
    EXPECT_EQ(tap->state(), GestureState::possible);  // ready for the next touch
    p.touch(2, TouchPhase::began, 100, 100);
    p.touch(2, TouchPhase::moved, 112, 100);
    p.touch(2, TouchPhase::ended, 112, 100);
    EXPECT_EQ(log.size(), 1u);
}

TEST_F(GestureTest, LongPressBeginsAtHalfASecondOnTheClock) {
    std::vector<GestureState> log;
    auto press = recorded<LongPressGestureRecognizer>(log);
    pad->addGestureRecognizer(press);
    p.touch(1, TouchPhase::began, 100, 100);
    p.clock.advance(0.499);
    EXPECT_TRUE(log.empty());
    p.clock.advance(0.001);
    EXPECT_EQ(log, std::vector<GestureState>{GestureState::began});
    p.touch(1, TouchPhase::moved, 150, 100);  // free to move once begun
    p.touch(1, TouchPhase::ended, 150, 100);
    std::vector<GestureState> expected{GestureState::began, GestureState::changed,
                                       GestureState::ended};
    EXPECT_EQ(log, expected);
    // Moved more than 10 points, or lifted early: it fails.
    p.touch(2, TouchPhase::began, 100, 100);
    p.touch(2, TouchPhase::moved, 111, 100);
    p.clock.advance(1);
    p.touch(2, TouchPhase::ended, 111, 100);
    p.touch(3, TouchPhase::began, 100, 100);
    p.clock.advance(0.3);
    p.touch(3, TouchPhase::ended, 100, 100);
    p.clock.advance(1);
    EXPECT_EQ(log, expected);
}

TEST_F(GestureTest, PanBeginsPastTenPointsAndReportsTranslation) {
    std::vector<GestureState> log;
    auto pan = recorded<PanGestureRecognizer>(log);
    pad->addGestureRecognizer(pan);
    p.touch(1, TouchPhase::began, 100, 100);
    p.touch(1, TouchPhase::moved, 110, 100);
    EXPECT_TRUE(log.empty());
    p.clock.advance(0.1);
    p.touch(1, TouchPhase::moved, 111, 100);
    EXPECT_EQ(log, std::vector<GestureState>{GestureState::began});
    EXPECT_EQ(pan->translationInView(pad.get()), (Point{11, 0}));
    p.touch(1, TouchPhase::moved, 130, 120);
    EXPECT_EQ(pan->locationInView(pad.get()), (Point{130, 120}));
    p.touch(1, TouchPhase::ended, 130, 120);
    std::vector<GestureState> expected{GestureState::began, GestureState::changed,
                                       GestureState::ended};
    EXPECT_EQ(log, expected);
}

struct TouchLog : View {
    using View::View;
    std::vector<TouchPhase> phases;
    void touchesBegan(const Touch&) override { phases.push_back(TouchPhase::began); }
    void touchesMoved(const Touch&) override { phases.push_back(TouchPhase::moved); }
    void touchesEnded(const Touch&) override { phases.push_back(TouchPhase::ended); }
    void touchesCancelled(const Touch&) override { phases.push_back(TouchPhase::cancelled); }
};

TEST_F(GestureTest, ARecognizerThatTakesTheTouchCancelsItOrWithDelayHidesIt) {
    auto target = std::make_shared<TouchLog>(Rect(0, 0, 300, 300));
    pad->addSubview(target);
    auto pan = std::make_shared<PanGestureRecognizer>();
    pad->addGestureRecognizer(pan);
    // Without delay the view sees the start and then a cancel.
    p.drag(1, Point{100, 100}, Point{200, 100});
    ASSERT_GE(target->phases.size(), 2u);
    EXPECT_EQ(target->phases.front(), TouchPhase::began);
    EXPECT_EQ(target->phases.back(), TouchPhase::cancelled);

    target->phases.clear();
    pan->setDelaysTouchesBegan(true);
    p.touch(2, TouchPhase::began, 100, 100);
    p.touch(2, TouchPhase::moved, 103, 100);
    EXPECT_TRUE(target->phases.empty());
    p.touch(2, TouchPhase::ended, 103, 100);  // the pan fails: everything arrives
    std::vector<TouchPhase> expected{TouchPhase::began, TouchPhase::moved, TouchPhase::ended};
    EXPECT_EQ(target->phases, expected);
    target->phases.clear();
    p.drag(3, Point{100, 100}, Point{200, 100});  // the pan takes it: the view sees nothing
    EXPECT_TRUE(target->phases.empty());
}

TEST_F(GestureTest, ARecognizerThatShouldNotBeginFails) {
    std::vector<GestureState> log;
    auto tap = recorded<TapGestureRecognizer>(log);
    tap->shouldBegin = [](GestureRecognizer&) { return false; };
    pad->addGestureRecognizer(tap);
    p.tap(10, 10);
    EXPECT_TRUE(log.empty());
    tap->shouldBegin = nullptr;
    p.tap(10, 10);
    EXPECT_EQ(log.size(), 1u);
}

}  // namespace
}  // namespace kernova::ui
