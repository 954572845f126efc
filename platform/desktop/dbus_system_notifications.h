// System-wide notifications on the desktop: a post is a broadcast signal on the
// session bus, and every process that observes the name (the poster included)
// is called on its main thread, after the post returns.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <functional>
#include <string>

#include "base/notification_center.h"
#include "desktop/dbus_messaging.h"

namespace kernova::desktop {

class DBusSystemNotifications final : public QObject, public SystemNotifications {
    Q_OBJECT
  public:
    // Create on the main thread; callbacks run there.
    explicit DBusSystemNotifications(QDBusConnection connection = sessionConnection());
    ~DBusSystemNotifications() override;
    DBusSystemNotifications(const DBusSystemNotifications&) = delete;
    DBusSystemNotifications& operator=(const DBusSystemNotifications&) = delete;

    ObserverId observe(std::string name, Owner owner, std::function<void()> callback) override;
    void removeObservers(Owner owner) override { center_.removeObservers(owner); }
    void post(const std::string& name) override;

    // False without a bus: posts then go nowhere and nothing arrives.
    bool listening() const { return listening_; }
    // One round trip to the bus, after which the subscription is in effect, so
    // that a post made elsewhere from now on arrives here.
    bool sync();

  private slots:
    void onNotify(const QString& name);

  private:
    QDBusConnection connection_;
    NotificationCenter center_;
    bool listening_ = false;
};

}  // namespace kernova::desktop
