// Messages between desktop processes on the session bus. kernovad serves the
// center; every other process sends through a DBusMessageSender. A send is one
// call without reply: it never waits, and bus activation starts kernovad when it
// is not running yet (the bus holds the call until the daemon owns its name).
#pragma once

#include <QDBusConnection>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "base/message_dispatcher.h"
#include "base/messaging.h"

namespace kernova::desktop {

class MessagesEndpoint;

// The session bus as the desktop's processes use it: one named connection per
// process. Qt's default session connection holds back what arrives before the
// event loop first runs and then lets later messages overtake it.
QDBusConnection sessionConnection();

// The core's dispatcher behind the bus.
class DBusMessageCenter final : public DispatchingMessageCenter {
  public:
    enum class StartResult { serving, alreadyRunning, noBus };

    explicit DBusMessageCenter(QDBusConnection connection = sessionConnection());
    ~DBusMessageCenter() override;
    DBusMessageCenter(const DBusMessageCenter&) = delete;
    DBusMessageCenter& operator=(const DBusMessageCenter&) = delete;

    // Exports the center and takes the bus name; without waiting in line, so a
    // second server learns at once that another one is running.
    StartResult start();
    bool serving() const { return serving_; }

    // Messages that arrived, registered or not.
    std::size_t receivedCount() const { return received_; }

  private:
    void receive(Message message);

    QDBusConnection connection_;
    std::unique_ptr<MessagesEndpoint> endpoint_;
    bool serving_ = false;
    std::size_t received_ = 0;
};

class DBusMessageSender final : public MessageSender {
  public:
    explicit DBusMessageSender(QDBusConnection connection = sessionConnection());

    // Safe from any thread. Fails silently without a bus, like every send.
    void sendMessageName(const std::string& name, const Value& userInfo = {}) override;
    bool connected() const { return connection_.isConnected(); }
    // Blocks until the center runs, starting kernovad by activation when needed;
    // false when it cannot be started. For short-lived commands: the bus drops
    // the calls that wait for an activation when their sender has gone.
    bool startService();
    // One round trip to the bus, after which every earlier send has left this
    // process: for short-lived commands that exit right after sending.
    bool flush();

  private:
    QDBusConnection connection_;
};

}  // namespace kernova::desktop
