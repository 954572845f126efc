// URL templates: the schemes file ("items", each a "name" and a "scheme" in
// which every "%s" stands for the text) sends the panel's text to another
// application as "openUrl". One template goes at once; several are offered in
// a picker titled with the text.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/context.h"

namespace kernova {

inline constexpr const char* kNoSchemeTitle = "Please set the Url scheme to use!";
inline constexpr double kNoSchemeTimeout = 0.7;
inline constexpr const char* kSchemeCancelTitle = "Cancel";

struct UrlScheme {
    std::string name;
    std::optional<std::string> scheme;  // absent when the entry has none
};

// The entries of the schemes file in file order; nothing when the file is
// missing or malformed. An entry that is not a dictionary has no scheme.
std::optional<std::vector<UrlScheme>> loadUrlSchemes(const Context& context);

// What fills a template: the action's text and, with "templateSlots" on, the
// picked tags' texts in the order they were picked.
struct SchemeText {
    std::string text;
    std::vector<std::string> picks;
    bool slots = false;
};

// The URL of a template: every "%s" replaced by the text (and, with slots,
// "{1}", "{2}"... and "{all}" filled, all in one pass), then the whole URL
// escaped with the query-allowed set.
std::string buildSchemeUrl(std::string_view templ, const SchemeText& text);

}  // namespace kernova
