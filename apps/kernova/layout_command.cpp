#include "kernova/layout_command.h"

#include <charconv>
#include <cstdint>
#include <deque>
#include <istream>
#include <ostream>

#include "base/context.h"
#include "base/notification_center.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/virtual_run_loop.h"
#include "board/tag_flow_item.h"
#include "board/tag_flow_pass.h"
#include "board/tag_flow_view.h"
#include "kernova/cli.h"
#include "segment/splode_box.h"
#include "sim/sim_text_measurer.h"

namespace kernova::cli {
namespace {

constexpr std::string_view kLayoutHelp =
    "Splits TEXT (or standard input when TEXT is absent or \"-\") into tags and lays\n"
    "them out as the tag board does: left-aligned lines, 15 points of inset above\n"
    "and below, 10 at the sides, 10 between lines and 4 between tags. The tag font\n"
    "size is \"fontSize\" from the settings file (12 when unset).\n"
    "\n"
    "  --width W         the board's width in points (default 375)\n"
    "  --fixed-metrics   measure text with the fixed metrics of the simulated\n"
    "                    device (0.6 x size per narrow character, 1.0 per wide\n"
    "                    one); the only measurer so far\n"
    "  --json            print {\"tags\": [{\"text\", \"x\", \"y\", \"width\",\n"
    "                    \"height\"}...], \"contentSize\": {\"width\", \"height\"}}\n"
    "  --help            show this help\n"
    "\n"
    "Without --json each tag is printed on its own line as a JSON string followed\n"
    "by x, y, width and height, then a last line \"contentSize\" width height.\n";

// Wider boards are no screen; the bound keeps the arithmetic finite.
constexpr double kMaxWidth = 1e9;

constexpr Option kLayoutOptions[] = {{"--width", true}, {"--fixed-metrics"}, {"--json"}};

LayoutParse fail(std::string message) {
    return {std::nullopt, std::move(message)};
}

// Points with at most four decimals, trailing zeros dropped: "242.8", not
// "242.79999999999998".
std::string number(double value) {
    char buffer[64];
    auto [ptr, ec] =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 4);
    if (ec != std::errc()) return "0";
    std::string text(buffer, ptr);
    while (text.back() == '0')
        text.pop_back();
    if (text.back() == '.') text.pop_back();
    return text == "-0" ? "0" : text;
}

}  // namespace

LayoutParse parseLayoutArguments(std::span<const std::string> args) {
    ArgumentsParse parsed = parseArguments(args, kLayoutOptions);
    if (!parsed.arguments) return fail(parsed.error);
    const Arguments& a = *parsed.arguments;
    LayoutOptions options;
    options.help = a.help;
    options.json = a.has("--json");
    options.fixedMetrics = a.has("--fixed-metrics");
    if (const std::string* w = a.value("--width")) {
        std::optional<double> width = parsePoints(*w, kMaxWidth);
        if (!width) return fail(pointsError("--width", *w, kMaxWidth));
        options.width = *width;
    }
    if (a.operands.size() > 1) return fail("more than one TEXT given");
    if (!a.operands.empty() && a.operands[0] != "-") options.text = a.operands[0];
    return {options, {}};
}

ui::Size layoutText(const Context& context, const ui::TextMeasurer& measurer, std::string_view text,
                    double width, const TagFrameSink& sink) {
    // Each segment is a piece of the text, in order: a tag is kept as the
    // place of an equal piece, found from where the previous one ended.
    struct Piece {
        std::uint32_t offset;
        std::uint32_t length;
    };
    std::deque<Piece> pieces;
    std::size_t cursor = 0;
    GSplodeBox::splode(
        text,
        [&](GSplodeItem&& item) {
            std::size_t at = text.find(item.text, cursor);
            if (at == std::string_view::npos) return;  // cannot happen for a piece of the text
            pieces.push_back(
                {static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(item.text.size())});
            cursor = at + item.text.size();
        },
        context.locale());
    auto textAt = [&](std::int64_t i) {
        const Piece& p = pieces[static_cast<std::size_t>(i)];
        return text.substr(p.offset, p.length);
    };
    // One item measures every tag with the one appearance; each size is asked
    // twice in a row (ahead, then for the tag itself).
    GTagFlowItemRef probe = GTagFlowItem::tagFlowItemWithText(context, measurer, {});
    std::int64_t measured = -1;
    auto sizeAt = [&](std::int64_t i) {
        if (i != measured) {
            probe->setItemSize({});
            probe->setText(std::string(textAt(i)));
            measured = i;
        }
        return probe->itemSize();
    };
    auto emit = [&](std::int64_t i, const ui::Rect& frame) { sink(textAt(i), frame); };
    TagLineMetrics metrics = GTagFlowView::defaultLineMetrics(width);
    return layoutTagLines(static_cast<std::int64_t>(pieces.size()), metrics, sizeAt, emit)
        .value_or(ui::Size{});
}

int runLayout(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err) {
    LayoutParse parsed = parseLayoutArguments(args);
    if (auto status = endsBeforeRunning(parsed, "layout", kLayoutUsage, kLayoutHelp, out, err))
        return *status;
    const LayoutOptions& options = *parsed.options;
    std::optional<std::string> input =
        readCommandText(options.text, in, err, "layout", "lay it out");
    if (!input) return 1;
    const std::string& text = *input;

    // The settings are all this needs of a process: no loop ever runs.
    VirtualClock clock;
    VirtualRunLoop loop(clock);
    InProcessSystemNotifications notifications;
    EnvironmentLookup env = processEnvironment();
    Context context(loop, notifications, Paths{preferencesDirectory(env), {}});
    context.log().configure(env);
    context.setLocale(segmentationLocale(env));
    // Until the desktop measurer exists the fixed metrics are used either way.
    sim::SimTextMeasurer measurer;
    bool first = true;
    if (options.json) out << "{\"tags\":[";
    ui::Size content = layoutText(
        context, measurer, text, options.width, [&](std::string_view tag, const ui::Rect& f) {
            if (options.json) {
                out << (first ? "{\"text\":" : ",{\"text\":");
                writeJsonStringLiteral(out, tag);
                out << ",\"x\":" << number(f.origin.x) << ",\"y\":" << number(f.origin.y)
                    << ",\"width\":" << number(f.size.width)
                    << ",\"height\":" << number(f.size.height) << '}';
            } else {
                writeJsonStringLiteral(out, tag);
                out << ' ' << number(f.origin.x) << ' ' << number(f.origin.y) << ' '
                    << number(f.size.width) << ' ' << number(f.size.height) << '\n';
            }
            first = false;
        });
    if (options.json) {
        out << "],\"contentSize\":{\"width\":" << number(content.width)
            << ",\"height\":" << number(content.height) << "}}\n";
    } else {
        out << "contentSize " << number(content.width) << ' ' << number(content.height) << '\n';
    }
    return finishOutput(out, err, "layout");
}

}  // namespace kernova::cli
