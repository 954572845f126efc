// The translation engines without their transport: which engine a template
// names, the request URL of each, the Baidu signature, and the texts their
// answers give. Everything here is a plain function of its inputs; the panel
// sends the requests and shows the results.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/paths.h"

namespace kernova::translate {

// What the user reads when the service cannot be reached.
inline constexpr std::string_view kConnectFailed =
    "Connecting to translate api failed, please try again or change another engine!";
// What the user reads when an answer arrived but gave no translation.
inline constexpr std::string_view kNoTranslation =
    "The connection to the translation api failed, or the text you queried contains illegal "
    "characters, please confirm the queried text and try again or change another engine!";
inline constexpr std::string_view kPickerTitle = "Please select target language code to translate.";
inline constexpr std::string_view kLanguagesFileName = "fun.quorle.kernova.languages.plist";
inline constexpr std::string_view kDefaultLanguage = "en";

// The answer format a template is sent to, chosen by a substring of the
// template ("google" first, then "baidu"; anything else answers like Youdao).
enum class Engine { google, baidu, youdao };
Engine engineForTemplate(std::string_view alertTemplate);

// Baidu's own code for a language code; other codes come back unchanged.
std::string baiduCode(std::string_view code);

// True when one UTF-16 unit lies in U+4E01..U+9FFE (both bounds excluded on
// purpose); false for an empty text.
bool isChinese(std::string_view text);

// The target languages of the languages file, in the user's order. A file
// without "languages" (or a missing or unreadable one) gives "en"; entries
// that are not texts are left out.
std::vector<std::string> readLanguages(const std::filesystem::path& file);

// Replaces every "%l" by `language`, then every "%s" by `escapedText`.
std::string fillTemplate(std::string_view urlTemplate, std::string_view language,
                         std::string_view escapedText);

// The page of the web page style for `text` into `language`.
std::string webPageURL(std::string_view urlTemplate, std::string_view language,
                       std::string_view text);

// The request of the alert style through a Google or Youdao template.
std::string alertURL(std::string_view urlTemplate, std::string_view language,
                     std::string_view text);

// The Baidu account that signs requests: built in, from the build options.
struct BaiduAccount {
    std::uint64_t appId = 0;
    std::uint32_t salt = 0;
    std::string_view secretKey;
};
BaiduAccount builtInBaiduAccount();

// The signature of a request: MD5 of the app id, the text, the salt and the key
// with the text's percent escapes decoded. Null when the decoding fails (a "%"
// not followed by two hex digits, or bytes that are not UTF-8).
std::optional<std::string> baiduSignature(const BaiduAccount& account, std::string_view text);
std::string baiduURL(std::string_view endpoint, std::string_view language, std::string_view text,
                     const BaiduAccount& account);

// Where requests go. The hosts are the public services, written once in the
// settings key table and here; with KERNOVA_DEBUG=1 the environment variables
// KERNOVA_TRANSLATE_GOOGLE, KERNOVA_TRANSLATE_YOUDAO and KERNOVA_TRANSLATE_BAIDU
// replace them (scheme, host and port, e.g. "http://127.0.0.1:8080").
inline constexpr std::string_view kGoogleTranslateHost = "https://translate.google.com";
inline constexpr std::string_view kGoogleApiHost = "https://translate.googleapis.com";
inline constexpr std::string_view kYoudaoHost = "http://fanyi.youdao.com";
inline constexpr std::string_view kBaiduHost = "http://api.fanyi.baidu.com";
inline constexpr std::string_view kBaiduPath = "/api/trans/vip/translate";

struct Endpoints {
    std::string google{kGoogleTranslateHost};
    std::string googleApi{kGoogleApiHost};
    std::string youdao{kYoudaoHost};
    std::string baidu{kBaiduHost};

    // The built-in hosts, or the debug overrides found through `environment`.
    static Endpoints fromEnvironment(const EnvironmentLookup& environment);
    // `urlTemplate` with a built-in host at its start replaced by its override.
    std::string redirect(std::string_view urlTemplate) const;
    std::string baiduEndpoint() const { return baidu + std::string(kBaiduPath); }
};

// An answer's body, or null for a transport failure.
using AnswerBody = std::optional<std::string_view>;

// The translation in a Google answer: every "sentences"[i]["trans"] appended.
std::string googleResult(AnswerBody body);
// The translation in a Youdao answer: every "translateResult"[i][j]["tgt"].
std::string youdaoResult(AnswerBody body);

struct BaiduOutcome {
    bool again = false;  // "54003": send the same request again
    std::string result;  // otherwise the text for the dialog
};
BaiduOutcome baiduResult(AnswerBody body);

// The text the result dialog shows for `result`: the failure sentence when it
// is null, empty or only blanks and line ends; otherwise `result` untouched.
std::string resultForDialog(const std::optional<std::string>& result);

}  // namespace kernova::translate
