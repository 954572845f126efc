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

TEST(DBusSystemNotifications, APostReachesAnotherProcessAndThePoster) {
    DBusSystemNotifications poster(sessionConnection());
    DBusSystemNotifications other(otherConnection(QStringLiteral("other process")));
    ASSERT_TRUE(poster.listening());
    ASSERT_TRUE(other.listening());
    int atPoster = 0;
    int atOther = 0;
    int owner = 0;
    poster.observe(kReload, &owner, [&] { ++atPoster; });
    other.observe(kReload, &owner, [&] { ++atOther; });
    ASSERT_TRUE(other.sync());
    poster.post(kReload);
    EXPECT_EQ(atPoster, 0) << "delivery comes after the post returns";
    ASSERT_TRUE(waitFor([&] { return atPoster == 1 && atOther == 1; }));
}

TEST(DBusSystemNotifications, ObserversSeeOnlyTheirNamesInPostOrderUntilRemoved) {
    DBusSystemNotifications poster(sessionConnection());
    DBusSystemNotifications other(otherConnection(QStringLiteral("observer")));
    std::vector<std::string> seen;
    int owner = 0;
    int removedOwner = 0;
    for (const char* name : {"fun.quorle.kernova.getapps", "fun.quorle.kernova.setapps"})
        other.observe(name, &owner, [&seen, n = std::string(name)] { seen.push_back(n); });
    other.observe("fun.quorle.kernova.getapps", &removedOwner, [&] { seen.push_back("removed"); });
    other.removeObservers(&removedOwner);
    ASSERT_TRUE(other.sync());
    poster.post("fun.quorle.kernova.setapps");
    poster.post("unobserved");
    poster.post("fun.quorle.kernova.getapps");
    poster.post("fun.quorle.kernova.setapps");
    ASSERT_TRUE(waitFor([&] { return seen.size() == 3; }));
    EXPECT_EQ(seen,
              (std::vector<std::string>{"fun.quorle.kernova.setapps", "fun.quorle.kernova.getapps",
                                        "fun.quorle.kernova.setapps"}));
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
