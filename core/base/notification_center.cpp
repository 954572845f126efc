#include "base/notification_center.h"

#include <algorithm>

namespace kernova {

ObserverId NotificationCenter::addObserver(std::string name, Owner owner, Callback callback) {
    ObserverId id = nextId_++;
    entries_.push_back(
        Entry{id, std::move(name), owner, std::make_shared<Callback>(std::move(callback))});
    return id;
}

void NotificationCenter::removeObserver(ObserverId id) {
    std::erase_if(entries_, [id](const Entry& e) { return e.id == id; });
}

void NotificationCenter::removeObservers(Owner owner) {
    std::erase_if(entries_, [owner](const Entry& e) { return e.owner == owner; });
}

void NotificationCenter::post(const Notification& notification) {
    std::vector<std::pair<ObserverId, std::shared_ptr<Callback>>> targets;
    for (const Entry& e : entries_) {
        if (e.name == notification.name) targets.emplace_back(e.id, e.callback);
    }
    for (auto& [id, callback] : targets) {
        bool stillThere = std::any_of(entries_.begin(), entries_.end(),
                                      [id = id](const Entry& e) { return e.id == id; });
        if (stillThere) (*callback)(notification);
    }
}

std::size_t NotificationCenter::observerCount(const std::string& name) const {
    return static_cast<std::size_t>(std::count_if(
        entries_.begin(), entries_.end(), [&name](const Entry& e) { return e.name == name; }));
}

ObserverId InProcessSystemNotifications::observe(std::string name, Owner owner,
                                                 std::function<void()> callback) {
    return center_.addObserver(std::move(name), owner,
                               [cb = std::move(callback)](const Notification&) { cb(); });
}

}  // namespace kernova
