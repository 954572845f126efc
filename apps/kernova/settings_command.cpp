#include "kernova/settings_command.h"

#include <filesystem>
#include <optional>
#include <ostream>

#include "base/context.h"
#include "base/notification_center.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/virtual_run_loop.h"
#include "kernova/cli.h"
#include "server/settings.h"

namespace kernova::cli {
namespace {

constexpr std::string_view kSetHelp =
    "Writes one setting to the settings file (replaced whole, atomically) and\n"
    "tells kernovad to read it again. VALUE must fit the key: YES or NO for a\n"
    "switch, a whole number in the key's range or one of its named values, or\n"
    "a text. \"kernova get --all\" lists the keys with their values.\n"
    "\n"
    "  kernova set enabled YES     switch Kernova on\n"
    "  kernova set fontSize 17     bigger tags\n"
    "  kernova set popButton bottom\n";

constexpr std::string_view kGetHelp =
    "Prints the value of a setting as Kernova reads it (its default when the\n"
    "settings file lacks it). --all prints every setting the user can change,\n"
    "one per line: the key, then its value (texts as JSON strings).\n";

constexpr Option kGetOptions[] = {{"--all"}};

struct SettingsParse {
    struct Options {
        const SettingKey* key = nullptr;
        std::string value;
        bool all = false;
        bool help = false;
    };
    std::optional<Options> options;
    std::string error;
};

SettingsParse fail(std::string message) {
    return {std::nullopt, std::move(message)};
}

// The key named by `name`, or an error that says how to find the names.
const SettingKey* keyNamed(const std::string& name, std::string& error) {
    const SettingKey* key = findSettingKey(name);
    if (key == nullptr)
        error = "unknown setting \"" + repairUtf8(name) +
                "\" (\"kernova get --all\" lists the settings)";
    return key;
}

// VALUE may start with a dash (a negative number), so only a first "--help"
// or "--" is read as an option.
SettingsParse parseSet(std::span<const std::string> args) {
    SettingsParse::Options options;
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
        options.help = true;
        return {options, {}};
    }
    if (!args.empty() && args[0] == "--") args = args.subspan(1);
    if (args.size() != 2) return fail("expected a KEY and a VALUE");
    std::string error;
    options.key = keyNamed(args[0], error);
    if (options.key == nullptr) return fail(error);
    if (!options.key->userVisible())
        return fail("\"" + args[0] + "\" is kept by Kernova itself, not a user setting");
    options.value = args[1];
    return {options, {}};
}

SettingsParse parseGet(std::span<const std::string> args) {
    ArgumentsParse parsed = parseArguments(args, kGetOptions);
    if (!parsed.arguments) return fail(parsed.error);
    SettingsParse::Options options;
    options.help = parsed.arguments->help;
    options.all = parsed.arguments->has("--all");
    const std::vector<std::string>& operands = parsed.arguments->operands;
    if (options.help) return {options, {}};
    if (options.all) {
        if (!operands.empty()) return fail("--all takes no KEY");
        return {options, {}};
    }
    if (operands.size() != 1) return fail("expected one KEY, or --all");
    std::string error;
    options.key = keyNamed(operands[0], error);
    if (options.key == nullptr) return fail(error);
    return {options, {}};
}

// The value as `get` prints it: YES or NO, a decimal number, or the text.
std::string valueText(const Value& value, bool quoteText) {
    if (value.type() == Value::Type::boolean) return value.boolValue() ? "YES" : "NO";
    std::string text = value.stringValue().value_or("");
    return quoteText && value.isString() ? jsonStringLiteral(text) : text;
}

// What a command needs of a process to read or write the settings: no loop runs.
struct SettingsProcess {
    VirtualClock clock;
    VirtualRunLoop loop{clock};
    InProcessSystemNotifications notifications;
    Context context{loop, notifications, Paths{preferencesDirectory(processEnvironment()), {}}};
};

}  // namespace

int runSet(std::span<const std::string> args, std::istream&, std::ostream& out, std::ostream& err,
           const ReloadAnnouncer& announce) {
    SettingsParse parsed = parseSet(args);
    if (auto status = endsBeforeRunning(parsed, "set", kSetUsage, kSetHelp, out, err))
        return *status;
    const SettingKey& key = *parsed.options->key;
    std::string error;
    std::optional<Value> value = parseSettingText(key, parsed.options->value, error);
    if (!value) {
        err << "kernova set: " << error << '\n';
        return 2;
    }
    SettingsProcess process;
    SaveResult saved = writeSetting(process.context, key, *value);
    if (!saved) {
        err << "kernova set: " << saved.error << '\n';
        return 1;
    }
    if (announce) announce(err);
    return finishOutput(out, err, "set");
}

int runGet(std::span<const std::string> args, std::istream&, std::ostream& out, std::ostream& err) {
    SettingsParse parsed = parseGet(args);
    if (auto status = endsBeforeRunning(parsed, "get", kGetUsage, kGetHelp, out, err))
        return *status;
    SettingsProcess process;
    const std::filesystem::path& file = process.context.paths().settingsFile();
    SettingsSnapshot settings = readSettings(process.context);
    std::error_code ec;
    if (settings.dictionary().isAbsent() && std::filesystem::exists(file, ec))
        err << "kernova get: " << file.string()
            << " is not a readable settings file; every setting reads as its default\n";
    if (!parsed.options->all) {
        out << valueText(settings.get(*parsed.options->key), false) << '\n';
        return finishOutput(out, err, "get");
    }
    for (const SettingKey& key : kSettingKeys) {
        if (key.userVisible()) out << key.name << ' ' << valueText(settings.get(key), true) << '\n';
    }
    return finishOutput(out, err, "get");
}

}  // namespace kernova::cli
