// The server process's parts: the run loop, the message center, the system
// notifications and the per-process context, plus a debug view of the
// messages received so far and of the board on screen.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "base/context.h"
#include "base/messaging.h"
#include "desktop/dbus_messaging.h"
#include "desktop/dbus_system_notifications.h"
#include "desktop/qt_run_loop.h"

namespace kernova::daemon {

inline constexpr const char* kDebugPath = "/fun/quorle/kernova/debug";
inline constexpr const char* kDebugInterface = "fun.quorle.kernova.Debug";

class BoardHost;
class Daemon;

// One line per message: the name, then the dictionary as describe() writes it,
// or "(no dictionary)".
std::string describeMessage(const Message& message);

// Answers fun.quorle.kernova.Debug on the bus, for tests and troubleshooting.
class DebugEndpoint : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "fun.quorle.kernova.Debug")
  public:
    explicit DebugEndpoint(const Daemon& daemon) : daemon_(daemon) {}

  public slots:
    // Every message received, oldest first, as describeMessage() writes it.
    QStringList ReceivedMessages() const;
    uint ReceivedCount() const;
    // The board on screen as JSON (see BoardHost::stateJson); without a
    // board host, {"shown": false} and empty lists.
    QString BoardState() const;
    // Saves a PNG of the screen at `path`; false when it could not.
    bool SaveScreenshot(const QString& path) const;

  private:
    const Daemon& daemon_;
};

class Daemon {
  public:
    enum class StartResult { serving, alreadyRunning, noBus };

    // `log` receives one line per message and what came of it.
    Daemon(QDBusConnection connection, std::ostream& log);
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // Takes the bus name and registers the message names.
    StartResult start();
    RunLoop& runLoop() { return runLoop_; }
    MessageCenter& messageCenter() { return center_; }
    SystemNotifications& systemNotifications() { return systemNotifications_; }
    Context& context() { return context_; }
    const std::vector<std::string>& received() const { return received_; }

    // Where "notifySplode" opens its board; without one the message is only logged.
    void setBoardHost(BoardHost* host) { boardHost_ = host; }
    const BoardHost* boardHost() const { return boardHost_; }

  private:
    void handle(const Message& message);
    void notifySplode(const Message& message);

    QDBusConnection connection_;
    std::ostream& log_;
    desktop::QtRunLoop runLoop_;
    desktop::DBusMessageCenter center_;
    desktop::DBusSystemNotifications systemNotifications_;
    Context context_;
    std::vector<std::string> received_;
    BoardHost* boardHost_ = nullptr;
    DebugEndpoint debug_;
    bool debugExported_ = false;
};

}  // namespace kernova::daemon
