#include "sim/message_bus.h"

namespace kernova::sim {

SimMessageCenter::~SimMessageCenter() {
    loop_.cancelAll(this);
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
    bool handled = dispatcher_.hasHandler(message.name);
    log_.push_back(DeliveredMessage{message, std::move(sender), loop_.now(), handled});
    dispatcher_.dispatch(std::move(message));
}

void SimMessageSender::sendMessageName(const std::string& name, const Value& userInfo) {
    // Only a dictionary crosses the process boundary; Value's contents are
    // immutable, so the copy cannot be changed by the sender afterwards.
    Value payload = userInfo.asDictionary() ? userInfo : Value{};
    center_.enqueue(Message{name, std::move(payload)}, senderId_);
}

}  // namespace kernova::sim
