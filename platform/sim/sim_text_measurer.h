// Fixed text metrics that tests can predict by hand.
//
// The rule, for a font of point size S (family and weight do not matter):
// - the text is split into lines at "\n", "\r\n" and "\r"; a text with N line
//   breaks has N + 1 lines, so a trailing break adds an empty line;
// - each line is split into grapheme clusters (extended, as ICU's character
//   break iterator finds them); a cluster advances 1.0 x S when it is wide and
//   0.6 x S otherwise;
// - a cluster is wide when any of its code points has East Asian Width Wide or
//   Fullwidth, or has the Emoji_Presentation property, or is U+FE0F (an emoji
//   asked for by its variation selector); so a flag, a family sequence and
//   "1\uFE0F\u20E3" each count as one wide cluster;
// - the width is that of the widest line; the height is lines x 1.2 x S;
// - the empty text measures 0 x 0.
// Ill-formed UTF-8 is measured as if repaired (each bad sequence is one U+FFFD).
#pragma once

#include "ui/text_measurer.h"

namespace kernova::sim {

class SimTextMeasurer final : public ui::TextMeasurer {
  public:
    static constexpr double kNarrowAdvance = 0.6;
    static constexpr double kWideAdvance = 1.0;
    static constexpr double kLineHeight = 1.2;

    ui::Size boundingSize(std::string_view text, const ui::Font& font) const override;
};

}  // namespace kernova::sim
