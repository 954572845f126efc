// `kernova apps [--json]` lists the applications Kernova can be enabled in
// (their desktop entries, as kernovad answers "fun.quorle.kernova.getapps"),
// marking the enabled ones; `kernova apps --enable ID…` and `--disable ID…`
// edit the enabled-applications file whole and atomically, then tell running
// processes to read it again.
#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

#include "kernova/settings_command.h"

namespace kernova::cli {

inline constexpr std::string_view kAppsUsage =
    "usage: kernova apps [--json] | --enable ID... | --disable ID...";

int runApps(std::span<const std::string> args, std::istream& in, std::ostream& out,
            std::ostream& err, const ReloadAnnouncer& announce);

}  // namespace kernova::cli
