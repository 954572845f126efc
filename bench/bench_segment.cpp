// GSplodeBox::splode against the bare ICU word-break pass it is built on (next()
// and getRuleStatus() over the same UTF-16 text), on a ~1 MB mixed corpus of
// Chinese, Japanese, English and emoji. BM_Splode reports the ratio of the two,
// measured alternately in the same run (thread CPU time): 1.0 means splode is as
// fast as the bare pass.
#include <benchmark/benchmark.h>
#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/ubrk.h>
#include <unicode/utext.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/text.h"
#include "segment/splode_box.h"

namespace {

constexpr std::array<std::string_view, 12> kSeeds{
    "The quick brown fox jumps over the lazy dog, twice.",
    "Segmentation splits \"selected text\" into tags (words, marks & symbols)!",
    "Version 3.14 shipped on 2024-05-01; see https://example.org/notes for details.",
    "我们今天下午去北京大学图书馆看书，然后一起吃晚饭。",
    "这个系统把选中的文字拆分成词语，方便用户快速复制和翻译。",
    "人工智能正在改变我们的生活方式和工作习惯。",
    "日本語の文章を単語に分割して、タグとして表示します。",
    "東京駅から新幹線に乗って、京都へ行きました。",
    "カタカナのコンピューターとひらがなのことばがまざっています。",
    "Great job \U0001F44D\U0001F3FD see you in \U0001F1EF\U0001F1F5 soon \U0001F600\U0001F389",
    "Family \U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466 trip \u2708\uFE0F "
    "\u2764\uFE0F",
    "Mixed 中文 and English 和日本語のテキスト \U0001F680 in one line.",
};

// ~1 MB, the same on every run: seeds picked by a fixed linear congruential sequence.
std::string makeCorpus(std::size_t bytes) {
    std::string out;
    std::uint32_t state = 12345;
    while (out.size() < bytes) {
        state = state * 1664525u + 1013904223u;
        out += kSeeds[(state >> 16) % kSeeds.size()];
        out += (state & 0x300u) == 0 ? "\n" : " ";
    }
    return out;
}

struct UTextCloser {
    void operator()(UText* t) const { utext_close(t); }
};

// The baseline: one word-break pass that looks at every segment's rule status.
std::int64_t icuWordPass(const std::u16string& text, icu::BreakIterator& it) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UText, UTextCloser> ut(
        utext_openUChars(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status));
    it.setText(ut.get(), status);
    if (U_FAILURE(status)) throw std::runtime_error("setText failed");
    std::int64_t words = 0;
    it.first();
    while (it.next() != icu::BreakIterator::DONE) {
        if (it.getRuleStatus() >= UBRK_WORD_NONE_LIMIT) ++words;
    }
    return words;
}

std::unique_ptr<icu::BreakIterator> wordIterator() {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> it(
        icu::BreakIterator::createWordInstance(icu::Locale::getDefault(), status));
    if (U_FAILURE(status) || !it) throw std::runtime_error("no word iterator");
    return it;
}

// Thread CPU time: the machine is shared, and both passes are single-threaded and
// compute-bound, so CPU time is the steadier measure for the ratio.
double cpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

void BM_IcuWordPass(benchmark::State& state) {
    const std::string corpus = makeCorpus(1 << 20);
    const std::u16string utf16 = kernova::toUtf16(corpus);
    auto it = wordIterator();
    for (auto _ : state)
        benchmark::DoNotOptimize(icuWordPass(utf16, *it));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(corpus.size()));
}
BENCHMARK(BM_IcuWordPass)->Unit(benchmark::kMillisecond);

void BM_Splode(benchmark::State& state) {
    const std::string corpus = makeCorpus(1 << 20);
    const std::u16string utf16 = kernova::toUtf16(corpus);
    auto it = wordIterator();
    double baselineSeconds = 0;
    double splodeSeconds = 0;
    std::size_t items = 0;
    for (auto _ : state) {
        state.PauseTiming();
        double baselineStart = cpuSeconds();
        benchmark::DoNotOptimize(icuWordPass(utf16, *it));
        baselineSeconds += cpuSeconds() - baselineStart;
        state.ResumeTiming();
        double start = cpuSeconds();
        auto result = kernova::GSplodeBox::splode(corpus);
        splodeSeconds += cpuSeconds() - start;
        items = result.size();
        benchmark::DoNotOptimize(result.data());
    }
    const auto bytes = static_cast<double>(corpus.size()) * static_cast<double>(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(corpus.size()));
    state.counters["items"] = static_cast<double>(items);
    state.counters["icu_MBps"] = bytes / baselineSeconds / 1e6;
    state.counters["splode_MBps"] = bytes / splodeSeconds / 1e6;
    // Speed of splode relative to the bare pass; the aim is at least 0.5.
    state.counters["ratio_vs_icu"] = baselineSeconds / splodeSeconds;
}
BENCHMARK(BM_Splode)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
