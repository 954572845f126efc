#include "kernova/apps_command.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <ostream>
#include <vector>

#include "base/desktop_entries.h"
#include "base/paths.h"
#include "base/plist.h"
#include "base/text.h"
#include "capture/app_list.h"
#include "kernova/cli.h"
#include "server/settings.h"

namespace kernova::cli {
namespace {

constexpr std::string_view kAppsHelp =
    "Lists the applications of this desktop (their desktop entries) that\n"
    "Kernova can be enabled in: a line each, \"*\" for an enabled one, then the\n"
    "entry's id and its name; --json prints a JSON array of\n"
    "{\"id\", \"name\", \"enabled\"}. The floating button and the panel on the\n"
    "clipboard answer only while an enabled application is in front.\n"
    "\n"
    "  kernova apps --enable org.gnome.TextEditor.desktop\n"
    "  kernova apps --disable org.gnome.TextEditor\n";

struct AppsParse {
    struct Options {
        enum class Mode { list, enable, disable } mode = Mode::list;
        bool json = false;
        bool help = false;
        std::vector<std::string> ids;
    };
    std::optional<Options> options;
    std::string error;
};

AppsParse parseApps(std::span<const std::string> args) {
    AppsParse::Options options;
    if (args.empty()) return {options, {}};
    const std::string& first = args[0];
    if (first == "--help" || first == "-h") {
        options.help = true;
    } else if (first == "--json" && args.size() == 1) {
        options.json = true;
    } else if (first == "--enable" || first == "--disable") {
        options.mode = first == "--enable" ? AppsParse::Options::Mode::enable
                                           : AppsParse::Options::Mode::disable;
        options.ids.assign(args.begin() + 1, args.end());
        if (options.ids.empty()) return {std::nullopt, first + " needs at least one ID"};
    } else {
        return {std::nullopt, "unexpected argument \"" + repairUtf8(first) + "\""};
    }
    return {options, {}};
}

std::vector<std::string> enabledIn(const Value& file) {
    std::vector<std::string> ids;
    if (const Array* list = file[kEnabledAppsKey].asArray())
        for (const Value& id : *list)
            if (const std::string* text = id.asString()) ids.push_back(*text);
    return ids;
}

bool listed(const std::vector<std::string>& ids, const std::string& id) {
    return std::any_of(ids.begin(), ids.end(),
                       [&](const std::string& each) { return sameDesktopEntryId(each, id); });
}

int list(const std::vector<std::string>& enabled, bool json, std::ostream& out, std::ostream& err) {
    const capture::ApplicationList apps =
        capture::applicationList(DesktopEntries::load(processEnvironment()));
    if (json) out << '[';
    bool first = true;
    for (const auto& [id, name] : apps) {
        const bool on = listed(enabled, id);
        if (json) {
            out << (first ? "" : ",") << "\n  {\"id\": " << jsonStringLiteral(id)
                << ", \"name\": " << jsonStringLiteral(name)
                << ", \"enabled\": " << (on ? "true" : "false") << '}';
        } else {
            out << (on ? "* " : "  ") << id << '\t' << name << '\n';
        }
        first = false;
    }
    if (json) out << (first ? "]\n" : "\n]\n");
    return finishOutput(out, err, "apps");
}

}  // namespace

int runApps(std::span<const std::string> args, std::istream&, std::ostream& out, std::ostream& err,
            const ReloadAnnouncer& announce) {
    AppsParse parsed = parseApps(args);
    if (auto status = endsBeforeRunning(parsed, "apps", kAppsUsage, kAppsHelp, out, err))
        return *status;
    const AppsParse::Options& options = *parsed.options;
    const std::filesystem::path file =
        Paths{preferencesDirectory(processEnvironment()), {}}.enabledAppsFile();
    std::error_code ec;
    const bool exists = std::filesystem::exists(file, ec);
    Value current = exists ? loadDictionary(file) : Value(Dictionary{});
    if (current.isAbsent()) {
        err << "kernova apps: " << file.string()
            << " cannot be read as a list of applications; it is left as it is\n";
        return 1;
    }
    std::vector<std::string> enabled = enabledIn(current);
    if (options.mode == AppsParse::Options::Mode::list)
        return list(enabled, options.json, out, err);

    if (options.mode == AppsParse::Options::Mode::enable) {
        const DesktopEntries entries = DesktopEntries::load(processEnvironment());
        for (const std::string& id : options.ids) {
            const DesktopEntry* entry = entries.find(id);
            if (!entry) {
                err << "kernova apps: no application has the id \"" << repairUtf8(id)
                    << "\" (\"kernova apps\" lists them)\n";
                return 2;
            }
            if (!listed(enabled, entry->id)) enabled.push_back(entry->id);
        }
    } else {
        std::erase_if(enabled, [&](const std::string& each) { return listed(options.ids, each); });
    }
    Array ids;
    for (const std::string& id : enabled)
        ids.emplace_back(id);
    Dictionary dictionary = *current.asDictionary();
    dictionary[kEnabledAppsKey] = Value(std::move(ids));
    SaveResult saved = savePropertyList(file, Value(std::move(dictionary)));
    if (!saved) {
        err << "kernova apps: " << saved.error << '\n';
        return 1;
    }
    if (announce) announce(err);
    return finishOutput(out, err, "apps");
}

}  // namespace kernova::cli
