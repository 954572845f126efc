// The device end to end: windows at two levels, a button, a slide, a long
// press and a swipe, all driven through the server process's application in
// virtual time.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "sim/device.h"
#include "sim/driver.h"
#include "ui/control.h"
#include "ui/gestures.h"
#include "ui/label.h"
#include "ui/window.h"

namespace kernova::sim {
namespace {

class ScreenTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ui::Application& app = driver.application();
        lower = std::make_shared<ui::Window>(app, ui::Rect(0, 0, 375, 667));
        lower->makeKeyAndVisible();

        label = std::make_shared<ui::Label>(ui::Rect(20, 20, 200, 20));
        label->setText("Items");
        lower->addSubview(label);

        button = std::make_shared<ui::Button>(ui::Rect(20, 50, 100, 44));
        button->addTarget([this](ui::Control&) { ++buttonTaps; }, ui::kControlEventTouchUpInside);
        lower->addSubview(button);
        covered = std::make_shared<ui::Button>(ui::Rect(250, 50, 100, 44));
        covered->addTarget([this](ui::Control&) { ++coveredTaps; }, ui::kControlEventTouchUpInside);
        lower->addSubview(covered);

        slider = std::make_shared<ui::View>(ui::Rect(0, 100, 375, 80));
        auto pan = std::make_shared<ui::PanGestureRecognizer>();
        pan->addTarget([this](ui::GestureRecognizer& r) { panStates.push_back(r.state()); });
        slider->addGestureRecognizer(pan);
        lower->addSubview(slider);

        // Above everything, over the right half of the top of the screen.
        upper = std::make_shared<ui::Window>(app, ui::Rect(200, 0, 175, 120));
        upper->setWindowLevel(ui::kWindowLevelAlert + 1);
        upper->setBackgroundColor(ui::Color::white(1));
        auto tap = std::make_shared<ui::TapGestureRecognizer>();
        tap->addTarget([this](ui::GestureRecognizer&) { ++upperTaps; });
        upper->addGestureRecognizer(tap);
        upper->setHidden(false);
        driver.runUntilIdle();
    }

    Device device;
    Driver driver{device};
    int buttonTaps = 0;
    int coveredTaps = 0;
    int upperTaps = 0;
    std::vector<ui::GestureState> panStates;
    std::shared_ptr<ui::Window> lower;
    std::shared_ptr<ui::Window> upper;
    std::shared_ptr<ui::Label> label;
    std::shared_ptr<ui::Button> button;
    std::shared_ptr<ui::Button> covered;
    std::shared_ptr<ui::View> slider;
};

TEST_F(ScreenTest, TapReachesTheButtonButNotWhatTheUpperWindowCovers) {
    driver.tap({70, 72});
    EXPECT_EQ(buttonTaps, 1);
    driver.tap({300, 72});
    EXPECT_EQ(coveredTaps, 0);
    EXPECT_EQ(upperTaps, 1);
    // A tap on the label passes through it (labels take no touches) to the window.
    driver.tap({30, 30});
    EXPECT_EQ(buttonTaps, 1);
}

TEST_F(ScreenTest, SlideRunsThePanRecognizerThroughItsStates) {
    driver.pan({{20, 140}, {120, 140}, {180, 150}}, 0.3);
    ASSERT_GE(panStates.size(), 3u);
    EXPECT_EQ(panStates.front(), ui::GestureState::began);
    EXPECT_EQ(panStates[1], ui::GestureState::changed);
    EXPECT_EQ(panStates.back(), ui::GestureState::ended);
    // Steps of at most 4 points over 170 points: many changes, spread in time.
    EXPECT_GT(panStates.size(), 30u);
    EXPECT_NEAR(device.now(), 0.3, 1e-9);
    // A short wobble under the threshold never begins.
    panStates.clear();
    driver.pan({{20, 140}, {25, 142}}, 0.1);
    EXPECT_TRUE(panStates.empty());
}

TEST_F(ScreenTest, SwipeRecognizesOnlyItsDirection) {
    auto swipe = std::make_shared<ui::SwipeGestureRecognizer>();
    swipe->setDirection(ui::kSwipeDirectionLeft);
    int swipes = 0;
    swipe->addTarget([&](ui::GestureRecognizer&) { ++swipes; });
    slider->removeGestureRecognizer(slider->gestureRecognizers().front().get());
    slider->addGestureRecognizer(swipe);
    driver.swipe({300, 140}, Direction::right);
    EXPECT_EQ(swipes, 0);
    driver.swipe({300, 140}, Direction::left);
    EXPECT_EQ(swipes, 1);
}

}  // namespace
}  // namespace kernova::sim
