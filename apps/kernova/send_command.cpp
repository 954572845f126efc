#include "kernova/send_command.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <ostream>

#include "base/text.h"
#include "kernova/bus_client.h"
#include "kernova/cli.h"

namespace kernova::cli {

namespace {

std::string lowercase(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

std::optional<Value> parseBoolean(std::string_view text) {
    std::string t = lowercase(text);
    if (t == "true" || t == "yes" || t == "1") return Value(true);
    if (t == "false" || t == "no" || t == "0") return Value(false);
    return std::nullopt;
}

std::optional<Value> parseInteger(std::string_view text) {
    std::int64_t i = 0;
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, i);
    if (text.empty() || ec != std::errc() || ptr != end) return std::nullopt;
    return Value(i);
}

std::optional<Value> parseReal(std::string_view text) {
    std::string t(text);
    if (t.empty() || std::isspace(static_cast<unsigned char>(t[0]))) return std::nullopt;
    char* end = nullptr;
    double d = std::strtod(t.c_str(), &end);
    if (end != t.c_str() + t.size() || !std::isfinite(d)) return std::nullopt;
    return Value(d);
}

// The value part: a one-letter type and a colon, or plain text.
std::optional<Value> parseTypedValue(std::string_view text, std::string& error) {
    if (text.size() < 2 || text[1] != ':') return Value(repairUtf8(text));
    std::string_view body = text.substr(2);
    std::optional<Value> value;
    switch (text[0]) {
        case 's':
            return Value(repairUtf8(body));
        case 'b':
            value = parseBoolean(body);
            if (!value) error = "expected true or false after b:";
            return value;
        case 'i':
            value = parseInteger(body);
            if (!value) error = "expected a 64-bit integer after i:";
            return value;
        case 'd':
            value = parseReal(body);
            if (!value) error = "expected a finite real number after d:";
            return value;
        default:
            return Value(repairUtf8(text));
    }
}

}  // namespace

std::optional<std::pair<std::string, Value>> parseKeyValue(std::string_view argument,
                                                           std::string& error) {
    std::size_t eq = argument.find('=');
    if (eq == std::string_view::npos) {
        error = "expected KEY=VALUE";
        return std::nullopt;
    }
    if (eq == 0) {
        error = "the key is empty";
        return std::nullopt;
    }
    std::optional<Value> value = parseTypedValue(argument.substr(eq + 1), error);
    if (!value) return std::nullopt;
    return std::make_pair(repairUtf8(argument.substr(0, eq)), std::move(*value));
}

SendParse parseSendArguments(std::span<const std::string> args) {
    SendRequest request;
    bool empty = false;
    std::size_t i = 0;
    for (; i < args.size() && args[i].starts_with("-"); ++i) {
        if (args[i] == "--") {
            ++i;
            break;
        }
        if (args[i] == "--help" || args[i] == "-h") {
            request.help = true;
            return {request, {}};
        }
        if (args[i] != "--empty") return {std::nullopt, "unknown option " + args[i]};
        empty = true;
    }
    if (i == args.size() || args[i].empty()) return {std::nullopt, "missing message name"};
    request.name = repairUtf8(args[i++]);
    Dictionary info;
    for (; i < args.size(); ++i) {
        std::string error;
        auto pair = parseKeyValue(args[i], error);
        if (!pair) return {std::nullopt, "bad pair \"" + args[i] + "\": " + error};
        if (info.count(pair->first) != 0)
            return {std::nullopt, "key \"" + pair->first + "\" given twice"};
        info.emplace(std::move(pair->first), std::move(pair->second));
    }
    if (empty && !info.empty()) return {std::nullopt, "--empty cannot be combined with pairs"};
    if (empty || !info.empty()) request.userInfo = Value(std::move(info));
    return {request, {}};
}

int runSend(std::span<const std::string> args, std::istream&, std::ostream& out,
            std::ostream& err) {
    SendParse parse = parseSendArguments(args);
    if (auto status = endsBeforeRunning(parse, "send", kSendUsage, {}, out, err)) return *status;
    return deliverMessage(parse.options->name, parse.options->userInfo, err);
}

}  // namespace kernova::cli
