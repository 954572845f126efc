// `kernova set KEY VALUE`, `kernova get KEY` and `kernova get --all`: the
// settings file through the typed key table, until the preferences window
// exists. `set` refuses a value that does not fit the key (status 2, the file
// left as it was), writes the file whole and atomically, then tells running
// processes to read it again.
#pragma once

#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

namespace kernova::cli {

inline constexpr std::string_view kSetUsage = "usage: kernova set KEY VALUE";
inline constexpr std::string_view kGetUsage = "usage: kernova get KEY | --all";

// Posts "fun.quorle.kernova/ReloadPreferences" where running processes hear
// it; may say on `err` why it could not. Absent where there is no bus.
using ReloadAnnouncer = std::function<void(std::ostream& err)>;

int runSet(std::span<const std::string> args, std::istream& in, std::ostream& out,
           std::ostream& err, const ReloadAnnouncer& announce);
int runGet(std::span<const std::string> args, std::istream& in, std::ostream& out,
           std::ostream& err);

}  // namespace kernova::cli
