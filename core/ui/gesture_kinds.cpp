#include <cmath>

#include "ui/gestures.h"

namespace kernova::ui {

// Tap.

TapGestureRecognizer::~TapGestureRecognizer() {
    cancelTimer();
}

void TapGestureRecognizer::cancelTimer() {
    if (timer_ && runLoop()) runLoop()->cancel(timer_);
    timer_ = 0;
}

void TapGestureRecognizer::touchesBegan(const Touch& touch) {
    (void)touch;
    cancelTimer();
    if (touches().size() > 1) setState(GestureState::failed);
}

void TapGestureRecognizer::touchesMoved(const Touch& touch) {
    if (movement(touch) > kMovementThreshold) setState(GestureState::failed);
}

void TapGestureRecognizer::touchesEnded(const Touch& touch) {
    if (movement(touch) > kMovementThreshold) {
        setState(GestureState::failed);
        return;
    }
    if (++taps_ >= tapsRequired_) {
        setState(kGestureRecognized);
        return;
    }
    // Wait for the next tap; fail when it does not come in time.
    if (runLoop()) {
        timer_ = runLoop()->after(kMultiTapInterval, this, [this] {
            timer_ = 0;
            setState(GestureState::failed);
            resetIfFinished();
        });
    }
}

void TapGestureRecognizer::reset() {
    cancelTimer();
    taps_ = 0;
}

// Long press.

LongPressGestureRecognizer::~LongPressGestureRecognizer() {
    cancelTimer();
}

void LongPressGestureRecognizer::cancelTimer() {
    if (timer_ && runLoop()) runLoop()->cancel(timer_);
    timer_ = 0;
}

void LongPressGestureRecognizer::touchesBegan(const Touch& touch) {
    (void)touch;
    if (touches().size() > 1 || !runLoop()) {
        if (state() == GestureState::possible) setState(GestureState::failed);
        return;
    }
    timer_ = runLoop()->after(minimumDuration_, this, [this] {
        timer_ = 0;
        if (state() == GestureState::possible) setState(GestureState::began);
    });
}

void LongPressGestureRecognizer::touchesMoved(const Touch& touch) {
    if (state() == GestureState::possible) {
        if (movement(touch) > allowableMovement_) {
            cancelTimer();
            setState(GestureState::failed);
        }
    } else if (state() == GestureState::began || state() == GestureState::changed) {
        setState(GestureState::changed);
    }
}

void LongPressGestureRecognizer::touchesEnded(const Touch& touch) {
    (void)touch;
    cancelTimer();
    if (state() == GestureState::possible)
        setState(GestureState::failed);
    else if (state() == GestureState::began || state() == GestureState::changed) {
        setState(GestureState::ended);
    }
}

void LongPressGestureRecognizer::reset() {
    cancelTimer();
}

// Pan.

Point PanGestureRecognizer::translationInView(const View* view) const {
    (void)view;  // views are not scaled, so every view sees the same translation
    if (touches().empty()) return Point{last_.x - origin_.x, last_.y - origin_.y};
    Point now = locationInView(nullptr);
    return Point{now.x - origin_.x, now.y - origin_.y};
}

void PanGestureRecognizer::setTranslation(Point translation, const View* view) {
    Point now = touches().empty() ? last_ : locationInView(nullptr);
    (void)view;
    origin_ = Point{now.x - translation.x, now.y - translation.y};
}

Point PanGestureRecognizer::velocityInView(const View* view) const {
    (void)view;
    return velocity_;
}

void PanGestureRecognizer::touchesBegan(const Touch& touch) {
    if (touches().size() == 1) {
        origin_ = touch.screenLocation;
        last_ = touch.screenLocation;
        lastTime_ = touch.timestamp;
        velocity_ = Point{};
    }
}

void PanGestureRecognizer::touchesMoved(const Touch& touch) {
    double dt = touch.timestamp - lastTime_;
    if (dt > 0) {
        velocity_ =
            Point{(touch.screenLocation.x - last_.x) / dt, (touch.screenLocation.y - last_.y) / dt};
    }
    last_ = touch.screenLocation;
    lastTime_ = touch.timestamp;
    if (state() == GestureState::possible) {
        if (movement(touch) > kMovementThreshold) setState(GestureState::began);
    } else if (state() == GestureState::began || state() == GestureState::changed) {
        setState(GestureState::changed);
    }
}

void PanGestureRecognizer::touchesEnded(const Touch& touch) {
    last_ = touch.screenLocation;
    if (state() == GestureState::possible)
        setState(GestureState::failed);
    else if (state() == GestureState::began || state() == GestureState::changed) {
        setState(GestureState::ended);
    }
}

void PanGestureRecognizer::reset() {
    velocity_ = Point{};
    origin_ = last_ = Point{};
}

// Swipe.

void SwipeGestureRecognizer::touchesBegan(const Touch& touch) {
    (void)touch;
    if (touches().size() > 1) setState(GestureState::failed);
}

void SwipeGestureRecognizer::touchesMoved(const Touch& touch) {
    if (state() != GestureState::possible) return;
    if (touch.timestamp - startTime() > kMaximumDuration) {
        setState(GestureState::failed);
        return;
    }
    double dx = touch.screenLocation.x - startLocation().x;
    double dy = touch.screenLocation.y - startLocation().y;
    bool horizontal = std::abs(dx) >= std::abs(dy);
    double travel = horizontal ? std::abs(dx) : std::abs(dy);
    double drift = horizontal ? std::abs(dy) : std::abs(dx);
    if (travel < kMinimumDistance) return;
    std::uint32_t moved = horizontal ? (dx > 0 ? kSwipeDirectionRight : kSwipeDirectionLeft)
                                     : (dy > 0 ? kSwipeDirectionDown : kSwipeDirectionUp);
    if ((direction_ & moved) != 0 && drift * 2 < travel)
        setState(kGestureRecognized);
    else
        setState(GestureState::failed);
}

void SwipeGestureRecognizer::touchesEnded(const Touch& touch) {
    touchesMoved(touch);
    if (state() == GestureState::possible) setState(GestureState::failed);
}

}  // namespace kernova::ui
