#include "server/settings_keys.h"

#include <algorithm>
#include <charconv>

#include "base/http.h"
#include "base/text.h"

namespace kernova {
namespace {

std::string lowercase(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

std::string quoted(std::string_view s) {
    return "\"" + std::string(s) + "\"";
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (text.empty() || ec != std::errc() || ptr != end) return std::nullopt;
    return value;
}

std::optional<Value> parseBoolean(std::string_view text) {
    std::string t = lowercase(text);
    if (t == "yes" || t == "true" || t == "on" || t == "1") return Value(true);
    if (t == "no" || t == "false" || t == "off" || t == "0") return Value(false);
    return std::nullopt;
}

std::optional<Value> parseInteger(const SettingKey& key, std::string_view text) {
    if (!key.choices.empty()) {
        std::string t = lowercase(text);
        for (const SettingChoice& choice : key.choices) {
            if (t == choice.label) return Value(choice.value);
        }
        std::optional<std::int64_t> n = wholeNumber(text);
        if (!n) return std::nullopt;
        for (const SettingChoice& choice : key.choices) {
            if (*n == choice.value) return Value(*n);
        }
        return std::nullopt;
    }
    std::optional<std::int64_t> n = wholeNumber(text);
    if (!n) return std::nullopt;
    // 0 stands for the default where the key says so, whatever the range.
    if ((*n < key.minimum || *n > key.maximum) && !(*n == 0 && key.zeroReadsAsDefault))
        return std::nullopt;
    return Value(*n);
}

std::optional<Value> parseString(const SettingKey& key, std::string_view text, std::string& error) {
    if (!isValidUtf8(text)) {
        error = "the text is not valid UTF-8";
        return std::nullopt;
    }
    if (text.size() > kMaxSettingTextBytes) {
        error = "the text is longer than " + std::to_string(kMaxSettingTextBytes) + " bytes";
        return std::nullopt;
    }
    if (!key.texts.empty() &&
        std::find(key.texts.begin(), key.texts.end(), text) == key.texts.end())
        return std::nullopt;
    if (!key.mustContain.empty() && text.find(key.mustContain) == std::string_view::npos)
        return std::nullopt;
    if (key.httpUrl && !text.empty() && !isHttpUrl(text)) return std::nullopt;
    if (key.url && !isUrl(text)) return std::nullopt;
    return Value(text);
}

}  // namespace

std::string_view settingsPageTitle(SettingsPage page) {
    switch (page) {
        case SettingsPage::general:
            return "General";
        case SettingsPage::panel:
            return "Panel";
        case SettingsPage::actions:
            return "Actions";
        case SettingsPage::history:
            return "History and search";
        case SettingsPage::schemes:
            return "URL templates";
        case SettingsPage::translation:
            return "Translation";
        case SettingsPage::ocr:
            return "OCR";
        case SettingsPage::button:
            return "Floating button";
        case SettingsPage::applications:
            return "Applications";
        case SettingsPage::internal:
            break;
    }
    return "";
}

const SettingKey* findSettingKey(std::string_view name) {
    for (const SettingKey& key : kSettingKeys) {
        if (key.name == name) return &key;
    }
    return nullptr;
}

bool readBooleanSetting(const SettingKey& key, const Value& stored) {
    return stored.isAbsent() ? key.defaultBoolean : stored.boolValue();
}

std::int64_t readIntegerSetting(const SettingKey& key, const Value& stored) {
    if (stored.isAbsent()) return key.defaultInteger;
    std::int64_t value = stored.integerValue();
    if (value == 0 && key.zeroReadsAsDefault) return key.defaultInteger;
    if (!key.choices.empty()) return value;
    return std::clamp(value, key.minimum, key.maximum);
}

std::string readStringSetting(const SettingKey& key, const Value& stored) {
    std::optional<std::string> text = stored.stringValue();
    if (!text || (text->empty() && key.emptyReadsAsDefault))
        return std::string(key.defaultString.value_or(""));
    return *text;
}

Value readSetting(const SettingKey& key, const Value& stored) {
    switch (key.type) {
        case SettingType::boolean:
            return Value(readBooleanSetting(key, stored));
        case SettingType::integer:
            return Value(readIntegerSetting(key, stored));
        case SettingType::string:
            break;
    }
    return Value(readStringSetting(key, stored));
}

std::optional<Value> parseSettingText(const SettingKey& key, std::string_view text,
                                      std::string& error) {
    std::optional<Value> value;
    switch (key.type) {
        case SettingType::boolean:
            value = parseBoolean(text);
            break;
        case SettingType::integer:
            value = parseInteger(key, text);
            break;
        case SettingType::string:
            value = parseString(key, text, error);
            if (!error.empty()) return std::nullopt;
            break;
    }
    if (!value) {
        error = quoted(key.name) + " takes " + settingValuesDescription(key) + ", not " +
                quoted(isValidUtf8(text) ? text : repairUtf8(text));
    }
    return value;
}

bool isUrl(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || colon + 1 == text.size()) return false;
    auto schemeChar = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '+' || c == '-' || c == '.';
    };
    const char first = text.front();
    if (!((first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z'))) return false;
    if (!std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), schemeChar))
        return false;
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7f; });
}

bool isHttpUrl(std::string_view text) {
    if (std::any_of(text.begin(), text.end(),
                    [](char c) { return static_cast<unsigned char>(c) >= 0x7f; }))
        return false;
    return !checkHttpRequest(httpGet(std::string(text)));
}

std::string settingValuesDescription(const SettingKey& key) {
    switch (key.type) {
        case SettingType::boolean:
            return "YES or NO";
        case SettingType::integer: {
            if (!key.choices.empty()) {
                std::string out = "one of";
                for (const SettingChoice& c : key.choices) {
                    out += (&c == &key.choices.front() ? " " : ", ") + std::to_string(c.value) +
                           " (" + std::string(c.label) + ")";
                }
                return out;
            }
            std::string out = "a whole number from " + std::to_string(key.minimum) + " to " +
                              std::to_string(key.maximum);
            if (key.zeroReadsAsDefault) out += ", or 0 for the default";
            return out;
        }
        case SettingType::string:
            break;
    }
    if (!key.texts.empty()) {
        std::string out = "one of";
        for (const SettingText& t : key.texts)
            out += (&t == &key.texts.front() ? " " : ", ") + std::string(t);
        return out;
    }
    if (key.url && !key.mustContain.empty())
        return "a URL containing " + std::string(key.mustContain);
    if (!key.mustContain.empty()) return "a text containing " + std::string(key.mustContain);
    if (key.httpUrl) return "an http:// or https:// URL, or nothing";
    if (key.url) return "a URL (scheme:...) without blanks";
    return "a text";
}

}  // namespace kernova
