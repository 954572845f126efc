// The selections read through Qt Gui for `kernova splode --primary` and
// `--clipboard`: built into the desktop helper only, so that the `kernova`
// command itself never loads Qt Gui.
#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <cstdlib>

#include "base/text.h"
#include "kernova/splode_command.h"

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
    return runSplodeReading(args, in, out, err, readSystemSelection);
}

}  // namespace kernova::cli
