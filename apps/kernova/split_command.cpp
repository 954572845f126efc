#include "kernova/split_command.h"

#include <charconv>
#include <cmath>
#include <istream>
#include <nlohmann/json.hpp>
#include <ostream>

#include "base/paths.h"
#include "base/text.h"

namespace kernova::cli {
namespace {

constexpr std::string_view kSplitHelp =
    "Splits TEXT (or standard input when TEXT is absent or \"-\") into segments:\n"
    "the words, and one symbol segment per character between them.\n"
    "\n"
    "  --all        one segment per character, nothing marked as symbol\n"
    "  --option N   the tokenizer split; N is a bit set: 4 = every stretch between\n"
    "               word boundaries (otherwise words only), 1 = drop repeated tokens\n"
    "  --json       print one JSON array of {\"text\": ..., \"symbol\": ...}\n"
    "  --help       show this help\n"
    "\n"
    "Without --json each segment is printed on its own line as a JSON string,\n"
    "followed by \" symbol\" for symbol segments. Invalid UTF-8 is read as U+FFFD;\n"
    "standard input is limited to 64 MiB.\n";

std::optional<std::uint64_t> parseOption(std::string_view s) {
    std::uint64_t value = 0;
    const char* end = s.data() + s.size();
    auto [ptr, ec] = std::from_chars(s.data(), end, value);
    if (s.empty() || ec != std::errc() || ptr != end) return std::nullopt;
    return value;
}

SplitParse fail(std::string message) {
    return {std::nullopt, std::move(message)};
}

std::vector<GSplodeItem> split(const SplitOptions& options, std::string_view text) {
    // The user's language, as kernovad splits in, whatever this process's locale.
    const std::string locale = segmentationLocale(processEnvironment());
    switch (options.mode) {
        case SplitOptions::Mode::all:
            return GSplodeBox::splodeAll(text, locale);
        case SplitOptions::Mode::option:
            return GSplodeBox::splodeWithOption(options.option, text, locale);
        case SplitOptions::Mode::splode:
            break;
    }
    return GSplodeBox::splode(text, locale);
}

}  // namespace

SplitParse parseSplitArguments(std::span<const std::string> args) {
    SplitOptions options;
    bool modeSet = false;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        bool isFlag = !optionsEnded && arg.size() > 1 && arg[0] == '-';
        if (!isFlag) {
            if (options.text) return fail("more than one TEXT given");
            options.text = arg;
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "--help" || arg == "-h") {
            options.help = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--all" || arg == "--option") {
            if (modeSet) return fail("--all and --option can be given only once, not both");
            modeSet = true;
            if (arg == "--all") {
                options.mode = SplitOptions::Mode::all;
                continue;
            }
            if (i + 1 >= args.size()) return fail("--option needs a number");
            std::optional<std::uint64_t> n = parseOption(args[++i]);
            if (!n) return fail("--option needs a non-negative integer, not \"" + args[i] + "\"");
            options.mode = SplitOptions::Mode::option;
            options.option = *n;
        } else {
            return fail("unknown option " + arg);
        }
    }
    if (options.text == "-") options.text.reset();
    return {options, {}};
}

std::string jsonStringLiteral(std::string_view text) {
    return nlohmann::json(std::string(text))
        .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string formatPlain(const std::vector<GSplodeItem>& items) {
    std::string out;
    for (const GSplodeItem& item : items) {
        out += jsonStringLiteral(item.text);
        if (item.isSymbolOrEmoji) out += " symbol";
        out += '\n';
    }
    return out;
}

std::string formatJson(const std::vector<GSplodeItem>& items) {
    // Ordered so that each object reads "text" first, as documented.
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const GSplodeItem& item : items) {
        array.push_back({{"text", item.text}, {"symbol", item.isSymbolOrEmoji}});
    }
    return array.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::optional<double> parsePositiveNumber(const std::string& s) {
    double value = 0;
    const char* end = s.data() + s.size();
    auto [ptr, ec] = std::from_chars(s.data(), end, value);
    if (s.empty() || ec != std::errc() || ptr != end || !std::isfinite(value) || value <= 0)
        return std::nullopt;
    return value;
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
    return repairUtf8(*input);
}

int runSplit(std::span<const std::string> args, std::istream& in, std::ostream& out,
             std::ostream& err) {
    SplitParse parsed = parseSplitArguments(args);
    if (auto status = endsBeforeRunning(parsed, "split", kSplitUsage, kSplitHelp, out, err))
        return *status;
    const SplitOptions& options = *parsed.options;
    std::optional<std::string> text = readCommandText(options.text, in, err, "split", "split it");
    if (!text) return 1;
    std::vector<GSplodeItem> items = split(options, *text);
    out << (options.json ? formatJson(items) : formatPlain(items));
    out.flush();
    return 0;
}

}  // namespace kernova::cli
