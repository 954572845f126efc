#include "support/base64_categories.h"

#include <array>
#include <cstdint>

#include "base/text.h"

namespace kernova {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNotInAlphabet = 0xff;
constexpr std::string_view kLineBreak = "\r\n";

constexpr std::array<std::uint8_t, 256> makeValues() {
    std::array<std::uint8_t, 256> values{};
    values.fill(kNotInAlphabet);
    for (std::size_t i = 0; i < 64; ++i) {
        values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return values;
}

constexpr std::array<std::uint8_t, 256> kValues = makeValues();

char sextet(unsigned value) {
    return kAlphabet[value & 0x3f];
}

std::string encodeUnbroken(const Bytes& data) {
    std::string out;
    out.reserve((data.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; data.size() - i >= 3; i += 3) {
        const unsigned group =
            (unsigned{data[i]} << 16) | (unsigned{data[i + 1]} << 8) | unsigned{data[i + 2]};
        out += {sextet(group >> 18), sextet(group >> 12), sextet(group >> 6), sextet(group)};
    }
    const std::size_t rest = data.size() - i;
    if (rest == 0) return out;
    const unsigned b0 = data[i];
    const unsigned b1 = rest == 2 ? data[i + 1] : 0u;
    const unsigned group = (b0 << 16) | (b1 << 8);
    out += {sextet(group >> 18), sextet(group >> 12)};
    out += rest == 2 ? std::string{sextet(group >> 6), '='} : std::string("==");
    return out;
}

// Joins pieces of `pieceLength` characters with "\r\n".
std::string breakLines(const std::string& unbroken, std::size_t pieceLength) {
    std::string out;
    out.reserve(unbroken.size() + unbroken.size() / pieceLength * kLineBreak.size());
    for (std::size_t at = 0; at < unbroken.size(); at += pieceLength) {
        if (at != 0) out += kLineBreak;
        out.append(unbroken, at, pieceLength);
    }
    return out;
}

// The characters that take part in decoding: alphabet letters and "=".
std::optional<std::string> significantCharacters(std::string_view text, bool ignoreUnknown) {
    std::string kept;
    kept.reserve(text.size());
    for (const char c : text) {
        const bool known = c == '=' || kValues[static_cast<unsigned char>(c)] != kNotInAlphabet;
        if (known) {
            kept.push_back(c);
        } else if (!ignoreUnknown) {
            return std::nullopt;
        }
    }
    return kept;
}

// "=" may only close the final group: "xx==" or "xxx=".
bool paddingIsWellPlaced(std::string_view kept) {
    const std::size_t firstPad = kept.find('=');
    if (firstPad == std::string_view::npos) return true;
    const std::size_t groupStart = kept.size() - 4;
    if (firstPad < groupStart + 2) return false;
    return kept.find_first_not_of('=', firstPad) == std::string_view::npos;
}

Bytes decodeGroups(std::string_view kept) {
    Bytes out;
    out.reserve(kept.size() / 4 * 3);
    for (std::size_t at = 0; at < kept.size(); at += 4) {
        unsigned group = 0;
        std::size_t chars = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            const char c = kept[at + k];
            const unsigned v = c == '=' ? 0u : kValues[static_cast<unsigned char>(c)];
            if (c != '=') ++chars;
            group = (group << 6) | v;
        }
        for (std::size_t b = 0; b + 1 < chars; ++b) {
            out.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * b)));
        }
    }
    return out;
}

}  // namespace

std::string platformBase64Encode(const Bytes& data, Base64Lines lines) {
    const std::string unbroken = encodeUnbroken(data);
    switch (lines) {
        case Base64Lines::Width64:
            return breakLines(unbroken, 64);
        case Base64Lines::Width76:
            return breakLines(unbroken, 76);
        case Base64Lines::None:
            break;
    }
    return unbroken;
}

std::optional<Bytes> platformBase64Decode(std::string_view text, bool ignoreUnknownCharacters) {
    const std::optional<std::string> kept = significantCharacters(text, ignoreUnknownCharacters);
    if (!kept || kept->size() % 4 != 0) return std::nullopt;
    if (kept->empty()) return Bytes{};
    if (!paddingIsWellPlaced(*kept)) return std::nullopt;
    return decodeGroups(*kept);
}

std::optional<Bytes> dataWithBase64EncodedString(std::string_view text) {
    if (text.empty()) return std::nullopt;
    std::optional<Bytes> data = platformBase64Decode(text, true);
    if (!data || data->empty()) return std::nullopt;
    return data;
}

std::optional<std::string> base64EncodedStringWithWrapWidth(const Bytes& data,
                                                            std::size_t wrapWidth) {
    if (data.empty()) return std::nullopt;
    if (wrapWidth == 76) return platformBase64Encode(data, Base64Lines::Width76);
    if (wrapWidth == 64) return platformBase64Encode(data, Base64Lines::Width64);
    std::string unbroken = platformBase64Encode(data, Base64Lines::None);
    const std::size_t pieceLength = wrapWidth / 4 * 4;
    if (wrapWidth == 0 || unbroken.size() <= wrapWidth || pieceLength == 0) return unbroken;
    return breakLines(unbroken, pieceLength);
}

std::optional<std::string> base64EncodedString(const Bytes& data) {
    return base64EncodedStringWithWrapWidth(data, 0);
}

std::optional<std::string> stringWithBase64EncodedString(std::string_view text) {
    const std::optional<Bytes> data = dataWithBase64EncodedString(text);
    if (!data) return std::nullopt;
    std::string decoded(data->begin(), data->end());
    if (!isValidUtf8(decoded)) return std::nullopt;
    return decoded;
}

std::optional<std::string> base64EncodedStringWithWrapWidth(std::string_view text,
                                                            std::size_t wrapWidth) {
    const std::string utf8 = repairUtf8(text);
    return base64EncodedStringWithWrapWidth(Bytes(utf8.begin(), utf8.end()), wrapWidth);
}

std::optional<std::string> base64EncodedString(std::string_view text) {
    return base64EncodedStringWithWrapWidth(text, 0);
}

std::optional<std::string> base64DecodedString(std::string_view text) {
    return stringWithBase64EncodedString(text);
}

std::optional<Bytes> base64DecodedData(std::string_view text) {
    return dataWithBase64EncodedString(text);
}

}  // namespace kernova
