#include "support/gtm_base64.h"

#include <limits>
#include <string_view>

namespace kernova {
namespace {

constexpr char kStandardAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kWebSafeAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr std::uint8_t kPad = '=';

constexpr GTMBase64::DecodeTable makeDecodeTable(std::string_view alphabet) {
    GTMBase64::DecodeTable table{};
    table.fill(GTMBase64::kInvalid);
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        table[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return table;
}

constexpr GTMBase64::DecodeTable kStandardTable = makeDecodeTable(kStandardAlphabet);
constexpr GTMBase64::DecodeTable kWebSafeTable = makeDecodeTable(kWebSafeAlphabet);

// Bytes that count as white space anywhere in encoded input.
constexpr std::array<bool, 256> makeSkippable() {
    std::array<bool, 256> set{};
    for (const int c : {9, 10, 11, 12, 13, 32, 160, 255})
        set[static_cast<std::size_t>(c)] = true;
    return set;
}
constexpr std::array<bool, 256> kSkippable = makeSkippable();

constexpr bool isSkippable(std::uint8_t c) {
    return kSkippable[c];
}

// The length checks below are internal consistency checks: with correct length
// arithmetic they never fire. A failure makes
// the operation fail softly (the core returns 0, the wrappers nullopt) instead
// of aborting the process.
std::size_t internalError([[maybe_unused]] std::string_view what) {
    return 0;
}

// floor((8n + 5) / 6) characters, rounded up to a multiple of 4 when padded,
// computed per 3-byte group so that it cannot overflow; 0 when it would not fit.
std::size_t encodedLength(std::size_t n, bool padded) {
    const std::size_t groups = n / 3;
    const std::size_t rest = n % 3;
    if (groups > (std::numeric_limits<std::size_t>::max() - 4) / 4) return 0;
    if (rest == 0) return groups * 4;
    return groups * 4 + (padded ? 4 : rest + 1);
}

// ((n + 3) / 4) * 3 bytes of room, without the overflow of n + 3.
std::size_t decodedRoom(std::size_t n) {
    return (n / 4 + (n % 4 != 0 ? 1 : 0)) * 3;
}

std::uint8_t sextet(const char* charset, unsigned value) {
    return static_cast<std::uint8_t>(charset[value & 0x3f]);
}

// Places 6-bit values into the output, one state per position in a group of four.
struct Decoder {
    std::uint8_t* dest;
    std::size_t destLen;
    std::size_t index = 0;
    int state = 0;

    bool place(std::uint8_t v) {
        switch (state) {
            case 0:
                if (index >= destLen) return false;
                dest[index] = static_cast<std::uint8_t>(v << 2);
                break;
            case 1:
                if (index + 1 >= destLen) return false;
                dest[index] = static_cast<std::uint8_t>(dest[index] | (v >> 4));
                dest[++index] = static_cast<std::uint8_t>(v << 4);
                break;
            case 2:
                if (index + 1 >= destLen) return false;
                dest[index] = static_cast<std::uint8_t>(dest[index] | (v >> 2));
                dest[++index] = static_cast<std::uint8_t>(v << 6);
                break;
            default:
                if (index >= destLen) return false;
                dest[index] = static_cast<std::uint8_t>(dest[index] | v);
                ++index;
                break;
        }
        state = (state + 1) % 4;
        return true;
    }

    // Fast path at the start of a group: four alphabet characters in a row become
    // three bytes at once. Anything else (white space, "=", NUL, invalid bytes,
    // the end of the input) is left to place().
    bool placeGroup(const std::uint8_t* src, std::size_t available,
                    const GTMBase64::DecodeTable& table) {
        if (state != 0 || available < 4 || destLen - index < 3) return false;
        const unsigned v0 = table[src[0]], v1 = table[src[1]], v2 = table[src[2]],
                       v3 = table[src[3]];
        if ((v0 | v1 | v2 | v3) >= 64) return false;
        dest[index++] = static_cast<std::uint8_t>((v0 << 2) | (v1 >> 4));
        dest[index++] = static_cast<std::uint8_t>((v1 << 4) | (v2 >> 2));
        dest[index++] = static_cast<std::uint8_t>((v2 << 6) | v3);
        return true;
    }
};

// Position of the next byte at or after `i` that is neither skippable nor past the
// end (a NUL ends the input); `len` when there is none.
std::size_t nextSignificant(const std::uint8_t* src, std::size_t len, std::size_t i) {
    while (i < len && src[i] != 0 && isSkippable(src[i]))
        ++i;
    return (i < len && src[i] != 0) ? i : len;
}

// Checks what follows the first "=" (at i - 1): a second "=" when only two
// characters of the group were seen, then nothing but skippable bytes.
bool paddingIsValid(const std::uint8_t* src, std::size_t len, std::size_t i, int state) {
    if (state < 2) return false;
    if (state == 2) {
        i = nextSignificant(src, len, i);
        if (i == len || src[i] != kPad) return false;
        ++i;
    }
    return nextSignificant(src, len, i) == len;
}

}  // namespace

std::size_t GTMBase64::baseEncode(const std::uint8_t* srcBytes, std::size_t srcLen,
                                  std::uint8_t* destBytes, std::size_t destLen, const char* charset,
                                  bool padded) {
    if (srcBytes == nullptr || destBytes == nullptr || srcLen == 0 || destLen == 0 ||
        charset == nullptr) {
        return 0;
    }
    std::size_t out = 0;
    std::size_t i = 0;
    for (; srcLen - i >= 3; i += 3) {
        if (destLen - out < 4) return internalError("our calc for encoded length was wrong");
        const unsigned b0 = srcBytes[i], b1 = srcBytes[i + 1], b2 = srcBytes[i + 2];
        destBytes[out++] = sextet(charset, b0 >> 2);
        destBytes[out++] = sextet(charset, ((b0 & 3) << 4) | (b1 >> 4));
        destBytes[out++] = sextet(charset, ((b1 & 15) << 2) | (b2 >> 6));
        destBytes[out++] = sextet(charset, b2 & 63);
    }
    const std::size_t rest = srcLen - i;
    if (rest == 0) return out;
    const std::size_t chars = rest + 1;
    const std::size_t pads = padded ? 3 - rest : 0;
    if (destLen - out < chars + pads) {
        return internalError("our calc for encoded length was wrong");
    }
    const unsigned b0 = srcBytes[i];
    const unsigned b1 = rest == 2 ? srcBytes[i + 1] : 0;
    destBytes[out++] = sextet(charset, b0 >> 2);
    destBytes[out++] = sextet(charset, ((b0 & 3) << 4) | (b1 >> 4));
    if (rest == 2) destBytes[out++] = sextet(charset, (b1 & 15) << 2);
    for (std::size_t p = 0; p < pads; ++p)
        destBytes[out++] = kPad;
    return out;
}

std::size_t GTMBase64::baseDecode(const std::uint8_t* srcBytes, std::size_t srcLen,
                                  std::uint8_t* destBytes, std::size_t destLen,
                                  const DecodeTable& charset, bool requirePadding) {
    if (srcBytes == nullptr || destBytes == nullptr || srcLen == 0 || destLen == 0) return 0;
    Decoder decoder{destBytes, destLen};
    bool sawPad = false;
    std::size_t i = 0;
    for (; i < srcLen && srcBytes[i] != 0; ++i) {
        while (decoder.placeGroup(srcBytes + i, srcLen - i, charset))
            i += 4;
        if (i >= srcLen || srcBytes[i] == 0) break;
        const std::uint8_t c = srcBytes[i];
        if (isSkippable(c)) continue;
        if (c == kPad) {
            sawPad = true;
            ++i;
            break;
        }
        const std::uint8_t v = charset[c];
        if (v == kInvalid) return 0;
        if (!decoder.place(v)) return internalError("our calc for decoded length was wrong");
    }
    if (sawPad) {
        if (!paddingIsValid(srcBytes, srcLen, i, decoder.state)) return 0;
    } else if (requirePadding ? decoder.state != 0 : decoder.state == 1) {
        return 0;
    }
    // Leftover bits of a partly filled last byte must be zero (canonical input).
    if (decoder.state >= 2 && decoder.index < destLen && destBytes[decoder.index] != 0) return 0;
    return decoder.index;
}

std::optional<Bytes> GTMBase64::baseEncode(const void* bytes, std::size_t length,
                                           const char* charset, bool padded) {
    if (bytes == nullptr || length == 0) return std::nullopt;
    const std::size_t expected = encodedLength(length, padded);
    if (expected == 0) {
        internalError("input too large to encode");
        return std::nullopt;
    }
    Bytes result(expected);
    const std::size_t written = baseEncode(static_cast<const std::uint8_t*>(bytes), length,
                                           result.data(), result.size(), charset, padded);
    if (written == 0) return std::nullopt;
    if (written != expected) {
        internalError("how did we calc the length wrong?");
        return std::nullopt;
    }
    return result;
}

std::optional<Bytes> GTMBase64::baseDecode(const void* bytes, std::size_t length,
                                           const DecodeTable& charset, bool requirePadding) {
    if (bytes == nullptr || length == 0) return std::nullopt;
    Bytes result(decodedRoom(length), 0);
    const std::size_t written = baseDecode(static_cast<const std::uint8_t*>(bytes), length,
                                           result.data(), result.size(), charset, requirePadding);
    if (written == 0) return std::nullopt;
    result.resize(written);
    return result;
}

namespace {

std::optional<std::string> asText(std::optional<Bytes> encoded) {
    if (!encoded) return std::nullopt;
    return std::string(encoded->begin(), encoded->end());
}

}  // namespace

std::optional<Bytes> GTMBase64::encodeData(const Bytes& data) {
    return baseEncode(data.data(), data.size(), kStandardAlphabet, true);
}

std::optional<Bytes> GTMBase64::encodeBytes(const void* bytes, std::size_t length) {
    return baseEncode(bytes, length, kStandardAlphabet, true);
}

std::optional<std::string> GTMBase64::stringByEncodingData(const Bytes& data) {
    return asText(encodeData(data));
}

std::optional<std::string> GTMBase64::stringByEncodingBytes(const void* bytes, std::size_t length) {
    return asText(encodeBytes(bytes, length));
}

std::optional<Bytes> GTMBase64::decodeData(const Bytes& data) {
    return baseDecode(data.data(), data.size(), kStandardTable, true);
}

std::optional<Bytes> GTMBase64::decodeBytes(const void* bytes, std::size_t length) {
    return baseDecode(bytes, length, kStandardTable, true);
}

std::optional<Bytes> GTMBase64::decodeString(const std::string& text) {
    return baseDecode(text.data(), text.size(), kStandardTable, true);
}

std::optional<Bytes> GTMBase64::webSafeEncodeData(const Bytes& data, bool padded) {
    return baseEncode(data.data(), data.size(), kWebSafeAlphabet, padded);
}

std::optional<Bytes> GTMBase64::webSafeEncodeBytes(const void* bytes, std::size_t length,
                                                   bool padded) {
    return baseEncode(bytes, length, kWebSafeAlphabet, padded);
}

std::optional<std::string> GTMBase64::stringByWebSafeEncodingData(const Bytes& data, bool padded) {
    return asText(webSafeEncodeData(data, padded));
}

std::optional<std::string> GTMBase64::stringByWebSafeEncodingBytes(const void* bytes,
                                                                   std::size_t length,
                                                                   bool padded) {
    return asText(webSafeEncodeBytes(bytes, length, padded));
}

std::optional<Bytes> GTMBase64::webSafeDecodeData(const Bytes& data) {
    return baseDecode(data.data(), data.size(), kWebSafeTable, false);
}

std::optional<Bytes> GTMBase64::webSafeDecodeBytes(const void* bytes, std::size_t length) {
    return baseDecode(bytes, length, kWebSafeTable, false);
}

std::optional<Bytes> GTMBase64::webSafeDecodeString(const std::string& text) {
    return baseDecode(text.data(), text.size(), kWebSafeTable, false);
}

}  // namespace kernova
