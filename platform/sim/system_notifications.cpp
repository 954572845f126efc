#include "sim/system_notifications.h"

namespace kernova::sim {

std::uint64_t SystemNotificationBus::attach(SimSystemNotifications* endpoint) {
    std::uint64_t id = nextId_++;
    endpoints_.emplace(id, endpoint);
    return id;
}

void SystemNotificationBus::post(const std::string& name) {
    posted_.push_back(name);
    for (auto& [id, endpoint] : endpoints_)
        endpoint->enqueue(name);
}

SimSystemNotifications::SimSystemNotifications(SystemNotificationBus& bus, RunLoop& loop)
    : bus_(bus), loop_(loop), id_(bus.attach(this)) {}

SimSystemNotifications::~SimSystemNotifications() {
    bus_.detach(id_);
    loop_.cancelAll(this);
}

ObserverId SimSystemNotifications::observe(std::string name, Owner owner,
                                           std::function<void()> callback) {
    return center_.addObserver(std::move(name), owner,
                               [cb = std::move(callback)](const Notification&) { cb(); });
}

void SimSystemNotifications::enqueue(const std::string& name) {
    // Skip the trip when nobody here listens; the observer set is checked again
    // on arrival, since observers may come and go in between.
    if (center_.observerCount(name) == 0) return;
    loop_.after(0, this, [this, name] { center_.post(name); });
}

}  // namespace kernova::sim
