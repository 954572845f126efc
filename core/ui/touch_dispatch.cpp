#include "ui/touch_dispatch.h"

#include <algorithm>

#include "ui/application.h"

namespace kernova::ui {

TouchDispatch::~TouchDispatch() {
    for (auto& weak : attached_) {
        if (auto recognizer = weak.lock()) recognizer->attach(nullptr, {});
    }
}

void TouchDispatch::handle(const Touch& touch) {
    if (touch.phase == TouchPhase::began) {
        if (touches_.count(touch.id)) {
            Touch cancel = touches_[touch.id].last;
            cancel.phase = TouchPhase::cancelled;
            handle(cancel);
        }
        begin(touch);
        return;
    }
    auto it = touches_.find(touch.id);
    if (it == touches_.end()) return;
    Touch event = touch;
    event.window = it->second.last.window;
    it->second.last = event;
    // Recognizers first, so one that takes the touch keeps it from the view.
    auto recognizers = it->second.recognizers;
    for (auto& recognizer : recognizers) {
        if (recognizer->view()) recognizer->feed(event);
    }
    it = touches_.find(touch.id);
    if (it == touches_.end()) return;
    bool last = event.phase == TouchPhase::ended || event.phase == TouchPhase::cancelled;
    if (last && !it->second.taken) flush(it->second);
    deliver(it->second, event);
    if (last) finish(touch.id);
}

void TouchDispatch::begin(const Touch& touch) {
    Touch event = touch;
    View* hit = nullptr;
    auto windows = application_.allWindowsIncludingInternalWindows(true);
    for (auto it = windows.rbegin(); it != windows.rend() && !hit; ++it) {
        Window* window = *it;
        hit = window->hitTest(window->convertPointFromScreen(touch.screenLocation));
        if (hit && window->passesTouchesThrough() && !window->isContentHit(hit)) hit = nullptr;
        if (hit) event.window = window;
    }
    if (!hit) return;
    Tracked& tracked = touches_[touch.id];
    tracked.last = event;
    tracked.view = hit;
    tracked.keep = hit->weak_from_this().lock();
    for (View* v = hit; v; v = v->superview()) {
        for (const auto& recognizer : v->gestureRecognizers()) {
            if (!recognizer->isEnabled()) continue;
            remember(recognizer);
            recognizer->attach(&application_.runLoop(),
                               [this](GestureRecognizer& r) { stateChanged(r); });
            tracked.recognizers.push_back(recognizer);
        }
    }
    auto recognizers = tracked.recognizers;
    for (auto& recognizer : recognizers)
        recognizer->feed(event);
    auto it = touches_.find(touch.id);
    if (it != touches_.end()) deliver(it->second, event);
}

void TouchDispatch::remember(const std::shared_ptr<GestureRecognizer>& recognizer) {
    attached_.erase(std::remove_if(attached_.begin(), attached_.end(),
                                   [](const auto& w) { return w.expired(); }),
                    attached_.end());
    bool known = std::any_of(attached_.begin(), attached_.end(),
                             [&](const auto& w) { return w.lock() == recognizer; });
    if (!known) attached_.push_back(recognizer);
}

bool TouchDispatch::delaying(const Tracked& tracked) const {
    return std::any_of(tracked.recognizers.begin(), tracked.recognizers.end(), [](const auto& r) {
        return r->delaysTouchesBegan() && r->state() == GestureState::possible && r->view();
    });
}

void TouchDispatch::deliver(Tracked& tracked, const Touch& touch) {
    if (tracked.taken) return;
    if (!tracked.delayed.empty() || delaying(tracked)) {
        if (touch.phase == TouchPhase::ended || touch.phase == TouchPhase::cancelled) {
            flush(tracked);
            sendToView(tracked, touch);
        } else {
            tracked.delayed.push_back(touch);
        }
        return;
    }
    sendToView(tracked, touch);
}

void TouchDispatch::flush(Tracked& tracked) {
    auto held = std::move(tracked.delayed);
    tracked.delayed.clear();
    for (const auto& touch : held)
        sendToView(tracked, touch);
}

void TouchDispatch::sendToView(Tracked& tracked, const Touch& touch) {
    View* view = tracked.view;
    switch (touch.phase) {
        case TouchPhase::began:
            tracked.viewBegan = true;
            view->touchesBegan(touch);
            break;
        case TouchPhase::moved:
        case TouchPhase::stationary:
            if (tracked.viewBegan) view->touchesMoved(touch);
            break;
        case TouchPhase::ended:
            if (tracked.viewBegan) view->touchesEnded(touch);
            break;
        case TouchPhase::cancelled:
            if (tracked.viewBegan) view->touchesCancelled(touch);
            break;
    }
}

void TouchDispatch::take(Tracked& tracked, GestureRecognizer& winner) {
    tracked.taken = true;
    for (auto& other : tracked.recognizers) {
        if (other.get() != &winner) other->failIfPossible();
    }
    if (!winner.cancelsTouchesInView()) {
        tracked.taken = false;
        flush(tracked);
        return;
    }
    tracked.delayed.clear();
    if (tracked.viewBegan) {
        Touch cancel = tracked.last;
        cancel.phase = TouchPhase::cancelled;
        tracked.viewBegan = false;
        tracked.view->touchesCancelled(cancel);
    }
}

void TouchDispatch::stateChanged(GestureRecognizer& recognizer) {
    GestureState state = recognizer.state();
    for (auto& [id, tracked] : touches_) {
        bool mine = std::any_of(tracked.recognizers.begin(), tracked.recognizers.end(),
                                [&](const auto& r) { return r.get() == &recognizer; });
        if (!mine) continue;
        if ((state == GestureState::began || state == GestureState::ended) && !tracked.taken) {
            take(tracked, recognizer);
        } else if (state == GestureState::failed && !tracked.taken && !delaying(tracked)) {
            flush(tracked);
        }
    }
}

void TouchDispatch::finish(TouchId id) {
    auto it = touches_.find(id);
    if (it == touches_.end()) return;
    auto recognizers = std::move(it->second.recognizers);
    touches_.erase(it);
    for (auto& recognizer : recognizers) {
        bool stillUsed = std::any_of(touches_.begin(), touches_.end(), [&](const auto& entry) {
            const auto& list = entry.second.recognizers;
            return std::find(list.begin(), list.end(), recognizer) != list.end();
        });
        if (!stillUsed) recognizer->resetIfFinished();
    }
}

}  // namespace kernova::ui
