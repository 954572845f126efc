// `kernova send`: sends one named message to the message center, as any part of
// the system does, and returns without waiting for it to be handled.
#pragma once

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "base/value.h"

namespace kernova::cli {

inline constexpr std::string_view kSendUsage =
    "usage: kernova send [--empty] NAME [KEY=VALUE ...]\n"
    "  VALUE is s:TEXT, b:true|false, i:INTEGER, d:REAL, or TEXT for a string.\n"
    "  Without pairs no dictionary is sent; --empty sends an empty one.";

struct SendRequest {
    std::string name;
    Value userInfo;  // absent, or a dictionary
    bool help = false;
};

struct SendParse {
    std::optional<SendRequest> options;
    std::string error;  // set when options is absent
};

// One KEY=VALUE argument; on failure, `error` says what is wrong with it.
std::optional<std::pair<std::string, Value>> parseKeyValue(std::string_view argument,
                                                           std::string& error);
SendParse parseSendArguments(std::span<const std::string> args);

int runSend(std::span<const std::string> args, std::istream& in, std::ostream& out,
            std::ostream& err);

}  // namespace kernova::cli
