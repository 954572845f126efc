// The tag board at scale, on the simulated device:
// - BM_LayoutPass/N: one full layout pass over N tags, per tag, against a bare
//   loop that only sums the same widths (ratio = bare / pass);
// - BM_ScrollVisibleCells: one wheel-sized scroll of a 100,000-tag board and
//   the collection view realising what came into view, against a linear scan of
//   all frames for the same rectangle (ratio > 1: faster than the scan);
// - BM_SlideAcross1000: a slide over 1,000 tags, one move event per tag, in
//   events per second, against the same number of moves that stay on one tag;
// - BM_MemoryPerTag: bytes of heap per tag for the items and for their layout.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <memory>
#include <string>
#include <vector>

#include "baseline.h"
#include "board/tag_flow_view.h"
#include "floating/splode_window.h"
#include "sim/device.h"
#include "sim/driver.h"

namespace {

using namespace kernova;

struct Bench {
    explicit Bench(double screenHeight = 667)
        : device(sim::DeviceOptions{{}, 375, screenHeight, 2}), driver(device) {
        auto& app = device.server().application();
        window = GSplodeWindow::initWithFrame(app, app.screen().bounds);
        board = GTagFlowView::initWithFrame(app, app.screen().bounds);
        board->configTagCollectionViewLayout();
        window->addSubview(board);
    }
    std::vector<GTagFlowItemRef> makeItems(std::size_t n) {
        auto& context = device.server().context();
        auto look = GTagFlowAppearance::create(context);
        std::vector<GSplodeItem> segments;
        segments.reserve(n);
        const char* words[] = {"the", "quick", "brown", "fox", "jumps", "over", "lazy", "dog"};
        for (std::size_t i = 0; i < n; ++i)
            segments.push_back(GSplodeItem{words[i % 8], false});
        return GTagFlowItem::factoryFolwLayoutWithItems(context, device.textMeasurer(), segments,
                                                        look);
    }
    void show(std::vector<GTagFlowItemRef> items) {
        board->setFlowDatas(std::move(items));
        board->reloadDatas();
        device.runUntilIdle();
        device.server().application().layoutIfNeeded();
    }
    GTagCollectionViewLayout& layout() {
        return dynamic_cast<GTagCollectionViewLayout&>(
            *board->collectionView()->collectionViewLayout());
    }

    sim::Device device;
    sim::Driver driver;
    std::shared_ptr<GSplodeWindow> window;
    std::shared_ptr<GTagFlowView> board;
};

void BM_LayoutPass(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    Bench bench;
    bench.show(bench.makeItems(n));
    std::vector<ui::Size> sizes;
    for (const auto& item : bench.board->flowDatas())
        sizes.push_back(item->itemSize());
    double baseline = bench::secondsPerCall([&] {
        double sum = 0;
        for (const ui::Size& s : sizes)
            sum += s.width;
        benchmark::DoNotOptimize(sum);
    });
    auto& layout = bench.layout();
    bench::LoopTimer timer;
    for (auto _ : state) {
        layout.prepareLayout();
        benchmark::DoNotOptimize(layout.contentSizeNeed());
    }
    double perPass = timer.secondsPerIteration(state);
    bench::reportRatio(state, baseline, perPass);
    state.counters["ns_per_tag"] = perPass / static_cast<double>(n) * 1e9;
}
BENCHMARK(BM_LayoutPass)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

void BM_ScrollVisibleCells(benchmark::State& state) {
    Bench bench;
    bench.show(bench.makeItems(100000));
    auto& cv = *bench.board->collectionView();
    const double maxY = cv.contentSize().height - cv.bounds().height();
    const auto& frames = bench.layout().arrayItemAtts();
    double y = 0;
    auto nextOffset = [&] {
        y += 7919.5;  // a prime step lands on every part of the board
        if (y > maxY) y -= maxY;
        return y;
    };
    double baseline = bench::secondsPerCall([&] {
        ui::Rect visible(0, nextOffset(), cv.bounds().width(), cv.bounds().height());
        std::size_t found = 0;
        for (const auto& a : frames)
            found += a.frame.intersects(visible);
        benchmark::DoNotOptimize(found);
    });
    std::size_t shown = 0;
    bench::LoopTimer timer;
    for (auto _ : state) {
        cv.setContentOffset(ui::Point{0, nextOffset()});
        cv.layoutIfNeeded();
        shown += cv.visibleCells().size();
    }
    bench::reportRatio(state, baseline, timer.secondsPerIteration(state));
    state.counters["cells_shown"] =
        static_cast<double>(shown) /
        static_cast<double>(std::max<std::int64_t>(1, state.iterations()));
}
BENCHMARK(BM_ScrollVisibleCells)->Unit(benchmark::kMicrosecond);

// One slide, down on the first point and through all the others.
void slide(sim::Driver& driver, const std::vector<ui::Point>& path) {
    ui::TouchId id = driver.touchDown(path.front());
    for (std::size_t i = 1; i < path.size(); ++i)
        driver.touchMove(id, path[i]);
    driver.touchUp(id, path.back());
}

void BM_SlideAcross1000(benchmark::State& state) {
    // A screen tall enough for all 1,000 tags: slides do not scroll.
    Bench bench(8200);
    auto items = bench.makeItems(1000);
    for (auto& item : items)
        item->setItemSize({60, 30});
    bench.show(std::move(items));
    auto& cv = *bench.board->collectionView();
    std::vector<ui::Point> across, still;
    for (std::int64_t i = 0; i < 1000; ++i) {
        ui::Rect f = cv.layoutAttributesForItemAtIndexPath({0, i})->frame;
        if (i == 0) across.push_back(cv.convertPointToScreen({f.minX() + 2, f.midY()}));
        across.push_back(cv.convertPointToScreen({f.midX(), f.midY()}));
    }
    ui::Rect first = cv.layoutAttributesForItemAtIndexPath({0, 0})->frame;
    for (std::size_t i = 0; i < across.size(); ++i) {
        double x = first.minX() + 2 + static_cast<double>(i % 2) * 50;
        still.push_back(cv.convertPointToScreen({x, first.midY()}));
    }
    double baseline = bench::secondsPerCall([&] { slide(bench.driver, still); });
    bench::LoopTimer timer;
    for (auto _ : state)
        slide(bench.driver, across);
    double perSlide = timer.secondsPerIteration(state);
    bench::reportRatio(state, baseline, perSlide);
    state.counters["events_per_s"] = static_cast<double>(across.size() + 1) / perSlide;
    state.counters["baseline_events_per_s"] = static_cast<double>(still.size() + 1) / baseline;
}
BENCHMARK(BM_SlideAcross1000)->Unit(benchmark::kMillisecond)->Iterations(5);

double heapInUse() {
    return static_cast<double>(mallinfo2().uordblks);
}

void BM_MemoryPerTag(benchmark::State& state) {
    constexpr std::size_t kTags = 100000;
    for (auto _ : state) {
        Bench bench;
        double before = heapInUse();
        auto items = bench.makeItems(kTags);
        double afterItems = heapInUse();
        bench.show(std::move(items));
        double afterLayout = heapInUse();
        state.counters["item_bytes_per_tag"] = (afterItems - before) / kTags;
        state.counters["layout_bytes_per_tag"] = (afterLayout - afterItems) / kTags;
    }
}
BENCHMARK(BM_MemoryPerTag)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
