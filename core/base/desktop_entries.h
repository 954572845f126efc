// The desktop's applications as its desktop entries ("*.desktop" files) say:
// read from the applications/ folders of the XDG data directories, by the
// Desktop Entry rules, for everything that lists or maps applications (what
// opens a type of file, which application is in front).
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/paths.h"

namespace kernova {

// One application's entry, as the [Desktop Entry] group of its file says.
// Strings are unescaped and valid UTF-8; `name` is the localized one.
struct DesktopEntry {
    std::string id;  // the desktop file ID, "org.example.Editor.desktop"
    std::filesystem::path path;
    std::string name, icon, exec, startupWMClass;
    std::vector<std::string> mimeTypes;
    bool noDisplay = false;
    bool shownHere = true;  // OnlyShowIn / NotShowIn allow $XDG_CURRENT_DESKTOP

    // Listed in menus and choosers: not NoDisplay, and shown in this desktop.
    bool visible() const { return !noDisplay && shownHere; }
};

// What tells a window's application: the file of the program behind it
// (/proc/<pid>/exe; empty when unknown) and its WM_CLASS.
struct WindowIdentity {
    std::string executable;
    std::string wmInstance, wmClass;
};

inline constexpr std::size_t kMaxDesktopFileBytes = 1024 * 1024;

class DesktopEntries {
  public:
    // Every entry of the folders of applicationFolders(env); the first folder
    // with a given id wins, and an entry with Hidden=true removes the id.
    // Files that cannot be read, are larger than kMaxDesktopFileBytes, or are
    // not valid applications are skipped (they still take their id).
    static DesktopEntries load(const EnvironmentLookup& env);
    // The applications/ folders of $XDG_DATA_HOME (else $HOME/.local/share)
    // and of each of $XDG_DATA_DIRS (else /usr/local/share:/usr/share), in
    // that order; relative paths are ignored.
    static std::vector<std::filesystem::path> applicationFolders(const EnvironmentLookup& env);

    // The entry with this id, given with or without ".desktop".
    const DesktopEntry* find(std::string_view id) const;
    // The visible entries whose MimeType lists `mimeType`, sorted by name.
    std::vector<const DesktopEntry*> handling(std::string_view mimeType) const;
    // The id of the window's application: the entry whose StartupWMClass is
    // the window's class (else instance), else whose Exec program has the
    // executable's file name, else whose id without ".desktop" is the class
    // (else instance) ignoring case; visible entries first. Empty when none.
    std::string idForWindow(const WindowIdentity& window) const;
    // The entry the user chose for `mimeType` ("x-scheme-handler/https"): the
    // first installed id on its line in the [Default Applications] group of
    // the mimeapps.list files (mimeAppsFiles(env), the first file naming one
    // wins); null when none.
    const DesktopEntry* defaultFor(std::string_view mimeType, const EnvironmentLookup& env) const;
    // $XDG_CONFIG_HOME (else ~/.config), $XDG_CONFIG_DIRS (else /etc/xdg),
    // then the applications/ folders, each with "mimeapps.list".
    static std::vector<std::filesystem::path> mimeAppsFiles(const EnvironmentLookup& env);
    // The file of an entry's Icon: itself when absolute, else the largest
    // PNG of the name in the hicolor theme of the XDG data folders, else one
    // in /usr/share/pixmaps; empty when none.
    static std::filesystem::path iconFile(std::string_view icon, const EnvironmentLookup& env);

    // Sorted by id.
    const std::vector<DesktopEntry>& entries() const { return entries_; }

  private:
    std::vector<DesktopEntry> entries_;
};

// Reads one desktop file's text: the entry, or nothing when it is not a valid
// application. `hidden` (when given) tells whether it says Hidden=true.
std::optional<DesktopEntry> parseDesktopEntry(std::string_view text, const EnvironmentLookup& env,
                                              bool* hidden = nullptr);

// Whether two ids name the same entry, each with or without ".desktop";
// an empty id names none.
bool sameDesktopEntryId(std::string_view a, std::string_view b);

// The Exec value split into arguments by its quoting rules (double quotes;
// inside them \" \` \$ \\ escape); nothing when the quoting is broken.
std::optional<std::vector<std::string>> splitExec(std::string_view exec);
// The command line to start `entry` on `files` (paths): %f and %u take the
// first file (call once per file for several), %F and %U every file, %i is
// "--icon" and the Icon when there is one, %c the name, %k the entry's file,
// %% a "%"; other codes are dropped, and so is an argument that only held
// codes which gave nothing. An Exec without a file code takes no file.
std::vector<std::string> expandExec(const DesktopEntry& entry,
                                    const std::vector<std::string>& files);

}  // namespace kernova
