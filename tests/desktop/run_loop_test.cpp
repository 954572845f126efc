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

TEST(QtRunLoop, PostedWorkRunsInOrderOnTheLoopThread) {
    QtRunLoop loop;
    std::vector<int> order;
    for (int i = 0; i < 5; ++i)
        loop.post([&order, i] { order.push_back(i); });
    EXPECT_TRUE(order.empty()) << "posting never runs the work at once";
    ASSERT_TRUE(waitFor([&] { return order.size() == 5; }));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST(QtRunLoop, PostsFromWorkerThreadsReachTheMainThreadInTheirOrder) {
    QtRunLoop loop;
    QThread* main = QThread::currentThread();
    constexpr int kThreads = 4;
    constexpr int kPerThread = 250;
    std::map<int, std::vector<int>> seen;  // touched on the main thread only
    std::atomic<bool> wrongThread{false};
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i)
                loop.post([&, t, i] {
                    if (QThread::currentThread() != main) wrongThread = true;
                    seen[t].push_back(i);
                });
        });
    }
    for (auto& w : workers)
        w.join();
    ASSERT_TRUE(waitFor([&] {
        std::size_t total = 0;
        for (auto& [t, v] : seen)
            total += v.size();
        return total == kThreads * kPerThread;
    }));
    EXPECT_FALSE(wrongThread);
    for (auto& [t, v] : seen) {
        ASSERT_EQ(v.size(), static_cast<std::size_t>(kPerThread));
        for (int i = 0; i < kPerThread; ++i)
            EXPECT_EQ(v[static_cast<std::size_t>(i)], i);
    }
}

TEST(QtRunLoop, OneShotTimerFiresOnceAfterItsDelay) {
    QtRunLoop loop;
    int fired = 0;
    double start = loop.now();
    double firedAt = 0;
    TimerId id = loop.after(0.05, nullptr, [&] {
        ++fired;
        firedAt = loop.now();
    });
    EXPECT_NE(id, 0u);
    EXPECT_EQ(loop.pendingTimers(), 1u);
    ASSERT_TRUE(waitFor([&] { return fired == 1; }));
    EXPECT_GE(firedAt - start, 0.045);
    EXPECT_EQ(loop.pendingTimers(), 0u);
    loop.cancel(id);  // finished: nothing happens
    bool later = false;
    loop.after(0.02, nullptr, [&] { later = true; });
    ASSERT_TRUE(waitFor([&] { return later; }));
    EXPECT_EQ(fired, 1);
}

TEST(QtRunLoop, RepeatingTimersStopWhenCancelledByThemselvesOrByOwner) {
    QtRunLoop loop;
    int ticks = 0;
    TimerId id = 0;
    id = loop.every(0.005, nullptr, [&] {
        if (++ticks == 3) loop.cancel(id);
    });
    int a = 0;
    int b = 0;
    int ownerA = 0;
    int ownerB = 0;
    loop.after(0.01, &ownerA, [&] { ++a; });
    loop.every(0.01, &ownerA, [&] { ++a; });
    loop.after(0.01, &ownerB, [&] { ++b; });
    loop.cancelAll(&ownerA);
    EXPECT_EQ(loop.pendingTimers(), 2u);
    ASSERT_TRUE(waitFor([&] { return ticks == 3 && b == 1 && loop.pendingTimers() == 0; }));
    bool sentinel = false;
    loop.after(0.03, nullptr, [&] { sentinel = true; });
    ASSERT_TRUE(waitFor([&] { return sentinel; }));
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(a, 0);
}

TEST(QtRunLoop, DelaysConvertToTimerMilliseconds) {
    EXPECT_EQ(timerMilliseconds(-1), 0);
    EXPECT_EQ(timerMilliseconds(std::nan("")), 0);
    EXPECT_EQ(timerMilliseconds(0), 0);
    EXPECT_EQ(timerMilliseconds(0.0001), 1);
    EXPECT_EQ(timerMilliseconds(2.5), 2500);
    EXPECT_EQ(timerMilliseconds(1e12), INT_MAX);
    EXPECT_EQ(timerMilliseconds(std::numeric_limits<double>::infinity()), INT_MAX);
    QtRunLoop loop;
    bool ran = false;
    loop.after(-5, nullptr, [&] { ran = true; });
    ASSERT_TRUE(waitFor([&] { return ran; })) << "a negative delay counts as 0";
}

TEST(QtRunLoop, DestroyingTheLoopDropsWhatIsStillQueued) {
    bool ran = false;
    {
        QtRunLoop loop;
        loop.post([&] { ran = true; });
        loop.after(0, nullptr, [&] { ran = true; });
        loop.every(0.001, nullptr, [&] { ran = true; });
    }
    QtRunLoop other;
    bool sentinel = false;
    other.after(0.02, nullptr, [&] { sentinel = true; });
    ASSERT_TRUE(waitFor([&] { return sentinel; }));
    EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace kernova::desktop
