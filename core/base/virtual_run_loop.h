// Virtual time: one clock that any number of run loops (one per simulated
// process) schedule on. Nothing runs until a test advances the clock.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <vector>

#include "base/run_loop.h"

namespace kernova {

class VirtualRunLoop;

class VirtualClock {
  public:
    double now() const;
    // Runs every event due within the next `seconds`, in time order (ties in the
    // order they were scheduled), moving the clock to each event's time; then sets
    // the clock to now + seconds. Events scheduled meanwhile run too when due.
    void advance(double seconds);
    // Runs what is due now (posted work, zero-delay timers) until nothing is.
    void runUntilIdle() { advance(0); }
    // Runs the one next event that is due now (one turn of a run loop);
    // false when none is.
    bool runOne();
    // Pending events (timers not yet fired, posted work not yet run).
    std::size_t pendingCount() const;
    // The time of the next pending event, or a negative value when there is none.
    double nextEventTime() const;

  private:
    friend class VirtualRunLoop;
    struct Event {
        VirtualRunLoop* loop;
        Owner owner;
        double interval;  // 0 for one-shot
        std::function<void()> fn;
    };
    using Key = std::pair<double, std::uint64_t>;  // fire time, sequence

    // Runs the first event due by `target`; false when there is none.
    bool runNext(double target);
    TimerId add(VirtualRunLoop* loop, double fireAt, double interval, Owner owner,
                std::function<void()> fn);
    void cancel(TimerId id);
    void cancelWhere(VirtualRunLoop* loop, Owner owner, bool anyOwner);

    mutable std::recursive_mutex mutex_;
    double now_ = 0;
    std::uint64_t nextSeq_ = 1;
    std::map<Key, TimerId> queue_;
    std::map<TimerId, std::pair<Key, Event>> events_;
};

class VirtualRunLoop final : public RunLoop {
  public:
    explicit VirtualRunLoop(VirtualClock& clock) : clock_(clock) {}
    ~VirtualRunLoop() override;
    VirtualRunLoop(const VirtualRunLoop&) = delete;
    VirtualRunLoop& operator=(const VirtualRunLoop&) = delete;

    VirtualClock& clock() { return clock_; }
    double now() const override { return clock_.now(); }
    void post(std::function<void()> fn) override;
    TimerId after(double delay, Owner owner, std::function<void()> fn) override;
    TimerId every(double interval, Owner owner, std::function<void()> fn) override;
    void cancel(TimerId id) override { clock_.cancel(id); }
    void cancelAll(Owner owner) override { clock_.cancelWhere(this, owner, false); }

  private:
    VirtualClock& clock_;
};

}  // namespace kernova
