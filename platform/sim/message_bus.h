// The simulated message bus: every process gets a MessageSender whose messages
// travel to the one MessageCenter in the server process. Delivery is
// asynchronous, as between real processes: each message is posted on the
// server's run loop, in send order, and handled there one at a time.
#pragma once

#include <string>
#include <vector>

#include "base/message_dispatcher.h"
#include "base/messaging.h"
#include "base/run_loop.h"

namespace kernova::sim {

// One message as the server received it, for tests to inspect.
struct DeliveredMessage {
    Message message;
    std::string sender;    // the sending process's bundle identifier
    double time = 0;       // on the device clock, when it was handled
    bool handled = false;  // false when no handler was registered for the name
};

// The server's message center: the core's dispatcher behind a simulated bus.
class SimMessageCenter final : public DispatchingMessageCenter {
  public:
    explicit SimMessageCenter(RunLoop& serverLoop) : loop_(serverLoop) {}
    SimMessageCenter(const SimMessageCenter&) = delete;
    SimMessageCenter& operator=(const SimMessageCenter&) = delete;
    ~SimMessageCenter() override;

    // Queues `message` for delivery on the server's run loop.
    void enqueue(Message message, std::string sender);

    // Every message that reached the server, handled or dropped, oldest first.
    const std::vector<DeliveredMessage>& log() const { return log_; }
    void clearLog() { log_.clear(); }
    // Messages sent but not yet handled.
    std::size_t inFlight() const { return inFlight_; }

  private:
    void deliver(Message message, std::string sender);

    RunLoop& loop_;
    std::vector<DeliveredMessage> log_;
    std::size_t inFlight_ = 0;
};

// The sending end held by one process.
class SimMessageSender final : public MessageSender {
  public:
    SimMessageSender(SimMessageCenter& center, std::string senderId)
        : center_(center), senderId_(std::move(senderId)) {}

    void sendMessageName(const std::string& name, const Value& userInfo = {}) override;

  private:
    SimMessageCenter& center_;
    std::string senderId_;
};

}  // namespace kernova::sim
