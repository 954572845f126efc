// The segmenter: splits a text into the segments that become tags on the board.
// Words become plain segments; the punctuation, symbols, emoji and white space
// between words become one symbol segment per user-perceived character.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/paths.h"

namespace kernova {

class Value;

// The locale a text is split in when none is known.
inline constexpr const char* kDefaultSegmentationLocale = "en";

// The user's language as an ICU locale id ("de_DE", "zh_Hans_CN", "en"): the
// first of LC_ALL, LC_MESSAGES, LANG and LANGUAGE (its first entry) that is set
// and names neither the C nor the POSIX locale, without its encoding; else "en".
std::string segmentationLocale(const EnvironmentLookup& env);

// One segment of a split text.
struct GSplodeItem {
    std::string text;
    bool isSymbolOrEmoji = false;

    static GSplodeItem splodeText(std::string text, bool isSymbol);

    friend bool operator==(const GSplodeItem&, const GSplodeItem&) = default;
};

// Receives the segments of a text one at a time, in text order.
using GSplodeSink = std::function<void(GSplodeItem&&)>;

// Stateless; every call builds its own result. Texts are UTF-8; invalid
// sequences are read as U+FFFD. The locale (an ICU locale id, see
// segmentationLocale()) picks the word-break rules; it is always passed, never
// taken from the process, so that a text splits the same way however the
// process was started.
class GSplodeBox {
  public:
    // Bits of the option of splodeWithOption().
    static constexpr std::uint64_t kRemoveRepeats = 1;     // each distinct token once
    static constexpr std::uint64_t kUnitWordBoundary = 4;  // every stretch between boundaries

    // Words and the characters between them, in text order; empty on failure.
    // Falls back to splodeWithOption(4, text) when the text holds no word.
    static std::vector<GSplodeItem> splode(std::string_view text,
                                           std::string_view locale = kDefaultSegmentationLocale);
    // Tokenizer split: trimmed, non-empty tokens, none of them symbols.
    static std::vector<GSplodeItem> splodeWithOption(
        std::uint64_t option, std::string_view text,
        std::string_view locale = kDefaultSegmentationLocale);
    // One item per composed character sequence, white space included.
    static std::vector<GSplodeItem> splodeAll(std::string_view text,
                                              std::string_view locale = kDefaultSegmentationLocale);

    // splode() and splodeAll() handing each segment to `sink` as it is found,
    // so that a caller can pass on the segments of a large text without
    // holding them all. After a failure inside splode() the segments handed
    // over so far stand and no more follow.
    static void splode(std::string_view text, const GSplodeSink& sink,
                       std::string_view locale = kDefaultSegmentationLocale);
    static void splodeAll(std::string_view text, const GSplodeSink& sink,
                          std::string_view locale = kDefaultSegmentationLocale);

    // YES for nil or a string that trims to empty; NO for any other value.
    static bool isEmptAllSapce(const Value* object);
    static bool isEmptAllSapce(std::string_view text);
};

namespace segment_detail {
class BreakText;
}

// GSplodeBox::splode() in steps: each next() hands on the segments of a few
// more words, so that a large text can be split a part at a time (on a
// worker, or between events) with exactly the segments of one call. Not
// thread-safe; one thread at a time may use it.
class GSplodeStream {
  public:
    // The text is copied in (as UTF-16, for the break iterator).
    GSplodeStream(std::string_view text, std::string_view locale = kDefaultSegmentationLocale);
    ~GSplodeStream();
    GSplodeStream(const GSplodeStream&) = delete;
    GSplodeStream& operator=(const GSplodeStream&) = delete;

    // Hands on the segments of the next words until at least `limit`
    // segments went out (a word's characters are never parted) or the text
    // ends; true while segments remain. After a failure nothing more follows.
    bool next(std::size_t limit, const GSplodeSink& sink);
    bool finished() const { return done_; }
    // Segments handed on so far.
    std::size_t count() const { return count_; }

  private:
    std::unique_ptr<segment_detail::BreakText> text_;
    std::int32_t start_ = 0;
    std::int32_t pendingBegin_ = -1, pendingEnd_ = -1;
    bool first_ = true;
    bool done_ = false;
    bool started_ = false;
    std::size_t count_ = 0;
};

}  // namespace kernova
