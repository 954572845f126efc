#include "kernova/cli.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <istream>
#include <nlohmann/json.hpp>

#include "base/text.h"

namespace kernova::cli {

bool Arguments::has(std::string_view flag) const {
    return value(flag) != nullptr;
}

const std::string* Arguments::value(std::string_view flag) const {
    for (auto it = options.rbegin(); it != options.rend(); ++it) {
        if (it->flag == flag) return &it->value;
    }
    return nullptr;
}

ArgumentsParse parseArguments(std::span<const std::string> args, std::span<const Option> table) {
    Arguments result;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            result.operands.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "--help" || arg == "-h") {
            result.help = true;
            continue;
        }
        auto option = std::find_if(table.begin(), table.end(),
                                   [&](const Option& o) { return o.flag == arg; });
        if (option == table.end()) return {std::nullopt, "unknown option " + arg};
        if (result.has(option->flag)) return {std::nullopt, arg + " can be given only once"};
        std::string value;
        if (option->takesValue) {
            if (i + 1 >= args.size()) return {std::nullopt, arg + " needs a value"};
            value = args[++i];
        }
        result.options.push_back({option->flag, std::move(value)});
    }
    return {std::move(result), {}};
}

std::optional<double> parsePoints(const std::string& s, double maximum) {
    double value = 0;
    const char* end = s.data() + s.size();
    auto [ptr, ec] = std::from_chars(s.data(), end, value);
    if (s.empty() || ec != std::errc() || ptr != end || !std::isfinite(value) || value < 1 ||
        value > maximum)
        return std::nullopt;
    return value;
}

std::string pointsError(std::string_view flag, const std::string& s, double maximum) {
    return std::string(flag) + " needs a number of points from 1 to " +
           std::to_string(static_cast<long long>(maximum)) + ", not \"" + repairUtf8(s) + "\"";
}

std::string withoutFinalNewline(std::string text) {
    if (text.ends_with("\r\n")) {
        text.resize(text.size() - 2);
    } else if (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

std::optional<std::string> readLimited(std::istream& in, std::size_t limit) {
    std::string data;
    char buffer[1 << 16];
    while (in) {
        in.read(buffer, sizeof buffer);
        auto got = static_cast<std::size_t>(in.gcount());
        if (got > limit - data.size()) return std::nullopt;
        data.append(buffer, got);
    }
    return data;
}

std::optional<std::string> readCommandText(const std::optional<std::string>& text, std::istream& in,
                                           std::ostream& err, std::string_view command,
                                           std::string_view refusal) {
    if (text) return repairUtf8(*text);
    std::optional<std::string> input = readLimited(in, kMaxInputBytes);
    if (!input) {
        err << "kernova " << command << ": standard input is larger than 64 MiB; refusing to "
            << refusal << '\n';
        return std::nullopt;
    }
    // Most input is valid already: keep the one copy.
    if (isValidUtf8(*input)) return input;
    return repairUtf8(*input);
}

std::string jsonStringLiteral(std::string_view text) {
    return nlohmann::json(std::string(text))
        .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void writeJsonStringLiteral(std::ostream& out, std::string_view text) {
    static constexpr char kHex[] = "0123456789abcdef";
    out.put('"');
    std::size_t run = 0;  // start of the characters written as they are
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\') continue;
        out.write(text.data() + run, static_cast<std::streamsize>(i - run));
        run = i + 1;
        switch (c) {
            case '"':
                out << "\\\"";
                break;
            case '\\':
                out << "\\\\";
                break;
            case '\b':
                out << "\\b";
                break;
            case '\f':
                out << "\\f";
                break;
            case '\n':
                out << "\\n";
                break;
            case '\r':
                out << "\\r";
                break;
            case '\t':
                out << "\\t";
                break;
            default: {
                const char escape[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
                out.write(escape, sizeof escape);
            }
        }
    }
    out.write(text.data() + run, static_cast<std::streamsize>(text.size() - run));
    out.put('"');
}

int finishOutput(std::ostream& out, std::ostream& err, std::string_view command, int status) {
    errno = 0;
    out.flush();
    if (out) return status;
    const int cause = errno;
    err << "kernova " << command << ": cannot write the output";
    if (cause != 0) err << ": " << std::strerror(cause);
    err << '\n';
    err.flush();
    return 1;
}

}  // namespace kernova::cli
