#include "base/worker.h"

#include <atomic>
#include <thread>
#include <utility>

namespace kernova {
namespace {

class ThreadJob final : public WorkerJob {
  public:
    explicit ThreadJob(WorkerStep step)
        : thread_([this, step = std::move(step)] {
              while (!stop_.load(std::memory_order_acquire) && step()) {
              }
          }) {}
    ~ThreadJob() override {
        stop_.store(true, std::memory_order_release);
        thread_.join();
    }

  private:
    std::atomic<bool> stop_{false};
    std::thread thread_;  // last: started once stop_ is there
};

class LoopJob final : public WorkerJob {
  public:
    LoopJob(RunLoop& loop, WorkerStep step) : loop_(loop), step_(std::move(step)) { schedule(); }
    ~LoopJob() override { loop_.cancelAll(this); }

  private:
    void schedule() {
        loop_.after(0, this, [this] {
            if (step_()) schedule();
        });
    }
    RunLoop& loop_;
    WorkerStep step_;
};

}  // namespace

std::unique_ptr<WorkerJob> startThreadJob(WorkerStep step) {
    return std::make_unique<ThreadJob>(std::move(step));
}

std::unique_ptr<WorkerJob> startLoopJob(RunLoop& loop, WorkerStep step) {
    return std::make_unique<LoopJob>(loop, std::move(step));
}

}  // namespace kernova
