#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "base/notification_center.h"
#include "base/virtual_run_loop.h"

namespace kernova {
namespace {

TEST(VirtualRunLoop, TimersFireInTimeOrderAcrossLoops) {
    VirtualClock clock;
    VirtualRunLoop a(clock), b(clock);
    std::vector<std::string> log;
    a.after(0.5, nullptr, [&] { log.push_back("a0.5@" + std::to_string(clock.now())); });
    b.after(0.2, nullptr, [&] { log.push_back("b0.2"); });
    a.after(0.2, nullptr, [&] { log.push_back("a0.2"); });
    b.post([&] { log.push_back("post"); });
    clock.advance(0.3);
    EXPECT_EQ(log, (std::vector<std::string>{"post", "b0.2", "a0.2"}));
    clock.advance(1);
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[3].rfind("a0.5@0.5", 0), 0u);
    EXPECT_DOUBLE_EQ(clock.now(), 1.3);
}

TEST(VirtualRunLoop, CancelOneAllOfAnOwnerOrItselfAndADestroyedLoopLeavesNothing) {
    VirtualClock clock;
    int owner1 = 0, owner2 = 0;
    int fired = 0, ticks = 0;
    {
        VirtualRunLoop gone(clock);
        gone.after(1, nullptr, [&] { fired += 1000; });
    }
    VirtualRunLoop loop(clock);
    TimerId t = loop.after(1, &owner1, [&] { fired += 1; });
    loop.after(1, &owner1, [&] { fired += 10; });
    loop.after(1, &owner2, [&] { fired += 100; });
    loop.cancel(t);
    loop.cancel(t);      // twice is harmless
    loop.cancel(12345);  // unknown too
    loop.cancelAll(&owner1);
    TimerId id = 0;
    id = loop.every(1.0, nullptr, [&] {
        if (++ticks == 3) loop.cancel(id);
    });
    clock.advance(10);
    EXPECT_EQ(fired, 100);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(clock.pendingCount(), 0u);
}

TEST(VirtualRunLoop, WorkScheduledWhileRunningRunsWhenDue) {
    VirtualClock clock;
    VirtualRunLoop loop(clock);
    std::vector<double> at;
    loop.after(0.5, nullptr, [&] {
        at.push_back(clock.now());
        loop.after(0.5, nullptr, [&] { at.push_back(clock.now()); });
        loop.after(5, nullptr, [&] { at.push_back(clock.now()); });
    });
    clock.advance(1.0);
    EXPECT_EQ(at, (std::vector<double>{0.5, 1.0}));
}

TEST(VirtualRunLoop, PostsFromOtherThreadsRunOnTheLoop) {
    VirtualClock clock;
    VirtualRunLoop loop(clock);
    int count = 0;
    std::thread worker([&] {
        for (int i = 0; i < 100; ++i)
            loop.post([&] { ++count; });
    });
    worker.join();
    EXPECT_EQ(count, 0);
    clock.runUntilIdle();
    EXPECT_EQ(count, 100);
}

TEST(NotificationCenter, ObserversByNameAndOwner) {
    NotificationCenter center;
    int owner1 = 0, owner2 = 0;
    std::vector<std::string> log;
    center.addObserver("x", &owner1, [&](const Notification& n) {
        log.push_back("1:" + n.userInfo["k"].stringValue().value_or("-"));
    });
    center.addObserver("x", &owner2, [&](const Notification&) { log.push_back("2"); });
    center.addObserver("y", &owner1, [&](const Notification&) { log.push_back("y"); });
    center.post("x", Value(Dictionary{{"k", Value("v")}}));
    center.removeObservers(&owner1);
    center.post("x");
    center.post("y");
    EXPECT_EQ(log, (std::vector<std::string>{"1:v", "2", "2"}));
}

TEST(NotificationCenter, RemovalDuringPostTakesEffectAtOnce) {
    NotificationCenter center;
    int owner = 0;
    std::vector<int> log;
    ObserverId second = 0;
    center.addObserver("x", &owner, [&](const Notification&) {
        log.push_back(1);
        center.removeObserver(second);
        center.addObserver("x", &owner, [&](const Notification&) { log.push_back(3); });
    });
    second = center.addObserver("x", &owner, [&](const Notification&) { log.push_back(2); });
    center.post("x");
    EXPECT_EQ(log, (std::vector<int>{1}));
    EXPECT_EQ(center.observerCount("x"), 2u);
}

}  // namespace
}  // namespace kernova
