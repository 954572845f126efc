#include "kernova/layout_command.h"

#include <charconv>
#include <cmath>
#include <istream>
#include <nlohmann/json.hpp>
#include <ostream>

#include "base/context.h"
#include "base/notification_center.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/virtual_run_loop.h"
#include "board/tag_flow_item.h"
#include "board/tag_flow_pass.h"
#include "board/tag_flow_view.h"
#include "kernova/split_command.h"
#include "segment/splode_box.h"
#include "sim/text_measurer.h"

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

LayoutParse fail(std::string message) {
    return {std::nullopt, std::move(message)};
}

std::optional<double> parseWidth(const std::string& s) {
    std::optional<double> value = parsePositiveNumber(s);
    if (value && *value > kMaxWidth) return std::nullopt;
    return value;
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
    LayoutOptions options;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        bool isFlag = !optionsEnded && arg.size() > 1 && arg[0] == '-';
        if (!isFlag) {
            if (options.text) return fail("more than one TEXT given");
            options.text = arg;
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "--help" || arg == "-h") {
            options.help = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--fixed-metrics") {
            options.fixedMetrics = true;
        } else if (arg == "--width") {
            if (i + 1 >= args.size()) return fail("--width needs a number");
            std::optional<double> width = parseWidth(args[++i]);
            if (!width)
                return fail("--width needs a positive number of points, not \"" + args[i] + "\"");
            options.width = *width;
        } else {
            return fail("unknown option " + arg);
        }
    }
    if (options.text == "-") options.text.reset();
    return {options, {}};
}

BoardLayout layoutText(const Context& context, const ui::TextMeasurer& measurer,
                       std::string_view text, double width) {
    std::vector<GSplodeItem> segments = GSplodeBox::splode(text, context.locale());
    auto items = GTagFlowItem::factoryFolwLayoutWithItems(context, measurer, segments, nullptr);
    BoardLayout result;
    result.tags.reserve(items.size());
    TagLineMetrics metrics = GTagFlowView::defaultLineMetrics(width);
    auto sizeAt = [&](std::int64_t i) { return items[static_cast<std::size_t>(i)]->itemSize(); };
    auto emit = [&](std::int64_t i, const ui::Rect& frame) {
        result.tags.push_back({items[static_cast<std::size_t>(i)]->text(), frame});
    };
    if (auto content =
            layoutTagLines(static_cast<std::int64_t>(items.size()), metrics, sizeAt, emit))
        result.contentSize = *content;
    return result;
}

std::string formatLayoutPlain(const BoardLayout& layout) {
    std::string out;
    for (const TagFrame& tag : layout.tags) {
        const ui::Rect& f = tag.frame;
        out += jsonStringLiteral(tag.text) + ' ' + number(f.origin.x) + ' ' + number(f.origin.y) +
               ' ' + number(f.size.width) + ' ' + number(f.size.height) + '\n';
    }
    out += "contentSize " + number(layout.contentSize.width) + ' ' +
           number(layout.contentSize.height) + '\n';
    return out;
}

std::string formatLayoutJson(const BoardLayout& layout) {
    nlohmann::ordered_json tags = nlohmann::ordered_json::array();
    for (const TagFrame& tag : layout.tags) {
        const ui::Rect& f = tag.frame;
        tags.push_back({{"text", tag.text},
                        {"x", f.origin.x},
                        {"y", f.origin.y},
                        {"width", f.size.width},
                        {"height", f.size.height}});
    }
    nlohmann::ordered_json root = {
        {"tags", std::move(tags)},
        {"contentSize",
         {{"width", layout.contentSize.width}, {"height", layout.contentSize.height}}}};
    return root.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
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
    BoardLayout layout = layoutText(context, measurer, text, options.width);
    out << (options.json ? formatLayoutJson(layout) : formatLayoutPlain(layout));
    out.flush();
    return 0;
}

}  // namespace kernova::cli
