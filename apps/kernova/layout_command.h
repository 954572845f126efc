// `kernova layout`: splits a text into tags and lays them out on a tag board
// of a given width with the board's defaults, printing every tag's frame and
// the content size.
#pragma once

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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

struct TagFrame {
    std::string text;
    ui::Rect frame;
};
struct BoardLayout {
    std::vector<TagFrame> tags;
    ui::Size contentSize;
};

// Segments `text`, makes one tag per segment with the default appearance (its
// font size read from the settings of `context`) and lays them out `width` wide.
BoardLayout layoutText(const Context& context, const ui::TextMeasurer& measurer,
                       std::string_view text, double width);

std::string formatLayoutPlain(const BoardLayout& layout);
std::string formatLayoutJson(const BoardLayout& layout);

int runLayout(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err);

}  // namespace kernova::cli
