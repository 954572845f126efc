// QtRunLoop: posted work and timers on Qt's event loop.
#include <gtest/gtest.h>

#include <QThread>
#include <atomic>
#include <climits>
#include <cmath>
#include <limits>
#include <map>
#include <thread>
#include <vector>

#include "desktop/qt_run_loop.h"
#include "desktop_support.h"

namespace kernova::desktop {
namespace {

using kernova::testing::waitFor;

TEST(QtRunLoop, PostsRunLaterOnTheLoopThreadInTheOrderOfEachThread) {
    QtRunLoop loop;
    QThread* main = QThread::currentThread();
    constexpr int kPerThread = 250;
    std::map<int, std::vector<int>> seen;  // touched on the main thread only; -1 is this thread
    std::atomic<bool> wrongThread{false};
    auto postFrom = [&](int t) {
        for (int i = 0; i < kPerThread; ++i)
            loop.post([&, t, i] {
                if (QThread::currentThread() != main) wrongThread = true;
                seen[t].push_back(i);
            });
    };
    postFrom(-1);
    EXPECT_TRUE(seen.empty()) << "posting never runs the work at once";
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t)
        workers.emplace_back(postFrom, t);
    for (auto& w : workers)
        w.join();
    ASSERT_TRUE(waitFor([&] {
        std::size_t total = 0;
        for (auto& [t, v] : seen)
            total += v.size();
        return total == 5 * kPerThread;
    }));
    EXPECT_FALSE(wrongThread);
    std::vector<int> inOrder(kPerThread);
    for (int i = 0; i < kPerThread; ++i)
        inOrder[static_cast<std::size_t>(i)] = i;
    for (auto& [t, v] : seen)
        EXPECT_EQ(v, inOrder) << "thread " << t;
}

TEST(QtRunLoop, TimersFireAfterTheirDelayUntilCancelledByThemselvesOrTheirOwner) {
    QtRunLoop loop;
    int once = 0;
    double firedAt = 0;
    const double start = loop.now();
    TimerId id = loop.after(0.05, nullptr, [&] {
        ++once;
        firedAt = loop.now();
    });
    EXPECT_EQ(loop.pendingTimers(), 1u);
    int ticks = 0;
    TimerId repeating = 0;
    repeating = loop.every(0.005, nullptr, [&] {
        if (++ticks == 3) loop.cancel(repeating);
    });
    int cancelled = 0;
    int ownerA = 0;
    loop.after(0.01, &ownerA, [&] { ++cancelled; });
    loop.every(0.01, &ownerA, [&] { ++cancelled; });
    loop.cancelAll(&ownerA);
    bool negative = false;
    loop.after(-5, nullptr, [&] { negative = true; });
    ASSERT_TRUE(waitFor([&] { return once == 1 && ticks == 3 && negative; }));
    EXPECT_GE(firedAt - start, 0.045);
    EXPECT_EQ(loop.pendingTimers(), 0u);
    loop.cancel(id);  // finished: nothing happens
    waitFor([] { return false; }, 30);
    EXPECT_EQ(once, 1);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(cancelled, 0);
}

TEST(QtRunLoop, DelaysConvertToTimerMilliseconds) {
    const std::pair<double, int> cases[] = {{-1, 0},
                                            {std::nan(""), 0},
                                            {0, 0},
                                            {0.0001, 1},
                                            {2.5, 2500},
                                            {1e12, INT_MAX},
                                            {std::numeric_limits<double>::infinity(), INT_MAX}};
    for (auto [seconds, ms] : cases)
        EXPECT_EQ(timerMilliseconds(seconds), ms) << seconds;
}

TEST(QtRunLoop, DestroyingTheLoopDropsWhatIsStillQueued) {
    bool ran = false;
    {
        QtRunLoop loop;
        loop.post([&] { ran = true; });
        loop.after(0, nullptr, [&] { ran = true; });
        loop.every(0.001, nullptr, [&] { ran = true; });
    }
    waitFor([] { return false; }, 30);
    EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace kernova::desktop
