#include "translate/engines.h"

#include <array>
#include <charconv>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/plist.h"
#include "base/text.h"
#include "base/value.h"
#include "support/digest.h"
#include "support/escaping.h"
#include "support/json_format.h"

#ifndef KERNOVA_BAIDU_APPID
#define KERNOVA_BAIDU_APPID 20261124000000001ULL
#endif
#ifndef KERNOVA_BAIDU_SALT
#define KERNOVA_BAIDU_SALT 1435660288UL
#endif

namespace kernova::translate {
namespace {

using Json = nlohmann::json;

void replaceAll(std::string& text, std::string_view what, std::string_view with) {
    std::string out;
    out.reserve(text.size());
    std::size_t from = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, from)) {
        out.append(text, from, at - from);
        out.append(with);
        from = at + what.size();
    }
    out.append(text, from);
    text = std::move(out);
}

// The body as JSON; null when it is not JSON (or not text).
std::optional<Json> parse(std::string_view body) {
    Json json = Json::parse(body, nullptr, false);
    if (json.is_discarded()) return std::nullopt;
    return json;
}

// Appends `key` of every object in `array` (elements that are not objects add nothing).
void appendEach(std::string& out, const Json* array, const char* key) {
    if (array == nullptr || !array->is_array()) return;
    for (const Json& element : *array) {
        if (element.is_object()) appendJsonFormatted(out, jsonMember(element, key));
    }
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Percent escapes decoded; null for a malformed escape or bytes that are not UTF-8.
std::optional<std::string> removePercentEncoding(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const int high = hexDigit(text[i + 1]);
        const int low = hexDigit(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    if (!isValidUtf8(out)) return std::nullopt;
    return out;
}

}  // namespace

Engine engineForTemplate(std::string_view alertTemplate) {
    if (alertTemplate.find("google") != std::string_view::npos) return Engine::google;
    if (alertTemplate.find("baidu") != std::string_view::npos) return Engine::baidu;
    return Engine::youdao;
}

std::string baiduCode(std::string_view code) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 14> kTable{{
        {"ko", "kor"},
        {"bg", "bul"},
        {"fi", "fin"},
        {"sl", "slo"},
        {"zh-TW", "cht"},
        {"fr", "fra"},
        {"ar", "ara"},
        {"et", "est"},
        {"sv", "swe"},
        {"vi", "vie"},
        {"ja", "jp"},
        {"es", "spa"},
        {"da", "dan"},
        {"ro", "rom"},
    }};
    for (const auto& [from, to] : kTable) {
        if (from == code) return std::string(to);
    }
    return std::string(code);
}

bool isChinese(std::string_view text) {
    for (char16_t unit : toUtf16(text)) {
        if (static_cast<std::uint16_t>(unit - 0x4E01) <= 0x51FD) return true;
    }
    return false;
}

std::vector<std::string> readLanguages(const std::filesystem::path& file) {
    const Value root = loadDictionary(file);
    const Value& languages = root["languages"];
    // A missing or unreadable file is an empty dictionary, without a list.
    if (languages.isAbsent()) return {std::string(kDefaultLanguage)};
    std::vector<std::string> out;
    if (const Array* array = languages.asArray()) {
        for (const Value& entry : *array) {
            if (const std::string* code = entry.asString()) out.push_back(*code);
        }
    }
    return out;
}

std::string fillTemplate(std::string_view urlTemplate, std::string_view language,
                         std::string_view escapedText) {
    std::string url(urlTemplate);
    replaceAll(url, "%l", language);
    replaceAll(url, "%s", escapedText);
    return url;
}

std::string webPageURL(std::string_view urlTemplate, std::string_view language,
                       std::string_view text) {
    std::string code = language == "zh" ? std::string("zh-CN") : std::string(language);
    if (urlTemplate.find("baidu") != std::string_view::npos) code = baiduCode(code);
    return fillTemplate(urlTemplate, code, hostSetEscape(text));
}

std::string alertURL(std::string_view urlTemplate, std::string_view language,
                     std::string_view text) {
    return fillTemplate(urlTemplate, language, queryEscape(text));
}

BaiduAccount builtInBaiduAccount() {
    // Kept in two halves so that the numbers are not one literal of the binary.
    constexpr std::uint64_t appId = KERNOVA_BAIDU_APPID;
    constexpr std::uint64_t appIdHigh = appId / 1000000000ULL;
    constexpr std::uint64_t appIdLow = appId % 1000000000ULL;
    constexpr std::uint64_t salt = KERNOVA_BAIDU_SALT;
    static_assert(appId > 0 && salt > 0 && salt <= 0xFFFFFFFFULL);
    volatile std::uint64_t high = appIdHigh;
    volatile std::uint64_t saltHigh = salt >> 16;
    return BaiduAccount{.appId = high * 1000000000ULL + appIdLow,
                        .salt = static_cast<std::uint32_t>((saltHigh << 16) | (salt & 0xFFFFU)),
                        .secretKey = "Qm3Xr8TzLp0VwK2nHs7D"};
}

std::optional<std::string> baiduSignature(const BaiduAccount& account, std::string_view text) {
    std::string input = std::to_string(account.appId);
    input += text;
    input += std::to_string(account.salt);
    input += account.secretKey;
    std::optional<std::string> decoded = removePercentEncoding(input);
    if (!decoded) return std::nullopt;
    return rf_EncryptMD5(*decoded);
}

std::string baiduURL(std::string_view endpoint, std::string_view language, std::string_view text,
                     const BaiduAccount& account) {
    std::string url(endpoint);
    url += "?q=";
    url += queryEscape(text);
    url += "&from=auto&to=";
    url += language;
    url += "&appid=" + std::to_string(account.appId);
    url += "&salt=" + std::to_string(account.salt);
    url += "&sign=";
    url += baiduSignature(account, text).value_or("(null)");
    return url;
}

Endpoints Endpoints::fromEnvironment(const EnvironmentLookup& environment) {
    Endpoints endpoints;
    if (!environment) return endpoints;
    const std::optional<std::string> debug = environment("KERNOVA_DEBUG");
    if (!debug || *debug != "1") return endpoints;
    auto take = [&](const char* name, std::string& into) {
        std::optional<std::string> value = environment(name);
        if (value && !value->empty()) into = *value;
    };
    take("KERNOVA_TRANSLATE_GOOGLE", endpoints.google);
    take("KERNOVA_TRANSLATE_GOOGLE", endpoints.googleApi);
    take("KERNOVA_TRANSLATE_YOUDAO", endpoints.youdao);
    take("KERNOVA_TRANSLATE_BAIDU", endpoints.baidu);
    return endpoints;
}

std::string Endpoints::redirect(std::string_view urlTemplate) const {
    const std::pair<std::string_view, const std::string*> hosts[] = {
        {kGoogleTranslateHost, &google},
        {kGoogleApiHost, &googleApi},
        {kYoudaoHost, &youdao},
        {kBaiduHost, &baidu},
    };
    for (const auto& [builtIn, now] : hosts) {
        if (urlTemplate.starts_with(builtIn) &&
            (urlTemplate.size() == builtIn.size() || urlTemplate[builtIn.size()] == '/')) {
            return *now + std::string(urlTemplate.substr(builtIn.size()));
        }
    }
    return std::string(urlTemplate);
}

std::string googleResult(AnswerBody body) {
    if (!body || !isValidUtf8(*body)) return std::string(kConnectFailed);
    std::string result;
    if (std::optional<Json> json = parse(*body))
        appendEach(result, jsonMember(*json, "sentences"), "trans");
    return result;
}

std::string youdaoResult(AnswerBody body) {
    if (!body || !isValidUtf8(*body)) return std::string(kConnectFailed);
    std::string result;
    std::optional<Json> json = parse(*body);
    if (!json) return result;
    const Json* outer = jsonMember(*json, "translateResult");
    if (outer == nullptr || !outer->is_array()) return result;
    for (const Json& inner : *outer)
        appendEach(result, &inner, "tgt");
    return result;
}

BaiduOutcome baiduResult(AnswerBody body) {
    if (!body || !isValidUtf8(*body)) return {.result = std::string(kConnectFailed)};
    std::string result;
    std::optional<Json> json = parse(*body);
    if (!json) return {.result = result};
    const Json* error = jsonMember(*json, "error_code");
    if (error != nullptr && error->is_string() && error->get_ref<const std::string&>() == "54003")
        return {.again = true, .result = {}};
    appendEach(result, jsonMember(*json, "trans_result"), "dst");
    return {.result = result};
}

std::string resultForDialog(const std::optional<std::string>& result) {
    if (!result || trimWhitespaceAndNewlines(*result).empty()) return std::string(kNoTranslation);
    return *result;
}

}  // namespace kernova::translate
