#include "kernova/prefs/autostart.h"

#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>

#include "base/desktop_entries.h"
#include "base/plist.h"
#include "kernova/prefs/autostart_entry.h"

namespace kernova::prefs {
namespace fs = std::filesystem;
namespace {

struct EntryFile {
    bool exists = false;
    std::optional<std::string> text;  // absent when missing or unreadable
};

EntryFile readEntry(const fs::path& path) {
    EntryFile file;
    std::error_code ec;
    file.exists = fs::exists(fs::symlink_status(path, ec));
    if (!file.exists || !fs::is_regular_file(path, ec)) return file;
    if (fs::file_size(path, ec) > kMaxDesktopFileBytes || ec) return file;
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad() || !in.is_open()) return file;
    file.text = std::move(text);
    return file;
}

// The first system copy: it hides the ones after it even when unreadable.
EntryFile systemEntry(const AutostartFolders& folders) {
    for (const fs::path& folder : folders.system) {
        EntryFile file = readEntry(folder / kAutostartFileName);
        if (file.exists) return file;
    }
    return {};
}

std::optional<DesktopEntry> parse(std::string_view text) {
    return parseDesktopEntry(text, [](const char*) { return std::optional<std::string>(); });
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
        s.remove_suffix(1);
    return s;
}

// The keys that switch an autostart entry off: Hidden=true, and GNOME's own
// X-GNOME-Autostart-enabled=false (what its settings tools write).
bool isSwitchKey(std::string_view key) {
    return key == "Hidden" || key == "X-GNOME-Autostart-enabled";
}

// Whether the [Desktop Entry] group says X-GNOME-Autostart-enabled=false.
bool disabledForGnome(std::string_view text) {
    bool inMain = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view bare = trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (bare.starts_with('[')) {
            inMain = bare == "[Desktop Entry]";
            continue;
        }
        const std::size_t equals = bare.find('=');
        if (inMain && equals != std::string_view::npos &&
            trimmed(bare.substr(0, equals)) == "X-GNOME-Autostart-enabled")
            return trimmed(bare.substr(equals + 1)) == "false";
    }
    return false;
}

bool effective(const EntryFile& file) {
    return file.text && parse(*file.text).has_value() && !disabledForGnome(*file.text);
}

// The entry with every Hidden (and X-GNOME-Autostart-enabled) line of its
// [Desktop Entry] group removed, and
// Hidden=true put first in that group when `hidden`; every other line as it was.
std::string withHidden(std::string_view text, bool hidden) {
    std::string out;
    bool inMain = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, std::min(end + 1, text.size()));
        const std::string_view bare = trimmed(text.substr(0, end));
        text.remove_prefix(line.size());
        if (bare.starts_with('[')) {
            inMain = bare == "[Desktop Entry]";
            out += line;
            if (!line.ends_with('\n')) out += '\n';
            if (inMain && hidden) out += "Hidden=true\n";
            continue;
        }
        const std::size_t equals = bare.find('=');
        if (inMain && equals != std::string_view::npos &&
            isSwitchKey(trimmed(bare.substr(0, equals))))
            continue;
        out += line;
    }
    return out;
}

AutostartChange writeAtomically(const fs::path& path, const std::string& text) {
    const SaveResult saved = saveFileAtomically(path, text);
    return {saved.ok, saved.error};
}

// One Exec argument, quoted when the Exec rules ask, then escaped as a
// string value.
std::string execArgument(const std::string& arg) {
    constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
    const bool quote = arg.empty() || arg.find_first_of(reserved) != std::string::npos;
    std::string quoted = quote ? "\"" : "";
    for (char c : arg) {
        if (quote && (c == '"' || c == '`' || c == '$' || c == '\\')) quoted += '\\';
        quoted += c;
        if (c == '%') quoted += '%';
    }
    if (quote) quoted += '"';
    std::string out;
    for (char c : quoted) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '\t')
            out += "\\t";
        else if (c == '\r')
            out += "\\r";
        else
            out += c;
    }
    return out;
}

}  // namespace

AutostartFolders autostartFolders(const EnvironmentLookup& env) {
    AutostartFolders folders;
    if (auto config = env("XDG_CONFIG_HOME"); config && fs::path(*config).is_absolute())
        folders.user = fs::path(*config) / "autostart";
    else if (auto home = env("HOME"); home && fs::path(*home).is_absolute())
        folders.user = fs::path(*home) / ".config" / "autostart";
    std::string dirs = env("XDG_CONFIG_DIRS").value_or("");
    if (dirs.empty()) dirs = "/etc/xdg";
    std::string_view rest = dirs;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        const fs::path dir(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (dir.is_absolute()) folders.system.push_back(dir / "autostart");
    }
    return folders;
}

bool startsAtLogin(const AutostartFolders& folders) {
    if (!folders.user.empty()) {
        EntryFile user = readEntry(folders.user / kAutostartFileName);
        if (user.exists) return effective(user);
    }
    return effective(systemEntry(folders));
}

std::string autostartEntry(const fs::path& kernovad) {
    const std::string exec = "Exec=" + execArgument(kernovad.string()) + " --autostart\n";
    std::string_view text = kInstalledAutostartEntry;
    std::string out;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, std::min(end + 1, text.size()));
        text.remove_prefix(line.size());
        out += line.starts_with("Exec=") ? std::string_view(exec) : line;
    }
    return out;
}

AutostartChange setStartAtLogin(const AutostartFolders& folders, bool on,
                                const fs::path& kernovad) {
    if (folders.user.empty())
        return {false, "there is no autostart folder: neither XDG_CONFIG_HOME nor HOME is set"};
    const fs::path userFile = folders.user / kAutostartFileName;
    const EntryFile user = readEntry(userFile);
    if (user.exists && !user.text) return {false, "cannot read " + userFile.string()};
    const EntryFile system = systemEntry(folders);

    if (!on) {
        if (user.exists)
            return effective(user) ? writeAtomically(userFile, withHidden(*user.text, true))
                                   : AutostartChange{true, ""};
        if (effective(system)) return writeAtomically(userFile, withHidden(*system.text, true));
        return {true, ""};
    }

    std::optional<DesktopEntry> installed;
    if (system.text) installed = parse(withHidden(*system.text, false));
    if (user.exists) {
        if (effective(user)) return {true, ""};
        const std::optional<DesktopEntry> copy = parse(withHidden(*user.text, false));
        if (effective(system) && (!copy || copy->exec == installed->exec)) {
            std::error_code ec;
            if (!fs::remove(userFile, ec) && ec)
                return {false, "cannot remove " + userFile.string() + ": " + ec.message()};
            return {true, ""};
        }
        // The user's own entry: only its Hidden line goes.
        if (copy && !copy->exec.empty())
            return writeAtomically(userFile, withHidden(*user.text, false));
    } else if (effective(system)) {
        return {true, ""};
    }
    // The installed entry hidden by the administrator, or none at all.
    if (installed) return writeAtomically(userFile, withHidden(*system.text, false));
    return writeAtomically(userFile, autostartEntry(kernovad));
}

fs::path findKernovad(const fs::path& programDirectory, const fs::path& relativeBin,
                      const fs::path& buildTree) {
    // `programDirectory` comes from /proc/self/exe, free of links: ".." may
    // be taken away lexically.
    for (const fs::path& candidate :
         {programDirectory / "kernovad",
          (programDirectory / relativeBin / "kernovad").lexically_normal()}) {
        if (!programDirectory.empty() && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    if (!buildTree.empty() && ::access(buildTree.c_str(), X_OK) == 0) return buildTree;
    return "kernovad";
}

}  // namespace kernova::prefs
