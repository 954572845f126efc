// Base64 conveniences on bytes and text, built on the desktop's own codec (the
// standard padded alphabet, optional fixed line lengths) rather than GTMBase64.
// Empty input and failed decodes give nullopt.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "base/value.h"

namespace kernova {

// Line breaking of the codec: none, or lines of 64 or 76 characters joined by
// "\r\n" with no break after the last line.
enum class Base64Lines { None, Width64, Width76 };

// Standard padded encoding of `data` (empty data gives an empty text).
std::string platformBase64Encode(const Bytes& data, Base64Lines lines);

// Decodes the standard alphabet. The characters that count (alphabet and "=")
// must come in groups of four, with "=" only as the last one or two characters
// of the final group; leftover bits of a final partial group are ignored. Bytes
// outside the alphabet fail the decode, or are skipped when
// `ignoreUnknownCharacters` is set. Empty input decodes to empty data.
std::optional<Bytes> platformBase64Decode(std::string_view text, bool ignoreUnknownCharacters);

// --- Bytes ---

// Decodes ignoring unknown characters; nullopt for empty text, a failed decode
// or zero decoded bytes.
std::optional<Bytes> dataWithBase64EncodedString(std::string_view text);

// Width 76 and 64 use the codec's line lengths. Any other width: the unbroken
// encoding, cut into pieces of the width rounded down to a multiple of 4 and
// joined by "\r\n" when the width is not 0 and the encoding is longer than it.
// Widths 1 to 3 round down to 0 and give the unbroken encoding.
std::optional<std::string> base64EncodedStringWithWrapWidth(const Bytes& data,
                                                            std::size_t wrapWidth);
std::optional<std::string> base64EncodedString(const Bytes& data);

// --- Text (UTF-8; invalid sequences are repaired before encoding) ---

// Decodes as dataWithBase64EncodedString and reads the bytes as UTF-8; nullopt
// when decoding fails or the bytes are not valid UTF-8.
std::optional<std::string> stringWithBase64EncodedString(std::string_view text);
std::optional<std::string> base64EncodedStringWithWrapWidth(std::string_view text,
                                                            std::size_t wrapWidth);
std::optional<std::string> base64EncodedString(std::string_view text);
std::optional<std::string> base64DecodedString(std::string_view text);
std::optional<Bytes> base64DecodedData(std::string_view text);

}  // namespace kernova
