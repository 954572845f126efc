#include "kernova/prefs/single_instance.h"

#include <signal.h>

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QTimer>
#include <memory>

#include "desktop/dbus_names.h"
#include "desktop/dbus_system_notifications.h"
#include "kernova/prefs/preferences_window.h"
#include "server/settings.h"

namespace kernova::prefs {

void PreferencesService::Show(const QString& url) {
    window_.showPage(pageForUrl(url));
    window_.show();
    window_.setWindowState((window_.windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window_.raise();
    window_.activateWindow();
}

void PreferencesService::serve(QDBusConnection bus) {
    if (bus.isConnected())
        bus.registerObject(QString::fromLatin1(kPreferencesPath), this,
                           QDBusConnection::ExportScriptableSlots);
}

InstanceClaim claimInstance(QDBusConnection bus, const QString& url) {
    if (!bus.isConnected()) return InstanceClaim::first;
    const QString name = QString::fromLatin1(kPreferencesService);
    if (bus.registerService(name)) return InstanceClaim::first;
    QDBusMessage call = QDBusMessage::createMethodCall(name, QString::fromLatin1(kPreferencesPath),
                                                       QString::fromLatin1(kPreferencesInterface),
                                                       QStringLiteral("Show"));
    call << url;
    const QDBusMessage reply = bus.call(call, QDBus::BlockWithGui, 10000);
    return reply.type() == QDBusMessage::ReplyMessage ? InstanceClaim::handedOver
                                                      : InstanceClaim::failed;
}

bool announceReload(QDBusConnection bus) {
    desktop::DBusSystemNotifications notifications(bus);
    notifications.post(kReloadPreferencesNotification);
    return notifications.sync();
}

void restartKernovad(QDBusConnection bus, std::function<void(QString)> done) {
    const QString name = QString::fromLatin1(desktop::kMessagesService);
    QDBusConnectionInterface* bus_interface = bus.interface();
    if (!bus.isConnected() || bus_interface == nullptr) {
        done(QObject::tr("There is no session bus: start kernovad yourself."));
        return;
    }
    auto start = [bus_interface, name, done] {
        const auto started = bus_interface->startService(name);
        done(started.isValid() ? QObject::tr("kernovad was started again.")
                               : QObject::tr("kernovad could not be started again: %1")
                                     .arg(started.error().message()));
    };
    const auto pid = bus_interface->servicePid(name);
    if (!pid.isValid() || pid.value() == 0) {
        start();
        return;
    }
    // Once the name is free (or after 5 s), bus activation starts it again.
    auto* watcher = new QDBusServiceWatcher(name, bus, QDBusServiceWatcher::WatchForUnregistration);
    auto once = std::make_shared<bool>(false);
    auto finish = [watcher, once, start] {
        if (*once) return;
        *once = true;
        watcher->deleteLater();
        start();
    };
    QObject::connect(watcher, &QDBusServiceWatcher::serviceUnregistered, watcher, finish);
    QTimer::singleShot(5000, watcher, finish);
    ::kill(static_cast<pid_t>(pid.value()), SIGTERM);
}

}  // namespace kernova::prefs
