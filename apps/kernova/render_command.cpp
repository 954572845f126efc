#include "kernova/render_command.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QSaveFile>
#include <cmath>
#include <cstdlib>
#include <istream>
#include <limits>
#include <ostream>

#include "base/context.h"
#include "base/notification_center.h"
#include "base/paths.h"
#include "base/virtual_run_loop.h"
#include "desktop/desktop_paths.h"
#include "desktop/ui/painter.h"
#include "desktop/ui/qt_image_codec.h"
#include "desktop/ui/qt_text_measurer.h"
#include "kernova/cli.h"
#include "segment/splode_box.h"
#include "sim/sim_pasteboard.h"
#include "sim/sim_services.h"
#include "ui/platform.h"

namespace kernova::cli {
namespace {

constexpr std::string_view kRenderHelp =
    "Splits TEXT into tags and paints the tag board, as the panel shows it, into\n"
    "a PNG image of one pixel per point. Needs no display: the painting happens\n"
    "offscreen. The tag font size is \"fontSize\" from the settings file.\n"
    "\n"
    "  --text TEXT    the text; \"-\" reads standard input (its final newline is\n"
    "                 dropped)\n"
    "  --width W      the board's width in points (default 375)\n"
    "  --height H     the board's height in points (default: tall enough for\n"
    "                 every tag); a shorter board shows the first lines only\n"
    "  --out FILE     the PNG file to write, replaced as a whole or left alone\n"
    "  --help         show this help\n"
    "\n"
    "Sizes are at most 16384 points. On success the written path is printed.\n";

RenderParse fail(std::string message) {
    return {std::nullopt, std::move(message)};
}

// The size, or an error message naming `flag`.
std::optional<double> parseSide(const std::string& flag, const std::string& s, std::string& error) {
    std::optional<double> value = parsePoints(s, kMaxRenderSide);
    if (value) return value;
    std::optional<double> big = parsePoints(s, std::numeric_limits<double>::max());
    error = big ? flag + " " + s +
                      " is too large: at most 16384 points (a larger image would exhaust memory)"
                : pointsError(flag, s, kMaxRenderSide);
    return std::nullopt;
}

constexpr Option kRenderOptions[] = {
    {"--text", true}, {"--width", true}, {"--height", true}, {"--out", true}};

QString localPath(const std::string& path) {
    return QFile::decodeName(QByteArray(path.data(), static_cast<qsizetype>(path.size())));
}

// What a still rendering needs of a platform: Qt's text measurement and image
// codec. The services it never calls (clipboard, dialogs, keyboard, URLs) are
// the simulated device's inert in-memory ones; the look is the light one.
struct StillServices {
    explicit StillServices(RunLoop& loop, ui::Size size)
        : presenter(loop), screen{ui::Rect(0, 0, size.width, size.height), 1.0} {}

    desktop::QtTextMeasurer measurer;
    desktop::QtImageCodec codec;
    sim::SimPasteboard pasteboard;
    sim::SimPresenter presenter;
    sim::SimHaptic haptic;
    sim::SimKeyboard keyboard;
    sim::SimAppearance appearance;
    sim::SimUrlOpener urlOpener;
    ui::Screen screen;
    ui::Platform platform{measurer, codec,    pasteboard, presenter, nullptr,
                          haptic,   keyboard, appearance, urlOpener, screen};
};

// Renders in a process that has a Qt GUI application.
int renderInApplication(const RenderOptions& options, const std::string& text, std::ostream& out,
                        std::ostream& err) {
    VirtualClock clock;
    VirtualRunLoop loop(clock);
    InProcessSystemNotifications notifications;
    const EnvironmentLookup env = processEnvironment();
    Context context(
        loop, notifications,
        Paths{preferencesDirectory(env), bundleDirectory(env, desktop::dataDirectory())});
    context.log().configure(env);
    context.setLocale(segmentationLocale(env));
    StillServices services(loop, ui::Size{options.width, options.height.value_or(0)});
    ui::Application application(context, services.platform);
    std::shared_ptr<BoardOverlay> overlay =
        showBoard(application, text, options.width, options.height.value_or(0));
    const double height = options.height ? overlay->window().frame().size.height
                                         : overlay->board().collectionView()->contentSize().height;
    if (height > kMaxRenderSide)
        err << "kernova render: the board is " << std::ceil(height)
            << " points tall; the image shows its first " << kMaxRenderSide << '\n';
    QImage image = renderBoard(*overlay);
    overlay->close();
    std::string error;
    if (!writePng(image, options.out, error)) {
        err << "kernova render: cannot write " << options.out << ": " << error << '\n';
        return 1;
    }
    out << options.out << '\n';
    return finishOutput(out, err, "render");
}

}  // namespace

RenderParse parseRenderArguments(std::span<const std::string> args) {
    ArgumentsParse parsed = parseArguments(args, kRenderOptions);
    if (!parsed.arguments) return fail(parsed.error);
    const Arguments& a = *parsed.arguments;
    RenderOptions options;
    options.help = a.help;
    if (options.help) return {options, {}};
    if (!a.operands.empty()) return fail("unexpected argument \"" + a.operands[0] + "\"");
    std::string error;
    if (const std::string* width = a.value("--width")) {
        std::optional<double> side = parseSide("--width", *width, error);
        if (!side) return fail(error);
        options.width = *side;
    }
    if (const std::string* height = a.value("--height")) {
        options.height = parseSide("--height", *height, error);
        if (!options.height) return fail(error);
    }
    const std::string* text = a.value("--text");
    if (text == nullptr) return fail("missing --text (give \"-\" to read standard input)");
    if (*text != "-") options.text = *text;
    const std::string* out = a.value("--out");
    if (out == nullptr) return fail("missing --out");
    if (out->empty()) return fail("--out needs a file name");
    options.out = *out;
    return {options, {}};
}

std::shared_ptr<BoardOverlay> showBoard(ui::Application& application, std::string_view text,
                                        double width, double height) {
    auto overlay =
        BoardOverlay::show(application, text, ui::Rect(0, 0, width, height), kMaxRenderSide);
    application.layoutIfNeeded();
    return overlay;
}

QImage renderBoard(BoardOverlay& overlay) {
    ui::Window& window = overlay.window();
    return desktop::renderWindow(window, window.frame().size, 1.0);
}

QImage renderBoardImage(ui::Application& application, std::string_view text, double width,
                        double height) {
    std::shared_ptr<BoardOverlay> overlay = showBoard(application, text, width, height);
    QImage image = renderBoard(*overlay);
    overlay->close();
    return image;
}

bool writePng(const QImage& image, const std::string& path, std::string& error) {
    // QSaveFile writes a sibling and renames it over `path` on commit only.
    QSaveFile file(localPath(path));
    if (!file.open(QIODevice::WriteOnly)) {
        error = file.errorString().toStdString();
        return false;
    }
    if (!image.save(&file, "PNG")) {
        file.cancelWriting();
        error = file.error() != QFileDevice::NoError ? file.errorString().toStdString()
                                                     : "the PNG encoder failed";
        return false;
    }
    if (!file.commit()) {
        error = file.errorString().toStdString();
        return false;
    }
    return true;
}

int runRender(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err) {
    RenderParse parsed = parseRenderArguments(args);
    if (auto status = endsBeforeRunning(parsed, "render", kRenderUsage, kRenderHelp, out, err))
        return *status;
    const RenderOptions& options = *parsed.options;
    std::optional<std::string> input =
        readCommandText(options.text, in, err, "render", "render it");
    if (!input) return 1;
    std::string text = options.text ? *input : withoutFinalNewline(std::move(*input));

    if (QCoreApplication::instance() != nullptr) {
        if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) {
            err << "kernova render: this process runs Qt without a GUI; cannot paint\n";
            return 1;
        }
        return renderInApplication(options, text, out, err);
    }
    // The painting is offscreen whatever the session: no display is needed.
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    int argc = 1;
    char arg0[] = "kernova";
    char* argv[] = {arg0, nullptr};
    QGuiApplication qt(argc, argv);
    return renderInApplication(options, text, out, err);
}

}  // namespace kernova::cli
