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

namespace kernova {

// Posted system-wide by the preference side after each change of the files.
inline constexpr const char* kReloadPreferencesNotification =
    "fun.quorle.kernova/ReloadPreferences";

// The keys of the settings file.
namespace settings_key {
inline constexpr const char* kEnabled = "enabled";
inline constexpr const char* kWatchClipboard = "watchClipboard";
inline constexpr const char* kApplistFlag = "applistFlag";
inline constexpr const char* kMenuType = "menuType";
inline constexpr const char* kCustomMenuName = "customMenuName";
inline constexpr const char* kSystemMenu = "systemMenu";
inline constexpr const char* kWechatMenu = "wechatMenu";
inline constexpr const char* kQqMenu = "qqMenu";
inline constexpr const char* kStyle = "style";
inline constexpr const char* kNotification = "notification";
inline constexpr const char* kNotifyFlag = "notifyFlag";
inline constexpr const char* kPopButton = "popButton";
inline constexpr const char* kButtonSize = "buttonSize";
inline constexpr const char* kEdgeDistance = "edgeDistance";
inline constexpr const char* kVerticalPosition = "verticalPosition";
inline constexpr const char* kHorizontalPosition = "horizontalPosition";
inline constexpr const char* kLongPress = "longPress";
inline constexpr const char* kVibrateSwitch = "vibrateSwitch";
inline constexpr const char* kVibrate = "vibrate";
inline constexpr const char* kSpaceCompletion = "spaceCompletion";
inline constexpr const char* kHistoryCount = "historyCount";
inline constexpr const char* kBackground = "background";
inline constexpr const char* kSearchEngine = "SearchEngine";
inline constexpr const char* kTranslationService = "TranslationService";
inline constexpr const char* kTranslationAlert = "TranslationAlert";
inline constexpr const char* kTranslateStyle = "translateStyle";
inline constexpr const char* kLanguageSelect = "languageSelect";
inline constexpr const char* kOcrMenuName = "ocrMenuName";
inline constexpr const char* kOcrApiType = "ocrApiType";
inline constexpr const char* kApiKey = "APIKey";
inline constexpr const char* kSecretKey = "SecretKey";
inline constexpr const char* kLanguageType = "languageType";
}  // namespace settings_key

// The key of the enabled-applications list that holds the application ids.
inline constexpr const char* kEnabledAppsKey = "Enabled";

// The value a key reads as when the file lacks it; absent when the key has no
// default of its own (a boolean then reads NO, a number 0, a string absent).
const Value& settingDefault(std::string_view key);

// The settings as read at one moment; every read applies the key's default.
class SettingsSnapshot {
  public:
    explicit SettingsSnapshot(Value dictionary) : dict_(std::move(dictionary)) {}

    const Value& dictionary() const { return dict_; }
    bool has(std::string_view key) const { return !dict_[key].isAbsent(); }
    // The stored value, or the key's default when missing.
    const Value& value(std::string_view key) const;
    bool boolean(std::string_view key) const { return value(key).boolValue(); }
    std::int64_t integer(std::string_view key) const { return value(key).integerValue(); }
    double real(std::string_view key) const { return value(key).doubleValue(); }
    std::optional<std::string> string(std::string_view key) const {
        return value(key).stringValue();
    }

    // The selection menu's title: "customMenuName", or "Kernova" when missing or empty.
    std::string generalMenuTitle() const;
    // The chat applications' menu title: "customMenuName", or "Splode" when missing or empty.
    std::string chatMenuTitle() const;
    // The haptic sound: "vibrate", where 0 or missing means 1519.
    std::int64_t vibrateSoundId() const;

  private:
    Value dict_;
};

// Reads the settings file whole at each call: a change takes effect on the next read.
SettingsSnapshot readSettings(const Context& context);
// Rewrites the settings file whole and atomically with `change` applied to its
// current content (an unreadable file starts from an empty dictionary).
SaveResult updateSettings(const Context& context, const std::function<void(Dictionary&)>& change);

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
