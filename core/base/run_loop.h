// The run loop every process runs on: posted work, one-shot and repeating timers
// (cancellable one by one or all of one owner), and the current time.
#pragma once

#include <cstdint>
#include <functional>

namespace kernova {

using TimerId = std::uint64_t;  // 0 is never a valid timer
// Whoever schedules work may name itself as its owner, to cancel it all at once.
using Owner = const void*;

class RunLoop {
  public:
    virtual ~RunLoop() = default;

    // Seconds on this loop's clock (monotonic; the origin is arbitrary).
    virtual double now() const = 0;
    // Runs `fn` on the loop's thread soon. Safe to call from any thread.
    virtual void post(std::function<void()> fn) = 0;
    // Runs `fn` once, `delay` seconds from now (a negative delay counts as 0).
    virtual TimerId after(double delay, Owner owner, std::function<void()> fn) = 0;
    // Runs `fn` every `interval` seconds, first after one interval, until cancelled.
    virtual TimerId every(double interval, Owner owner, std::function<void()> fn) = 0;
    // Cancelling an unknown or finished timer does nothing; a timer may cancel itself.
    virtual void cancel(TimerId id) = 0;
    virtual void cancelAll(Owner owner) = 0;
};

}  // namespace kernova
