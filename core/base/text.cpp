#include "base/text.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

namespace kernova {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

std::uint8_t byteAt(std::string_view s, std::size_t i) {
    return static_cast<std::uint8_t>(s[i]);
}

bool isContinuation(std::uint8_t b) {
    return (b & 0xC0) == 0x80;
}

}  // namespace

char32_t decodeUtf8At(std::string_view s, std::size_t i, std::size_t* len) {
    *len = 1;
    if (i >= s.size()) return kReplacement;
    std::uint8_t b0 = byteAt(s, i);
    if (b0 < 0x80) return b0;
    std::size_t need = 0;
    char32_t cp = 0;
    char32_t min = 0;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
        need = 1, cp = b0 & 0x1Fu, min = 0x80;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        need = 2, cp = b0 & 0x0Fu, min = 0x800;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        need = 3, cp = b0 & 0x07u, min = 0x10000;
    } else {
        return kReplacement;
    }
    for (std::size_t k = 1; k <= need; ++k) {
        if (i + k >= s.size() || !isContinuation(byteAt(s, i + k))) return kReplacement;
        cp = (cp << 6) | (byteAt(s, i + k) & 0x3Fu);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return kReplacement;
    *len = need + 1;
    return cp;
}

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

bool isValidUtf8(std::string_view s) {
    for (std::size_t i = 0; i < s.size();) {
        if (byteAt(s, i) < 0x80) {
            ++i;
            continue;
        }
        std::size_t len = 0;
        char32_t c = decodeUtf8At(s, i, &len);
        if (c == kReplacement && len == 1) return false;
        i += len;
    }
    return true;
}

std::string repairUtf8(std::string_view s) {
    if (isValidUtf8(s)) return std::string(s);
    std::string out;
    out.reserve(s.size() + 8);
    for (std::size_t i = 0; i < s.size();) {
        std::size_t len = 0;
        char32_t c = decodeUtf8At(s, i, &len);
        if (c == kReplacement && len == 1 && byteAt(s, i) >= 0x80) {
            // One U+FFFD per maximal ill-formed subsequence: swallow the valid
            // prefix of a truncated sequence together with its lead byte.
            std::size_t j = i + 1;
            std::uint8_t b0 = byteAt(s, i);
            std::size_t expect = b0 >= 0xF0 && b0 <= 0xF4   ? 3
                                 : b0 >= 0xE0 && b0 <= 0xEF ? 2
                                 : b0 >= 0xC2 && b0 <= 0xDF ? 1
                                                            : 0;
            std::uint8_t lo = 0x80, hi = 0xBF;
            if (b0 == 0xE0) lo = 0xA0;
            if (b0 == 0xED) hi = 0x9F;
            if (b0 == 0xF0) lo = 0x90;
            if (b0 == 0xF4) hi = 0x8F;
            for (std::size_t k = 0; k < expect && j < s.size(); ++k, ++j) {
                std::uint8_t b = byteAt(s, j);
                if (k == 0 ? (b < lo || b > hi) : !isContinuation(b)) break;
            }
            out.append("\xEF\xBF\xBD");
            i = j;
            continue;
        }
        out.append(s.substr(i, len));
        i += len;
    }
    return out;
}

std::size_t utf16Length(std::string_view utf8) {
    std::size_t n = 0;
    for (std::size_t i = 0; i < utf8.size();) {
        std::uint8_t b = byteAt(utf8, i);
        if (b < 0x80) {
            ++n, ++i;
            continue;
        }
        std::size_t len = 0;
        char32_t c = decodeUtf8At(utf8, i, &len);
        n += c >= 0x10000 ? 2 : 1;
        i += len;
    }
    return n;
}

std::u16string toUtf16(std::string_view utf8) {
    std::u16string out;
    if (utf8.empty()) return out;
    if (utf8.size() > static_cast<std::size_t>(INT32_MAX / 2)) return out;
    // No text needs more UTF-16 units than it has UTF-8 bytes: one conversion
    // pass into room of that size. ICU refuses ill-formed input, which is then
    // repaired and converted again.
    auto convert = [&out](std::string_view from) {
        out.resize(from.size());
        int32_t written = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                      &written, from.data(), static_cast<int32_t>(from.size()), &status);
        if (U_FAILURE(status)) return false;
        out.resize(static_cast<std::size_t>(written));
        // Mostly non-Latin text would otherwise keep up to three times its room.
        if (out.capacity() > 2 * out.size() + 64) out.shrink_to_fit();
        return true;
    };
    if (!convert(utf8) && !convert(repairUtf8(utf8))) out.clear();
    return out;
}

std::string fromUtf16(std::u16string_view utf16) {
    std::string out;
    if (utf16.empty()) return out;
    if (utf16.size() > static_cast<std::size_t>(INT32_MAX / 3)) return out;
    int32_t needed = 0;
    UErrorCode status = U_ZERO_ERROR;
    const auto* src = reinterpret_cast<const UChar*>(utf16.data());
    auto srcLen = static_cast<int32_t>(utf16.size());
    // Lone surrogates become U+FFFD rather than failing the conversion.
    u_strToUTF8WithSub(nullptr, 0, &needed, src, srcLen, 0xFFFD, nullptr, &status);
    status = U_ZERO_ERROR;
    out.resize(static_cast<std::size_t>(needed));
    u_strToUTF8WithSub(out.data(), needed, &needed, src, srcLen, 0xFFFD, nullptr, &status);
    if (U_FAILURE(status)) out.clear();
    return out;
}

bool isWhitespaceOrNewline(char32_t c) {
    if ((c >= 0x09 && c <= 0x0D) || c == 0x85) return true;
    if (c < 0x80) return c == 0x20;
    auto cat = static_cast<UCharCategory>(u_charType(static_cast<UChar32>(c)));
    return cat == U_SPACE_SEPARATOR || cat == U_LINE_SEPARATOR || cat == U_PARAGRAPH_SEPARATOR;
}

std::string trimWhitespaceAndNewlines(std::string_view s) {
    std::size_t begin = 0;
    while (begin < s.size()) {
        std::size_t len = 0;
        if (!isWhitespaceOrNewline(decodeUtf8At(s, begin, &len))) break;
        begin += len;
    }
    std::size_t end = s.size();
    while (end > begin) {
        // Step back to the start of the last code point.
        std::size_t start = end - 1;
        while (start > begin && isContinuation(byteAt(s, start)) && end - start < 4)
            --start;
        std::size_t len = 0;
        char32_t c = decodeUtf8At(s, start, &len);
        if (start + len != end) {
            start = end - 1;
            c = kReplacement;
        }
        if (!isWhitespaceOrNewline(c)) break;
        end = start;
    }
    return std::string(s.substr(begin, end - begin));
}

}  // namespace kernova
