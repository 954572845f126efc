#include "kernova/splode_command.h"

#include <ostream>

#include "base/text.h"
#include "kernova/bus_client.h"
#include "kernova/cli.h"

namespace kernova::cli {

SplodeParse parseSplodeArguments(std::span<const std::string> args) {
    SplodeOptions options;
    if (args.size() == 2 && args[0] == "--") {  // a text that may start with a dash
        options.text = repairUtf8(args[1]);
        return {options, {}};
    }
    if (args.empty()) return {std::nullopt, "missing TEXT, -, --primary or --clipboard"};
    if (args.size() > 1) return {std::nullopt, "expected one argument (quote a text with spaces)"};
    const std::string& a = args[0];
    if (a == "--help" || a == "-h") {
        options.help = true;
    } else if (a == "-") {
        options.source = SplodeOptions::Source::standardInput;
    } else if (a == "--primary") {
        options.source = SplodeOptions::Source::primary;
    } else if (a == "--clipboard") {
        options.source = SplodeOptions::Source::clipboard;
    } else if (a.starts_with("--")) {
        return {std::nullopt, "unknown option " + a};
    } else {
        options.text = repairUtf8(a);
    }
    return {options, {}};
}

Value splodeUserInfo(std::string_view text) {
    return Value(Dictionary{{"callFromResponder", Value(true)}, {"selection", Value(text)}});
}

int runSplodeReading(std::span<const std::string> args, std::istream& in, std::ostream& out,
                     std::ostream& err, SelectionReader read) {
    SplodeParse parse = parseSplodeArguments(args);
    if (auto status = endsBeforeRunning(parse, "splode", kSplodeUsage, {}, out, err))
        return *status;
    const SplodeOptions& options = *parse.options;
    std::optional<std::string> text;
    std::string error;
    switch (options.source) {
        case SplodeOptions::Source::argument:
            text = options.text;
            break;
        case SplodeOptions::Source::standardInput:
            text = readLimited(in, kMaxInputBytes);
            if (!text) error = "standard input is larger than 64 MiB";
            if (text) text = withoutFinalNewline(repairUtf8(*text));
            break;
        case SplodeOptions::Source::primary:
        case SplodeOptions::Source::clipboard:
            if (read)
                text = read(options.source == SplodeOptions::Source::primary, error);
            else
                error = "this program does not read the selections";
            break;
    }
    if (!text) {
        err << "kernova splode: " << error << '\n';
        return 1;
    }
    return deliverMessage("notifySplode", splodeUserInfo(*text), err);
}

}  // namespace kernova::cli
