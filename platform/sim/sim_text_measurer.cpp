#include "sim/sim_text_measurer.h"

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <memory>
#include <string>

#include "base/text.h"

namespace kernova::sim {
namespace {

bool isWideCodePoint(UChar32 c) {
    if (c == 0xFE0F) return true;
    auto width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
    if (width == U_EA_WIDE || width == U_EA_FULLWIDTH) return true;
    return u_hasBinaryProperty(c, UCHAR_EMOJI_PRESENTATION) != 0;
}

// The code point at `i`, moving `i` past it; a lone surrogate stands for itself.
UChar32 nextCodePoint(const char16_t* data, std::int32_t& i, std::int32_t end) {
    char16_t lead = data[i++];
    if (lead >= 0xD800 && lead <= 0xDBFF && i < end && data[i] >= 0xDC00 && data[i] <= 0xDFFF) {
        char16_t trail = data[i++];
        return 0x10000 + ((lead - 0xD800) << 10) + (trail - 0xDC00);
    }
    return lead;
}

bool isWideCluster(const char16_t* data, std::int32_t begin, std::int32_t end) {
    for (std::int32_t i = begin; i < end;) {
        if (isWideCodePoint(nextCodePoint(data, i, end))) return true;
    }
    return false;
}

// Walks the clusters and keeps the widest line, in units of the point size.
// Clusters are counted, not summed, so long lines carry no rounding drift.
struct LineTally {
    std::size_t narrow = 0;
    std::size_t wide = 0;
    double widest = 0;
    std::size_t lines = 1;

    double current() const {
        return static_cast<double>(narrow) * SimTextMeasurer::kNarrowAdvance +
               static_cast<double>(wide) * SimTextMeasurer::kWideAdvance;
    }

    void addCluster(const char16_t* data, std::int32_t begin, std::int32_t end) {
        char16_t first = data[begin];
        if (first == u'\n' || first == u'\r') {  // "\r\n" is a single cluster
            widest = std::max(widest, current());
            narrow = wide = 0;
            ++lines;
            return;
        }
        ++(isWideCluster(data, begin, end) ? wide : narrow);
    }
    double width() const { return std::max(widest, current()); }
};

// Creating a character iterator costs far more than measuring a tag with it,
// so each thread keeps one and sets a new text on it for every measurement.
// It is a cache, not state: the text it last walked is never read again, as
// every measurement sets its own first.
icu::BreakIterator* characterIterator() {
    thread_local std::unique_ptr<icu::BreakIterator> cached = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> it(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status)) it.reset();
        return it;
    }();
    return cached.get();
}

}  // namespace

ui::Size SimTextMeasurer::boundingSize(std::string_view text, const ui::Font& font) const {
    if (text.empty()) return ui::Size{0, 0};
    std::u16string s = toUtf16(repairUtf8(text));
    auto length = static_cast<std::int32_t>(std::min<std::size_t>(s.size(), INT32_MAX));
    LineTally tally;
    icu::BreakIterator* it = characterIterator();
    if (it) {
        icu::UnicodeString aliased(false, s.data(), length);
        it->setText(aliased);
        std::int32_t begin = it->first();
        for (std::int32_t end = it->next(); end != icu::BreakIterator::DONE; end = it->next()) {
            tally.addCluster(s.data(), begin, end);
            begin = end;
        }
    } else {
        // Without break data every code point counts as a cluster.
        for (std::int32_t i = 0; i < length;) {
            std::int32_t begin = i;
            UChar32 c = nextCodePoint(s.data(), i, length);
            if (c == u'\r' && i < length && s[static_cast<std::size_t>(i)] == u'\n') ++i;
            tally.addCluster(s.data(), begin, i);
        }
    }
    double size = font.pointSize;
    return ui::Size{tally.width() * size, static_cast<double>(tally.lines) * kLineHeight * size};
}

}  // namespace kernova::sim
