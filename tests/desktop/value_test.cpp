// The conversion between values and D-Bus data, apart from the bus (text
// repair is the messaging tests').
#include <gtest/gtest.h>

#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QPoint>
#include <QStringList>
#include <limits>

#include "desktop/dbus_value.h"

namespace kernova::desktop {
namespace {

TEST(DBusValue, ContainersDeeperThanTheBusAllowsAreLeftOut) {
    Value deep = Value("leaf");
    for (int i = 0; i < 1000; ++i)
        deep = Value(Array{deep});
    QVariant v = toDBusVariant(deep);
    int depth = 0;
    while (v.metaType().id() == QMetaType::QVariantList && !v.toList().isEmpty()) {
        v = v.toList().front();
        ++depth;
    }
    EXPECT_EQ(depth, kMaxWireDepth - 1);
}

TEST(DBusValue, ReadsWhatOutsideSendersUse) {
    EXPECT_EQ(fromDBusVariant(QVariant(int{-7})), Value(-7));
    EXPECT_EQ(fromDBusVariant(QVariant(uint{7})), Value(7));
    EXPECT_EQ(fromDBusVariant(QVariant::fromValue<uchar>(200)), Value(200));
    EXPECT_EQ(fromDBusVariant(QVariant(std::numeric_limits<qulonglong>::max())),
              Value(std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ(fromDBusVariant(QVariant(QStringList{QStringLiteral("a"), QStringLiteral("b")})),
              Value(Array{Value("a"), Value("b")}));
    EXPECT_EQ(fromDBusVariant(QVariant::fromValue(QDBusObjectPath(QStringLiteral("/a/b")))),
              Value("/a/b"));
    EXPECT_EQ(fromDBusVariant(QVariant::fromValue(QDBusVariant(QVariant(2.5)))), Value(2.5));
    EXPECT_EQ(fromDBusVariant(QVariant::fromValue(DBusDate{12.5})), Value(Date{12.5}));
    EXPECT_TRUE(fromDBusVariant(QVariant(QPoint(1, 2))).isAbsent());
    EXPECT_TRUE(fromDBusVariant(QVariant()).isAbsent());
}

TEST(DBusValue, AbsentAndUnreadableValuesAreLeftOutOfContainers) {
    EXPECT_FALSE(toDBusVariant(Value()).isValid());
    QVariantMap map = toDBusDictionary(Dictionary{{"a", Value()}, {"b", Value(1)}});
    EXPECT_EQ(map.keys(), QStringList{QStringLiteral("b")});
    EXPECT_EQ(toDBusVariant(Value(Array{Value(), Value("x")})).toList().size(), 1);
    QVariantMap in{{QStringLiteral("ok"), QVariant(true)},
                   {QStringLiteral("odd"), QVariant(QPoint(1, 2))}};
    EXPECT_EQ(fromDBusDictionary(in), Value(Dictionary{{"ok", Value(true)}}));
}

}  // namespace
}  // namespace kernova::desktop
