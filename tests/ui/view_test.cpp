#include <gtest/gtest.h>

#include "ui/control.h"
#include "ui/scroll_view.h"
#include "ui_fixture.h"

namespace kernova::ui {
namespace {

TEST(ViewTree, MovesAndRemovalsInAnyOrderKeepTheRestInOrder) {
    auto parent = std::make_shared<View>();
    std::vector<std::shared_ptr<View>> children;
    for (int i = 0; i < 12; ++i) {
        children.push_back(std::make_shared<View>());
        children.back()->setTag(i);
        parent->addSubview(children.back());
    }
    auto tags = [&] {
        std::vector<std::int64_t> out;
        for (const auto& child : parent->subviews())
            out.push_back(child->tag());
        return out;
    };
    // From the front, the middle and the back, with appends in between.
    for (int i : {0, 2, 4, 11})
        children[static_cast<std::size_t>(i)]->removeFromSuperview();
    parent->addSubview(children[0]);
    children[6]->removeFromSuperview();
    EXPECT_EQ(tags(), (std::vector<std::int64_t>{1, 3, 5, 7, 8, 9, 10, 0}));
    parent->insertSubviewAbove(children[4], children[3].get());
    parent->sendSubviewToBack(children[10].get());
    children[3]->removeFromSuperview();
    parent->insertSubview(children[2], 2);
    EXPECT_EQ(tags(), (std::vector<std::int64_t>{10, 1, 2, 4, 5, 7, 8, 9, 0}));
    for (const auto& child : parent->subviews())
        EXPECT_EQ(child->superview(), parent.get());
    EXPECT_EQ(parent->viewWithTag(9), children[9].get());
    EXPECT_EQ(children[3]->superview(), nullptr);
    // Moving to another parent leaves the old one; a view cannot contain itself.
    auto other = std::make_shared<View>();
    other->addSubview(children[5]);
    parent->bringSubviewToFront(children[10].get());
    parent->insertSubviewBelow(children[11], children[1].get());
    parent->addSubview(parent);
    EXPECT_EQ(tags(), (std::vector<std::int64_t>{11, 1, 2, 4, 7, 8, 9, 0, 10}));
    EXPECT_EQ(children[5]->superview(), other.get());
}

TEST(HitTest, FollowsTheToolkitRules) {
    auto root = std::make_shared<View>(Rect(0, 0, 200, 200));
    auto below = std::make_shared<View>(Rect(0, 0, 100, 100));
    auto above = std::make_shared<View>(Rect(50, 50, 100, 100));
    auto outside = std::make_shared<View>(Rect(150, 150, 100, 100));
    root->addSubview(below);
    root->addSubview(above);
    above->addSubview(outside);                            // sticks out of `above`
    EXPECT_EQ(root->hitTest(Point{60, 60}), above.get());  // later subviews on top
    EXPECT_EQ(root->hitTest(Point{10, 10}), below.get());
    // A point outside a view's bounds never reaches its subviews.
    EXPECT_EQ(root->hitTest(Point{195, 195}), root.get());
    above->setHidden(true);
    EXPECT_EQ(root->hitTest(Point{60, 60}), below.get());
    above->setHidden(false);
    above->setAlpha(0.009);
    EXPECT_EQ(root->hitTest(Point{60, 60}), below.get());
    above->setAlpha(0.01);
    EXPECT_EQ(root->hitTest(Point{60, 60}), above.get());
    above->setUserInteractionEnabled(false);
    EXPECT_EQ(root->hitTest(Point{60, 60}), below.get());
    EXPECT_EQ(root->hitTest(Point{250, 10}), nullptr);
    // Labels take no touches by default.
    auto label = std::make_shared<Label>(Rect(0, 0, 20, 20));
    below->addSubview(label);
    EXPECT_EQ(root->hitTest(Point{5, 5}), below.get());
}

struct CountingView : View {
    int layouts = 0;
    void layoutSubviews() override { ++layouts; }
};

TEST(Layout, RunsOnTheNextTurnForViewsInWindows) {
    testing::Process p;
    auto window = p.window();
    auto v = std::make_shared<CountingView>();
    window->addSubview(v);
    p.clock.runUntilIdle();
    EXPECT_EQ(v->layouts, 1);
    v->setFrame(Rect(0, 0, 10, 10));  // a size change asks for layout
    EXPECT_EQ(v->layouts, 1);
    p.clock.runUntilIdle();
    EXPECT_EQ(v->layouts, 2);
    v->setFrame(Rect(5, 5, 10, 10));  // moving alone does not
    v->layoutIfNeeded();
    EXPECT_EQ(v->layouts, 2);
}

TEST(ScrollView, WheelScrollsClampedToContentAndDragDoesNot) {
    testing::Process p;
    auto window = p.window();
    auto scroll = std::make_shared<ScrollView>(Rect(0, 0, 100, 100));
    scroll->setContentSize(Size{100, 250});
    window->addSubview(scroll);
    p.app.handleScroll(ScrollEvent{Point{50, 50}, 0, 60});
    EXPECT_EQ(scroll->contentOffset(), (Point{0, 60}));
    p.app.handleScroll(ScrollEvent{Point{50, 50}, 30, 500});
    EXPECT_EQ(scroll->contentOffset(), (Point{0, 150}));
    p.app.handleScroll(ScrollEvent{Point{50, 50}, 0, -1000});
    EXPECT_EQ(scroll->contentOffset(), (Point{0, 0}));
    p.drag(1, Point{50, 80}, Point{50, 10});
    EXPECT_EQ(scroll->contentOffset(), (Point{0, 0}));
    scroll->setContentInset(EdgeInsets{20, 0, 0, 0});
    p.app.handleScroll(ScrollEvent{Point{50, 50}, 0, -1000});
    EXPECT_EQ(scroll->contentOffset(), (Point{0, -20}));
    scroll->setScrollEnabled(false);
    p.app.handleScroll(ScrollEvent{Point{50, 50}, 0, 40});
    EXPECT_EQ(scroll->contentOffset(), (Point{0, -20}));
}

}  // namespace
}  // namespace kernova::ui
