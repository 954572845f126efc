// The server process's parts: the run loop, the message center and the system
// notifications, plus a debug view of the messages received so far.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "base/messaging.h"
#include "desktop/dbus_messaging.h"
#include "desktop/dbus_system_notifications.h"
#include "desktop/qt_run_loop.h"

namespace kernova::daemon {

inline constexpr const char* kDebugPath = "/fun/quorle/kernova/debug";
inline constexpr const char* kDebugInterface = "fun.quorle.kernova.Debug";

// One line per message: the name, then the dictionary as describe() writes it,
// or "(no dictionary)".
std::string describeMessage(const Message& message);

// Answers fun.quorle.kernova.Debug on the bus, for tests and troubleshooting.
class DebugEndpoint : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "fun.quorle.kernova.Debug")
  public:
    explicit DebugEndpoint(const std::vector<std::string>& log) : log_(log) {}

  public slots:
    // Every message received, oldest first, as describeMessage() writes it.
    QStringList ReceivedMessages() const;
    uint ReceivedCount() const;

  private:
    const std::vector<std::string>& log_;
};

class Daemon {
  public:
    enum class StartResult { serving, alreadyRunning, noBus };

    // `log` receives one line per message.
    Daemon(QDBusConnection connection, std::ostream& log);
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // Takes the bus name and registers the message names.
    StartResult start();
    RunLoop& runLoop() { return runLoop_; }
    MessageCenter& messageCenter() { return center_; }
    SystemNotifications& systemNotifications() { return systemNotifications_; }
    const std::vector<std::string>& received() const { return received_; }

  private:
    void handle(const Message& message);

    QDBusConnection connection_;
    std::ostream& log_;
    desktop::QtRunLoop runLoop_;
    desktop::DBusMessageCenter center_;
    desktop::DBusSystemNotifications systemNotifications_;
    std::vector<std::string> received_;
    DebugEndpoint debug_;
    bool debugExported_ = false;
};

}  // namespace kernova::daemon
