#include "desktop/dbus_value.h"

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusVariant>
#include <QStringList>
#include <QVariantList>
#include <cstdint>
#include <limits>
#include <optional>

#include "base/text.h"

namespace kernova::desktop {

namespace {

QVariant encode(const Value& value, int depth);

QVariantList encodeArray(const Array& array, int depth) {
    QVariantList list;
    list.reserve(static_cast<qsizetype>(array.size()));
    for (const Value& element : array) {
        QVariant v = encode(element, depth + 1);
        if (v.isValid()) list.append(v);
    }
    return list;
}

QVariantMap encodeDictionary(const Dictionary& dictionary, int depth) {
    QVariantMap map;
    for (const auto& [key, element] : dictionary) {
        QVariant v = encode(element, depth + 1);
        if (v.isValid()) map.insert(toBusString(key), v);
    }
    return map;
}

QVariant encode(const Value& value, int depth) {
    switch (value.type()) {
        case Value::Type::absent:
            return {};
        case Value::Type::boolean:
            return QVariant(value.boolValue());
        case Value::Type::integer:
            return QVariant(static_cast<qlonglong>(value.integerValue()));
        case Value::Type::real:
            return QVariant(value.doubleValue());
        case Value::Type::string:
            return QVariant(toBusString(*value.asString()));
        case Value::Type::data: {
            const Bytes& bytes = *value.asData();
            return QVariant(QByteArray(reinterpret_cast<const char*>(bytes.data()),
                                       static_cast<qsizetype>(bytes.size())));
        }
        case Value::Type::date:
            return QVariant::fromValue(DBusDate{value.asDate()->secondsSinceReference});
        case Value::Type::array:
            if (depth >= kMaxWireDepth) return {};
            return QVariant(encodeArray(*value.asArray(), depth));
        case Value::Type::dictionary:
            if (depth >= kMaxWireDepth) return {};
            return QVariant(encodeDictionary(*value.asDictionary(), depth));
    }
    return {};
}

Value decodeArgument(const QDBusArgument& arg);

Value decodeArrayArgument(const QDBusArgument& arg) {
    if (arg.currentSignature() == QLatin1String("ay")) {
        QByteArray bytes;
        arg >> bytes;
        return Value(Bytes(bytes.begin(), bytes.end()));
    }
    Array array;
    arg.beginArray();
    while (!arg.atEnd())
        array.push_back(fromDBusVariant(arg.asVariant()));
    arg.endArray();
    return Value(std::move(array));
}

Value decodeMapArgument(const QDBusArgument& arg) {
    Dictionary dictionary;
    arg.beginMap();
    while (!arg.atEnd()) {
        arg.beginMapEntry();
        Value key = fromDBusVariant(arg.asVariant());
        Value element = fromDBusVariant(arg.asVariant());
        arg.endMapEntry();
        std::optional<std::string> keyText = key.stringValue();
        if (keyText && !element.isAbsent()) dictionary.insert_or_assign(*keyText, element);
    }
    arg.endMap();
    return Value(std::move(dictionary));
}

Value decodeStructureArgument(const QDBusArgument& arg) {
    if (arg.currentSignature() == QLatin1String("(d)")) {
        DBusDate date;
        arg >> date;
        return Value(Date{date.secondsSinceReference});
    }
    // Any other structure reads as the array of its fields.
    Array fields;
    arg.beginStructure();
    while (!arg.atEnd())
        fields.push_back(fromDBusVariant(arg.asVariant()));
    arg.endStructure();
    return Value(std::move(fields));
}

Value decodeArgument(const QDBusArgument& arg) {
    switch (arg.currentType()) {
        case QDBusArgument::BasicType:
        case QDBusArgument::VariantType:
            return fromDBusVariant(arg.asVariant());
        case QDBusArgument::ArrayType:
            return decodeArrayArgument(arg);
        case QDBusArgument::MapType:
            return decodeMapArgument(arg);
        case QDBusArgument::StructureType:
            return decodeStructureArgument(arg);
        default:
            return {};
    }
}

Value decodeList(const QVariantList& list) {
    Array array;
    for (const QVariant& v : list) {
        Value element = fromDBusVariant(v);
        if (!element.isAbsent()) array.push_back(std::move(element));
    }
    return Value(std::move(array));
}

std::int64_t clampedUnsigned(qulonglong u) {
    constexpr auto kMax = static_cast<qulonglong>(std::numeric_limits<std::int64_t>::max());
    return static_cast<std::int64_t>(u > kMax ? kMax : u);
}

// The wrappers and containers that QtDBus produces; absent when `v` is none.
std::optional<Value> decodeQtDBusType(const QVariant& v, int type) {
    if (type == qMetaTypeId<QDBusVariant>())
        return fromDBusVariant(qvariant_cast<QDBusVariant>(v).variant());
    if (type == qMetaTypeId<QDBusArgument>())
        return decodeArgument(qvariant_cast<QDBusArgument>(v));
    if (type == qMetaTypeId<DBusDate>())
        return Value(Date{qvariant_cast<DBusDate>(v).secondsSinceReference});
    if (type == qMetaTypeId<QDBusObjectPath>())
        return Value(fromBusString(qvariant_cast<QDBusObjectPath>(v).path()));
    if (type == qMetaTypeId<QDBusSignature>())
        return Value(fromBusString(qvariant_cast<QDBusSignature>(v).signature()));
    return std::nullopt;
}

}  // namespace

QDBusArgument& operator<<(QDBusArgument& arg, const DBusDate& date) {
    arg.beginStructure();
    arg << date.secondsSinceReference;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, DBusDate& date) {
    arg.beginStructure();
    arg >> date.secondsSinceReference;
    arg.endStructure();
    return arg;
}

void registerDBusValueTypes() {
    qDBusRegisterMetaType<DBusDate>();
}

QString toBusString(std::string_view text) {
    std::string repaired = repairUtf8(text);
    QString s = QString::fromUtf8(repaired.data(), static_cast<qsizetype>(repaired.size()));
    s.replace(QChar(u'\0'), QChar(QChar::ReplacementCharacter));
    return s;
}

std::string fromBusString(const QString& text) {
    QByteArray utf8 = text.toUtf8();
    return repairUtf8(std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size())));
}

QVariant toDBusVariant(const Value& value) {
    return encode(value, 0);
}

QVariantMap toDBusDictionary(const Dictionary& dictionary) {
    return encodeDictionary(dictionary, 0);
}

Value fromDBusVariant(const QVariant& v) {
    int type = v.metaType().id();
    if (std::optional<Value> wrapped = decodeQtDBusType(v, type)) return *wrapped;
    switch (type) {
        case QMetaType::Bool:
            return Value(v.toBool());
        case QMetaType::UChar:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
            return Value(static_cast<std::int64_t>(v.toLongLong()));
        case QMetaType::ULongLong:
            return Value(clampedUnsigned(v.toULongLong()));
        case QMetaType::Double:
            return Value(v.toDouble());
        case QMetaType::QString:
            return Value(fromBusString(v.toString()));
        case QMetaType::QByteArray: {
            QByteArray bytes = v.toByteArray();
            return Value(Bytes(bytes.begin(), bytes.end()));
        }
        case QMetaType::QStringList:
        case QMetaType::QVariantList:
            return decodeList(v.toList());
        case QMetaType::QVariantMap:
            return fromDBusDictionary(v.toMap());
        default:
            return {};
    }
}

Value fromDBusDictionary(const QVariantMap& map) {
    Dictionary dictionary;
    for (auto it = map.begin(); it != map.end(); ++it) {
        Value element = fromDBusVariant(it.value());
        if (!element.isAbsent()) dictionary.insert_or_assign(fromBusString(it.key()), element);
    }
    return Value(std::move(dictionary));
}

}  // namespace kernova::desktop
