#include "kernova/split_command.h"

#include <charconv>
#include <ostream>
#include <sstream>

#include "base/paths.h"
#include "kernova/cli.h"

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

constexpr Option kSplitOptions[] = {{"--all"}, {"--option", true}, {"--json"}};

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

void split(const SplitOptions& options, std::string_view text, SegmentPrinter& printer) {
    // The user's language, as kernovad splits in, whatever this process's locale.
    const std::string locale = segmentationLocale(processEnvironment());
    auto sink = [&printer](GSplodeItem&& item) { printer.print(item); };
    switch (options.mode) {
        case SplitOptions::Mode::all:
            GSplodeBox::splodeAll(text, sink, locale);
            return;
        case SplitOptions::Mode::option:
            for (const GSplodeItem& item :
                 GSplodeBox::splodeWithOption(options.option, text, locale))
                printer.print(item);
            return;
        case SplitOptions::Mode::splode:
            break;
    }
    GSplodeBox::splode(text, sink, locale);
}

}  // namespace

SplitParse parseSplitArguments(std::span<const std::string> args) {
    ArgumentsParse parsed = parseArguments(args, kSplitOptions);
    if (!parsed.arguments) return fail(parsed.error);
    const Arguments& a = *parsed.arguments;
    SplitOptions options;
    options.help = a.help;
    options.json = a.has("--json");
    if (a.has("--all") && a.has("--option"))
        return fail("--all and --option can be given only once, not both");
    if (a.has("--all")) options.mode = SplitOptions::Mode::all;
    if (const std::string* n = a.value("--option")) {
        std::optional<std::uint64_t> value = parseOption(*n);
        if (!value) return fail("--option needs a non-negative integer, not \"" + *n + "\"");
        options.mode = SplitOptions::Mode::option;
        options.option = *value;
    }
    if (a.operands.size() > 1) return fail("more than one TEXT given");
    if (!a.operands.empty() && a.operands[0] != "-") options.text = a.operands[0];
    return {options, {}};
}

void SegmentPrinter::print(const GSplodeItem& item) {
    if (json_) {
        out_ << (first_ ? "[{\"text\":" : ",{\"text\":");
        writeJsonStringLiteral(out_, item.text);
        out_ << (item.isSymbolOrEmoji ? ",\"symbol\":true}" : ",\"symbol\":false}");
    } else {
        writeJsonStringLiteral(out_, item.text);
        out_ << (item.isSymbolOrEmoji ? " symbol\n" : "\n");
    }
    first_ = false;
}

void SegmentPrinter::finish() {
    if (json_) out_ << (first_ ? "[]\n" : "]\n");
}

std::string formatSegments(const std::vector<GSplodeItem>& items, bool json) {
    std::ostringstream out;
    SegmentPrinter printer(out, json);
    for (const GSplodeItem& item : items)
        printer.print(item);
    printer.finish();
    return out.str();
}

int runSplit(std::span<const std::string> args, std::istream& in, std::ostream& out,
             std::ostream& err) {
    SplitParse parsed = parseSplitArguments(args);
    if (auto status = endsBeforeRunning(parsed, "split", kSplitUsage, kSplitHelp, out, err))
        return *status;
    const SplitOptions& options = *parsed.options;
    std::optional<std::string> text = readCommandText(options.text, in, err, "split", "split it");
    if (!text) return 1;
    SegmentPrinter printer(out, options.json);
    split(options, *text, printer);
    printer.finish();
    return finishOutput(out, err, "split");
}

}  // namespace kernova::cli
