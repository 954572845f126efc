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
    ASSERT_EQ(v->transitions().size(), 1u);
    EXPECT_DOUBLE_EQ(alphaAt(*v, 0.0), 0.0);
    EXPECT_DOUBLE_EQ(alphaAt(*v, 0.125), 0.5);
    p.clock.advance(0.2);
    EXPECT_TRUE(done.empty());
    p.clock.advance(0.05);
    EXPECT_EQ(done, std::vector<bool>{true});
    EXPECT_FALSE(v->hasAnimations());
    EXPECT_FALSE(p.app.isAnimating());
    EXPECT_DOUBLE_EQ(alphaAt(*v, 0.3), 1.0);
}

TEST(Animation, DelayHoldsTheStartValue) {
    testing::Process p;
    auto v = std::make_shared<View>(Rect(0, 0, 10, 10));
    p.app.animator().animate(1, 0.5, kAnimationOptionCurveLinear,
                             [&] { v->setFrame(Rect(100, 0, 10, 10)); });
    auto at = [&](double t) {
        return std::get<Rect>(v->presentationValue(AnimatableProperty::frame, t)).origin.x;
    };
    EXPECT_DOUBLE_EQ(at(0.4), 0.0);
    EXPECT_DOUBLE_EQ(at(1.0), 50.0);
    EXPECT_DOUBLE_EQ(at(2.0), 100.0);
}

TEST(Animation, ReplacedAnimationCompletesUnfinishedAtOnce) {
    testing::Process p;
    auto v = std::make_shared<View>();
    std::vector<std::string> events;
    p.app.animator().animate(
        1, 0, kAnimationOptionCurveLinear, [&] { v->setAlpha(0.2); },
        [&](bool f) { events.push_back(f ? "first done" : "first cut"); });
    p.clock.advance(0.5);
    p.app.animator().animate(
        1, 0, kAnimationOptionCurveLinear, [&] { v->setAlpha(1.0); },
        [&](bool f) { events.push_back(f ? "second done" : "second cut"); });
    EXPECT_EQ(events, std::vector<std::string>{"first cut"});
    // The new animation starts from what was showing.
    EXPECT_NEAR(alphaAt(*v, 0.5), 0.6, 1e-9);
    p.clock.advance(2);
    std::vector<std::string> expected{"first cut", "second done"};
    EXPECT_EQ(events, expected);
}

TEST(Animation, OtherPropertiesDoNotInterrupt) {
    testing::Process p;
    auto v = std::make_shared<View>();
    int finished = 0;
    p.app.animator().animate(
        1, [&] { v->setAlpha(0.5); }, [&](bool f) { finished += f; });
    p.app.animator().animate(
        1, [&] { v->setBackgroundColor(Color::black()); }, [&](bool f) { finished += f; });
    p.clock.advance(1);
    EXPECT_EQ(finished, 2);
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

TEST(Animation, DestroyedViewStillCompletes) {
    testing::Process p;
    bool completed = false;
    {
        auto v = std::make_shared<View>();
        p.app.animator().animate(
            0.5, [&] { v->setAlpha(0); }, [&](bool f) { completed = f; });
    }
    p.clock.advance(1);
    EXPECT_TRUE(completed);
}

}  // namespace
}  // namespace kernova::ui
