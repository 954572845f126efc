// Work done away from the run loop's turns: a job made of steps that a worker
// runs until a step says it is done or the job is stopped. kernovad runs the
// steps on a thread of their own; the simulated device runs one step per turn
// of its run loop, so that tests see every step on the virtual clock.
#pragma once

#include <functional>
#include <memory>

#include "base/run_loop.h"

namespace kernova {

// A job under way. Destroying it stops it: the step under way (if any)
// finishes, no step runs afterwards, and the destructor returns only then.
class WorkerJob {
  public:
    virtual ~WorkerJob() = default;
};

// One step of a job: true while more steps remain.
using WorkerStep = std::function<bool()>;

// Steps on a thread of their own, one after the other.
std::unique_ptr<WorkerJob> startThreadJob(WorkerStep step);
// Steps on `loop`, one per turn (a zero-delay timer each); the loop must
// outlive the job.
std::unique_ptr<WorkerJob> startLoopJob(RunLoop& loop, WorkerStep step);

}  // namespace kernova
