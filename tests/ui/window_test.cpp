#include <gtest/gtest.h>

#include "ui/control.h"
#include "ui_fixture.h"

namespace kernova::ui {
namespace {

TEST(Windows, OrderedByLevelThenByShowingAndKeptAliveWhileVisible) {
    testing::Process p;
    auto alert = p.window(kWindowLevelAlert + 1);
    auto normal = p.window(kWindowLevelNormal);
    auto status = p.window(kWindowLevelStatusBar);
    auto second = p.window(kWindowLevelNormal);
    auto hidden = std::make_shared<Window>(p.app, p.screen.bounds);  // starts hidden
    std::vector<Window*> expected{normal.get(), second.get(), status.get(), alert.get()};
    EXPECT_EQ(p.app.windows(), expected);
    normal->setHidden(true);
    normal->setHidden(false);  // shown again: now above `second`
    expected = {second.get(), normal.get(), status.get(), alert.get()};
    EXPECT_EQ(p.app.windows(), expected);
    // A visible window is kept alive, and let go when hidden.
    std::weak_ptr<Window> weak = second;
    second.reset();
    ASSERT_FALSE(weak.expired());
    weak.lock()->setHidden(true);
    EXPECT_TRUE(weak.expired());
}

TEST(Windows, KeyWindowAndItsHandOver) {
    testing::Process p;
    auto a = std::make_shared<Window>(p.app, p.screen.bounds);
    auto b = std::make_shared<Window>(p.app, p.screen.bounds);
    a->makeKeyAndVisible();
    b->makeKeyAndVisible();
    EXPECT_TRUE(b->isKeyWindow());
    EXPECT_FALSE(a->isKeyWindow());
    b->setHidden(true);
    EXPECT_EQ(p.app.keyWindow(), a.get());
}

// Touches reaching the topmost window with a hit are checked through the
// panel's notice, which lets them through to the panel (tests/panel).
TEST(Button, TouchUpInsideOnlyWhenLiftedWithinReach) {
    testing::Process p;
    auto w = p.window();
    auto button = std::make_shared<Button>(Rect(100, 100, 40, 40));
    int ups = 0, downs = 0;
    button->addTarget([&](Control&) { ++ups; }, kControlEventTouchUpInside);
    button->addTarget([&](Control&) { ++downs; }, kControlEventTouchDown);
    w->addSubview(button);
    p.touch(1, TouchPhase::began, 110, 110);
    EXPECT_TRUE(button->isHighlighted());
    p.touch(1, TouchPhase::moved, 200, 110);  // still within the 70-point reach
    p.touch(1, TouchPhase::ended, 200, 110);
    EXPECT_EQ(ups, 1);
    EXPECT_FALSE(button->isHighlighted());
    p.touch(2, TouchPhase::began, 110, 110);
    p.touch(2, TouchPhase::moved, 300, 110);
    p.touch(2, TouchPhase::ended, 300, 110);
    EXPECT_EQ(ups, 1);
    EXPECT_EQ(downs, 2);
    button->setEnabled(false);
    p.tap(110, 110);
    EXPECT_EQ(ups, 1);
}

}  // namespace
}  // namespace kernova::ui
