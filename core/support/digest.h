// Hexadecimal message digests of text and bytes. The results are lowercase hex,
// two digits per byte, most significant byte first. Empty input gives nullopt.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/value.h"

namespace kernova {

// MD5 of the text's UTF-8 bytes up to the first NUL (32 digits). Signs translation
// requests, so the byte rule must match what the servers compute.
std::optional<std::string> rf_EncryptMD5(std::string_view text);

// SHA-1 over exactly utf16Length(text) bytes of the UTF-8 bytes (40 digits). For
// non-ASCII text this is only a prefix of the bytes; peers compute the same value,
// so the rule is kept.
std::optional<std::string> rf_EncryptSHA1(std::string_view text);
std::optional<std::string> RF_EncryptSHA1(const Bytes& bytes);

// SHA-256 of the text's ASCII bytes up to the first NUL (64 digits); text with a
// non-ASCII character has no ASCII form and gives nullopt.
std::optional<std::string> rf_EncryptSHA256(std::string_view text);
std::optional<std::string> RF_EncryptSHA256(const Bytes& bytes);

}  // namespace kernova
