// Messages through a private session bus: a center serving on one connection,
// senders on others, as between kernovad and the applications.
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <thread>
#include <vector>

#include "desktop/dbus_messaging.h"
#include "desktop_support.h"

namespace kernova::desktop {
namespace {

using kernova::testing::waitFor;

class Messaging : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(center.start(), DBusMessageCenter::StartResult::serving);
        for (const char* name : {"notifySplode", "openUrl", "popButton", "showRunning"})
            center.registerForMessageName(name, [this](const Message& m) { got.push_back(m); });
    }
    bool waitForCount(std::size_t n) {
        return waitFor([&] { return center.receivedCount() >= n; });
    }

    DBusMessageCenter center{sessionConnection()};
    DBusMessageSender sender{kernova::testing::otherConnection(QStringLiteral("sender"))};
    std::vector<Message> got;
};

TEST_F(Messaging, DeliversRegisteredNamesRepairedKeepingAbsentAndEmptyDictionariesDistinct) {
    sender.sendMessageName("openUrl", Value(Dictionary{{"schemeToOpen", Value("https://a.b")}}));
    sender.sendMessageName("noSuchName", Value(Dictionary{}));
    sender.sendMessageName("popButton");
    sender.sendMessageName("showRunning", Value(Dictionary{}));
    sender.sendMessageName("popButton", Value("not a dictionary"));
    // Invalid UTF-8 in a name, a key or a value is repaired on the way, and
    // NUL, which the bus cannot carry, replaced.
    center.registerForMessageName("bad\xef\xbf\xbdname",
                                  [this](const Message& m) { got.push_back(m); });
    sender.sendMessageName(
        "bad\xffname",
        Value(Dictionary{{"k\xc3", Value("v\xe2\x82")}, {"nul", Value(std::string("a\0b", 3))}}));
    ASSERT_TRUE(waitForCount(6));
    ASSERT_EQ(got.size(), 5u);
    EXPECT_EQ(got[0].name, "openUrl");
    EXPECT_EQ(got[0].userInfo["schemeToOpen"], Value("https://a.b"));
    EXPECT_EQ(got[1].name, "popButton");
    EXPECT_TRUE(got[1].userInfo.isAbsent());
    ASSERT_NE(got[2].userInfo.asDictionary(), nullptr);
    EXPECT_TRUE(got[2].userInfo.asDictionary()->empty());
    EXPECT_TRUE(got[3].userInfo.isAbsent()) << "anything but a dictionary travels as absent";
    EXPECT_EQ(got[4].userInfo, Value(Dictionary{{"k\xef\xbf\xbd", Value("v\xef\xbf\xbd")},
                                                {"nul", Value("a\xef\xbf\xbd"
                                                              "b")}}));
}

TEST_F(Messaging, EveryValueTypeKeepsItsType) {
    Dictionary info{
        {"yes", Value(true)},
        {"no", Value(false)},
        {"zero", Value(0)},
        {"big", Value(std::numeric_limits<std::int64_t>::max())},
        {"small", Value(std::numeric_limits<std::int64_t>::min())},
        {"real", Value(-2.75)},
        {"integralReal", Value(3.0)},
        {"text", Value("héllo 世界 🎉")},
        {"emptyText", Value("")},
        {"data", Value(Bytes{0, 1, 255, 0})},
        {"emptyData", Value(Bytes{})},
        {"date", Value(Date{700000000.25})},
        {"array", Value(Array{Value(1), Value("two"), Value(3.5), Value(false), Value(Array{}),
                              Value(Dictionary{{"k", Value(Bytes{7})}})})},
        {"emptyArray", Value(Array{})},
        {"nested", Value(Dictionary{{"inner", Value(Dictionary{{"deep", Value(Date{-1})}})},
                                    {"empty", Value(Dictionary{})}})},
    };
    sender.sendMessageName("notifySplode", Value(info));
    ASSERT_TRUE(waitForCount(1));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].userInfo, Value(info));
    EXPECT_EQ(got[0].userInfo["integralReal"].type(), Value::Type::real);
    EXPECT_EQ(got[0].userInfo["zero"].type(), Value::Type::integer);
}

TEST_F(Messaging, ABurstFromAWorkerThreadArrivesCompleteAndInOrder) {
    constexpr int kCount = 1000;
    std::thread worker([&] {
        for (int i = 0; i < kCount; ++i)
            sender.sendMessageName("notifySplode", Value(Dictionary{{"i", Value(i)}}));
    });
    worker.join();
    ASSERT_TRUE(waitForCount(kCount));
    ASSERT_EQ(got.size(), static_cast<std::size_t>(kCount));
    for (int i = 0; i < kCount; ++i)
        ASSERT_EQ(got[static_cast<std::size_t>(i)].userInfo["i"], Value(i)) << "at " << i;
}

TEST(MessagingService, OnlyOneCenterServesTheName) {
    DBusMessageCenter first{sessionConnection()};
    ASSERT_EQ(first.start(), DBusMessageCenter::StartResult::serving);
    DBusMessageCenter second{kernova::testing::otherConnection(QStringLiteral("second"))};
    EXPECT_EQ(second.start(), DBusMessageCenter::StartResult::alreadyRunning);
    EXPECT_FALSE(second.serving());
}

TEST(MessagingService, ASenderWithoutABusDropsItsMessages) {
    DBusMessageSender sender{QDBusConnection(QStringLiteral("never connected"))};
    EXPECT_FALSE(sender.connected());
    sender.sendMessageName("popButton", Value(Dictionary{}));
    EXPECT_FALSE(sender.flush());
}

}  // namespace
}  // namespace kernova::desktop
