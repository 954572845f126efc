// Gesture recognizers with the toolkit's states and rules. The application
// feeds every touch to the recognizers of the touched view and its ancestors
// (deepest first); once one of them begins or recognizes, the others on that
// touch fail, and (with cancelsTouchesInView) the touched view gets a cancel.
// Timed decisions (the long press) run on the process's run loop.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "base/run_loop.h"
#include "ui/view.h"

namespace kernova::ui {

// Values as the toolkit numbers them; recognized is ended.
enum class GestureState {
    possible = 0,
    began = 1,
    changed = 2,
    ended = 3,
    cancelled = 4,
    failed = 5
};
inline constexpr GestureState kGestureRecognized = GestureState::ended;

class GestureRecognizer {
  public:
    using Action = std::function<void(GestureRecognizer&)>;
    // Movement beyond which taps and long presses fail and pans begin.
    static constexpr double kMovementThreshold = 10.0;

    GestureRecognizer() = default;
    virtual ~GestureRecognizer();
    GestureRecognizer(const GestureRecognizer&) = delete;
    GestureRecognizer& operator=(const GestureRecognizer&) = delete;

    // Target-actions run on began, changed, recognized/ended and cancelled.
    void addTarget(Action action) { actions_.push_back(std::move(action)); }
    void removeAllTargets() { actions_.clear(); }

    GestureState state() const { return state_; }
    View* view() const { return view_; }
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);
    bool cancelsTouchesInView() const { return cancelsTouchesInView_; }
    void setCancelsTouchesInView(bool cancels) { cancelsTouchesInView_ = cancels; }
    // Keeps touches from the view while this recognizer may still recognize.
    bool delaysTouchesBegan() const { return delaysTouchesBegan_; }
    void setDelaysTouchesBegan(bool delays) { delaysTouchesBegan_ = delays; }
    // Asked before leaving possible for began or recognized; false fails it.
    std::function<bool(GestureRecognizer&)> shouldBegin;

    // The centroid of the tracked touches (their last positions) in `view`'s
    // coordinates (screen coordinates for null).
    Point locationInView(const View* view) const;
    std::size_t numberOfTouches() const { return touches_.size(); }

    // Input, called by the application's touch dispatch.
    void feed(const Touch& touch);
    // Back to possible, forgetting touches; called once a touch sequence is over.
    void resetIfFinished();
    bool isTracking(TouchId id) const { return touches_.count(id) != 0; }
    // Makes a recognizer that has not begun fail (another one took the touch).
    void failIfPossible();
    // Cancels a running continuous gesture.
    void cancel();

    // Set by the application: where timers run and who hears state changes.
    void attach(RunLoop* runLoop, std::function<void(GestureRecognizer&)> onStateChange);

  protected:
    virtual void touchesBegan(const Touch& touch) = 0;
    virtual void touchesMoved(const Touch& touch) = 0;
    virtual void touchesEnded(const Touch& touch) = 0;
    virtual void touchesCancelled(const Touch& touch);
    virtual void reset() {}

    // Moves to `state`, running the targets when the state is one they hear.
    // Leaving possible for began or ended asks shouldBegin first.
    void setState(GestureState state);
    RunLoop* runLoop() const { return runLoop_; }
    const std::map<TouchId, Touch>& touches() const { return touches_; }
    Point startLocation() const { return start_; }
    double startTime() const { return startTime_; }
    // Distance from where the first touch went down to where it is now.
    double movement(const Touch& touch) const;

  private:
    friend class View;
    View* view_ = nullptr;
    RunLoop* runLoop_ = nullptr;
    std::function<void(GestureRecognizer&)> onStateChange_;
    std::vector<Action> actions_;
    std::map<TouchId, Touch> touches_;
    GestureState state_ = GestureState::possible;
    Point start_;
    double startTime_ = 0;
    bool enabled_ = true;
    bool cancelsTouchesInView_ = true;
    bool delaysTouchesBegan_ = false;
};

// Discrete: recognized when the required taps end within the movement
// threshold, each next tap within kMultiTapInterval of the previous one.
class TapGestureRecognizer : public GestureRecognizer {
  public:
    static constexpr double kMultiTapInterval = 0.35;
    ~TapGestureRecognizer() override;

    int numberOfTapsRequired() const { return tapsRequired_; }
    void setNumberOfTapsRequired(int taps) { tapsRequired_ = taps < 1 ? 1 : taps; }

  protected:
    void touchesBegan(const Touch& touch) override;
    void touchesMoved(const Touch& touch) override;
    void touchesEnded(const Touch& touch) override;
    void reset() override;

  private:
    void cancelTimer();
    int tapsRequired_ = 1;
    int taps_ = 0;
    TimerId timer_ = 0;
};

// Continuous: began once the finger has stayed down for the minimum duration
// without moving more than the allowable movement; then changed on every move,
// ended when the finger lifts.
class LongPressGestureRecognizer : public GestureRecognizer {
  public:
    ~LongPressGestureRecognizer() override;

    double minimumPressDuration() const { return minimumDuration_; }
    void setMinimumPressDuration(double seconds) { minimumDuration_ = seconds; }
    double allowableMovement() const { return allowableMovement_; }
    void setAllowableMovement(double points) { allowableMovement_ = points; }

  protected:
    void touchesBegan(const Touch& touch) override;
    void touchesMoved(const Touch& touch) override;
    void touchesEnded(const Touch& touch) override;
    void reset() override;

  private:
    void cancelTimer();
    double minimumDuration_ = 0.5;
    double allowableMovement_ = kMovementThreshold;
    TimerId timer_ = 0;
};

// Continuous: began once the finger has moved past the threshold; changed on
// every later move; ended when it lifts.
class PanGestureRecognizer : public GestureRecognizer {
  public:
    // Movement since the gesture began (translation is counted from the touch
    // down point, less what setTranslation reset), in `view`'s scale.
    Point translationInView(const View* view) const;
    void setTranslation(Point translation, const View* view);
    // Points per second over the last move.
    Point velocityInView(const View* view) const;

  protected:
    void touchesBegan(const Touch& touch) override;
    void touchesMoved(const Touch& touch) override;
    void touchesEnded(const Touch& touch) override;
    void reset() override;

  private:
    Point last_;
    Point origin_;
    Point velocity_;
    double lastTime_ = 0;
};

// UISwipeGestureRecognizerDirection bits.
enum SwipeDirection : std::uint32_t {
    kSwipeDirectionRight = 1u << 0,
    kSwipeDirectionLeft = 1u << 1,
    kSwipeDirectionUp = 1u << 2,
    kSwipeDirectionDown = 1u << 3,
};

// Discrete: recognized when the finger travels kMinimumDistance in an allowed
// direction, mostly straight (sideways drift below half the travel), within
// kMaximumDuration; it fails otherwise.
class SwipeGestureRecognizer : public GestureRecognizer {
  public:
    static constexpr double kMinimumDistance = 30.0;
    static constexpr double kMaximumDuration = 0.5;

    std::uint32_t direction() const { return direction_; }
    void setDirection(std::uint32_t direction) { direction_ = direction; }

  protected:
    void touchesBegan(const Touch& touch) override;
    void touchesMoved(const Touch& touch) override;
    void touchesEnded(const Touch& touch) override;

  private:
    std::uint32_t direction_ = kSwipeDirectionRight;
};

}  // namespace kernova::ui
