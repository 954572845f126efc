// The run loop of a desktop process, on Qt's event loop: posted work and timers
// run on the thread that created the loop (the main thread), in Qt's order.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>

#include "base/run_loop.h"

class QObject;
class QTimer;

namespace kernova::desktop {

class QtRunLoop final : public RunLoop {
  public:
    // Must be created on the thread whose Qt event loop runs the work.
    QtRunLoop();
    ~QtRunLoop() override;
    QtRunLoop(const QtRunLoop&) = delete;
    QtRunLoop& operator=(const QtRunLoop&) = delete;

    double now() const override;
    void post(std::function<void()> fn) override;
    TimerId after(double delay, Owner owner, std::function<void()> fn) override;
    TimerId every(double interval, Owner owner, std::function<void()> fn) override;
    void cancel(TimerId id) override;
    void cancelAll(Owner owner) override;

    // Timers scheduled and neither fired (one-shot) nor cancelled.
    std::size_t pendingTimers() const { return timers_.size(); }

  private:
    struct Timer {
        QTimer* timer;
        Owner owner;
        bool repeating;
        std::shared_ptr<std::function<void()>> fn;
    };

    TimerId start(double seconds, bool repeating, Owner owner, std::function<void()> fn);
    void fire(TimerId id);
    void release(std::map<TimerId, Timer>::iterator it);

    std::chrono::steady_clock::time_point origin_;
    // Parent of the timers and target of posted work; work still queued when the
    // loop goes away is dropped with it.
    std::unique_ptr<QObject> context_;
    std::map<TimerId, Timer> timers_;
    TimerId nextId_ = 1;
};

// Seconds as whole milliseconds for a Qt timer: rounded up, NaN and negatives as
// 0, capped at what a timer can hold.
int timerMilliseconds(double seconds);

}  // namespace kernova::desktop
