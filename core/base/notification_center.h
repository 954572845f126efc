// Process-local notifications: observers by name, each with an owner; posting
// calls the observers on the poster's thread, in the order they were added.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/run_loop.h"
#include "base/value.h"

namespace kernova {

struct Notification {
    std::string name;
    const void* object = nullptr;  // the sender, when it names itself
    Value userInfo;                // absent when there is none
};

using ObserverId = std::uint64_t;

class NotificationCenter {
  public:
    using Callback = std::function<void(const Notification&)>;

    ObserverId addObserver(std::string name, Owner owner, Callback callback);
    void removeObserver(ObserverId id);
    void removeObservers(Owner owner);
    // An observer removed during a post is not called afterwards; one added during
    // a post is called from the next post on.
    void post(const Notification& notification);
    void post(std::string name, Value userInfo = {}) {
        post(Notification{std::move(name), nullptr, std::move(userInfo)});
    }
    std::size_t observerCount(const std::string& name) const;

  private:
    struct Entry {
        ObserverId id;
        std::string name;
        Owner owner;
        std::shared_ptr<Callback> callback;
    };
    std::vector<Entry> entries_;
    ObserverId nextId_ = 1;
};

// System-wide notifications: a name only, delivered to every process that
// observes it (the settings-changed signal, for one). Implementations: in-process
// (below), the simulated device's bus, and D-Bus signals on the desktop.
class SystemNotifications {
  public:
    virtual ~SystemNotifications() = default;
    virtual ObserverId observe(std::string name, Owner owner, std::function<void()> callback) = 0;
    virtual void removeObservers(Owner owner) = 0;
    virtual void post(const std::string& name) = 0;
};

// Delivers synchronously to observers in this process.
class InProcessSystemNotifications final : public SystemNotifications {
  public:
    ObserverId observe(std::string name, Owner owner, std::function<void()> callback) override;
    void removeObservers(Owner owner) override { center_.removeObservers(owner); }
    void post(const std::string& name) override { center_.post(name); }

  private:
    NotificationCenter center_;
};

}  // namespace kernova
