// Benchmarks report their speed as a ratio against a baseline measured in the
// same run, so that figures compare across machines. Times are the calling
// thread's CPU time: the machine may be shared, and every measured path is
// single-threaded, so CPU time is the steadier measure.
#pragma once

#include <benchmark/benchmark.h>

#include <ctime>

namespace kernova::bench {

// The calling thread's CPU time in seconds.
inline double threadSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// Seconds per call of `fn`, averaged over enough calls to last about 0.2 s.
template <typename Fn>
double secondsPerCall(Fn&& fn) {
    int calls = 0;
    const double start = threadSeconds();
    double elapsed = 0;
    do {
        fn();
        ++calls;
        elapsed = threadSeconds() - start;
    } while (elapsed < 0.2 || calls < 3);
    return elapsed / calls;
}

// Time of a benchmark's state loop: start it right before the loop.
class LoopTimer {
  public:
    double secondsPerIteration(const benchmark::State& state) const {
        const double total = threadSeconds() - start_;
        return state.iterations() > 0 ? total / static_cast<double>(state.iterations()) : 0;
    }

  private:
    double start_ = threadSeconds();
};

// Adds "baseline_s" and "ratio" (baseline time / measured time per call: 1 is as
// fast as the baseline, 0.5 half as fast).
inline void reportRatio(benchmark::State& state, double baselineSecondsPerCall,
                        double measuredSecondsPerCall) {
    state.counters["baseline_s"] = baselineSecondsPerCall;
    state.counters["ratio"] =
        measuredSecondsPerCall > 0 ? baselineSecondsPerCall / measuredSecondsPerCall : 0;
}

}  // namespace kernova::bench
