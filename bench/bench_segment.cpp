// GSplodeBox::splode against the bare ICU word-break pass it is built on (next()
// and getRuleStatus() over the same UTF-16 text) that also builds the same
// output: one UTF-8 item per word and one per character between words. On a
// ~1 MB mixed corpus of Chinese, Japanese, English and emoji. BM_Splode reports
// the ratio of the two, measured alternately in the same run (thread CPU time):
// 1.0 means splode is as fast as the bare pass.
#include <benchmark/benchmark.h>
#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/ubrk.h>
#include <unicode/utext.h>
#include <unicode/utf16.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

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

// UTF-16 to UTF-8 in one tight loop (the input is well formed: the corpus is).
std::string utf8Of(std::u16string_view s) {
    std::string out;
    out.reserve(s.size() * 3);
    for (std::size_t i = 0; i < s.size(); ++i) {
        char32_t c = s[i];
        if (U16_IS_LEAD(c) && i + 1 < s.size())
            c = static_cast<char32_t>(U16_GET_SUPPLEMENTARY(c, s[++i]));
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// The baseline: one word-break pass that looks at every segment's rule status
// and makes the items: a word whole, anything else one code point at a time.
std::vector<kernova::GSplodeItem> icuWordPass(const std::u16string& text, icu::BreakIterator& it) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UText, UTextCloser> ut(
        utext_openUChars(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status));
    it.setText(ut.get(), status);
    if (U_FAILURE(status)) throw std::runtime_error("setText failed");
    std::vector<kernova::GSplodeItem> items;
    items.reserve(text.size());
    std::u16string_view all(text);
    std::int32_t start = it.first();
    for (std::int32_t end = it.next(); end != icu::BreakIterator::DONE; end = it.next()) {
        const auto from = static_cast<std::size_t>(start);
        const auto size = static_cast<std::size_t>(end - start);
        if (it.getRuleStatus() >= UBRK_WORD_NONE_LIMIT) {
            items.push_back({utf8Of(all.substr(from, size)), false});
        } else {
            for (std::size_t i = from; i < from + size;) {
                const std::size_t n = U16_IS_LEAD(all[i]) && i + 1 < from + size ? 2 : 1;
                items.push_back({utf8Of(all.substr(i, n)), true});
                i += n;
            }
        }
        start = end;
    }
    return items;
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
        benchmark::DoNotOptimize(icuWordPass(utf16, *it).data());
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
        benchmark::DoNotOptimize(icuWordPass(utf16, *it).data());
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
    // Speed of splode relative to the bare pass; the aim is at least 0.8.
    state.counters["ratio_vs_icu"] = baselineSeconds / splodeSeconds;
}
BENCHMARK(BM_Splode)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
