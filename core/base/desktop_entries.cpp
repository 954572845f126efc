#include "base/desktop_entries.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <unordered_set>
#include <utility>

#include "base/text.h"

namespace kernova {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSuffix = ".desktop";
constexpr std::string_view kMainGroup = "Desktop Entry";
// Deeper subfolders (or a loop of links) are not looked into.
constexpr int kMaxFolderDepth = 8;
constexpr std::size_t kMaxFilesPerFolder = 20000;

std::optional<std::string> nonEmpty(const EnvironmentLookup& env, const char* name) {
    std::optional<std::string> value = env(name);
    if (value && value->empty()) return std::nullopt;
    return value;
}

std::vector<std::string> splitOn(std::string_view text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find(separator, start);
        if (end == std::string_view::npos) end = text.size();
        if (end > start) parts.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

std::string lowered(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

std::string_view withoutSuffix(std::string_view id) {
    if (id.ends_with(kSuffix)) id.remove_suffix(kSuffix.size());
    return id;
}

// A string value: \s \n \t \r \\ unescaped; any other backslash stays.
std::string unescapeString(std::string_view raw) {
    std::string out;
    out.reserve(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        char c = raw[i];
        if (c == '\\' && i + 1 < raw.size()) {
            switch (raw[i + 1]) {
                case 's':
                    out += ' ';
                    ++i;
                    continue;
                case 'n':
                    out += '\n';
                    ++i;
                    continue;
                case 't':
                    out += '\t';
                    ++i;
                    continue;
                case 'r':
                    out += '\r';
                    ++i;
                    continue;
                case '\\':
                    out += '\\';
                    ++i;
                    continue;
                default:
                    break;
            }
        }
        out += c;
    }
    return repairUtf8(out);
}

// A list value: items end at an unescaped ';' (the last one need not), "\;"
// is a ';' inside an item; empty items are dropped.
std::vector<std::string> unescapeList(std::string_view raw) {
    std::vector<std::string> items;
    std::string item;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] == '\\' && i + 1 < raw.size() && raw[i + 1] == ';') {
            item += ";";
            ++i;
        } else if (raw[i] == '\\' && i + 1 < raw.size()) {
            item += raw.substr(i, 2);
            ++i;
        } else if (raw[i] == ';') {
            if (!item.empty()) items.push_back(unescapeString(item));
            item.clear();
        } else {
            item += raw[i];
        }
    }
    if (!item.empty()) items.push_back(unescapeString(item));
    return items;
}

bool isKeyCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
        s.remove_suffix(1);
    return s;
}

// A locale name without its encoding: "sr_RS.UTF-8@latin" gives "sr_RS@latin".
std::string withoutEncoding(std::string_view locale) {
    std::size_t dot = locale.find('.');
    if (dot == std::string_view::npos) return std::string(locale);
    std::size_t at = locale.find('@', dot);
    std::string out(locale.substr(0, dot));
    if (at != std::string_view::npos) out += locale.substr(at);
    return out;
}

// The localized keys to try, best first: lang_COUNTRY@MODIFIER, lang_COUNTRY,
// lang@MODIFIER, lang (those the user's locale has).
std::vector<std::string> localeCandidates(const EnvironmentLookup& env) {
    std::optional<std::string> locale = nonEmpty(env, "LC_ALL");
    if (!locale) locale = nonEmpty(env, "LC_MESSAGES");
    if (!locale) locale = nonEmpty(env, "LANG");
    if (!locale || *locale == "C" || *locale == "POSIX") return {};
    std::string name = withoutEncoding(*locale);
    std::string modifier;
    if (std::size_t at = name.find('@'); at != std::string::npos) {
        modifier = name.substr(at + 1);
        name.resize(at);
    }
    std::string lang = name, country;
    if (std::size_t underscore = name.find('_'); underscore != std::string::npos) {
        lang = name.substr(0, underscore);
        country = name.substr(underscore + 1);
    }
    if (lang.empty()) return {};
    std::vector<std::string> out;
    if (!country.empty() && !modifier.empty()) out.push_back(lang + "_" + country + "@" + modifier);
    if (!country.empty()) out.push_back(lang + "_" + country);
    if (!modifier.empty()) out.push_back(lang + "@" + modifier);
    out.push_back(lang);
    return out;
}

bool shownIn(const std::vector<std::string>& onlyShowIn, const std::vector<std::string>& notShowIn,
             const EnvironmentLookup& env) {
    std::vector<std::string> current = splitOn(env("XDG_CURRENT_DESKTOP").value_or(""), ':');
    auto listed = [&](const std::vector<std::string>& list) {
        return std::any_of(current.begin(), current.end(), [&](const std::string& desktop) {
            return std::find(list.begin(), list.end(), desktop) != list.end();
        });
    };
    if (listed(notShowIn)) return false;
    return onlyShowIn.empty() || listed(onlyShowIn);
}

// The group's keys: unlocalized values, and the localized ones by locale.
struct Group {
    std::map<std::string, std::string, std::less<>> values;
    std::map<std::string, std::map<std::string, std::string>, std::less<>> localized;
};

// The [Desktop Entry] group, which must be the first group; nothing when the
// file has none there. Malformed lines are skipped; a repeated key keeps its
// first value.
std::optional<Group> mainGroup(std::string_view text) {
    if (text.find('\0') != std::string_view::npos) return std::nullopt;
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    Group group;
    bool inMain = false;
    while (!text.empty()) {
        std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        line = trimmed(line);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            if (line.back() != ']') continue;
            if (inMain) break;  // the group ends where the next one begins
            if (line.substr(1, line.size() - 2) != kMainGroup) return std::nullopt;
            inMain = true;
            continue;
        }
        if (!inMain) continue;
        std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        std::string_view key = trimmed(line.substr(0, equals));
        std::string_view value = trimmed(line.substr(equals + 1));
        std::string_view locale;
        if (std::size_t open = key.find('['); open != std::string_view::npos) {
            if (key.back() != ']' || open + 2 >= key.size()) continue;
            locale = key.substr(open + 1, key.size() - open - 2);
            key = key.substr(0, open);
        }
        if (key.empty() || !std::all_of(key.begin(), key.end(), isKeyCharacter)) continue;
        if (locale.empty()) {
            group.values.emplace(std::string(key), std::string(value));
        } else {
            group.localized[std::string(key)].emplace(withoutEncoding(locale), std::string(value));
        }
    }
    if (!inMain) return std::nullopt;
    return group;
}

std::optional<std::string> read(const fs::path& file) {
    std::error_code ec;
    if (!fs::is_regular_file(file, ec)) return std::nullopt;
    std::uintmax_t size = fs::file_size(file, ec);
    if (ec || size > kMaxDesktopFileBytes) return std::nullopt;
    std::ifstream in(file, std::ios::binary);
    if (!in) return std::nullopt;
    // One byte more than the size tells a file that grew meanwhile.
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > size) return std::nullopt;
    return text;
}

// The desktop files under `folder` as (id, path), sorted by relative path.
std::vector<std::pair<std::string, fs::path>> desktopFiles(const fs::path& folder) {
    std::vector<std::pair<std::string, fs::path>> files;
    std::error_code ec;
    fs::recursive_directory_iterator it(folder,
                                        fs::directory_options::follow_directory_symlink |
                                            fs::directory_options::skip_permission_denied,
                                        ec);
    for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it.depth() >= kMaxFolderDepth) it.disable_recursion_pending();
        const fs::path& path = it->path();
        std::string file = path.filename().string();
        if (file.size() <= kSuffix.size() || !file.ends_with(kSuffix)) continue;
        std::error_code typeError;
        if (it->is_directory(typeError)) continue;
        std::string id;
        for (const fs::path& part : path.lexically_relative(folder)) {
            if (!id.empty()) id += '-';
            id += part.string();
        }
        files.emplace_back(std::move(id), path);
        if (files.size() >= kMaxFilesPerFolder) break;
    }
    std::sort(files.begin(), files.end(),
              [](const auto& a, const auto& b) { return a.second < b.second; });
    return files;
}

}  // namespace

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text, const EnvironmentLookup& env,
                                              bool* hidden) {
    if (hidden) *hidden = false;
    std::optional<Group> group = mainGroup(text);
    if (!group) return std::nullopt;
    auto value = [&](std::string_view key) -> std::optional<std::string_view> {
        auto it = group->values.find(key);
        if (it == group->values.end()) return std::nullopt;
        return std::string_view(it->second);
    };
    auto flag = [&](std::string_view key) { return value(key) == std::string_view("true"); };
    auto string = [&](std::string_view key) { return unescapeString(value(key).value_or("")); };
    auto list = [&](std::string_view key) { return unescapeList(value(key).value_or("")); };

    if (flag("Hidden")) {
        if (hidden) *hidden = true;
        return std::nullopt;
    }
    if (value("Type") != std::string_view("Application") || !value("Name")) return std::nullopt;

    DesktopEntry entry;
    entry.name = string("Name");
    if (auto names = group->localized.find("Name"); names != group->localized.end()) {
        for (const std::string& locale : localeCandidates(env)) {
            if (auto it = names->second.find(locale); it != names->second.end()) {
                entry.name = unescapeString(it->second);
                break;
            }
        }
    }
    entry.icon = string("Icon");
    entry.exec = string("Exec");
    entry.startupWMClass = string("StartupWMClass");
    entry.mimeTypes = list("MimeType");
    entry.noDisplay = flag("NoDisplay");
    entry.shownHere = shownIn(list("OnlyShowIn"), list("NotShowIn"), env);
    return entry;
}

std::vector<fs::path> DesktopEntries::applicationFolders(const EnvironmentLookup& env) {
    std::vector<fs::path> folders;
    auto add = [&](const std::string& base) {
        fs::path path(base);
        if (!path.is_absolute()) return;
        path /= "applications";
        if (std::find(folders.begin(), folders.end(), path) == folders.end())
            folders.push_back(std::move(path));
    };
    std::optional<std::string> home = nonEmpty(env, "XDG_DATA_HOME");
    if (home && fs::path(*home).is_absolute()) {
        add(*home);
    } else if (std::optional<std::string> user = nonEmpty(env, "HOME")) {
        add(*user + "/.local/share");
    }
    std::string dirs = nonEmpty(env, "XDG_DATA_DIRS").value_or("/usr/local/share:/usr/share");
    for (const std::string& dir : splitOn(dirs, ':'))
        add(dir);
    return folders;
}

DesktopEntries DesktopEntries::load(const EnvironmentLookup& env) {
    DesktopEntries result;
    std::unordered_set<std::string> taken;
    for (const fs::path& folder : applicationFolders(env)) {
        for (auto& [id, path] : desktopFiles(folder)) {
            if (!taken.insert(id).second) continue;
            std::optional<std::string> text = read(path);
            if (!text) continue;
            std::optional<DesktopEntry> entry = parseDesktopEntry(*text, env);
            if (!entry) continue;
            entry->id = std::move(id);
            entry->path = std::move(path);
            result.entries_.push_back(std::move(*entry));
        }
    }
    std::sort(result.entries_.begin(), result.entries_.end(),
              [](const DesktopEntry& a, const DesktopEntry& b) { return a.id < b.id; });
    return result;
}

const DesktopEntry* DesktopEntries::find(std::string_view id) const {
    if (id.empty()) return nullptr;
    std::string full(withoutSuffix(id));
    full += kSuffix;
    auto it =
        std::lower_bound(entries_.begin(), entries_.end(), full,
                         [](const DesktopEntry& e, const std::string& v) { return e.id < v; });
    return it != entries_.end() && it->id == full ? &*it : nullptr;
}

std::vector<const DesktopEntry*> DesktopEntries::handling(std::string_view mimeType) const {
    std::string wanted = lowered(mimeType);
    std::vector<const DesktopEntry*> out;
    for (const DesktopEntry& entry : entries_) {
        if (!entry.visible()) continue;
        if (std::any_of(entry.mimeTypes.begin(), entry.mimeTypes.end(),
                        [&](const std::string& type) { return lowered(type) == wanted; }))
            out.push_back(&entry);
    }
    std::stable_sort(out.begin(), out.end(), [](const DesktopEntry* a, const DesktopEntry* b) {
        return a->name < b->name;
    });
    return out;
}

std::string DesktopEntries::idForWindow(const WindowIdentity& window) const {
    // The first entry that matches, a visible one before any other.
    auto pick = [&](auto&& matches) -> const DesktopEntry* {
        const DesktopEntry* hiddenMatch = nullptr;
        for (const DesktopEntry& entry : entries_) {
            if (!matches(entry)) continue;
            if (entry.visible()) return &entry;
            if (!hiddenMatch) hiddenMatch = &entry;
        }
        return hiddenMatch;
    };
    const DesktopEntry* found = nullptr;
    for (const std::string* name : {&window.wmClass, &window.wmInstance}) {
        if (!found && !name->empty())
            found = pick([&](const DesktopEntry& e) { return e.startupWMClass == *name; });
    }
    if (!found && !window.executable.empty()) {
        std::string program = fs::path(window.executable).filename().string();
        found = pick([&](const DesktopEntry& e) {
            std::optional<std::vector<std::string>> args = splitExec(e.exec);
            return args && !args->empty() && fs::path(args->front()).filename() == program;
        });
    }
    for (const std::string* name : {&window.wmClass, &window.wmInstance}) {
        if (found || name->empty()) continue;
        std::string wanted = lowered(*name);
        found = pick([&](const DesktopEntry& e) { return lowered(withoutSuffix(e.id)) == wanted; });
    }
    return found ? found->id : std::string();
}

std::vector<fs::path> DesktopEntries::mimeAppsFiles(const EnvironmentLookup& env) {
    std::vector<fs::path> files;
    auto add = [&](const fs::path& folder) {
        if (!folder.is_absolute()) return;
        fs::path file = folder / "mimeapps.list";
        if (std::find(files.begin(), files.end(), file) == files.end())
            files.push_back(std::move(file));
    };
    if (std::optional<std::string> config = nonEmpty(env, "XDG_CONFIG_HOME");
        config && fs::path(*config).is_absolute()) {
        add(*config);
    } else if (std::optional<std::string> home = nonEmpty(env, "HOME")) {
        add(fs::path(*home) / ".config");
    }
    for (const std::string& dir :
         splitOn(nonEmpty(env, "XDG_CONFIG_DIRS").value_or("/etc/xdg"), ':'))
        add(dir);
    for (const fs::path& folder : applicationFolders(env))
        add(folder);
    return files;
}

const DesktopEntry* DesktopEntries::defaultFor(std::string_view mimeType,
                                               const EnvironmentLookup& env) const {
    for (const fs::path& file : mimeAppsFiles(env)) {
        std::optional<std::string> text = read(file);
        if (!text) continue;
        std::string_view rest = *text;
        bool inDefaults = false;
        while (!rest.empty()) {
            std::size_t end = std::min(rest.find('\n'), rest.size());
            std::string_view line = trimmed(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
            if (!line.empty() && line.back() == '\r')
                line = trimmed(line.substr(0, line.size() - 1));
            if (line.empty() || line.front() == '#') continue;
            if (line.front() == '[') {
                inDefaults = line == "[Default Applications]";
                continue;
            }
            std::size_t equals = line.find('=');
            if (!inDefaults || equals == std::string_view::npos ||
                trimmed(line.substr(0, equals)) != mimeType)
                continue;
            for (const std::string& id : splitOn(trimmed(line.substr(equals + 1)), ';'))
                if (const DesktopEntry* entry = find(trimmed(id))) return entry;
        }
    }
    return nullptr;
}

fs::path DesktopEntries::iconFile(std::string_view icon, const EnvironmentLookup& env) {
    std::error_code ec;
    if (icon.empty() || icon.find('\0') != std::string_view::npos) return {};
    const fs::path named(icon);
    if (named.is_absolute()) return fs::is_regular_file(named, ec) ? named : fs::path();
    if (icon.find('/') != std::string_view::npos) return {};
    const std::string file = std::string(icon) + ".png";
    static constexpr const char* kSizes[] = {"512x512", "256x256", "128x128", "96x96",
                                             "64x64",   "48x48",   "32x32"};
    for (const char* size : kSizes) {
        for (const fs::path& applications : applicationFolders(env)) {
            fs::path candidate =
                applications.parent_path() / "icons" / "hicolor" / size / "apps" / file;
            if (fs::is_regular_file(candidate, ec)) return candidate;
        }
    }
    fs::path pixmap = fs::path("/usr/share/pixmaps") / file;
    return fs::is_regular_file(pixmap, ec) ? pixmap : fs::path();
}

}  // namespace kernova
