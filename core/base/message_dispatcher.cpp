#include "base/message_dispatcher.h"

#include <utility>

namespace kernova {

void MessageDispatcher::registerForMessageName(const std::string& name, Handler handler) {
    auto [it, inserted] = handlers_.insert_or_assign(name, std::move(handler));
    if (inserted) order_.push_back(name);
}

bool MessageDispatcher::hasHandler(const std::string& name) const {
    auto it = handlers_.find(name);
    return it != handlers_.end() && it->second;
}

void MessageDispatcher::dispatch(Message message) {
    if (!message.userInfo.isAbsent() && !message.userInfo.asDictionary()) message.userInfo = {};
    pending_.push_back(std::move(message));
    if (dispatching_) return;
    dispatching_ = true;
    while (!pending_.empty()) {
        Message next = std::move(pending_.front());
        pending_.pop_front();
        auto it = handlers_.find(next.name);
        if (it == handlers_.end() || !it->second) {
            if (unhandled_) unhandled_(next);
            continue;
        }
        // A copy: the handler may register a new one for its own name.
        Handler handler = it->second;
        handler(next);
    }
    dispatching_ = false;
}

}  // namespace kernova
