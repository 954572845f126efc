// `kernova layout`: splits a text into tags and lays them out on a tag board
// of a given width with the board's defaults, printing every tag's frame as
// it is placed, then the content size.
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ui/geometry.h"
#include "ui/text_measurer.h"

namespace kernova {
class Context;
}  // namespace kernova

namespace kernova::cli {

inline constexpr std::string_view kLayoutUsage =
    "usage: kernova layout [--width W] [--fixed-metrics] [--json] [TEXT]";

struct LayoutOptions {
    double width = 375;
    bool fixedMetrics = false;
    bool json = false;
    bool help = false;
    // Absent (or "-") means standard input.
    std::optional<std::string> text;
};

struct LayoutParse {
    std::optional<LayoutOptions> options;
    std::string error;  // set when options is absent
};

// Parses the arguments that follow "layout".
LayoutParse parseLayoutArguments(std::span<const std::string> args);

// Called for each tag in board order with its text and frame.
using TagFrameSink = std::function<void(std::string_view text, const ui::Rect& frame)>;

// Segments `text`, makes one tag per segment with the default appearance (its
// font size read once from the settings of `context`), lays them out `width`
// wide, hands every frame to `sink` as it is placed, and returns the content
// size. Besides the text it keeps about 8 bytes per tag.
ui::Size layoutText(const Context& context, const ui::TextMeasurer& measurer, std::string_view text,
                    double width, const TagFrameSink& sink);

int runLayout(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err);

}  // namespace kernova::cli
