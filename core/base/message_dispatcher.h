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
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/messaging.h"

namespace kernova {

class MessageDispatcher {
  public:
    using Handler = MessageCenter::Handler;

    void registerForMessageName(const std::string& name, Handler handler);
    bool hasHandler(const std::string& name) const;
    // The names in the order they were first registered.
    const std::vector<std::string>& registeredNames() const { return order_; }

    // Runs the handler of `message` now, or queues it when a handler is running.
    void dispatch(Message message);
    // Called for each message whose name has no handler, when its turn comes.
    void setUnhandledObserver(std::function<void(const Message&)> observer) {
        unhandled_ = std::move(observer);
    }
    // Messages waiting behind the running handler.
    std::size_t pending() const { return pending_.size(); }

  private:
    std::map<std::string, Handler, std::less<>> handlers_;
    std::vector<std::string> order_;
    std::deque<Message> pending_;
    bool dispatching_ = false;
    std::function<void(const Message&)> unhandled_;
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
