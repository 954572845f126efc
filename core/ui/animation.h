// Block animations. Inside `animate`, setting an animatable property changes
// the model value at once and records a presentation transition on the view;
// the completion runs on the run loop when the last transition of the block
// ends (finished = true), or at once with finished = false when a later
// animation replaces one of its transitions. Outside animate blocks (and
// inside performWithoutAnimation) changes are immediate and recorded nowhere.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "base/run_loop.h"
#include "ui/view.h"

namespace kernova::ui {

// UIViewAnimationOptions bits used here.
enum AnimationOption : std::uint32_t {
    kAnimationOptionAllowUserInteraction = 1u << 1,
    kAnimationOptionBeginFromCurrentState = 1u << 2,
    kAnimationOptionCurveEaseInOut = 0u << 16,
    kAnimationOptionCurveEaseIn = 1u << 16,
    kAnimationOptionCurveEaseOut = 2u << 16,
    kAnimationOptionCurveLinear = 3u << 16,
};
using AnimationOptions = std::uint32_t;

// The eased fraction (0..1) of `curve` at linear progress `t` (0..1).
double animationCurveValue(AnimationCurve curve, double t);
// Interpolates between two values of the same kind.
AnimatableValue interpolate(const AnimatableValue& from, const AnimatableValue& to, double t);

class Animator {
  public:
    using Completion = std::function<void(bool finished)>;

    explicit Animator(RunLoop& runLoop);
    ~Animator();
    Animator(const Animator&) = delete;
    Animator& operator=(const Animator&) = delete;

    void animate(double duration, double delay, AnimationOptions options,
                 const std::function<void()>& animations, Completion completion = {});
    void animate(double duration, const std::function<void()>& animations,
                 Completion completion = {}) {
        animate(duration, 0, 0, animations, std::move(completion));
    }
    // Runs `changes` with animations (and implicit actions) off, even inside an
    // animate block.
    void performWithoutAnimation(const std::function<void()>& changes);
    // The same, spelled as the layer transaction with actions disabled.
    void performWithActionsDisabled(const std::function<void()>& changes) {
        performWithoutAnimation(changes);
    }

    // True while any animation block has not completed.
    bool isAnimating() const { return !groups_.empty(); }
    // Stops every transition on `view` (completions run with finished = false).
    void removeAllAnimations(View& view);

    // The animation block running on this thread (internal).
    struct Scope;

    // Called by views when an animatable property changes.
    static void noteChange(View& view, AnimatableProperty property, const AnimatableValue& from);

  private:
    struct Group {
        Completion completion;
        std::vector<std::weak_ptr<View>> views;
        TimerId timer = 0;
        bool completed = false;
    };
    void record(View& view, AnimatableProperty property, const AnimatableValue& from);
    void finishGroup(std::uint64_t id);
    void interruptGroup(std::uint64_t id);

    RunLoop& runLoop_;
    std::map<std::uint64_t, Group> groups_;
    std::uint64_t nextGroup_ = 1;
};

}  // namespace kernova::ui
