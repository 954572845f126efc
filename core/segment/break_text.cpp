#include "segment/break_text.h"

#include <unicode/locid.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>

#include <stdexcept>

#include "base/text.h"

namespace kernova::segment_detail {
namespace {

void check(UErrorCode status, const char* what) {
    if (U_FAILURE(status)) throw std::runtime_error(std::string(what) + ": " + u_errorName(status));
}

bool isHighSurrogate(char16_t c) {
    return c >= 0xD800 && c <= 0xDBFF;
}
bool isLowSurrogate(char16_t c) {
    return c >= 0xDC00 && c <= 0xDFFF;
}

std::size_t utf8Length(char32_t c) {
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

char* writeUtf8(char* p, char32_t c) {
    auto byte = [](char32_t b) { return static_cast<char>(b); };
    if (c < 0x80) {
        *p++ = byte(c);
    } else if (c < 0x800) {
        *p++ = byte(0xC0 | (c >> 6));
        *p++ = byte(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        *p++ = byte(0xE0 | (c >> 12));
        *p++ = byte(0x80 | ((c >> 6) & 0x3F));
        *p++ = byte(0x80 | (c & 0x3F));
    } else {
        *p++ = byte(0xF0 | (c >> 18));
        *p++ = byte(0x80 | ((c >> 12) & 0x3F));
        *p++ = byte(0x80 | ((c >> 6) & 0x3F));
        *p++ = byte(0x80 | (c & 0x3F));
    }
    return p;
}

// Characters of the "Other" grapheme cluster class join nothing on either side.
bool isPlainCluster(char32_t c) {
    return u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_GRAPHEME_CLUSTER_BREAK) ==
           U_GCB_OTHER;
}

}  // namespace

bool isWordStatus(std::int32_t status) {
    return status >= UBRK_WORD_NONE_LIMIT;
}

BreakText::BreakText(std::string_view utf8, std::string_view locale)
    : locale_(locale), utf16_(toUtf16(utf8)) {
    // toUtf16 gives up on texts too large for ICU's 32-bit indexes; they split
    // as the empty text does.
    length_ = static_cast<std::int32_t>(utf16_.size());
    UErrorCode status = U_ZERO_ERROR;
    utext_.reset(utext_openUChars(nullptr, utf16_.data(), length_, &status));
    check(status, "utext_openUChars");
}

std::unique_ptr<icu::BreakIterator> BreakText::open(bool words) {
    UErrorCode status = U_ZERO_ERROR;
    // Never the process's default locale: that depends on how the process was
    // started, and the same text must split the same way everywhere.
    const icu::Locale locale(locale_.c_str());
    std::unique_ptr<icu::BreakIterator> it(
        words ? icu::BreakIterator::createWordInstance(locale, status)
              : icu::BreakIterator::createCharacterInstance(locale, status));
    check(status, words ? "createWordInstance" : "createCharacterInstance");
    if (!it) throw std::runtime_error("no break iterator");
    it->setText(utext_.get(), status);
    check(status, "BreakIterator::setText");
    return it;
}

icu::BreakIterator& BreakText::words() {
    if (!words_) words_ = open(true);
    return *words_;
}

std::int32_t BreakText::clusterEnd(std::int32_t pos, std::int32_t limit) {
    std::int32_t second = pos + codePointLength(pos);
    if (second >= limit) return limit;
    // Two neighbours of the plain "Other" cluster class always have a boundary
    // between them, and ASCII pairs do except inside CR LF; this spares the
    // iterator for the common spaces, punctuation and CJK marks.
    char32_t c = codePointAt(pos);
    char32_t next = codePointAt(second);
    if (c < 0x80 && next < 0x80) {
        if (!(c == u'\r' && next == u'\n')) return second;
    } else if (isPlainCluster(c) && isPlainCluster(next)) {
        return second;
    }
    if (!characters_) characters_ = open(false);
    std::int32_t end = characters_->following(pos);
    return end == icu::BreakIterator::DONE || end > limit ? limit : end;
}

std::int32_t BreakText::codePointLength(std::int32_t pos) const {
    auto i = static_cast<std::size_t>(pos);
    bool pair =
        isHighSurrogate(utf16_[i]) && i + 1 < utf16_.size() && isLowSurrogate(utf16_[i + 1]);
    return pair ? 2 : 1;
}

char32_t BreakText::codePointAt(std::int32_t pos) const {
    auto i = static_cast<std::size_t>(pos);
    char16_t c = utf16_[i];
    if (codePointLength(pos) == 1) return isHighSurrogate(c) || isLowSurrogate(c) ? 0xFFFD : c;
    return 0x10000 + ((c - 0xD800u) << 10) + (utf16_[i + 1] - 0xDC00u);
}

std::string BreakText::slice(std::int32_t begin, std::int32_t end) const {
    // A UTF-16 unit never needs more than 3 bytes (a pair of them, 4): short
    // slices (nearly all tags) are written once into a buffer on the stack.
    constexpr std::int32_t kShortUnits = 32;
    if (end - begin <= kShortUnits) {
        char buffer[kShortUnits * 3];
        char* p = buffer;
        for (std::int32_t i = begin; i < end; i += codePointLength(i)) {
            p = writeUtf8(p, codePointAt(i));
        }
        return std::string(buffer, static_cast<std::size_t>(p - buffer));
    }
    // Two passes: the exact size first, so that the bytes are written in place.
    std::size_t size = 0;
    for (std::int32_t i = begin; i < end; i += codePointLength(i)) {
        size += utf8Length(codePointAt(i));
    }
    std::string out(size, '\0');
    char* p = out.data();
    for (std::int32_t i = begin; i < end; i += codePointLength(i)) {
        p = writeUtf8(p, codePointAt(i));
    }
    return out;
}

bool BreakText::isAllWhitespace(std::int32_t begin, std::int32_t end) const {
    for (std::int32_t i = begin; i < end; i += codePointLength(i)) {
        if (!isWhitespaceOrNewline(codePointAt(i))) return false;
    }
    return true;
}

BreakText::Span BreakText::checkedRange(std::int64_t location, std::int64_t length) const {
    if (location < 0 || length < 0 || location > length_ || length > length_ - location) {
        throw std::out_of_range("range {" + std::to_string(location) + ", " +
                                std::to_string(length) + "} out of bounds; length " +
                                std::to_string(length_));
    }
    return {static_cast<std::int32_t>(location), static_cast<std::int32_t>(location + length)};
}

}  // namespace kernova::segment_detail
