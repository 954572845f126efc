// `kernova prefs [--first-run] [URL]`: the preferences window. The window is a
// program of its own (kernova-prefs, Qt Widgets), started in this process's
// place, so that the other subcommands never load Widgets.
#pragma once

#include <iosfwd>
#include <span>
#include <string>

namespace kernova::cli {

int runPrefs(std::span<const std::string> args, std::istream& in, std::ostream& out,
             std::ostream& err);

}  // namespace kernova::cli
