// `kernova split`: splits a text into segments and prints them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "segment/splode_box.h"

namespace kernova::cli {

struct SplitOptions {
    enum class Mode { splode, all, option };
    Mode mode = Mode::splode;
    std::uint64_t option = 0;
    bool json = false;
    bool help = false;
    // Absent (or "-") means stdin.
    std::optional<std::string> text;
};

struct SplitParse {
    std::optional<SplitOptions> options;
    std::string error;  // set when options is absent
};

inline constexpr std::string_view kSplitUsage =
    "usage: kernova split [--all | --option N] [--json] [TEXT]";
inline constexpr std::size_t kMaxInputBytes = std::size_t{64} << 20;

// Parses the arguments that follow "split".
SplitParse parseSplitArguments(std::span<const std::string> args);

// The segment as a JSON string literal: quotes, escapes for control characters,
// other characters as they are.
std::string jsonStringLiteral(std::string_view text);
// One line per segment: its literal, then " symbol" for symbol segments.
std::string formatPlain(const std::vector<GSplodeItem>& items);
// One JSON array of {"text": ..., "symbol": ...}, followed by a newline.
std::string formatJson(const std::vector<GSplodeItem>& items);

// The start every subcommand shares, given the result of its parser: a parse
// error prints the message and the usage on `err` (status 2); --help prints
// the usage, then `help` when there is one, on `out` (status 0). Absent when
// the command goes on with *parsed.options.
template <class Parse>
std::optional<int> endsBeforeRunning(const Parse& parsed, std::string_view command,
                                     std::string_view usage, std::string_view help,
                                     std::ostream& out, std::ostream& err) {
    if (!parsed.options) {
        err << "kernova " << command << ": " << parsed.error << '\n' << usage << '\n';
        return 2;
    }
    if (!parsed.options->help) return std::nullopt;
    out << usage << '\n';
    if (!help.empty()) out << '\n' << help;
    return 0;
}

// A finite number above zero written as the whole of `s` ("12", "1.5e2");
// absent for anything else.
std::optional<double> parsePositiveNumber(const std::string& s);

// Drops the newline (or CR LF) that ends the last line of a piped text: it is
// no part of what the user meant.
std::string withoutFinalNewline(std::string text);

// Reads all of `in`; absent when it holds more than `limit` bytes.
std::optional<std::string> readLimited(std::istream& in, std::size_t limit);
// The text a command works on: `text` when given, else standard input (at most
// 64 MiB), repaired to valid UTF-8. On oversized input, prints
// "kernova <command>: standard input is larger than 64 MiB; refusing to <refusal>"
// and gives nothing.
std::optional<std::string> readCommandText(const std::optional<std::string>& text, std::istream& in,
                                           std::ostream& err, std::string_view command,
                                           std::string_view refusal);

// Runs the command; returns the exit status.
int runSplit(std::span<const std::string> args, std::istream& in, std::ostream& out,
             std::ostream& err);

}  // namespace kernova::cli
