// The keys of the settings file: one typed table that gives, for every key any
// part of Kernova reads, its type, its default, the values it may take, a
// one-line description, the preferences page that shows it and whether the
// user sees it at all. Code reads settings only through the typed handles in
// `settings_key` (SettingsSnapshot::get), `kernova set` checks what it writes
// against the table, and the preferences window is generated from it.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/value.h"

namespace kernova {

enum class SettingType { boolean, integer, string };

// The preferences window's pages, in its order; `internal` keys are not user
// settings (written by Kernova itself, or kept for compatibility only). Some
// pages edit files of their own rather than keys (actions, URL templates,
// applications).
enum class SettingsPage {
    general,
    panel,
    actions,
    history,
    schemes,
    translation,
    ocr,
    button,
    applications,
    internal
};
inline constexpr std::array kSettingsPages{
    SettingsPage::general, SettingsPage::panel,   SettingsPage::actions,
    SettingsPage::history, SettingsPage::schemes, SettingsPage::translation,
    SettingsPage::ocr,     SettingsPage::button,  SettingsPage::applications};

std::string_view settingsPageTitle(SettingsPage page);

// One allowed value of a key that takes a fixed set, with its name.
struct SettingChoice {
    std::int64_t value;
    std::string_view label;
};

// One allowed text of a string key that takes a fixed set.
using SettingText = std::string_view;

struct SettingKey {
    std::string_view name;
    SettingType type;
    SettingsPage page;
    std::string_view description;

    bool defaultBoolean = false;

    // Integers: either a range, into which reads clamp, or a set of choices,
    // which reads leave as they are (each reader gives other values a meaning
    // of its own); `kernova set` refuses anything outside either.
    std::int64_t defaultInteger = 0;
    std::int64_t minimum = std::numeric_limits<std::int64_t>::min();
    std::int64_t maximum = std::numeric_limits<std::int64_t>::max();
    std::span<const SettingChoice> choices = {};
    // A stored 0 reads as the default ("fontSize" 0 is 12, "vibrate" 0 is 1519).
    bool zeroReadsAsDefault = false;

    // Strings: absent when the key has no default (it then reads as "").
    std::optional<std::string_view> defaultString = std::nullopt;
    // A stored "" reads as the default ("ocrMenuName").
    bool emptyReadsAsDefault = false;
    // Text that a written value must contain ("%s" in URL templates).
    std::string_view mustContain = {};
    // When not empty, the only texts a written value may be.
    std::span<const SettingText> texts = {};
    // A written value must be an http or https URL with a host (or empty).
    bool httpUrl = false;
    // A written value must be a URL: a scheme, ":" and more, without blanks.
    bool url = false;

    // kernovad reads the key only as it starts: a change needs a restart.
    bool appliesAtStart = false;

    bool userVisible() const { return page != SettingsPage::internal; }
};

// The longest text `kernova set` writes to a string key: the file is read
// whole at every use, so it must stay small.
inline constexpr std::size_t kMaxSettingTextBytes = 4096;

namespace setting_values {
inline constexpr std::array kMenuType{SettingChoice{0, "title"}, SettingChoice{1, "image"},
                                      SettingChoice{2, "image-button"}};
inline constexpr std::array kStyle{SettingChoice{0, "outlined"}, SettingChoice{1, "mono"},
                                   SettingChoice{2, "grey-symbols"}};
inline constexpr std::array kPopButton{SettingChoice{0, "left"}, SettingChoice{1, "bottom"},
                                       SettingChoice{2, "right"}};
inline constexpr std::array kBackground{SettingChoice{0, "light"}, SettingChoice{1, "dark"},
                                        SettingChoice{2, "regular"}};
inline constexpr std::array kTranslateStyle{SettingChoice{0, "web-page"},
                                            SettingChoice{1, "alert"}};
inline constexpr std::array kLanguageSelect{SettingChoice{0, "first-language"},
                                            SettingChoice{1, "ask"}};
inline constexpr std::array kOcrApiType{SettingChoice{0, "shared"}, SettingChoice{1, "own-keys"}};
inline constexpr std::array kTips{SettingChoice{0, "short"}, SettingChoice{1, "long"},
                                  SettingChoice{2, "none"}};
// The panel operations that take one text.
// Where images are recognised: "auto" is "web" while an OCR proxy is set.
inline constexpr std::array<SettingText, 3> kOcrEngine{"auto", "web", "local"};
inline constexpr std::array<SettingText, 5> kPanelOperations{
    "translateText:", "searchText:", "copyText:", "shareText:", "schemeText:"};
}  // namespace setting_values

// Every key, in the order the preferences window lists them.
inline constexpr std::array kSettingKeys{
    // General
    SettingKey{.name = "enabled",
               .type = SettingType::boolean,
               .page = SettingsPage::general,
               .description = "Master switch: Kernova opens the board only when on"},
    SettingKey{.name = "watchClipboard",
               .type = SettingType::boolean,
               .page = SettingsPage::general,
               .description = "Offer a floating button when text is copied",
               .appliesAtStart = true},
    SettingKey{.name = "systemMenu",
               .type = SettingType::boolean,
               .page = SettingsPage::general,
               .description = "Show the selection item after a mouse selection",
               .defaultBoolean = true,
               .appliesAtStart = true},
    SettingKey{.name = "customMenuName",
               .type = SettingType::string,
               .page = SettingsPage::general,
               .description = "Title of the selection item (\"Kernova\" when empty)",
               .appliesAtStart = true},
    SettingKey{.name = "menuType",
               .type = SettingType::integer,
               .page = SettingsPage::general,
               .description = "How the selection item is drawn",
               .choices = setting_values::kMenuType,
               .appliesAtStart = true},
    SettingKey{.name = "hotkey",
               .type = SettingType::string,
               .page = SettingsPage::general,
               .description = "Key that opens the board on the selected text, as Qt names it "
                              "(\"Ctrl+Alt+S\"; \"none\": no key)",
               .defaultString = "Ctrl+Alt+S",
               .emptyReadsAsDefault = true},
    // Panel
    SettingKey{.name = "style",
               .type = SettingType::integer,
               .page = SettingsPage::panel,
               .description = "Colours of the tags",
               .choices = setting_values::kStyle},
    SettingKey{.name = "background",
               .type = SettingType::integer,
               .page = SettingsPage::panel,
               .description = "Backdrop behind the panel and the browser's close caption",
               .choices = setting_values::kBackground},
    SettingKey{.name = "tips",
               .type = SettingType::integer,
               .page = SettingsPage::panel,
               .description = "Gesture tips around the close button",
               .choices = setting_values::kTips},
    SettingKey{.name = "fontSize",
               .type = SettingType::integer,
               .page = SettingsPage::panel,
               .description = "Font size of the tags in points (12 when 0)",
               .defaultInteger = 12,
               .minimum = 6,
               .maximum = 96,
               .zeroReadsAsDefault = true},
    SettingKey{.name = "orderCopy",
               .type = SettingType::boolean,
               .page = SettingsPage::panel,
               .description = "Number the picked tags and copy them in the order picked"},
    SettingKey{.name = "spaceCompletion",
               .type = SettingType::boolean,
               .page = SettingsPage::panel,
               .description = "Put a space between picked words when joining them"},
    SettingKey{.name = "vibrateSwitch",
               .type = SettingType::boolean,
               .page = SettingsPage::panel,
               .description = "Click sound when the panel opens and tags are picked"},
    SettingKey{
        .name = "vibrate",
        .type = SettingType::integer,
        .page = SettingsPage::panel,
        .description = "Sound id of the click where the system has numbered sounds (1519 when 0)",
        .defaultInteger = 1519,
        .minimum = 0,
        .maximum = 4294967295,
        .zeroReadsAsDefault = true},
    SettingKey{.name = "templateSlots",
               .type = SettingType::boolean,
               .page = SettingsPage::panel,
               .description = "{1}, {2}... in URL templates and the search URL stand for the "
                              "picks in order, {all} for the whole text"},
    SettingKey{.name = "textCheck",
               .type = SettingType::boolean,
               .page = SettingsPage::panel,
               .description = "Show a recognised image above its board"},
    // History and search
    SettingKey{.name = "historyCount",
               .type = SettingType::integer,
               .page = SettingsPage::history,
               .description = "How many shown texts the history keeps (0: keep none)",
               .defaultInteger = 20,
               .minimum = 0,
               .maximum = 1000},
    SettingKey{.name = "SearchEngine",
               .type = SettingType::string,
               .page = SettingsPage::history,
               .description = "Search URL; %s stands for the text",
               .defaultString = "https://www.google.com/search?q=%s",
               .url = true},
    // Translation
    SettingKey{.name = "translateStyle",
               .type = SettingType::integer,
               .page = SettingsPage::translation,
               .description = "Show translations as a web page or as an alert",
               .choices = setting_values::kTranslateStyle},
    SettingKey{.name = "languageSelect",
               .type = SettingType::integer,
               .page = SettingsPage::translation,
               .description = "Translate into the first language, or ask each time",
               .choices = setting_values::kLanguageSelect},
    SettingKey{.name = "TranslationService",
               .type = SettingType::string,
               .page = SettingsPage::translation,
               .description = "Translation page URL; %l is the language, %s the text",
               .defaultString = "https://translate.google.com/?vi=c#auto/%l/%s",
               .mustContain = "%s",
               .url = true},
    SettingKey{.name = "TranslationAlert",
               .type = SettingType::string,
               .page = SettingsPage::translation,
               .description = "Translation service URL for alerts; %s is the text",
               .defaultString = "http://fanyi.youdao.com/translate?&doctype=json&type=AUTO&i=%s",
               .mustContain = "%s",
               .url = true},
    // OCR
    SettingKey{.name = "ocrMenuName",
               .type = SettingType::string,
               .page = SettingsPage::ocr,
               .description = "Title of the share-sheet entry (\"OCR & Splode\" when empty)",
               .defaultString = "OCR & Splode",
               .emptyReadsAsDefault = true},
    SettingKey{.name = "ocrApiType",
               .type = SettingType::integer,
               .page = SettingsPage::ocr,
               .description = "Recognise text with the shared account or your own keys",
               .choices = setting_values::kOcrApiType},
    SettingKey{.name = "APIKey",
               .type = SettingType::string,
               .page = SettingsPage::ocr,
               .description = "Your own recognition service's API key",
               .defaultString = ""},
    SettingKey{.name = "SecretKey",
               .type = SettingType::string,
               .page = SettingsPage::ocr,
               .description = "Your own recognition service's secret key",
               .defaultString = ""},
    SettingKey{.name = "languageType",
               .type = SettingType::string,
               .page = SettingsPage::ocr,
               .description = "Language parameter sent to the recognition service",
               .defaultString = "CHN_ENG"},
    SettingKey{.name = "ocrProxy",
               .type = SettingType::string,
               .page = SettingsPage::ocr,
               .description = "The OCR proxy's base URL (empty: the build's own)",
               .defaultString = "",
               .httpUrl = true},
    SettingKey{.name = "ocrEngine",
               .type = SettingType::string,
               .page = SettingsPage::ocr,
               .description = "Recognise with the web service or Tesseract here (auto: the web "
                              "while an OCR proxy is set)",
               .defaultString = "auto",
               .texts = setting_values::kOcrEngine},
    // Floating button
    SettingKey{.name = "popButton",
               .type = SettingType::integer,
               .page = SettingsPage::button,
               .description = "Screen edge the floating button comes from",
               .choices = setting_values::kPopButton},
    SettingKey{.name = "buttonSize",
               .type = SettingType::integer,
               .page = SettingsPage::button,
               .description = "Side of the floating button in points",
               .defaultInteger = 65,
               .minimum = 20,
               .maximum = 300},
    SettingKey{.name = "edgeDistance",
               .type = SettingType::integer,
               .page = SettingsPage::button,
               .description = "Gap between the floating button and the screen edge in points",
               .minimum = 0,
               .maximum = 1000},
    SettingKey{.name = "verticalPosition",
               .type = SettingType::integer,
               .page = SettingsPage::button,
               .description = "Shift of a side button from the middle in points (down is positive)",
               .minimum = -10000,
               .maximum = 10000},
    SettingKey{
        .name = "horizontalPosition",
        .type = SettingType::integer,
        .page = SettingsPage::button,
        .description = "Shift of a bottom button from the middle in points (right is positive)",
        .minimum = -10000,
        .maximum = 10000},
    SettingKey{.name = "longPress",
               .type = SettingType::string,
               .page = SettingsPage::button,
               .description = "What a long press on the floating button does with the clipboard",
               .defaultString = "translateText:",
               .texts = setting_values::kPanelOperations},
    // Not user settings
    SettingKey{.name = "applistFlag",
               .type = SettingType::integer,
               .page = SettingsPage::internal,
               .description = "Kept for the preference side; not used"},
    SettingKey{.name = "wechatMenu",
               .type = SettingType::boolean,
               .page = SettingsPage::internal,
               .description = "Add the entry to WeChat's message menu",
               .defaultBoolean = true},
    SettingKey{.name = "qqMenu",
               .type = SettingType::boolean,
               .page = SettingsPage::internal,
               .description = "Add the entry to QQ's message menu",
               .defaultBoolean = true},
    SettingKey{.name = "notification",
               .type = SettingType::string,
               .page = SettingsPage::internal,
               .description = "The latest notice from the notice service"},
    SettingKey{.name = "notifyFlag",
               .type = SettingType::boolean,
               .page = SettingsPage::internal,
               .description = "Set with each new notice"},
};

// The key named `name`; null when the table has none.
const SettingKey* findSettingKey(std::string_view name);

// A typed handle on one key of the table: T is bool, std::int64_t or std::string.
template <class T>
class Setting {
  public:
    explicit consteval Setting(const SettingKey& key) : key_(&key) {}
    constexpr const SettingKey& key() const { return *key_; }
    constexpr std::string_view name() const { return key_->name; }

  private:
    const SettingKey* key_;
};

namespace detail {
template <class T>
consteval SettingType settingTypeOf() {
    if constexpr (std::is_same_v<T, bool>) return SettingType::boolean;
    if constexpr (std::is_same_v<T, std::int64_t>) return SettingType::integer;
    if constexpr (std::is_same_v<T, std::string>) return SettingType::string;
}
// Fails to compile when the table lacks the key or gives it another type.
template <class T>
consteval Setting<T> settingNamed(std::string_view name) {
    for (const SettingKey& key : kSettingKeys) {
        if (key.name != name) continue;
        if (key.type != settingTypeOf<T>()) throw "the key has another type in the table";
        return Setting<T>(key);
    }
    throw "no such key in the table";
}
}  // namespace detail

namespace settings_key {
using detail::settingNamed;
inline constexpr auto kEnabled = settingNamed<bool>("enabled");
inline constexpr auto kWatchClipboard = settingNamed<bool>("watchClipboard");
inline constexpr auto kApplistFlag = settingNamed<std::int64_t>("applistFlag");
inline constexpr auto kMenuType = settingNamed<std::int64_t>("menuType");
inline constexpr auto kCustomMenuName = settingNamed<std::string>("customMenuName");
inline constexpr auto kSystemMenu = settingNamed<bool>("systemMenu");
inline constexpr auto kWechatMenu = settingNamed<bool>("wechatMenu");
inline constexpr auto kQqMenu = settingNamed<bool>("qqMenu");
inline constexpr auto kStyle = settingNamed<std::int64_t>("style");
inline constexpr auto kNotification = settingNamed<std::string>("notification");
inline constexpr auto kNotifyFlag = settingNamed<bool>("notifyFlag");
inline constexpr auto kPopButton = settingNamed<std::int64_t>("popButton");
inline constexpr auto kButtonSize = settingNamed<std::int64_t>("buttonSize");
inline constexpr auto kEdgeDistance = settingNamed<std::int64_t>("edgeDistance");
inline constexpr auto kVerticalPosition = settingNamed<std::int64_t>("verticalPosition");
inline constexpr auto kHorizontalPosition = settingNamed<std::int64_t>("horizontalPosition");
inline constexpr auto kLongPress = settingNamed<std::string>("longPress");
inline constexpr auto kVibrateSwitch = settingNamed<bool>("vibrateSwitch");
inline constexpr auto kVibrate = settingNamed<std::int64_t>("vibrate");
inline constexpr auto kSpaceCompletion = settingNamed<bool>("spaceCompletion");
inline constexpr auto kHistoryCount = settingNamed<std::int64_t>("historyCount");
inline constexpr auto kTemplateSlots = settingNamed<bool>("templateSlots");
inline constexpr auto kBackground = settingNamed<std::int64_t>("background");
inline constexpr auto kSearchEngine = settingNamed<std::string>("SearchEngine");
inline constexpr auto kTranslationService = settingNamed<std::string>("TranslationService");
inline constexpr auto kTranslationAlert = settingNamed<std::string>("TranslationAlert");
inline constexpr auto kTranslateStyle = settingNamed<std::int64_t>("translateStyle");
inline constexpr auto kLanguageSelect = settingNamed<std::int64_t>("languageSelect");
inline constexpr auto kOcrMenuName = settingNamed<std::string>("ocrMenuName");
inline constexpr auto kOcrApiType = settingNamed<std::int64_t>("ocrApiType");
inline constexpr auto kApiKey = settingNamed<std::string>("APIKey");
inline constexpr auto kSecretKey = settingNamed<std::string>("SecretKey");
inline constexpr auto kLanguageType = settingNamed<std::string>("languageType");
inline constexpr auto kOcrProxy = settingNamed<std::string>("ocrProxy");
inline constexpr auto kOcrEngine = settingNamed<std::string>("ocrEngine");
inline constexpr auto kFontSize = settingNamed<std::int64_t>("fontSize");
inline constexpr auto kOrderCopy = settingNamed<bool>("orderCopy");
inline constexpr auto kTips = settingNamed<std::int64_t>("tips");
inline constexpr auto kTextCheck = settingNamed<bool>("textCheck");
inline constexpr auto kHotkey = settingNamed<std::string>("hotkey");
}  // namespace settings_key

// Lenient reads of a stored value (absent when the file lacks the key), as
// every reader sees it: a wrong type reads as NO, 0 or the text of a number;
// then the key's default, its range and its zero or empty rule apply.
bool readBooleanSetting(const SettingKey& key, const Value& stored);
std::int64_t readIntegerSetting(const SettingKey& key, const Value& stored);
std::string readStringSetting(const SettingKey& key, const Value& stored);
// The read above as a typed value (boolean, integer or string).
Value readSetting(const SettingKey& key, const Value& stored);

// The value that `text` writes to `key` ("YES", "no", "1" for booleans; a whole
// number or a choice's name for integers; the text itself for strings); absent,
// with `error` saying why, when it does not fit the key's type or range.
std::optional<Value> parseSettingText(const SettingKey& key, std::string_view text,
                                      std::string& error);
// Whether `text` reads as a URL: a scheme ("https", "dict"), ":" and more,
// without blanks or control characters.
bool isUrl(std::string_view text);
// Whether `text` can be requested as it is: an http or https URL with a host,
// without blanks or control characters.
bool isHttpUrl(std::string_view text);
// What the key accepts, as a phrase: "YES or NO", "a whole number from 6 to 96".
std::string settingValuesDescription(const SettingKey& key);

}  // namespace kernova
