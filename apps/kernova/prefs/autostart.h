// "Start at login": whether the session starts kernovad, by the XDG autostart
// rules, and switching it. Not a setting: the state is the autostart entry
// itself. A copy in the user's folder takes the place of the installed one
// (the first of the system folders that has it), and Hidden=true in it turns
// it off. No Qt here.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/paths.h"

namespace kernova::prefs {

inline constexpr const char* kAutostartFileName = "kernova-autostart.desktop";

struct AutostartFolders {
    std::filesystem::path user;                 // empty when there is no home folder
    std::vector<std::filesystem::path> system;  // in order of precedence
};

// $XDG_CONFIG_HOME/autostart (when absolute, else ~/.config/autostart), and
// the autostart folder of each of $XDG_CONFIG_DIRS (else /etc/xdg).
AutostartFolders autostartFolders(const EnvironmentLookup& env);

// Whether the effective entry (the user copy, else the first system one) is
// a valid application entry without Hidden=true.
bool startsAtLogin(const AutostartFolders& folders);

struct AutostartChange {
    bool ok = false;
    std::string error;  // what could not be done, for the page to show
};

// Off: the user copy (of the system entry when there is none) gets
// Hidden=true, the rest of it kept. On: a hidden user copy whose Exec is the
// system entry's goes; one the user edited loses only its Hidden line; with no
// usable entry at all a full user copy starting `kernovad --autostart` is
// written. Files are written whole and atomically.
AutostartChange setStartAtLogin(const AutostartFolders& folders, bool on,
                                const std::filesystem::path& kernovad);

// The full entry with Exec starting `kernovad` (quoted as the Exec rules ask)
// with --autostart.
std::string autostartEntry(const std::filesystem::path& kernovad);

// kernovad for a program in `programDirectory`: beside it, else at
// `relativeBin` from it (the installed layout), else `buildTree` when that
// exists, else plain "kernovad" (found on PATH by the session).
std::filesystem::path findKernovad(const std::filesystem::path& programDirectory,
                                   const std::filesystem::path& relativeBin,
                                   const std::filesystem::path& buildTree);

}  // namespace kernova::prefs
