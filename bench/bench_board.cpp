// The tag board at scale, on the simulated device. Each figure is a ratio to
// a baseline measured in the same run:
// - BM_LayoutPass/N: one full layout pass over N tags, against a loop that
//   builds the same N rectangles from sizes already at hand (ratio =
//   baseline / pass, 1 is as fast as the bare loop);
// - BM_WheelStep/N: one wheel step on a board of N tags and the cells it brings
//   into view, against the same wheel step on a board of 100 tags;
// - BM_Tap/N: a tap that picks or unpicks a tag on a board of N tags, against
//   the same tap on a board of 100 tags;
// - BM_SelectionText: the text of 160,000 picked tags against the text of
//   16,000 (ratio = 160k time / 16k time; linear assembly gives about 10);
// - BM_SlideAcross1000: a slide over 1,000 tags, one move event per tag, in
//   events per second, against the same number of moves that stay on one tag;
// - BM_MemoryPerTag: bytes of heap per tag that the server keeps for a board
//   of 100,000 tags opened by "notifySplode" as kernovad opens it (tags made
//   a slice at a time, laid out, the panel shown), beyond the text itself; what
//   is left once the panel closes; and, for a board filled the same way on
//   its own, the part of the tags and the part of their layout.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <memory>
#include <string>
#include <vector>

#include "base/plist.h"
#include "baseline.h"
#include "board/tag_flow_pass.h"
#include "board/tag_flow_view.h"
#include "floating/splode_window.h"
#include "panel/tag_flow_container.h"
#include "server/server.h"
#include "server/settings.h"
#include "server/tag_feed.h"
#include "sim/device.h"
#include "sim/driver.h"
#include "sim/sim_server_host.h"

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

// Forces the next prepareLayout to compute every frame.
void touchLayout(GTagFlowView& board) {
    board.setLineSpacing(board.lineSpacing());
}

void BM_LayoutPass(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    Bench bench;
    bench.show(bench.makeItems(n));
    std::vector<ui::Size> sizes;
    for (const auto& item : bench.board->flowDatas())
        sizes.push_back(item->itemSize());
    const TagLineMetrics metrics = GTagFlowView::defaultLineMetrics(bench.board->frame().width());
    std::vector<ui::Rect> frames;
    double baseline = bench::secondsPerCall([&] {
        frames.clear();
        frames.reserve(sizes.size());
        auto content = layoutTagLines(
            static_cast<std::int64_t>(sizes.size()), metrics,
            [&](std::int64_t i) { return sizes[static_cast<std::size_t>(i)]; },
            [&](std::int64_t, const ui::Rect& frame) { frames.push_back(frame); });
        benchmark::DoNotOptimize(content);
        benchmark::DoNotOptimize(frames.data());
    });
    auto& layout = bench.layout();
    bench::LoopTimer timer;
    for (auto _ : state) {
        touchLayout(*bench.board);
        layout.prepareLayout();
        benchmark::DoNotOptimize(layout.contentSizeNeed());
    }
    double perPass = timer.secondsPerIteration(state);
    bench::reportRatio(state, baseline, perPass);
    state.counters["ns_per_tag"] = perPass / static_cast<double>(n) * 1e9;
}
BENCHMARK(BM_LayoutPass)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMicrosecond);

// A board 200 points high (a panel's), so that even 100 tags scroll.
constexpr double kBoardHeight = 200;
constexpr std::size_t kSmallBoard = 100;

struct ScrollingBoard : Bench {
    explicit ScrollingBoard(std::size_t tags) {
        board->setFrame(ui::Rect(0, 0, 375, kBoardHeight));
        show(makeItems(tags));
    }
    // One wheel notch down, or back up at the end of the content.
    void wheelStep() {
        auto& cv = *board->collectionView();
        const double room = cv.contentSize().height - cv.bounds().height();
        const double step = room - cv.contentOffset().y >= kStep ? kStep : -cv.contentOffset().y;
        driver.wheel(board->convertPointToScreen({100, 100}), 0, step);
    }
    static constexpr double kStep = 120;
};

void BM_WheelStep(benchmark::State& state) {
    ScrollingBoard small(kSmallBoard);
    double baseline = bench::secondsPerCall([&] { small.wheelStep(); });
    ScrollingBoard large(static_cast<std::size_t>(state.range(0)));
    bench::LoopTimer timer;
    for (auto _ : state)
        large.wheelStep();
    bench::reportRatio(state, baseline, timer.secondsPerIteration(state));
}
BENCHMARK(BM_WheelStep)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMicrosecond);

// A tap on the tag at the middle of the shown cells; tapping it again unpicks it.
struct TapBoard : Bench {
    explicit TapBoard(std::size_t tags) {
        show(makeItems(tags));
        auto& cv = *board->collectionView();
        auto shown = cv.indexPathsForVisibleItems();
        ui::Rect f = cv.layoutAttributesForItemAtIndexPath(shown[shown.size() / 2])->frame;
        point = cv.convertPointToScreen({f.midX(), f.midY()});
    }
    void tap() { driver.tap(point); }
    ui::Point point;
};

void BM_Tap(benchmark::State& state) {
    TapBoard small(kSmallBoard);
    double baseline = bench::secondsPerCall([&] { small.tap(); });
    TapBoard large(static_cast<std::size_t>(state.range(0)));
    bench::LoopTimer timer;
    for (auto _ : state)
        large.tap();
    bench::reportRatio(state, baseline, timer.secondsPerIteration(state));
}
BENCHMARK(BM_Tap)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMicrosecond);

void BM_SelectionText(benchmark::State& state) {
    Bench bench;
    auto pickedSelection = [&](std::size_t n) {
        GTagSelection selection;
        selection.setItems(bench.makeItems(n));
        selection.selectAll();
        return selection;
    };
    GTagSelection small = pickedSelection(16000);
    GTagSelection large = pickedSelection(160000);
    double smallSeconds = bench::secondsPerCall([&] {
        benchmark::DoNotOptimize(small.text(false, true));
        benchmark::DoNotOptimize(small.text(true, true));
    });
    bench::LoopTimer timer;
    for (auto _ : state) {
        benchmark::DoNotOptimize(large.text(false, true));
        benchmark::DoNotOptimize(large.text(true, true));
    }
    const double largeSeconds = timer.secondsPerIteration(state);
    state.counters["baseline_s"] = smallSeconds;
    state.counters["ratio"] = largeSeconds / smallSeconds;
}
BENCHMARK(BM_SelectionText)->Unit(benchmark::kMillisecond);

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

// Bytes allocated and not freed: small blocks from the heap, and the large
// ones malloc maps on their own.
double heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

constexpr std::size_t kMemoryTags = 100000;

// Words and the spaces between them: kMemoryTags tags.
std::string memoryText() {
    const char* words[] = {"the", "quick", "brown", "fox", "jumps", "over", "lazy", "dog"};
    std::string text;
    for (std::size_t i = 0; i < kMemoryTags / 2; ++i) {
        text += words[i % 8];
        text += ' ';
    }
    return text;
}

// The server on the simulated device, switched on, with an application in front.
struct ServerBench {
    static constexpr const char* kFront = "org.example.Editor";
    ServerBench() {
        savePropertyList(server.context().paths().enabledAppsFile(),
                         Value(Dictionary{{"Enabled", Value(Array{Value(kFront)})}}));
        updateSettings(server.context(), [](Dictionary& d) { d["enabled"] = Value(true); });
        theServer.start();
        driver.setFrontmostApplication(kFront);
        device.runUntilIdle();
    }
    sim::Device device;
    sim::Driver driver{device};
    sim::SimProcess& server = device.server();
    sim::SimProcess& app = device.launchApp(kFront);
    sim::SimServerHost host{device};
    Server theServer{server.context(), device.messageCenter(), host};
};

void BM_MemoryPerTag(benchmark::State& state) {
    for (auto _ : state) {
        const std::string text = memoryText();
        {
            // As kernovad: the request, its tags made and appended a slice at
            // a time, the board laid out and shown.
            ServerBench bench;
            const double before = heapInUse();
            bench.app.messageSender().sendMessageName(
                "notifySplode",
                Value(Dictionary{{"callFromResponder", Value(true)}, {"selection", Value(text)}}));
            bench.device.runUntilIdle();
            bench.server.application().layoutIfNeeded();
            // The simulated bus keeps what it delivered, which kernovad's does not.
            bench.device.messageCenter().clearLog();
            const double shown = heapInUse();
            const auto tags =
                static_cast<double>(bench.theServer.panel()->flowView()->flowDatas().size());
            bench.theServer.panel()->hide();
            bench.device.advance(1.0);
            bench.device.runUntilIdle();
            const double closed = heapInUse();
            state.counters["tags"] = tags;
            state.counters["bytes_per_tag"] =
                (shown - before - static_cast<double>(text.size())) / tags;
            state.counters["left_after_close_per_tag"] = (closed - before) / tags;
        }
        {
            // The same tags on a board alone: the tags, then their layout.
            Bench bench;
            std::vector<GSplodeItem> segments =
                GSplodeBox::splode(text, bench.device.server().context().locale());
            auto look = GTagFlowAppearance::create(bench.device.server().context());
            const double before = heapInUse();
            GTagFlowStore store(bench.device.textMeasurer());
            for (std::size_t from = 0; from < segments.size(); from += TagFeed::kSliceTags) {
                std::vector<GTagFlowItemRef> slice;
                const std::size_t to = std::min(segments.size(), from + TagFeed::kSliceTags);
                for (std::size_t i = from; i < to; ++i)
                    slice.push_back(store.add(segments[i].text, look));
                bench.board->appendFlowDatas(std::move(slice));
            }
            const double made = heapInUse();
            bench.device.runUntilIdle();
            bench.device.server().application().layoutIfNeeded();
            const double laid = heapInUse();
            const auto tags = static_cast<double>(segments.size());
            state.counters["item_bytes_per_tag"] =
                (made - before - static_cast<double>(store.textBytes())) / tags;
            state.counters["layout_bytes_per_tag"] = (laid - made) / tags;
        }
    }
}
BENCHMARK(BM_MemoryPerTag)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
