// Property-list files: read XML or binary, write XML, whole and atomically.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "base/value.h"

namespace kernova {

// Files larger than this are not read (they read as absent).
inline constexpr std::size_t kMaxPropertyListBytes = 64u << 20;
// Nesting deeper than this is treated as malformed.
inline constexpr int kMaxPropertyListDepth = 256;

// Parses XML or binary property-list bytes. Malformed input gives the absent value.
// Strings that are not valid UTF-8 are repaired (U+FFFD).
Value parsePropertyList(std::string_view bytes);
// Reads a file; a missing, unreadable, oversized or malformed file reads as absent.
Value loadPropertyList(const std::filesystem::path& path);
// Reads a file that must hold a dictionary; anything else reads as absent.
Value loadDictionary(const std::filesystem::path& path);

// XML text of a value; empty when the value is absent or cannot be represented.
std::string serializePropertyListXml(const Value& value);

struct SaveResult {
    bool ok = false;
    std::string error;  // what went wrong, for the caller to report
    explicit operator bool() const { return ok; }
};
// Writes XML to a temporary file in the same folder, flushes it to disk and renames
// it over `path` (creating the folder when missing). On any failure the previous
// file is left untouched and no temporary file remains.
SaveResult savePropertyList(const std::filesystem::path& path, const Value& value);
// Any file, written the same way (the mode of a file it replaces is kept, else 0644).
SaveResult saveFileAtomically(const std::filesystem::path& path, std::string_view bytes);

}  // namespace kernova
