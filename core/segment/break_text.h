// Internal to the segmenter: one text in UTF-16 with the ICU break iterators
// that walk it. Positions and lengths are in UTF-16 units.
#pragma once

#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace kernova::segment_detail {

// ICU word rule status at or above this marks a word (number, letter, kana, ideograph).
bool isWordStatus(std::int32_t status);

class BreakText {
  public:
    // Invalid UTF-8 is read as U+FFFD; the break rules are `locale`'s (an ICU
    // locale id). Throws std::runtime_error when ICU fails.
    BreakText(std::string_view utf8, std::string_view locale);

    std::int32_t length() const { return length_; }
    bool empty() const { return length_ == 0; }

    // The word break iterator, created on first use and kept for the whole text.
    icu::BreakIterator& words();
    // The end of the composed character sequence that starts at `pos`, never beyond
    // `limit`, as if the text ended there.
    std::int32_t clusterEnd(std::int32_t pos, std::int32_t limit);

    // The characters in [begin, end) as UTF-8.
    std::string slice(std::int32_t begin, std::int32_t end) const;
    // True when every character in [begin, end) is white space or a newline
    // (as GSplodeBox::isEmptAllSapce reads the same characters in UTF-8).
    bool isAllWhitespace(std::int32_t begin, std::int32_t end) const;
    // [location, location + length) as a span; throws std::out_of_range when the
    // range does not lie within the text, as a substring request would.
    struct Span {
        std::int32_t begin = 0;
        std::int32_t end = 0;
    };
    Span checkedRange(std::int64_t location, std::int64_t length) const;

  private:
    struct UTextCloser {
        void operator()(UText* t) const { utext_close(t); }
    };
    std::unique_ptr<icu::BreakIterator> open(bool words);
    // 2 at a surrogate pair, else 1; a lone surrogate reads as U+FFFD.
    std::int32_t codePointLength(std::int32_t pos) const;
    char32_t codePointAt(std::int32_t pos) const;

    std::string locale_;
    std::u16string utf16_;
    std::int32_t length_ = 0;
    std::unique_ptr<UText, UTextCloser> utext_;
    std::unique_ptr<icu::BreakIterator> words_;
    std::unique_ptr<icu::BreakIterator> characters_;
};

}  // namespace kernova::segment_detail
