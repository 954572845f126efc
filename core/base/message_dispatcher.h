// The server side of the message center, whatever carries the messages: the
// table of handlers and the order they run in. The simulated bus and the D-Bus
// transport hand every message that arrives to one dispatcher.
//
// - Messages are handled one at a time, in the order they were dispatched.
// - A message dispatched while a handler runs (sent from inside it, or arriving
//   through a nested event loop) is handled after that handler returns.
// - Registering a name again replaces its handler and keeps its first place in
//   registeredNames().
// - An absent dictionary stays absent and an empty one stays empty; anything
//   else than a dictionary reaches the handler as absent.
// - A message carrying more than kMaxMessageTextBytes of text is refused
//   before it is queued.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/messaging.h"

namespace kernova {

// The most text (strings and data, in bytes, keys included) one message may
// carry: as much as the commands read from their standard input.
inline constexpr std::size_t kMaxMessageTextBytes = std::size_t{64} << 20;
// The text `value` carries, counted as for kMaxMessageTextBytes.
std::size_t messageTextBytes(const Value& value);

class MessageDispatcher {
  public:
    using Handler = MessageCenter::Handler;

    void registerForMessageName(const std::string& name, Handler handler);
    bool hasHandler(const std::string& name) const;
    // The names in the order they were first registered.
    const std::vector<std::string>& registeredNames() const { return order_; }

    // Runs the handler of `message` now, or queues it when a handler is running.
    void dispatch(Message message);
    // Called with the reason for each message that reaches no handler: one
    // refused for its size (at once), one whose name has no handler (when its
    // turn comes).
    using DropObserver = std::function<void(const Message&, const std::string& reason)>;
    void setDropObserver(DropObserver observer) { dropped_ = std::move(observer); }
    // Messages waiting behind the running handler.
    std::size_t pending() const { return pending_.size(); }

  private:
    std::map<std::string, Handler, std::less<>> handlers_;
    std::vector<std::string> order_;
    std::deque<Message> pending_;
    bool dispatching_ = false;
    DropObserver dropped_;
};

// A MessageCenter that hands registrations to a dispatcher: the transports'
// common base.
class DispatchingMessageCenter : public MessageCenter {
  public:
    void registerForMessageName(const std::string& name, Handler handler) override {
        dispatcher_.registerForMessageName(name, std::move(handler));
    }
    const std::vector<std::string>& registeredNames() const {
        return dispatcher_.registeredNames();
    }
    bool hasHandler(const std::string& name) const { return dispatcher_.hasHandler(name); }
    MessageDispatcher& dispatcher() { return dispatcher_; }

  protected:
    MessageDispatcher dispatcher_;
};

}  // namespace kernova
