#include "kernova/splode_command.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <cstdlib>
#include <ostream>

#include "base/text.h"
#include "kernova/bus_client.h"
#include "kernova/cli.h"

namespace kernova::cli {

namespace {

bool hasEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

std::optional<std::string> readClipboard(bool primary, std::string& error) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (clipboard == nullptr) {
        error = "no clipboard on this display";
        return std::nullopt;
    }
    if (primary && !clipboard->supportsSelection()) {
        error = "this display has no PRIMARY selection";
        return std::nullopt;
    }
    const QString text = clipboard->text(primary ? QClipboard::Selection : QClipboard::Clipboard);
    return repairUtf8(text.toStdString());
}

}  // namespace

SplodeParse parseSplodeArguments(std::span<const std::string> args) {
    SplodeOptions options;
    if (args.size() == 2 && args[0] == "--") {  // a text that may start with a dash
        options.text = repairUtf8(args[1]);
        return {options, {}};
    }
    if (args.empty()) return {std::nullopt, "missing TEXT, -, --primary or --clipboard"};
    if (args.size() > 1) return {std::nullopt, "expected one argument (quote a text with spaces)"};
    const std::string& a = args[0];
    if (a == "--help" || a == "-h") {
        options.help = true;
    } else if (a == "-") {
        options.source = SplodeOptions::Source::standardInput;
    } else if (a == "--primary") {
        options.source = SplodeOptions::Source::primary;
    } else if (a == "--clipboard") {
        options.source = SplodeOptions::Source::clipboard;
    } else if (a.starts_with("--")) {
        return {std::nullopt, "unknown option " + a};
    } else {
        options.text = repairUtf8(a);
    }
    return {options, {}};
}

Value splodeUserInfo(std::string_view text) {
    return Value(Dictionary{{"callFromResponder", Value(true)}, {"selection", Value(text)}});
}

std::optional<std::string> readSystemSelection(bool primary, std::string& error) {
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr)
        return readClipboard(primary, error);
    if (QCoreApplication::instance() != nullptr) {
        error = "no display connection in this process";
        return std::nullopt;
    }
    bool fallback = !hasEnvironment("QT_QPA_PLATFORM");
    if (fallback) {
        if (!hasEnvironment("DISPLAY")) {
            error = "no display (DISPLAY is not set)";
            return std::nullopt;
        }
        // X11 (XWayland under Wayland) has the PRIMARY selection; an unreachable
        // display falls back to offscreen instead of aborting.
        ::setenv("QT_QPA_PLATFORM", "xcb;offscreen", 1);
    }
    int argc = 1;
    char arg0[] = "kernova";
    char* argv[] = {arg0, nullptr};
    QGuiApplication app(argc, argv);
    if (fallback && QGuiApplication::platformName() == QLatin1String("offscreen")) {
        // The fallback's clipboard is its own, not the session's.
        error = "cannot connect to the display " + std::string(std::getenv("DISPLAY"));
        return std::nullopt;
    }
    return readClipboard(primary, error);
}

int runSplode(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err) {
    SplodeParse parse = parseSplodeArguments(args);
    if (auto status = endsBeforeRunning(parse, "splode", kSplodeUsage, {}, out, err))
        return *status;
    const SplodeOptions& options = *parse.options;
    std::optional<std::string> text;
    std::string error;
    switch (options.source) {
        case SplodeOptions::Source::argument:
            text = options.text;
            break;
        case SplodeOptions::Source::standardInput:
            text = readLimited(in, kMaxInputBytes);
            if (!text) error = "standard input is larger than 64 MiB";
            if (text) text = withoutFinalNewline(repairUtf8(*text));
            break;
        case SplodeOptions::Source::primary:
        case SplodeOptions::Source::clipboard:
            text = readSystemSelection(options.source == SplodeOptions::Source::primary, error);
            break;
    }
    if (!text) {
        err << "kernova splode: " << error << '\n';
        return 1;
    }
    return deliverMessage("notifySplode", splodeUserInfo(*text), err);
}

}  // namespace kernova::cli
