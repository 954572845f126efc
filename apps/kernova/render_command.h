// `kernova render`: paints the tag board of a text, as the panel shows it,
// into a PNG image, offscreen: no display is needed.
#pragma once

#include <QImage>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "panel/board_overlay.h"
#include "ui/application.h"

namespace kernova::cli {

inline constexpr std::string_view kRenderUsage =
    "usage: kernova render --text TEXT|- [--width W] [--height H] --out FILE.png";

// The largest side accepted, in points (one pixel each): a bigger image would
// take gigabytes of memory.
inline constexpr double kMaxRenderSide = 16384;

struct RenderOptions {
    double width = 375;
    // Absent: the board's content height.
    std::optional<double> height;
    bool help = false;
    // Absent means standard input ("--text -").
    std::optional<std::string> text;
    std::string out;
};

struct RenderParse {
    std::optional<RenderOptions> options;
    std::string error;  // set when options is absent
};

// Parses the arguments that follow "render".
RenderParse parseRenderArguments(std::span<const std::string> args);

// Shows the board of `text` in `application`, in the plain style, on a window
// `width` points wide at the origin and `height` tall (the content's height,
// at most kMaxRenderSide, when `height` is 0 or less). Only the tags inside
// the window get cells.
std::shared_ptr<BoardOverlay> showBoard(ui::Application& application, std::string_view text,
                                        double width, double height);
// The overlay's window as it shows now, one pixel per point.
QImage renderBoard(BoardOverlay& overlay);
// showBoard then renderBoard, in an application that already runs on a Qt
// GUI application.
QImage renderBoardImage(ui::Application& application, std::string_view text, double width,
                        double height);

// Writes `image` as PNG to `path` in full or not at all (an existing file is
// left as it was on failure). False, with `error` set, on failure.
bool writePng(const QImage& image, const std::string& path, std::string& error);

// Runs the command; makes a Qt GUI application on the offscreen platform when
// the process has none. Returns the exit status.
int runRender(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err);

}  // namespace kernova::cli
