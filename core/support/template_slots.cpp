#include "support/template_slots.h"

#include <cstddef>

namespace kernova {
namespace {

constexpr std::string_view kAllSlot = "{all}";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The length of the numbered slot at the start of `rest` ("{12}" is 4), with
// its number (0 when too large to be a pick); 0 when there is none there.
std::size_t numberedSlot(std::string_view rest, std::size_t& number) {
    if (rest.size() < 3 || rest[0] != '{' || rest[1] == '0') return 0;
    std::size_t end = 1;
    number = 0;
    bool overflow = false;
    while (end < rest.size() && isDigit(rest[end])) {
        if (number > 100000000) overflow = true;
        if (!overflow) number = number * 10 + static_cast<std::size_t>(rest[end] - '0');
        ++end;
    }
    if (end == 1 || end >= rest.size() || rest[end] != '}') return 0;
    if (overflow) number = 0;
    return end + 1;
}

}  // namespace

std::string fillTemplateSlots(std::string_view templ, const std::vector<std::string>& picks,
                              std::string_view allText, const SlotEscape& escape) {
    auto put = [&escape](std::string& out, std::string_view value) {
        if (escape) {
            out += escape(value);
        } else {
            out += value;
        }
    };
    std::string out;
    out.reserve(templ.size());
    std::size_t i = 0;
    while (i < templ.size()) {
        const std::string_view rest = templ.substr(i);
        if (rest[0] == '{') {
            if (rest.substr(0, kAllSlot.size()) == kAllSlot) {
                put(out, allText);
                i += kAllSlot.size();
                continue;
            }
            std::size_t number = 0;
            if (const std::size_t length = numberedSlot(rest, number)) {
                if (number >= 1 && number <= picks.size()) put(out, picks[number - 1]);
                i += length;
                continue;
            }
        }
        out.push_back(templ[i]);
        ++i;
    }
    return out;
}

}  // namespace kernova
