// GTMBase64 throughput on 1 MB against a bare table-driven codec run in the same
// iterations. "vs_baseline" is GTMBase64 time divided by baseline time (1.0 means
// as fast as the bare loop).
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <random>

#include "support/gtm_base64.h"

namespace {

using kernova::Bytes;
using kernova::GTMBase64;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kInputSize = 1u << 20;
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

Bytes randomInput() {
    std::mt19937 rng(42);
    Bytes data(kInputSize);
    for (auto& b : data)
        b = static_cast<std::uint8_t>(rng());
    return data;
}

// Bare encode: no checks, no padding logic beyond the input being a multiple of 3
// (1 MB + 2 bytes would need it; the 1 MB input leaves one byte, encoded plainly).
void bareEncode(const Bytes& in, Bytes& out) {
    std::size_t o = 0;
    std::size_t i = 0;
    for (; i + 3 <= in.size(); i += 3) {
        const unsigned g = (unsigned{in[i]} << 16) | (unsigned{in[i + 1]} << 8) | in[i + 2];
        out[o++] = static_cast<std::uint8_t>(kAlphabet[g >> 18]);
        out[o++] = static_cast<std::uint8_t>(kAlphabet[(g >> 12) & 63]);
        out[o++] = static_cast<std::uint8_t>(kAlphabet[(g >> 6) & 63]);
        out[o++] = static_cast<std::uint8_t>(kAlphabet[g & 63]);
    }
    for (; i < in.size(); ++i)
        out[o++] = static_cast<std::uint8_t>(kAlphabet[in[i] >> 2]);
}

constexpr std::array<std::uint8_t, 256> makeValues() {
    std::array<std::uint8_t, 256> v{};
    for (std::size_t i = 0; i < 64; ++i)
        v[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
    return v;
}
constexpr std::array<std::uint8_t, 256> kValues = makeValues();

// Bare decode of full groups: no validation, white space or padding handling.
void bareDecode(const Bytes& in, Bytes& out) {
    std::size_t o = 0;
    for (std::size_t i = 0; i + 4 <= in.size(); i += 4) {
        const unsigned g = (unsigned{kValues[in[i]]} << 18) | (unsigned{kValues[in[i + 1]]} << 12) |
                           (unsigned{kValues[in[i + 2]]} << 6) | kValues[in[i + 3]];
        out[o++] = static_cast<std::uint8_t>(g >> 16);
        out[o++] = static_cast<std::uint8_t>(g >> 8);
        out[o++] = static_cast<std::uint8_t>(g);
    }
}

double secondsOf(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

// Runs `baseline` and `measured` once per iteration, reporting the measured time as
// the iteration time and the ratio of the totals as a counter.
template <class Baseline, class Measured>
void runAgainstBaseline(benchmark::State& state, std::size_t bytes, Baseline baseline,
                        Measured measured) {
    double baselineTotal = 0;
    double measuredTotal = 0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        baseline();
        const auto t1 = Clock::now();
        measured();
        const auto t2 = Clock::now();
        baselineTotal += secondsOf(t1 - t0);
        measuredTotal += secondsOf(t2 - t1);
        state.SetIterationTime(secondsOf(t2 - t1));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
    state.counters["baseline_MB/s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * static_cast<double>(bytes) / 1e6 / baselineTotal);
    state.counters["vs_baseline"] = measuredTotal / baselineTotal;
}

void BM_GTMBase64Encode(benchmark::State& state) {
    const Bytes input = randomInput();
    Bytes bare(input.size() / 3 * 4 + 4);
    runAgainstBaseline(
        state, input.size(),
        [&] {
            bareEncode(input, bare);
            benchmark::DoNotOptimize(bare.data());
        },
        [&] { benchmark::DoNotOptimize(GTMBase64::encodeData(input)); });
}

void BM_GTMBase64Decode(benchmark::State& state) {
    const Bytes encoded = *GTMBase64::encodeData(randomInput());
    Bytes bare(encoded.size() / 4 * 3);
    runAgainstBaseline(
        state, encoded.size(),
        [&] {
            bareDecode(encoded, bare);
            benchmark::DoNotOptimize(bare.data());
        },
        [&] { benchmark::DoNotOptimize(GTMBase64::decodeData(encoded)); });
}

BENCHMARK(BM_GTMBase64Encode)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GTMBase64Decode)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
