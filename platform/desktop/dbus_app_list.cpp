#include "desktop/dbus_app_list.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QMap>
#include <QVariant>

#include "desktop/dbus_names.h"
#include "desktop/dbus_value.h"

namespace kernova::desktop {

void postWithUserInfo(QDBusConnection& connection, const std::string& name,
                      const std::map<std::string, std::string>& userInfo) {
    qDBusRegisterMetaType<QMap<QString, QString>>();
    QMap<QString, QString> info;
    for (const auto& [key, value] : userInfo)
        info.insert(toBusString(key), toBusString(value));
    QDBusMessage signal = QDBusMessage::createSignal(
        QString::fromLatin1(kNotificationsPath), QString::fromLatin1(kNotificationsInterface),
        QString::fromLatin1(kNotifyWithUserInfoSignal));
    signal << toBusString(name) << QVariant::fromValue(info);
    connection.send(signal);
}

}  // namespace kernova::desktop
