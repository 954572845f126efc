#include "support/digest.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>

#include "base/text.h"

namespace kernova {
namespace {

std::string toHex(const unsigned char* digest, unsigned int size) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(std::size_t{size} * 2);
    for (unsigned int i = 0; i < size; ++i) {
        hex.push_back(kDigits[digest[i] >> 4]);
        hex.push_back(kDigits[digest[i] & 0x0f]);
    }
    return hex;
}

// One-shot EVP digest; nullopt only when the library refuses the algorithm
// (for example MD5 under a FIPS-only provider).
std::optional<std::string> digestHex(const EVP_MD* md, const void* data, std::size_t size) {
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int outSize = 0;
    if (md == nullptr || EVP_Digest(data, size, out, &outSize, md, nullptr) != 1) {
        return std::nullopt;
    }
    return toHex(out, outSize);
}

// The bytes of `text` before its first NUL.
std::string_view upToNul(std::string_view text) {
    return text.substr(0, std::min(text.find('\0'), text.size()));
}

}  // namespace

std::optional<std::string> rf_EncryptMD5(std::string_view text) {
    if (text.empty()) return std::nullopt;
    const std::string utf8 = repairUtf8(text);
    const std::string_view bytes = upToNul(utf8);
    return digestHex(EVP_md5(), bytes.data(), bytes.size());
}

std::optional<std::string> rf_EncryptSHA1(std::string_view text) {
    if (text.empty()) return std::nullopt;
    const std::string utf8 = repairUtf8(text);
    // A UTF-16 count never exceeds the UTF-8 byte count; the clamp keeps it so.
    const std::size_t count = std::min(utf16Length(utf8), utf8.size());
    return digestHex(EVP_sha1(), utf8.data(), count);
}

std::optional<std::string> RF_EncryptSHA1(const Bytes& bytes) {
    if (bytes.empty()) return std::nullopt;
    return digestHex(EVP_sha1(), bytes.data(), bytes.size());
}

std::optional<std::string> rf_EncryptSHA256(std::string_view text) {
    if (text.empty()) return std::nullopt;
    const bool ascii = std::all_of(text.begin(), text.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (!ascii) return std::nullopt;
    const std::string_view bytes = upToNul(text);
    return digestHex(EVP_sha256(), bytes.data(), bytes.size());
}

std::optional<std::string> RF_EncryptSHA256(const Bytes& bytes) {
    if (bytes.empty()) return std::nullopt;
    return digestHex(EVP_sha256(), bytes.data(), bytes.size());
}

}  // namespace kernova
