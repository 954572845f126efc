#include "server/settings.h"

#include <filesystem>
#include <utility>

namespace kernova {
namespace {

using namespace settings_key;

std::string titleOr(const Value& v, const char* fallback) {
    auto s = v.stringValue();
    return s && !s->empty() ? *s : std::string(fallback);
}

}  // namespace

std::string SettingsSnapshot::generalMenuTitle() const {
    return titleOr(stored(kCustomMenuName), "Kernova");
}

std::string SettingsSnapshot::chatMenuTitle() const {
    return titleOr(stored(kCustomMenuName), "Splode");
}

SettingsSnapshot readSettings(const Context& context) {
    return SettingsSnapshot(loadDictionary(context.paths().settingsFile()));
}

SaveResult updateSettings(const Context& context, const std::function<void(Dictionary&)>& change) {
    Value current = loadDictionary(context.paths().settingsFile());
    Dictionary dict = current.asDictionary() ? *current.asDictionary() : Dictionary{};
    change(dict);
    return savePropertyList(context.paths().settingsFile(), Value(std::move(dict)));
}

SaveResult writeSetting(const Context& context, const SettingKey& key, const Value& value) {
    const bool fits = (key.type == SettingType::boolean && value.type() == Value::Type::boolean) ||
                      (key.type == SettingType::integer && value.type() == Value::Type::integer) ||
                      (key.type == SettingType::string && value.isString());
    if (!fits)
        return {false, "\"" + std::string(key.name) + "\" takes " + settingValuesDescription(key)};
    const std::filesystem::path& file = context.paths().settingsFile();
    Value current = loadDictionary(file);
    std::error_code ec;
    if (current.isAbsent() && std::filesystem::exists(file, ec))
        return {false, file.string() + " is not a readable settings file; fix or remove it first"};
    Dictionary dict = current.asDictionary() ? *current.asDictionary() : Dictionary{};
    dict[std::string(key.name)] = value;
    return savePropertyList(file, Value(std::move(dict)));
}

void ReloadPrefs(Context& context) {
    SettingsGlobals& g = context.settings();
    SettingsSnapshot prefs = readSettings(context);
    g.tweakEnabled = prefs.get(kEnabled);
    g.watchClipboard = prefs.get(kWatchClipboard);
    g.applistFlag = prefs.get(kApplistFlag);
    g.customMenuName = prefs.stored(kCustomMenuName);
    g.menuType = prefs.get(kMenuType);

    std::error_code ec;
    std::filesystem::path list = context.paths().enabledAppsFile();
    if (!std::filesystem::exists(list, ec)) {
        g.applistWhite = std::vector<std::string>{};
        return;
    }
    // An existing list that is unreadable or lacks "Enabled" enables nothing; an
    // element that is not a string can match no application and is dropped.
    Value listFile = loadDictionary(list);
    const Value& enabled = listFile[kEnabledAppsKey];
    if (const Array* ids = enabled.asArray()) {
        std::vector<std::string> out;
        for (const Value& id : *ids) {
            if (const std::string* s = id.asString()) out.push_back(*s);
        }
        g.applistWhite = std::move(out);
    } else {
        g.applistWhite = std::nullopt;
    }
}

void LoadSettings(Context& context) {
    SettingsGlobals& g = context.settings();
    SettingsSnapshot prefs = readSettings(context);
    g.enabled = prefs.get(kEnabled);
    g.pref = prefs.dictionary();
    if (g.releaseSelectionBar) {
        g.releaseSelectionBar();
        g.isFirstLoad = true;
    }
}

void startReloadPrefs(Context& context, Owner owner) {
    ReloadPrefs(context);
    context.systemNotifications().observe(kReloadPreferencesNotification, owner,
                                          [&context] { ReloadPrefs(context); });
}

void startLoadSettings(Context& context, Owner owner) {
    LoadSettings(context);
    context.systemNotifications().observe(kReloadPreferencesNotification, owner,
                                          [&context] { LoadSettings(context); });
}

}  // namespace kernova
