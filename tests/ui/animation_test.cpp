#include "ui/animation.h"

#include <gtest/gtest.h>

#include "ui_fixture.h"

namespace kernova::ui {
namespace {

double alphaAt(const View& v, double t) {
    return std::get<double>(v.presentationValue(AnimatableProperty::alpha, t));
}

TEST(Animation, ModelChangesAtOnceAndCompletionRunsAtTheEnd) {
    testing::Process p;
    auto v = std::make_shared<View>();
    v->setAlpha(0);
    std::vector<bool> done;
    p.app.animator().animate(
        0.25, 0, kAnimationOptionCurveLinear, [&] { v->setAlpha(1); },
        [&](bool finished) { done.push_back(finished); });
    EXPECT_EQ(v->alpha(), 1.0);
    EXPECT_TRUE(p.app.isAnimating());
    EXPECT_DOUBLE_EQ(alphaAt(*v, 0.0), 0.0);
    EXPECT_DOUBLE_EQ(alphaAt(*v, 0.125), 0.5);
    p.clock.advance(0.2);
    EXPECT_TRUE(done.empty());
    p.clock.advance(0.05);
    EXPECT_EQ(done, std::vector<bool>{true});
    EXPECT_FALSE(v->hasAnimations());
    EXPECT_FALSE(p.app.isAnimating());
    EXPECT_DOUBLE_EQ(alphaAt(*v, 0.3), 1.0);

    // A delay holds the start value.
    auto moved = std::make_shared<View>(Rect(0, 0, 10, 10));
    p.app.animator().animate(1, 0.5, kAnimationOptionCurveLinear,
                             [&] { moved->setFrame(Rect(100, 0, 10, 10)); });
    auto x = [&](double t) {
        return std::get<Rect>(
                   moved->presentationValue(AnimatableProperty::frame, p.clock.now() + t))
            .origin.x;
    };
    EXPECT_DOUBLE_EQ(x(0.4), 0.0);
    EXPECT_DOUBLE_EQ(x(1.0), 50.0);
    EXPECT_DOUBLE_EQ(x(2.0), 100.0);
}

TEST(Animation, ReplacedAnimationCompletesUnfinishedAtOnceOtherPropertiesDoNot) {
    testing::Process p;
    auto v = std::make_shared<View>();
    std::vector<std::string> events;
    auto record = [&](std::string name) {
        return [&events, name](bool f) { events.push_back(name + (f ? " done" : " cut")); };
    };
    p.app.animator().animate(
        1, 0, kAnimationOptionCurveLinear, [&] { v->setAlpha(0.2); }, record("first"));
    p.app.animator().animate(
        1, [&] { v->setBackgroundColor(Color::black()); }, record("colour"));
    p.clock.advance(0.5);
    p.app.animator().animate(
        1, 0, kAnimationOptionCurveLinear, [&] { v->setAlpha(1.0); }, record("second"));
    EXPECT_EQ(events, std::vector<std::string>{"first cut"});
    // The new animation starts from what was showing.
    EXPECT_NEAR(alphaAt(*v, 0.5), 0.6, 1e-9);
    v.reset();  // a view that goes still completes its animations
    p.clock.advance(2);
    std::vector<std::string> expected{"first cut", "colour done", "second done"};
    EXPECT_EQ(events, expected);
}

TEST(Animation, WithoutAnimationRecordsNothing) {
    testing::Process p;
    auto v = std::make_shared<View>();
    bool completed = false;
    p.app.animator().animate(
        1, [&] { p.app.animator().performWithoutAnimation([&] { v->setAlpha(0.3); }); },
        [&](bool f) { completed = f; });
    EXPECT_EQ(v->alpha(), 0.3);
    EXPECT_FALSE(v->hasAnimations());
    p.clock.runUntilIdle();  // a block that animated nothing completes on the next turn
    EXPECT_TRUE(completed);
    v->setAlpha(0.7);  // outside any block: immediate
    EXPECT_FALSE(v->hasAnimations());
}

TEST(Animation, CurvesStartAndEndAtTheEnds) {
    for (auto curve : {AnimationCurve::easeInOut, AnimationCurve::easeIn, AnimationCurve::easeOut,
                       AnimationCurve::linear}) {
        EXPECT_NEAR(animationCurveValue(curve, 0), 0, 1e-9);
        EXPECT_NEAR(animationCurveValue(curve, 1), 1, 1e-9);
    }
    EXPECT_LT(animationCurveValue(AnimationCurve::easeIn, 0.25), 0.25);
    EXPECT_GT(animationCurveValue(AnimationCurve::easeOut, 0.25), 0.25);
}

}  // namespace
}  // namespace kernova::ui
