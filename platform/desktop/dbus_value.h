// Value on the bus: the one place where values become D-Bus data and back.
//
// Wire forms: boolean "b", integer "x", real "d", string "s", data "ay", date
// "(d)" (seconds since 2001-01-01), array "av", dictionary "a{sv}". Every value
// inside a container travels in a variant, so mixed arrays keep their types.
// Absent values have no wire form and are left out of arrays and dictionaries,
// as in property lists; containers nested deeper than kMaxWireDepth are left out
// too, because the bus refuses deeper messages outright.
// Text is repaired to well-formed UTF-8 on the way out; NUL characters, which
// the bus cannot carry, become U+FFFD.
#pragma once

#include <QMetaType>
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <string>
#include <string_view>

#include "base/value.h"

class QDBusArgument;

namespace kernova::desktop {

inline constexpr int kMaxWireDepth = 24;

// A date as it travels: a structure of one double.
struct DBusDate {
    double secondsSinceReference = 0;
};

QDBusArgument& operator<<(QDBusArgument& arg, const DBusDate& date);
const QDBusArgument& operator>>(const QDBusArgument& arg, DBusDate& date);

// Registers the wire types above with QtDBus; harmless to call again.
void registerDBusValueTypes();

QString toBusString(std::string_view text);
std::string fromBusString(const QString& text);

// An invalid QVariant for an absent value.
QVariant toDBusVariant(const Value& value);
QVariantMap toDBusDictionary(const Dictionary& dictionary);

// Accepts what QtDBus hands over: plain values, variants, QDBusArgument
// containers, and the other integer widths and string-like types that outside
// senders use. Anything it cannot read becomes absent.
Value fromDBusVariant(const QVariant& variant);
Value fromDBusDictionary(const QVariantMap& map);

}  // namespace kernova::desktop

Q_DECLARE_METATYPE(kernova::desktop::DBusDate)
