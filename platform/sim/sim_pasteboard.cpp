#include "sim/sim_pasteboard.h"

#include "base/text.h"

namespace kernova::sim {

SimPasteboard::~SimPasteboard() {
    for (auto& [id, listener] : listeners_)
        listener.loop->cancelAll(this);
}

void SimPasteboard::setString(const std::string& text) {
    text_ = repairUtf8(text);
    ++changeCount_;
    for (auto& [id, listener] : listeners_) {
        NotificationCenter* center = listener.center;
        listener.loop->after(0, this, [this, center] {
            center->post(Notification{ui::kPasteboardChangedNotification, this, Value{}});
        });
    }
}

std::uint64_t SimPasteboard::attach(RunLoop& loop, NotificationCenter& center) {
    std::uint64_t id = nextId_++;
    listeners_.emplace(id, Listener{&loop, &center});
    return id;
}

void SimPasteboard::detach(std::uint64_t id) {
    // Pending notifications for that process die with its run loop.
    listeners_.erase(id);
}

}  // namespace kernova::sim
