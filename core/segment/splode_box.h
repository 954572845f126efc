// The segmenter: splits a text into the segments that become tags on the board.
// Words become plain segments; the punctuation, symbols, emoji and white space
// between words become one symbol segment per user-perceived character.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kernova {

class Value;

// One segment of a split text.
struct GSplodeItem {
    std::string text;
    bool isSymbolOrEmoji = false;

    static GSplodeItem splodeText(std::string text, bool isSymbol);

    friend bool operator==(const GSplodeItem&, const GSplodeItem&) = default;
};

// Stateless; every call builds its own result. Texts are UTF-8; invalid
// sequences are read as U+FFFD.
class GSplodeBox {
  public:
    // Bits of the option of splodeWithOption().
    static constexpr std::uint64_t kRemoveRepeats = 1;     // each distinct token once
    static constexpr std::uint64_t kUnitWordBoundary = 4;  // every stretch between boundaries

    // Words and the characters between them, in text order; empty on failure.
    // Falls back to splodeWithOption(4, text) when the text holds no word.
    static std::vector<GSplodeItem> splode(std::string_view text);
    // Tokenizer split: trimmed, non-empty tokens, none of them symbols.
    static std::vector<GSplodeItem> splodeWithOption(std::uint64_t option, std::string_view text);
    // One item per composed character sequence, white space included.
    static std::vector<GSplodeItem> splodeAll(std::string_view text);

    // YES for nil or a string that trims to empty; NO for any other value.
    static bool isEmptAllSapce(const Value* object);
    static bool isEmptAllSapce(std::string_view text);
};

}  // namespace kernova
