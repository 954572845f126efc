// Numbered picks as template slots: in a URL template, "{1}", "{2}", ...
// stand for the picked tags' texts in the order the user picked them and
// "{all}" for the whole text an action received. Used by the URL templates
// and the search URL when the "templateSlots" setting is on.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kernova {

using SlotEscape = std::function<std::string(std::string_view)>;

// `templ` with every slot filled in one pass (a value put in is never looked
// at again): "{N}" (N a decimal number from 1) takes picks[N-1], or nothing
// when there are fewer picks; "{all}" takes `allText`. Each value goes
// through `escape` (raw when it is empty). Anything else, "%s", "{0}", "{x}"
// and unclosed braces included, is kept as it is.
std::string fillTemplateSlots(std::string_view templ, const std::vector<std::string>& picks,
                              std::string_view allText, const SlotEscape& escape);

}  // namespace kernova
