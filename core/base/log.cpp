#include "base/log.h"

#include <array>
#include <cstdio>

namespace kernova {
namespace {

constexpr std::array<std::string_view, 4> kLevelNames{"error", "warn", "info", "debug"};

}  // namespace

std::optional<LogLevel> parseLogLevel(std::string_view text) {
    for (std::size_t i = 0; i < kLevelNames.size(); ++i) {
        if (text == kLevelNames[i]) return static_cast<LogLevel>(i);
    }
    return std::nullopt;
}

std::string_view logLevelName(LogLevel level) {
    return kLevelNames[static_cast<std::size_t>(level)];
}

void Logger::configure(const EnvironmentLookup& env) {
    std::optional<std::string> wanted = env ? env("KERNOVA_LOG") : std::nullopt;
    if (!wanted || wanted->empty()) return;
    if (std::optional<LogLevel> level = parseLogLevel(*wanted)) {
        level_ = *level;
        return;
    }
    level_ = LogLevel::warn;
    warn("log", "KERNOVA_LOG must be error, warn, info or debug; using warn");
}

void Logger::log(LogLevel level, std::string_view where, std::string_view what) const {
    if (!enabled(level)) return;
    std::string line;
    line.reserve(program_.size() + where.size() + what.size() + 16);
    line.append(program_).append(": ").append(logLevelName(level)).append(": ");
    line.append(where).append(": ").append(what);
    if (sink_) {
        sink_(level, line);
        return;
    }
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

}  // namespace kernova
