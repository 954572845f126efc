// GTMBase64: base64 over byte buffers in the standard alphabet (padded, padding
// required on decode) and the web-safe alphabet ("-" and "_"; padding optional).
// Every operation gives nullopt for empty input and for a failed decode.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "base/value.h"

namespace kernova {

class GTMBase64 {
  public:
    // Value of a byte in the decode tables when it is not part of the alphabet.
    static constexpr std::uint8_t kInvalid = 99;
    using DecodeTable = std::array<std::uint8_t, 256>;

    static std::optional<Bytes> encodeData(const Bytes& data);
    static std::optional<Bytes> encodeBytes(const void* bytes, std::size_t length);
    static std::optional<std::string> stringByEncodingData(const Bytes& data);
    static std::optional<std::string> stringByEncodingBytes(const void* bytes, std::size_t length);

    static std::optional<Bytes> decodeData(const Bytes& data);
    static std::optional<Bytes> decodeBytes(const void* bytes, std::size_t length);
    static std::optional<Bytes> decodeString(const std::string& text);

    static std::optional<Bytes> webSafeEncodeData(const Bytes& data, bool padded);
    static std::optional<Bytes> webSafeEncodeBytes(const void* bytes, std::size_t length,
                                                   bool padded);
    static std::optional<std::string> stringByWebSafeEncodingData(const Bytes& data, bool padded);
    static std::optional<std::string> stringByWebSafeEncodingBytes(const void* bytes,
                                                                   std::size_t length, bool padded);

    static std::optional<Bytes> webSafeDecodeData(const Bytes& data);
    static std::optional<Bytes> webSafeDecodeBytes(const void* bytes, std::size_t length);
    static std::optional<Bytes> webSafeDecodeString(const std::string& text);

  private:
    // Allocate the output, run the core, trim. nullopt when the core writes nothing.
    static std::optional<Bytes> baseEncode(const void* bytes, std::size_t length,
                                           const char* charset, bool padded);
    static std::optional<Bytes> baseDecode(const void* bytes, std::size_t length,
                                           const DecodeTable& charset, bool requirePadding);

    // The cores return the number of bytes written, 0 on failure or when the
    // source, destination or either length is missing. They never touch memory
    // outside [src, src + srcLen) and [dest, dest + destLen).
    static std::size_t baseEncode(const std::uint8_t* srcBytes, std::size_t srcLen,
                                  std::uint8_t* destBytes, std::size_t destLen, const char* charset,
                                  bool padded);
    static std::size_t baseDecode(const std::uint8_t* srcBytes, std::size_t srcLen,
                                  std::uint8_t* destBytes, std::size_t destLen,
                                  const DecodeTable& charset, bool requirePadding);
};

}  // namespace kernova
