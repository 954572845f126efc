// Requests between processes: one-way named messages with an optional dictionary,
// sent to the message center "fun.quorle.kernova.prefs" that the server process
// owns. Senders never wait and get no answer.
#pragma once

#include <functional>
#include <string>

#include "base/value.h"

namespace kernova {

inline constexpr const char* kMessageCenterName = "fun.quorle.kernova.prefs";

struct Message {
    std::string name;
    // Absent when the sender attached no dictionary; an empty dictionary stays
    // distinct from that. Handlers read the values with the lenient reads.
    Value userInfo;
};

class MessageSender {
  public:
    virtual ~MessageSender() = default;
    // `userInfo` must be absent or a dictionary; anything else is sent as absent.
    virtual void sendMessageName(const std::string& name, const Value& userInfo = {}) = 0;
};

class MessageCenter {
  public:
    using Handler = std::function<void(const Message&)>;
    virtual ~MessageCenter() = default;
    // Handlers run on the server process's run loop, one message at a time, in
    // the order the messages were sent. A name without a handler is ignored.
    virtual void registerForMessageName(const std::string& name, Handler handler) = 0;
};

}  // namespace kernova
