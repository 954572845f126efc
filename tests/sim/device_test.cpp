// The device's plumbing between processes: the message bus, the shared
// clipboard and the one clock under every run loop. (System-wide
// notifications are checked through ReloadPreferences in tests/server.)
#include "sim/device.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ui/pasteboard.h"

namespace kernova::sim {
namespace {

TEST(DeviceTest, ProcessesShareOnePreferencesFolderRemovedWithTheDevice) {
    std::filesystem::path folder;
    {
        Device device;
        SimProcess& app = device.launchApp("com.example.notes");
        folder = device.preferencesDirectory();
        EXPECT_TRUE(std::filesystem::is_directory(folder));
        EXPECT_EQ(app.context().paths().preferences, folder);
        EXPECT_EQ(&device.launchApp("com.example.notes"), &app);
        EXPECT_EQ(device.processes().size(), 2u);
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST(DeviceTest, TimersOfSeveralProcessesInterleaveOnOneClockAndDieWithTheirProcess) {
    Device device;
    SimProcess& a = device.launchApp("com.example.a");
    SimProcess& b = device.launchApp("com.example.b");
    std::vector<std::string> trace;
    auto mark = [&](const char* what) {
        trace.push_back(what + std::string("@") +
                        std::to_string(static_cast<int>(device.now() * 10 + 0.5)));
    };
    a.runLoop().after(0.3, nullptr, [&] { mark("a-once"); });
    b.runLoop().every(0.2, nullptr, [&] { mark("b-tick"); });
    device.server().runLoop().after(0.5, nullptr, [&] { mark("server"); });
    device.advance(0.65);
    std::vector<std::string> expected{"b-tick@2", "a-once@3", "b-tick@4", "server@5", "b-tick@6"};
    EXPECT_EQ(trace, expected);

    device.setFrontmostApplication("com.example.b");
    device.terminateApp("com.example.b");
    device.advance(2);
    EXPECT_EQ(trace.size(), expected.size());
    EXPECT_EQ(device.app("com.example.b"), nullptr);
    EXPECT_EQ(device.frontmostApplication(), "");
}

TEST(BusTest, DeliveryIsAsynchronousInSendOrderAndUnknownNamesAreDropped) {
    Device device;
    SimProcess& app = device.launchApp("com.example.notes");
    SimProcess& other = device.launchApp("com.example.other");
    std::vector<Message> received;
    device.messageCenter().registerForMessageName("n",
                                                  [&](const Message& m) { received.push_back(m); });
    app.messageSender().sendMessageName("unknown");
    for (int i = 0; i < 1000; ++i)
        (i % 3 == 0 ? other : app).messageSender().sendMessageName("n", Dictionary{{"i", i}});
    EXPECT_TRUE(received.empty());
    device.runUntilIdle();
    ASSERT_EQ(received.size(), 1000u);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(received[static_cast<std::size_t>(i)].userInfo["i"].integerValue(), i);
    EXPECT_EQ(device.messageCenter().inFlight(), 0u);
    const auto& log = device.deliveredMessages();
    ASSERT_EQ(log.size(), 1001u);
    EXPECT_FALSE(log[0].handled);
    EXPECT_TRUE(log[1].handled);
    EXPECT_EQ(log[1].sender, "com.example.other");

    // A later registration replaces the first.
    int replaced = 0;
    device.messageCenter().registerForMessageName("n", [&](const Message&) { ++replaced; });
    device.server().messageSender().sendMessageName("n");
    device.runUntilIdle();
    EXPECT_EQ(received.size(), 1000u);
    EXPECT_EQ(replaced, 1);
    EXPECT_EQ(device.deliveredMessages().back().sender, kServerBundleIdentifier);
}

TEST(ClipboardTest, WriteIsSharedAndNotifiesEveryProcessAfterItReturns) {
    Device device;
    device.launchApp("com.example.writer");
    std::vector<std::string> seen;
    for (SimProcess* p : device.processes()) {
        p->context().notifications().addObserver(
            ui::kPasteboardChangedNotification, nullptr, [&seen, p, &device](const Notification&) {
                seen.push_back(p->bundleIdentifier() + "=" + *device.pasteboard().string());
            });
    }
    device.pasteboard().setString("copied");
    EXPECT_TRUE(seen.empty());
    device.runUntilIdle();
    std::vector<std::string> expected{std::string(kServerBundleIdentifier) + "=copied",
                                      "com.example.writer=copied"};
    EXPECT_EQ(seen, expected);

    device.pasteboard().setString("bad \xff byte");
    EXPECT_EQ(device.pasteboard().string(), "bad \xEF\xBF\xBD byte");
    EXPECT_EQ(device.pasteboard().changeCount(), 2u);
}

}  // namespace
}  // namespace kernova::sim
