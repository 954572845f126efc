// The process's log: one line per event, on standard error unless a sink is
// set, filtered by a level chosen at run time (KERNOVA_LOG=error|warn|info|debug,
// warn when unset). Each process owns one, reached through its Context.
//
// Lines carry names, keys, sizes and outcomes only: callers never pass text the
// user selected, copied or had recognised.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/paths.h"

namespace kernova {

enum class LogLevel { error, warn, info, debug };

// "error", "warn", "info" or "debug"; absent for anything else.
std::optional<LogLevel> parseLogLevel(std::string_view text);
std::string_view logLevelName(LogLevel level);

class Logger {
  public:
    // Receives each line that passes the level, without the final newline.
    using Sink = std::function<void(LogLevel level, std::string_view line)>;

    explicit Logger(std::string program = "kernova", LogLevel level = LogLevel::warn)
        : program_(std::move(program)), level_(level) {}

    // Takes the level from KERNOVA_LOG; an unknown value keeps warn and says so.
    void configure(const EnvironmentLookup& env);
    void setProgram(std::string program) { program_ = std::move(program); }
    void setLevel(LogLevel level) { level_ = level; }
    LogLevel level() const { return level_; }
    // An empty sink writes to standard error.
    void setSink(Sink sink) { sink_ = std::move(sink); }

    bool enabled(LogLevel level) const { return level <= level_; }
    // Writes "<program>: <level>: <where>: <what>" when the level passes.
    void log(LogLevel level, std::string_view where, std::string_view what) const;
    void error(std::string_view where, std::string_view what) const {
        log(LogLevel::error, where, what);
    }
    void warn(std::string_view where, std::string_view what) const {
        log(LogLevel::warn, where, what);
    }
    void info(std::string_view where, std::string_view what) const {
        log(LogLevel::info, where, what);
    }
    void debug(std::string_view where, std::string_view what) const {
        log(LogLevel::debug, where, what);
    }

  private:
    std::string program_;
    LogLevel level_;
    Sink sink_;
};

}  // namespace kernova
