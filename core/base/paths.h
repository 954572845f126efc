// Where a process finds its files.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace kernova {

// File names inside the preferences folder.
inline constexpr const char* kSettingsFileName = "fun.quorle.kernova.prefs.plist";
inline constexpr const char* kEnabledAppsFileFormat = "%@.enabledapps.plist";
inline constexpr const char* kEnabledAppsPlaceholderValue = "fun.quorle.kernova";
inline constexpr const char* kMenusFileName = "fun.quorle.kernova.menus.plist";
inline constexpr const char* kHistoryFileName = "fun.quorle.kernova.history.plist";
inline constexpr const char* kSchemesFileName = "fun.quorle.kernova.schemes.plist";
inline constexpr const char* kLanguagesFileName = "fun.quorle.kernova.languages.plist";

// Puts `value` in place of the first "%@" of `format`.
std::string formatWithObject(const std::string& format, const std::string& value);

struct Paths {
    std::filesystem::path preferences;  // the settings files
    std::filesystem::path bundle;       // KernovaPrefs.bundle: pictures and artwork

    std::filesystem::path settingsFile() const { return preferences / kSettingsFileName; }
    std::filesystem::path enabledAppsFile() const {
        return preferences / formatWithObject(kEnabledAppsFileFormat, kEnabledAppsPlaceholderValue);
    }
    std::filesystem::path menusFile() const { return preferences / kMenusFileName; }
    std::filesystem::path historyFile() const { return preferences / kHistoryFileName; }
    std::filesystem::path schemesFile() const { return preferences / kSchemesFileName; }
    std::filesystem::path languagesFile() const { return preferences / kLanguagesFileName; }
};

// Reads one environment variable; absent when unset.
using EnvironmentLookup = std::function<std::optional<std::string>(const char* name)>;
EnvironmentLookup processEnvironment();

// $KERNOVA_PREFERENCES_DIR when set and not empty, else $XDG_CONFIG_HOME/kernova
// (when absolute), else $HOME/.config/kernova.
std::filesystem::path preferencesDirectory(const EnvironmentLookup& env);
// $KERNOVA_BUNDLE_DIR when set, else <dataDir>/KernovaPrefs.bundle.
std::filesystem::path bundleDirectory(const EnvironmentLookup& env,
                                      const std::filesystem::path& dataDir);

}  // namespace kernova
