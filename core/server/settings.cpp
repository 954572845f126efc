#include "server/settings.h"

#include <filesystem>
#include <utility>

namespace kernova {
namespace {

using namespace settings_key;

// The defaults that differ from NO, 0 and absent.
const Dictionary& defaultsTable() {
    static const Dictionary table = {
        {kSystemMenu, Value(true)},
        {kWechatMenu, Value(true)},
        {kQqMenu, Value(true)},
        {kStyle, Value(0)},
        {kLongPress, Value("translateText:")},
        {kSearchEngine, Value("https://www.google.com/search?q=%s")},
        {kApiKey, Value("")},
        {kSecretKey, Value("")},
        {kLanguageType, Value("CHN_ENG")},
    };
    return table;
}

std::string titleOr(const Value& v, const char* fallback) {
    auto s = v.stringValue();
    return s && !s->empty() ? *s : std::string(fallback);
}

}  // namespace

const Value& settingDefault(std::string_view key) {
    static const Value absent;
    const Dictionary& table = defaultsTable();
    auto it = table.find(key);
    return it == table.end() ? absent : it->second;
}

const Value& SettingsSnapshot::value(std::string_view key) const {
    const Value& v = dict_[key];
    return v.isAbsent() ? settingDefault(key) : v;
}

std::string SettingsSnapshot::generalMenuTitle() const {
    return titleOr(dict_[kCustomMenuName], "Kernova");
}

std::string SettingsSnapshot::chatMenuTitle() const {
    return titleOr(dict_[kCustomMenuName], "Splode");
}

std::int64_t SettingsSnapshot::vibrateSoundId() const {
    std::int64_t id = dict_[kVibrate].integerValue();
    return id == 0 ? 1519 : id;
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

void ReloadPrefs(Context& context) {
    SettingsGlobals& g = context.settings();
    Value prefs = loadDictionary(context.paths().settingsFile());
    g.tweakEnabled = prefs[kEnabled].boolValue();
    g.watchClipboard = prefs[kWatchClipboard].boolValue();
    g.applistFlag = prefs[kApplistFlag].integerValue();
    g.customMenuName = prefs[kCustomMenuName];
    g.menuType = prefs[kMenuType].integerValue();

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
    g.pref = loadDictionary(context.paths().settingsFile());
    g.enabled = g.pref[kEnabled].boolValue();
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
