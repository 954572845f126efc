#include "base/virtual_run_loop.h"

#include <algorithm>

namespace kernova {

double VirtualClock::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

TimerId VirtualClock::add(VirtualRunLoop* loop, double fireAt, double interval, Owner owner,
                          std::function<void()> fn) {
    std::lock_guard lock(mutex_);
    TimerId id = nextSeq_++;
    Key key{std::max(fireAt, now_), id};
    queue_.emplace(key, id);
    events_.emplace(id, std::make_pair(key, Event{loop, owner, interval, std::move(fn)}));
    return id;
}

void VirtualClock::cancel(TimerId id) {
    std::lock_guard lock(mutex_);
    auto it = events_.find(id);
    if (it == events_.end()) return;
    queue_.erase(it->second.first);
    events_.erase(it);
}

void VirtualClock::cancelWhere(VirtualRunLoop* loop, Owner owner, bool anyOwner) {
    std::lock_guard lock(mutex_);
    for (auto it = events_.begin(); it != events_.end();) {
        const Event& e = it->second.second;
        if (e.loop == loop && (anyOwner || e.owner == owner)) {
            queue_.erase(it->second.first);
            it = events_.erase(it);
        } else {
            ++it;
        }
    }
}

void VirtualClock::advance(double seconds) {
    const double target = now() + std::max(0.0, seconds);
    while (runNext(target)) {
    }
    std::lock_guard lock(mutex_);
    now_ = std::max(now_, target);
}

bool VirtualClock::runOne() {
    return runNext(now());
}

bool VirtualClock::runNext(double target) {
    std::function<void()> fn;
    {
        std::lock_guard lock(mutex_);
        if (queue_.empty() || queue_.begin()->first.first > target) return false;
        auto [key, id] = *queue_.begin();
        queue_.erase(queue_.begin());
        auto it = events_.find(id);
        now_ = std::max(now_, key.first);
        Event& e = it->second.second;
        if (e.interval > 0) {
            // Re-arm before running, so that the callback may cancel itself.
            Key next{key.first + e.interval, nextSeq_++};
            it->second.first = next;
            queue_.emplace(next, id);
            fn = e.fn;
        } else {
            fn = std::move(e.fn);
            events_.erase(it);
        }
    }
    fn();
    return true;
}

std::size_t VirtualClock::pendingCount() const {
    std::lock_guard lock(mutex_);
    return queue_.size();
}

double VirtualClock::nextEventTime() const {
    std::lock_guard lock(mutex_);
    return queue_.empty() ? -1.0 : queue_.begin()->first.first;
}

VirtualRunLoop::~VirtualRunLoop() {
    clock_.cancelWhere(this, nullptr, true);
}

void VirtualRunLoop::post(std::function<void()> fn) {
    clock_.add(this, clock_.now(), 0, nullptr, std::move(fn));
}

TimerId VirtualRunLoop::after(double delay, Owner owner, std::function<void()> fn) {
    return clock_.add(this, clock_.now() + std::max(0.0, delay), 0, owner, std::move(fn));
}

TimerId VirtualRunLoop::every(double interval, Owner owner, std::function<void()> fn) {
    // A repeating timer needs a positive interval; a tiny floor keeps time moving.
    double step = std::max(interval, 1e-4);
    return clock_.add(this, clock_.now() + step, step, owner, std::move(fn));
}

}  // namespace kernova
