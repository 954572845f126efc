// What the subcommands of `kernova` share: an option table and its parser, the
// usage and help handling, number parsing, the text a command works on, JSON
// string literals and the check that the output really reached its file.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kernova::cli {

// The most a command reads from standard input.
inline constexpr std::size_t kMaxInputBytes = std::size_t{64} << 20;

// One option of a command: "--json" alone, or "--width" followed by a value.
struct Option {
    std::string_view flag;
    bool takesValue = false;
};

// The arguments as the option table reads them. "--help" and "-h" ask for
// help, "--" ends the options, "-" is an operand (standard input).
struct Arguments {
    struct Given {
        std::string_view flag;
        std::string value;  // empty for an option without value
    };
    std::vector<Given> options;  // in the order given
    std::vector<std::string> operands;
    bool help = false;

    bool has(std::string_view flag) const;
    // The value of the last `flag` given; null when absent.
    const std::string* value(std::string_view flag) const;
};

struct ArgumentsParse {
    std::optional<Arguments> arguments;
    std::string error;  // set when arguments is absent
};

// Reads `args` with `table`: an unknown option, a missing value or an option
// given twice is an error.
ArgumentsParse parseArguments(std::span<const std::string> args, std::span<const Option> table);

// The start every subcommand shares, given the result of its parser (an
// optional `options` with a `help` flag, and an `error`): a parse error prints
// the message and the usage on `err` (status 2); --help prints the usage, then
// `help` when there is one, on `out` (status 0). Absent when the command goes
// on with *parsed.options.
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

// A size in points written as the whole of `s` ("12", "1.5e2"): finite, at
// least 1 and at most `maximum`; absent for anything else (NaN, inf, 1e-320).
std::optional<double> parsePoints(const std::string& s, double maximum);
// The message for a size that parsePoints refused.
std::string pointsError(std::string_view flag, const std::string& s, double maximum);

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

// `text` as a JSON string literal: quotes, escapes for control characters,
// other characters as they are.
std::string jsonStringLiteral(std::string_view text);
void writeJsonStringLiteral(std::ostream& out, std::string_view text);

// The end of every command that prints: flushes `out` and returns `status`,
// or, when the output was lost (standard output closed, a full disk), says so
// on `err` and returns 1.
int finishOutput(std::ostream& out, std::ostream& err, std::string_view command, int status = 0);

}  // namespace kernova::cli
