#include "ui/gestures.h"

#include <cmath>

namespace kernova::ui {

GestureRecognizer::~GestureRecognizer() {
    if (runLoop_) runLoop_->cancelAll(this);
}

void GestureRecognizer::attach(RunLoop* runLoop,
                               std::function<void(GestureRecognizer&)> onStateChange) {
    // Timers belong to the loop they were made on.
    if (runLoop_ && runLoop_ != runLoop) runLoop_->cancelAll(this);
    runLoop_ = runLoop;
    onStateChange_ = std::move(onStateChange);
}

void GestureRecognizer::setEnabled(bool enabled) {
    if (enabled_ == enabled) return;
    enabled_ = enabled;
    if (!enabled) {
        if (state_ == GestureState::began || state_ == GestureState::changed)
            cancel();
        else
            failIfPossible();
        // A disabled recognizer drops its touches and waits, reset, for new ones.
        resetIfFinished();
    }
}

Point GestureRecognizer::locationInView(const View* view) const {
    if (touches_.empty()) {
        return view ? view->convertPointFromScreen(start_) : start_;
    }
    Point sum;
    for (const auto& [id, touch] : touches_) {
        sum.x += touch.screenLocation.x;
        sum.y += touch.screenLocation.y;
    }
    auto n = static_cast<double>(touches_.size());
    Point screen{sum.x / n, sum.y / n};
    return view ? view->convertPointFromScreen(screen) : screen;
}

double GestureRecognizer::movement(const Touch& touch) const {
    return std::hypot(touch.screenLocation.x - start_.x, touch.screenLocation.y - start_.y);
}

void GestureRecognizer::feed(const Touch& touch) {
    if (!enabled_) return;
    bool finished = state_ == GestureState::ended || state_ == GestureState::cancelled ||
                    state_ == GestureState::failed;
    if (finished) return;
    switch (touch.phase) {
        case TouchPhase::began:
            if (touches_.empty()) {
                start_ = touch.screenLocation;
                startTime_ = touch.timestamp;
            }
            touches_[touch.id] = touch;
            touchesBegan(touch);
            break;
        case TouchPhase::moved:
        case TouchPhase::stationary:
            if (!touches_.count(touch.id)) return;
            touches_[touch.id] = touch;
            touchesMoved(touch);
            break;
        case TouchPhase::ended:
            if (!touches_.count(touch.id)) return;
            touches_[touch.id] = touch;
            touchesEnded(touch);
            touches_.erase(touch.id);
            break;
        case TouchPhase::cancelled:
            if (!touches_.count(touch.id)) return;
            touchesCancelled(touch);
            touches_.erase(touch.id);
            break;
    }
}

void GestureRecognizer::touchesCancelled(const Touch& touch) {
    (void)touch;
    if (state_ == GestureState::began || state_ == GestureState::changed) {
        setState(GestureState::cancelled);
    } else if (state_ == GestureState::possible) {
        setState(GestureState::failed);
    }
}

void GestureRecognizer::resetIfFinished() {
    bool finished = state_ == GestureState::ended || state_ == GestureState::cancelled ||
                    state_ == GestureState::failed;
    if (!finished) {
        // A recognizer still waiting (a tap for its next tap) keeps its state,
        // but forgets the fingers that have lifted.
        return;
    }
    touches_.clear();
    state_ = GestureState::possible;
    reset();
}

void GestureRecognizer::failIfPossible() {
    if (state_ == GestureState::possible) setState(GestureState::failed);
}

void GestureRecognizer::cancel() {
    if (state_ == GestureState::began || state_ == GestureState::changed) {
        setState(GestureState::cancelled);
    } else {
        failIfPossible();
    }
}

void GestureRecognizer::setState(GestureState state) {
    bool starting = state_ == GestureState::possible &&
                    (state == GestureState::began || state == GestureState::ended);
    if (starting && shouldBegin && !shouldBegin(*this)) state = GestureState::failed;
    state_ = state;
    // The dispatch hears first, so the other recognizers fail before targets run.
    if (onStateChange_) onStateChange_(*this);
    if (state == GestureState::failed || state == GestureState::possible) return;
    auto actions = actions_;  // a target may add or remove targets
    for (auto& action : actions) {
        if (action) action(*this);
    }
}

}  // namespace kernova::ui
