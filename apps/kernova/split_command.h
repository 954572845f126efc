// `kernova split`: splits a text into segments and prints them as they are
// found, so that a large text never holds all of its segments at once.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "segment/splode_box.h"

namespace kernova::cli {

struct SplitOptions {
    enum class Mode { splode, all, option };
    Mode mode = Mode::splode;
    std::uint64_t option = 0;
    bool json = false;
    bool help = false;
    // Absent (or "-") means stdin.
    std::optional<std::string> text;
};

struct SplitParse {
    std::optional<SplitOptions> options;
    std::string error;  // set when options is absent
};

inline constexpr std::string_view kSplitUsage =
    "usage: kernova split [--all | --option N] [--json] [TEXT]";

// Parses the arguments that follow "split".
SplitParse parseSplitArguments(std::span<const std::string> args);

// Prints segments as they come: one line per segment (its JSON literal, then
// " symbol" for symbol segments), or one JSON array of {"text", "symbol"}
// objects followed by a newline.
class SegmentPrinter {
  public:
    SegmentPrinter(std::ostream& out, bool json) : out_(out), json_(json) {}
    void print(const GSplodeItem& item);
    // Ends the output; call once, after the last segment.
    void finish();

  private:
    std::ostream& out_;
    bool json_;
    bool first_ = true;
};

// Every segment of `items` as SegmentPrinter prints them.
std::string formatSegments(const std::vector<GSplodeItem>& items, bool json);

// Runs the command; returns the exit status.
int runSplit(std::span<const std::string> args, std::istream& in, std::ostream& out,
             std::ostream& err);

}  // namespace kernova::cli
