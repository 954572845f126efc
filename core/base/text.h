// Text helpers. UTF-8 std::string is the text type everywhere; lengths and ranges
// that the user's text model counts (tag positions, digests) are in UTF-16 units,
// as the rest of the system expects.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kernova {

// A range in UTF-16 units.
struct Range16 {
    std::size_t location = 0;
    std::size_t length = 0;
    std::size_t end() const { return location + length; }
    friend bool operator==(const Range16&, const Range16&) = default;
};

// Decodes the code point at byte offset `i`; sets *len to the bytes consumed (at
// least 1). Malformed sequences decode as U+FFFD, one byte at a time.
char32_t decodeUtf8At(std::string_view s, std::size_t i, std::size_t* len);
void appendUtf8(std::string& out, char32_t c);

// True when `s` is well-formed UTF-8 (no surrogates, no overlongs, <= U+10FFFF).
bool isValidUtf8(std::string_view s);
// Replaces every maximal ill-formed subsequence with U+FFFD. Used wherever text
// enters from outside (files, messages, stdin, the clipboard).
std::string repairUtf8(std::string_view s);

std::size_t utf16Length(std::string_view utf8);
std::u16string toUtf16(std::string_view utf8);
std::string fromUtf16(std::u16string_view utf16);

// The white-space-and-newline set: Unicode Z categories, U+0009 to U+000D and U+0085.
bool isWhitespaceOrNewline(char32_t c);
// Removes characters of that set from both ends.
std::string trimWhitespaceAndNewlines(std::string_view s);

}  // namespace kernova
