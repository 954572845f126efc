// Internal to the segmenter: the tokenizer split over an already prepared text.
#pragma once

#include <cstdint>
#include <vector>

#include "segment/break_text.h"
#include "segment/splode_box.h"

namespace kernova::segment_detail {

// Tokens of `text`: with GSplodeBox::kUnitWordBoundary every stretch between word
// boundaries, otherwise the words only; trimmed, empty ones skipped, and with
// GSplodeBox::kRemoveRepeats each distinct text kept at its first position.
std::vector<GSplodeItem> tokenize(BreakText& text, std::uint64_t option);

}  // namespace kernova::segment_detail
