#include "segment/tokenizer.h"

#include <string>
#include <unordered_set>

#include "base/text.h"

namespace kernova::segment_detail {

std::vector<GSplodeItem> tokenize(BreakText& text, std::uint64_t option) {
    std::vector<GSplodeItem> out;
    if (text.empty()) return out;
    // Only the unit bit reaches the segmentation; bit 0 is ours.
    const bool everyStretch = (option & GSplodeBox::kUnitWordBoundary) != 0;
    const bool removeRepeats = (option & GSplodeBox::kRemoveRepeats) != 0;
    std::unordered_set<std::string> seen;
    icu::BreakIterator& it = text.words();
    std::int32_t start = it.first();
    for (std::int32_t end = it.next(); end != icu::BreakIterator::DONE;
         start = end, end = it.next()) {
        if (!everyStretch && !isWordStatus(it.getRuleStatus())) continue;
        std::string token = trimWhitespaceAndNewlines(text.slice(start, end));
        if (token.empty()) continue;
        if (removeRepeats && !seen.insert(token).second) continue;
        out.push_back(GSplodeItem::splodeText(std::move(token), false));
    }
    return out;
}

}  // namespace kernova::segment_detail
