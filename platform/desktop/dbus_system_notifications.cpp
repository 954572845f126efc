#include "desktop/dbus_system_notifications.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include "desktop/dbus_names.h"
#include "desktop/dbus_value.h"

namespace kernova::desktop {

namespace {

QString path() {
    return QString::fromLatin1(kNotificationsPath);
}
QString interface() {
    return QString::fromLatin1(kNotificationsInterface);
}
QString signalName() {
    return QString::fromLatin1(kNotifySignal);
}

}  // namespace

DBusSystemNotifications::DBusSystemNotifications(QDBusConnection connection)
    : connection_(std::move(connection)) {
    // Any sender: every process posts as itself.
    listening_ = connection_.isConnected() &&
                 connection_.connect(QString(), path(), interface(), signalName(), this,
                                     SLOT(onNotify(QString)));
}

DBusSystemNotifications::~DBusSystemNotifications() {
    if (listening_)
        connection_.disconnect(QString(), path(), interface(), signalName(), this,
                               SLOT(onNotify(QString)));
}

ObserverId DBusSystemNotifications::observe(std::string name, Owner owner,
                                            std::function<void()> callback) {
    return center_.addObserver(std::move(name), owner,
                               [cb = std::move(callback)](const Notification&) {
                                   if (cb) cb();
                               });
}

void DBusSystemNotifications::post(const std::string& name) {
    QDBusMessage signal = QDBusMessage::createSignal(path(), interface(), signalName());
    signal << toBusString(name);
    connection_.send(signal);
}

bool DBusSystemNotifications::sync() {
    if (!connection_.isConnected() || !connection_.interface()) return false;
    return connection_.interface()
        ->isServiceRegistered(QStringLiteral("org.freedesktop.DBus"))
        .isValid();
}

void DBusSystemNotifications::onNotify(const QString& name) {
    center_.post(fromBusString(name));
}

}  // namespace kernova::desktop
