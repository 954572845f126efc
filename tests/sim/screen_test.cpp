// The driver's slide on the device: a pan recognizer in a window of the server
// process runs through its states in virtual time.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "sim/device.h"
#include "sim/driver.h"
#include "ui/gestures.h"
#include "ui/window.h"

namespace kernova::sim {
namespace {

TEST(ScreenTest, SlideRunsThePanRecognizerThroughItsStates) {
    Device device;
    Driver driver{device};
    auto window = std::make_shared<ui::Window>(driver.application(), ui::Rect(0, 0, 375, 667));
    window->makeKeyAndVisible();
    auto slider = std::make_shared<ui::View>(ui::Rect(0, 100, 375, 80));
    auto pan = std::make_shared<ui::PanGestureRecognizer>();
    std::vector<ui::GestureState> panStates;
    pan->addTarget([&](ui::GestureRecognizer& r) { panStates.push_back(r.state()); });
    slider->addGestureRecognizer(pan);
    window->addSubview(slider);
    driver.runUntilIdle();

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

}  // namespace
}  // namespace kernova::sim
