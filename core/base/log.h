// Diagnostics for developers. The system shows users what they must know through
// its own sentences; this log is for internal consistency checks only and is
// compiled out of release builds (NDEBUG).
#pragma once

#include <string_view>

namespace kernova {

// Writes "kernova: <where>: <what>" to standard error in debug builds.
void debugLog(std::string_view where, std::string_view what);

}  // namespace kernova
