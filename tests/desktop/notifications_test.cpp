// System-wide notifications as bus signals, between connections that stand for
// separate processes.
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <string>
#include <vector>

#include "desktop/dbus_system_notifications.h"
#include "desktop_support.h"

namespace kernova::desktop {
namespace {

using kernova::testing::otherConnection;
using kernova::testing::waitFor;

constexpr const char* kReload = "fun.quorle.kernova/ReloadPreferences";

TEST(DBusSystemNotifications, PostsReachThePosterAndOtherProcessesByNameInOrderUntilRemoved) {
    DBusSystemNotifications poster(sessionConnection());
    DBusSystemNotifications other(otherConnection(QStringLiteral("other process")));
    ASSERT_TRUE(poster.listening());
    std::vector<std::string> seen;  // by the other process
    int atPoster = 0;
    int owner = 0;
    int removedOwner = 0;
    poster.observe(kReload, &owner, [&] { ++atPoster; });
    for (const char* name : {kReload, "fun.quorle.kernova.setapps"})
        other.observe(name, &owner, [&seen, n = std::string(name)] { seen.push_back(n); });
    other.observe(kReload, &removedOwner, [&] { seen.push_back("removed"); });
    other.removeObservers(&removedOwner);
    ASSERT_TRUE(other.sync());
    for (const char* name : {"fun.quorle.kernova.setapps", "unobserved", kReload})
        poster.post(name);
    EXPECT_EQ(atPoster, 0) << "delivery comes after the post returns";
    ASSERT_TRUE(waitFor([&] { return seen.size() == 2 && atPoster == 1; }));
    waitFor([] { return false; }, 50);
    EXPECT_EQ(seen, (std::vector<std::string>{"fun.quorle.kernova.setapps", kReload}));
}

TEST(DBusSystemNotifications, WithoutABusNothingIsDeliveredAndNothingBreaks) {
    DBusSystemNotifications lonely(QDBusConnection(QStringLiteral("never connected")));
    EXPECT_FALSE(lonely.listening());
    EXPECT_FALSE(lonely.sync());
    int called = 0;
    lonely.observe(kReload, nullptr, [&] { ++called; });
    lonely.post(kReload);
    EXPECT_EQ(called, 0);
}

}  // namespace
}  // namespace kernova::desktop
