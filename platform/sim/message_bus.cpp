#include "sim/message_bus.h"

#include <algorithm>

namespace kernova::sim {

SimMessageCenter::~SimMessageCenter() {
    loop_.cancelAll(this);
}

void SimMessageCenter::registerForMessageName(const std::string& name, Handler handler) {
    if (std::find(order_.begin(), order_.end(), name) == order_.end()) order_.push_back(name);
    handlers_[name] = std::move(handler);
}

void SimMessageCenter::enqueue(Message message, std::string sender) {
    ++inFlight_;
    // Owned by the center so that pending deliveries die with it; zero-delay
    // timers keep their scheduling order, which is the send order.
    loop_.after(0, this, [this, m = std::move(message), s = std::move(sender)]() mutable {
        deliver(std::move(m), std::move(s));
    });
}

void SimMessageCenter::deliver(Message message, std::string sender) {
    --inFlight_;
    auto it = handlers_.find(message.name);
    bool handled = it != handlers_.end();
    log_.push_back(DeliveredMessage{message, std::move(sender), loop_.now(), handled});
    if (!handled) return;
    // A handler may register or replace handlers while it runs.
    Handler handler = it->second;
    handler(message);
}

void SimMessageSender::sendMessageName(const std::string& name, const Value& userInfo) {
    // Only a dictionary crosses the process boundary; Value's contents are
    // immutable, so the copy cannot be changed by the sender afterwards.
    Value payload = userInfo.asDictionary() ? userInfo : Value{};
    center_.enqueue(Message{name, std::move(payload)}, senderId_);
}

}  // namespace kernova::sim
