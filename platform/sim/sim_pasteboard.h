// The device's general pasteboard, one for all processes. Every write bumps the
// change count at once and, after the write returns, posts
// kPasteboardChangedNotification in each attached process's notification center
// on that process's run loop (the notification's object is the pasteboard).
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "base/notification_center.h"
#include "base/run_loop.h"
#include "ui/pasteboard.h"

namespace kernova::sim {

class SimPasteboard final : public ui::Pasteboard {
  public:
    SimPasteboard() = default;
    ~SimPasteboard() override;
    SimPasteboard(const SimPasteboard&) = delete;
    SimPasteboard& operator=(const SimPasteboard&) = delete;

    std::optional<std::string> string() const override { return text_; }
    // Ill-formed UTF-8 is repaired on the way in, as text from outside always is.
    void setString(const std::string& text) override;
    std::uint64_t changeCount() const override { return changeCount_; }

    // A process that receives the change notification; detach before it goes.
    std::uint64_t attach(RunLoop& loop, NotificationCenter& center);
    void detach(std::uint64_t id);

  private:
    struct Listener {
        RunLoop* loop;
        NotificationCenter* center;
    };
    std::optional<std::string> text_;
    std::uint64_t changeCount_ = 0;
    std::map<std::uint64_t, Listener> listeners_;
    std::uint64_t nextId_ = 1;
};

}  // namespace kernova::sim
