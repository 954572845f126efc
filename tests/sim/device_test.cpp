// The device's plumbing between processes: the message bus, system-wide
// notifications, the shared clipboard and the one clock under every run loop.
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
        EXPECT_TRUE(std::filesystem::is_directory(device.bundleDirectory()));
        EXPECT_EQ(app.context().paths().preferences, folder);
        EXPECT_EQ(device.server().context().paths().settingsFile(),
                  app.context().paths().settingsFile());
        EXPECT_TRUE(device.server().isServer());
        EXPECT_EQ(device.server().bundleIdentifier(), kServerBundleIdentifier);
        EXPECT_EQ(&device.launchApp("com.example.notes"), &app);
        EXPECT_EQ(device.processes().size(), 2u);
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST(DeviceTest, TimersOfSeveralProcessesInterleaveOnOneClock) {
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
    EXPECT_DOUBLE_EQ(device.now(), 0.65);
}

TEST(DeviceTest, TerminatedAppDropsItsPendingWork) {
    Device device;
    bool ran = false;
    device.launchApp("com.example.a").runLoop().after(1, nullptr, [&] { ran = true; });
    device.setFrontmostApplication("com.example.a");
    device.terminateApp("com.example.a");
    device.advance(2);
    EXPECT_FALSE(ran);
    EXPECT_EQ(device.app("com.example.a"), nullptr);
    EXPECT_EQ(device.frontmostApplication(), "");
}

class BusTest : public ::testing::Test {
  protected:
    Device device;
    SimProcess& app = device.launchApp("com.example.notes");
    std::vector<Message> received;
    void listen(const std::string& name) {
        device.messageCenter().registerForMessageName(
            name, [this](const Message& m) { received.push_back(m); });
    }
};

TEST_F(BusTest, DeliveryIsAsynchronousOnTheServerLoop) {
    listen("copyText");
    app.messageSender().sendMessageName("copyText", Dictionary{{"text", "hi"}});
    EXPECT_TRUE(received.empty());
    EXPECT_EQ(device.messageCenter().inFlight(), 1u);
    device.runUntilIdle();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(*received[0].userInfo["text"].asString(), "hi");
    ASSERT_EQ(device.deliveredMessages().size(), 1u);
    EXPECT_EQ(device.deliveredMessages()[0].sender, "com.example.notes");
    EXPECT_TRUE(device.deliveredMessages()[0].handled);
}

TEST_F(BusTest, BurstArrivesInSendOrderFromSeveralSenders) {
    listen("n");
    SimProcess& other = device.launchApp("com.example.other");
    for (int i = 0; i < 1000; ++i) {
        SimProcess& from = i % 3 == 0 ? other : app;
        from.messageSender().sendMessageName("n", Dictionary{{"i", i}});
    }
    device.runUntilIdle();
    ASSERT_EQ(received.size(), 1000u);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(received[static_cast<std::size_t>(i)].userInfo["i"].integerValue(), i);
    }
    EXPECT_EQ(device.messageCenter().inFlight(), 0u);
}

TEST_F(BusTest, UnknownNamesAreDroppedAndLaterRegistrationReplaces) {
    listen("known");
    app.messageSender().sendMessageName("unknown");
    app.messageSender().sendMessageName("known");
    device.runUntilIdle();
    EXPECT_EQ(received.size(), 1u);
    ASSERT_EQ(device.deliveredMessages().size(), 2u);
    EXPECT_FALSE(device.deliveredMessages()[0].handled);

    int replaced = 0;
    device.messageCenter().registerForMessageName("known", [&](const Message&) { ++replaced; });
    device.server().messageSender().sendMessageName("known");
    device.runUntilIdle();
    EXPECT_EQ(received.size(), 1u);
    EXPECT_EQ(replaced, 1);
    EXPECT_EQ(device.deliveredMessages().back().sender, kServerBundleIdentifier);
    EXPECT_EQ(device.messageCenter().registeredNames(), std::vector<std::string>{"known"});
}

TEST(SystemNotificationsTest, PostReachesEveryObservingProcessOnItsOwnLoop) {
    Device device;
    SimProcess& a = device.launchApp("com.example.a");
    SimProcess& b = device.launchApp("com.example.b");
    std::vector<std::string> seen;
    int owner = 0;
    for (SimProcess* p : device.processes()) {
        p->systemNotifications().observe("fun.quorle.kernova/ReloadPreferences", &owner,
                                         [&seen, p] { seen.push_back(p->bundleIdentifier()); });
    }
    b.systemNotifications().observe("other", nullptr, [&] { seen.push_back("wrong"); });
    a.systemNotifications().post("fun.quorle.kernova/ReloadPreferences");
    EXPECT_TRUE(seen.empty());
    device.runUntilIdle();
    std::vector<std::string> expected{kServerBundleIdentifier, "com.example.a", "com.example.b"};
    EXPECT_EQ(seen, expected);

    seen.clear();
    b.systemNotifications().removeObservers(&owner);
    device.server().systemNotifications().post("fun.quorle.kernova/ReloadPreferences");
    device.runUntilIdle();
    expected.pop_back();
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(device.systemNotificationBus().postedNames().size(), 2u);
}

TEST(ClipboardTest, WriteIsSharedAndNotifiesEveryProcessAfterItReturns) {
    Device device;
    device.launchApp("com.example.writer");
    device.launchApp("com.example.reader");
    EXPECT_FALSE(device.pasteboard().string().has_value());
    std::vector<std::string> seen;
    for (SimProcess* p : device.processes()) {
        p->context().notifications().addObserver(
            ui::kPasteboardChangedNotification, nullptr,
            [&seen, p, &device](const Notification& n) {
                EXPECT_EQ(n.object, &device.pasteboard());
                seen.push_back(p->bundleIdentifier() + "=" + *device.pasteboard().string());
            });
    }
    device.pasteboard().setString("copied");
    EXPECT_EQ(device.pasteboard().changeCount(), 1u);
    EXPECT_EQ(device.pasteboard().string(), "copied");
    EXPECT_TRUE(seen.empty());
    device.runUntilIdle();
    std::vector<std::string> expected{std::string(kServerBundleIdentifier) + "=copied",
                                      "com.example.writer=copied", "com.example.reader=copied"};
    EXPECT_EQ(seen, expected);

    device.pasteboard().setString("bad \xff byte");
    EXPECT_EQ(device.pasteboard().string(), "bad \xEF\xBF\xBD byte");
    EXPECT_EQ(device.pasteboard().changeCount(), 2u);
}

}  // namespace
}  // namespace kernova::sim
