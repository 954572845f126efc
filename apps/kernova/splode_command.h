// `kernova splode`: opens the panel on a text, as the selection menu's entry
// does: sends "notifySplode" with "callFromResponder" = YES and the text as
// "selection". The text comes from the arguments, standard input, or the X11
// PRIMARY selection or CLIPBOARD.
#pragma once

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/value.h"

namespace kernova::cli {

inline constexpr std::string_view kSplodeUsage =
    "usage: kernova splode [--] TEXT | - | --primary | --clipboard\n"
    "  -            read the text from standard input\n"
    "  --primary    the current X11 selection (PRIMARY)\n"
    "  --clipboard  the clipboard";

struct SplodeOptions {
    enum class Source { argument, standardInput, primary, clipboard };
    Source source = Source::argument;
    std::string text;  // for Source::argument
    bool help = false;
};

struct SplodeParse {
    std::optional<SplodeOptions> options;
    std::string error;  // set when options is absent
};

SplodeParse parseSplodeArguments(std::span<const std::string> args);

// The dictionary of the request.
Value splodeUserInfo(std::string_view text);

// Reads the PRIMARY selection (primary) or the CLIPBOARD through Qt. Absent, with
// `error` set, when there is no display or the display has no such selection.
std::optional<std::string> readSystemSelection(bool primary, std::string& error);

// Reads a selection (PRIMARY when `primary`, else the clipboard).
using SelectionReader = std::optional<std::string> (*)(bool primary, std::string& error);

// The command, with the selections read by `read` (none: they are refused).
int runSplodeReading(std::span<const std::string> args, std::istream& in, std::ostream& out,
                     std::ostream& err, SelectionReader read);
// The command with readSystemSelection (Qt Gui).
int runSplode(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err);

}  // namespace kernova::cli
