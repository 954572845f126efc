// The settings store: the settings file and the enabled-applications list, the
// per-process globals refreshed from them, and one reader for the keys read at
// the moment of use (each with its default), so that no module reads the file
// on its own.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/context.h"
#include "base/plist.h"
#include "base/value.h"
#include "server/settings_keys.h"

namespace kernova {

// Posted system-wide by the preference side after each change of the files.
inline constexpr const char* kReloadPreferencesNotification =
    "fun.quorle.kernova/ReloadPreferences";

// The key of the enabled-applications list that holds the application ids.
inline constexpr const char* kEnabledAppsKey = "Enabled";

// The settings as read at one moment; every read goes through the key table
// (settings_keys.h), which applies the key's default and range.
class SettingsSnapshot {
  public:
    explicit SettingsSnapshot(Value dictionary) : dict_(std::move(dictionary)) {}

    const Value& dictionary() const { return dict_; }
    // The value as it stands in the file, absent when missing.
    template <class T>
    const Value& stored(Setting<T> key) const {
        return dict_[key.name()];
    }
    template <class T>
    bool has(Setting<T> key) const {
        return !stored(key).isAbsent();
    }
    bool get(Setting<bool> key) const { return readBooleanSetting(key.key(), stored(key)); }
    std::int64_t get(Setting<std::int64_t> key) const {
        return readIntegerSetting(key.key(), stored(key));
    }
    std::string get(Setting<std::string> key) const {
        return readStringSetting(key.key(), stored(key));
    }
    // Any key of the table, as a typed value.
    Value get(const SettingKey& key) const { return readSetting(key, dict_[key.name]); }

    // The selection menu's title: "customMenuName", or "Kernova" when missing or empty.
    std::string generalMenuTitle() const;
    // The chat applications' menu title: "customMenuName", or "Splode" when missing or empty.
    std::string chatMenuTitle() const;

  private:
    Value dict_;
};

// Reads the settings file whole at each call: a change takes effect on the next read.
SettingsSnapshot readSettings(const Context& context);
// Rewrites the settings file whole and atomically with `change` applied to its
// current content (an unreadable file starts from an empty dictionary).
SaveResult updateSettings(const Context& context, const std::function<void(Dictionary&)>& change);

// Writes one key, checked against the table, into the settings file, whole and
// atomically, keeping the other keys. Refuses (and leaves the file as it is)
// when `value` has not the key's type, or when the file exists but cannot be
// read as a settings dictionary: writing would lose what it holds.
SaveResult writeSetting(const Context& context, const SettingKey& key, const Value& value);

// Refreshes tweakEnabled, watchClipboard, applistFlag, customMenuName, menuType
// and applistWhite from the files.
void ReloadPrefs(Context& context);
// Refreshes pref and enabled; when the process has a selection-bar discard hook,
// calls it and sets isFirstLoad.
void LoadSettings(Context& context);

// Runs a reader now and again on every kReloadPreferencesNotification. The
// observers are owned by `owner`; remove them with
// context.systemNotifications().removeObservers(owner).
void startReloadPrefs(Context& context, Owner owner);
void startLoadSettings(Context& context, Owner owner);

}  // namespace kernova
