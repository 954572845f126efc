// Benchmarks report their speed as a ratio against a baseline measured in the
// same run, so that figures compare across machines.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>

namespace kernova::bench {

// Seconds per call of `fn`, averaged over enough calls to last about 0.2 s.
template <typename Fn>
double secondsPerCall(Fn&& fn) {
    using Clock = std::chrono::steady_clock;
    int calls = 0;
    auto start = Clock::now();
    double elapsed = 0;
    do {
        fn();
        ++calls;
        elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    } while (elapsed < 0.2 || calls < 3);
    return elapsed / calls;
}

// Wall time of a benchmark's state loop: start it right before the loop.
class LoopTimer {
  public:
    double secondsPerIteration(const benchmark::State& state) const {
        double total =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
        return state.iterations() > 0 ? total / static_cast<double>(state.iterations()) : 0;
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
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
