// System-wide notifications on the simulated device: one bus per device and one
// endpoint per process. Posting from any process (the poster included) delivers
// to every endpoint that observes the name, on that endpoint's run loop, after
// the post returns, as the phone's Darwin notifications arrive.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/notification_center.h"
#include "base/run_loop.h"

namespace kernova::sim {

class SimSystemNotifications;

class SystemNotificationBus {
  public:
    SystemNotificationBus() = default;
    SystemNotificationBus(const SystemNotificationBus&) = delete;
    SystemNotificationBus& operator=(const SystemNotificationBus&) = delete;

    void post(const std::string& name);
    // Every name posted so far, in order, for tests.
    const std::vector<std::string>& postedNames() const { return posted_; }

  private:
    friend class SimSystemNotifications;
    std::uint64_t attach(SimSystemNotifications* endpoint);
    void detach(std::uint64_t id) { endpoints_.erase(id); }

    std::map<std::uint64_t, SimSystemNotifications*> endpoints_;  // in attach order
    std::uint64_t nextId_ = 1;
    std::vector<std::string> posted_;
};

class SimSystemNotifications final : public SystemNotifications {
  public:
    SimSystemNotifications(SystemNotificationBus& bus, RunLoop& loop);
    ~SimSystemNotifications() override;
    SimSystemNotifications(const SimSystemNotifications&) = delete;
    SimSystemNotifications& operator=(const SimSystemNotifications&) = delete;

    ObserverId observe(std::string name, Owner owner, std::function<void()> callback) override;
    void removeObservers(Owner owner) override { center_.removeObservers(owner); }
    void post(const std::string& name) override { bus_.post(name); }

  private:
    friend class SystemNotificationBus;
    // Called by the bus: schedules delivery on this endpoint's run loop.
    void enqueue(const std::string& name);

    SystemNotificationBus& bus_;
    RunLoop& loop_;
    NotificationCenter center_;
    std::uint64_t id_;
};

}  // namespace kernova::sim
