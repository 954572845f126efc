#include "base/message_dispatcher.h"

#include <string>
#include <utility>

namespace kernova {

std::size_t messageTextBytes(const Value& value) {
    if (const std::string* text = value.asString()) return text->size();
    if (const Bytes* data = value.asData()) return data->size();
    std::size_t total = 0;
    if (const Array* array = value.asArray()) {
        for (const Value& each : *array)
            total += messageTextBytes(each);
    } else if (const Dictionary* dictionary = value.asDictionary()) {
        for (const auto& [key, each] : *dictionary)
            total += key.size() + messageTextBytes(each);
    }
    return total;
}

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
    const std::size_t textBytes = messageTextBytes(message.userInfo);
    if (textBytes > kMaxMessageTextBytes) {
        if (dropped_) {
            dropped_(message, "refused: " + std::to_string(textBytes) +
                                  " bytes of text, more than the 64 MiB a message may carry");
        }
        return;
    }
    pending_.push_back(std::move(message));
    if (dispatching_) return;
    dispatching_ = true;
    while (!pending_.empty()) {
        Message next = std::move(pending_.front());
        pending_.pop_front();
        auto it = handlers_.find(next.name);
        if (it == handlers_.end() || !it->second) {
            if (dropped_) dropped_(next, "dropped: not a message of this server");
            continue;
        }
        // A copy: the handler may register a new one for its own name.
        Handler handler = it->second;
        handler(next);
    }
    dispatching_ = false;
}

}  // namespace kernova
