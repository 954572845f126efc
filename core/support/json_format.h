// JSON values written as text the way the services' answers are read: a text
// as it is, a number in decimal, a boolean as 1 or 0, null as "<null>", a
// missing value as "(null)", and a container as its indented JSON text.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace kernova {

// Appends `value` (null: missing) to `out` as described above.
void appendJsonFormatted(std::string& out, const nlohmann::json* value);

// The member `key` of `object`; null when it is no object or lacks the key.
const nlohmann::json* jsonMember(const nlohmann::json& object, const char* key);

}  // namespace kernova
