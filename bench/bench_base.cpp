// Property-list load and save of a 1,000-entry history dictionary, against
// reading and writing the same bytes raw (the save baseline also flushes to disk
// and renames, as the atomic save does).
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "base/plist.h"
#include "baseline.h"

namespace {

using namespace kernova;

Value historyDictionary() {
    std::mt19937 rng(42);
    const std::string pieces[] = {"Hello, world! ",       "今天天气很好。",
                                  "東京は晴れです。",     "😀 ",
                                  "The quick brown fox ", "选中的文字 "};
    Array items;
    for (int i = 0; i < 1000; ++i) {
        std::string text;
        int n = 1 + static_cast<int>(rng() % 12);
        for (int k = 0; k < n; ++k)
            text += pieces[rng() % std::size(pieces)];
        items.emplace_back(text);
    }
    return Value(Dictionary{{"items", Value(std::move(items))}});
}

struct Scratch {
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "kernova-bench-plist";
    std::filesystem::path file = dir / "fun.quorle.kernova.history.plist";
    Scratch() { std::filesystem::create_directories(dir); }
    ~Scratch() { std::filesystem::remove_all(dir); }
};

std::string readRaw(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeRaw(const std::filesystem::path& p, const std::string& bytes) {
    std::filesystem::path tmp = p.string() + ".raw";
    int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) return;
    ssize_t written = ::write(fd, bytes.data(), bytes.size());
    benchmark::DoNotOptimize(written);
    ::fsync(fd);
    ::close(fd);
    std::filesystem::rename(tmp, p);
}

void BM_HistoryLoad(benchmark::State& state) {
    Scratch scratch;
    Value history = historyDictionary();
    savePropertyList(scratch.file, history);
    double baseline =
        bench::secondsPerCall([&] { benchmark::DoNotOptimize(readRaw(scratch.file)); });
    bench::LoopTimer timer;
    for (auto _ : state) {
        Value v = loadPropertyList(scratch.file);
        benchmark::DoNotOptimize(v);
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<std::int64_t>(std::filesystem::file_size(scratch.file)));
    bench::reportRatio(state, baseline, timer.secondsPerIteration(state));
}
BENCHMARK(BM_HistoryLoad)->Unit(benchmark::kMicrosecond);

void BM_HistorySave(benchmark::State& state) {
    Scratch scratch;
    Value history = historyDictionary();
    std::string xml = serializePropertyListXml(history);
    double baseline = bench::secondsPerCall([&] { writeRaw(scratch.file, xml); });
    bench::LoopTimer timer;
    for (auto _ : state)
        savePropertyList(scratch.file, history);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(xml.size()));
    bench::reportRatio(state, baseline, timer.secondsPerIteration(state));
}
BENCHMARK(BM_HistorySave)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
