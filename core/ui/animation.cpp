#include "ui/animation.h"

#include <algorithm>
#include <cmath>

namespace kernova::ui {

// The animation block being run on this thread, if any. It exists only while an
// animate or performWithoutAnimation call is on the stack (the toolkit keeps
// the same per-thread state), so it is never seen across calls.
struct Animator::Scope {
    Animator* animator = nullptr;  // null: animations disabled
    std::uint64_t group = 0;
    double start = 0;
    double delay = 0;
    double duration = 0;
    AnimationCurve curve = AnimationCurve::easeInOut;
    Scope* outer = nullptr;
};

namespace {
thread_local Animator::Scope* gCurrentScope = nullptr;  // NOLINT: scoped to a call

struct ScopeGuard {
    explicit ScopeGuard(Animator::Scope& scope) {
        scope.outer = gCurrentScope;
        gCurrentScope = &scope;
        scope_ = &scope;
    }
    ~ScopeGuard() { gCurrentScope = scope_->outer; }
    ScopeGuard(const ScopeGuard&) = delete;
    ScopeGuard& operator=(const ScopeGuard&) = delete;
    Animator::Scope* scope_;
};

double cubic(double t, double p1, double p2) {
    // A cubic Bezier from 0 to 1 with control values p1, p2.
    double u = 1 - t;
    return 3 * u * u * t * p1 + 3 * u * t * t * p2 + t * t * t;
}

// y for x on the timing curve with control points (x1, y1) and (x2, y2).
double bezierTiming(double x, double x1, double y1, double x2, double y2) {
    double lo = 0, hi = 1, t = x;
    for (int i = 0; i < 40; ++i) {
        t = (lo + hi) / 2;
        if (cubic(t, x1, x2) < x)
            lo = t;
        else
            hi = t;
    }
    return cubic(t, y1, y2);
}

double mix(double a, double b, double t) {
    return a + (b - a) * t;
}
}  // namespace

double animationCurveValue(AnimationCurve curve, double t) {
    t = std::clamp(t, 0.0, 1.0);
    switch (curve) {
        case AnimationCurve::linear:
            return t;
        case AnimationCurve::easeIn:
            return bezierTiming(t, 0.42, 0, 1, 1);
        case AnimationCurve::easeOut:
            return bezierTiming(t, 0, 0, 0.58, 1);
        case AnimationCurve::easeInOut:
            return bezierTiming(t, 0.42, 0, 0.58, 1);
    }
    return t;
}

AnimatableValue interpolate(const AnimatableValue& from, const AnimatableValue& to, double t) {
    if (from.index() != to.index()) return t < 1 ? from : to;
    if (auto a = std::get_if<double>(&from)) return mix(*a, std::get<double>(to), t);
    if (auto r = std::get_if<Rect>(&from)) {
        const Rect& q = std::get<Rect>(to);
        return Rect(mix(r->origin.x, q.origin.x, t), mix(r->origin.y, q.origin.y, t),
                    mix(r->size.width, q.size.width, t), mix(r->size.height, q.size.height, t));
    }
    const Color& c = std::get<Color>(from);
    const Color& d = std::get<Color>(to);
    return Color{mix(c.red, d.red, t), mix(c.green, d.green, t), mix(c.blue, d.blue, t),
                 mix(c.alpha, d.alpha, t)};
}

Animator::Animator(RunLoop& runLoop) : runLoop_(runLoop) {}

Animator::~Animator() {
    runLoop_.cancelAll(this);
}

void Animator::animate(double duration, double delay, AnimationOptions options,
                       const std::function<void()>& animations, Completion completion) {
    std::uint64_t id = nextGroup_++;
    Scope scope;
    scope.animator = this;
    scope.group = id;
    scope.start = runLoop_.now();
    scope.delay = std::max(0.0, delay);
    scope.duration = std::max(0.0, duration);
    scope.curve = static_cast<AnimationCurve>((options >> 16) & 3u);
    Group& group = groups_[id];
    group.completion = std::move(completion);
    if (animations) {
        ScopeGuard guard(scope);
        animations();
    }
    // A block that changed nothing still completes, on the next turn.
    double wait = groups_[id].views.empty() ? 0.0 : scope.delay + scope.duration;
    groups_[id].timer = runLoop_.after(wait, this, [this, id] { finishGroup(id); });
}

void Animator::performWithoutAnimation(const std::function<void()>& changes) {
    Scope scope;  // no animator: changes are not recorded
    ScopeGuard guard(scope);
    if (changes) changes();
}

void Animator::noteChange(View& view, AnimatableProperty property, const AnimatableValue& from) {
    Scope* scope = gCurrentScope;
    if (!scope || !scope->animator) return;
    scope->animator->record(view, property, from);
}

void Animator::record(View& view, AnimatableProperty property, const AnimatableValue& from) {
    Scope& scope = *gCurrentScope;
    auto& list = view.transitions_;
    AnimatableValue start = from;
    std::vector<std::uint64_t> replaced;
    for (auto it = list.begin(); it != list.end();) {
        if (it->property == property) {
            // The new animation starts from what was showing (the toolkit's
            // additive start is approximated by the current presentation).
            if (it->group != scope.group) {
                start = view.presentationValue(property, scope.start);
                replaced.push_back(it->group);
            } else {
                start = it->from;
            }
            it = list.erase(it);
        } else {
            ++it;
        }
    }
    Transition transition;
    transition.property = property;
    transition.from = start;
    transition.to = view.modelValue(property);
    transition.startTime = scope.start;
    transition.delay = scope.delay;
    transition.duration = scope.duration;
    transition.curve = scope.curve;
    transition.group = scope.group;
    list.push_back(transition);
    Group& group = groups_[scope.group];
    std::weak_ptr<View> weak = view.weak_from_this();
    if (!weak.expired())
        group.views.push_back(weak);
    else
        group.views.emplace_back();  // counted so the block waits for its duration
    for (std::uint64_t old : replaced)
        interruptGroup(old);
}

void Animator::interruptGroup(std::uint64_t id) {
    auto it = groups_.find(id);
    if (it == groups_.end() || it->second.completed) return;
    it->second.completed = true;
    Completion completion = std::move(it->second.completion);
    if (completion) completion(false);
}

void Animator::finishGroup(std::uint64_t id) {
    auto it = groups_.find(id);
    if (it == groups_.end()) return;
    Group group = std::move(it->second);
    groups_.erase(it);
    for (auto& weak : group.views) {
        if (auto view = weak.lock()) {
            auto& list = view->transitions_;
            list.erase(std::remove_if(list.begin(), list.end(),
                                      [id](const Transition& t) { return t.group == id; }),
                       list.end());
            view->setNeedsDisplay();
        }
    }
    if (!group.completed && group.completion) group.completion(true);
}

void Animator::removeAllAnimations(View& view) {
    std::vector<std::uint64_t> ids;
    for (const auto& t : view.transitions_)
        ids.push_back(t.group);
    view.transitions_.clear();
    if (!ids.empty()) view.setNeedsDisplay();
    for (std::uint64_t id : ids)
        interruptGroup(id);
}

}  // namespace kernova::ui
