// kernovad: the desktop's server process. One instance per session: it owns the
// message center's bus name, and a second start leaves at once. `--autostart`
// (the session's autostart entry) opens the preferences when no settings file
// exists yet. It runs until
// SIGTERM or SIGINT, or until the session bus goes away. The private copies of
// texts shared with applications are removed as it starts and as it stops.
//
// Only the wiring lives here: the bus, the Qt platform and the desktop host;
// the requests are the core server's.
#include <sys/signalfd.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <QApplication>
#include <QDBusConnection>
#include <QSocketNotifier>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/context.h"
#include "base/paths.h"
#include "desktop/curl_http_client.h"
#include "desktop/dbus_messaging.h"
#include "desktop/dbus_system_notifications.h"
#include "desktop/desktop_paths.h"
#include "desktop/ocr/tesseract_engine.h"
#include "desktop/qt_run_loop.h"
#include "desktop/ui/app_icon.h"
#include "desktop/ui/desktop_platform.h"
#include "kernovad/capture_services.h"
#include "kernovad/debug_endpoint.h"
#include "kernovad/desktop_host.h"
#include "kernovad/ocr_entry.h"
#include "kernovad/status_endpoint.h"
#include "kernovad/tray_icon.h"
#include "kernovad/warm_up.h"
#include "segment/splode_box.h"
#include "server/first_run.h"
#include "server/server.h"
#include "server/share_activities.h"

namespace {

using namespace kernova;

// Blocks the stop signals in every thread (Qt starts its own later) and returns
// a descriptor that reads them, so they arrive as ordinary events on the loop.
int stopSignalDescriptor() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0) return -1;
    return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

struct XcbDisconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

// Floating elements need global positions, which only X11 (or XWayland)
// gives. False, with a message, when X11 is wanted but no display is set or
// the display named cannot be opened: Qt would abort. The probe connection is
// kept until Qt has its own: an X server whose last client leaves resets, and
// would refuse Qt for a moment.
bool useX11UnlessChosen(XcbConnection& probe) {
    const char* chosen = std::getenv("QT_QPA_PLATFORM");
    if (chosen == nullptr || *chosen == '\0') {
        ::setenv("QT_QPA_PLATFORM", "xcb", 1);
        chosen = "xcb";
    }
    if (!std::string_view(chosen).starts_with("xcb")) return true;
    const char* display = std::getenv("DISPLAY");
    if (display == nullptr || *display == '\0') {
        std::cerr << "kernovad: no X display: set DISPLAY (under Wayland, XWayland provides one)\n";
        return false;
    }
    probe.reset(xcb_connect(display, nullptr));
    if (xcb_connection_has_error(probe.get()) != 0) {
        std::cerr << "kernovad: cannot open the X display \"" << display
                  << "\": is the X server running, and may this user use it?\n";
        return false;
    }
    return true;
}

bool debugWanted(const EnvironmentLookup& env) {
    return env(daemon::kDebugEnvironment) == std::optional<std::string>("1");
}

constexpr std::string_view kHelp =
    "usage: kernovad [--autostart]\n\n"
    "Kernova's daemon: one per X11 session, it owns the session bus name\n"
    "fun.quorle.kernova.prefs and shows the panel, the floating button, the\n"
    "selection item and the tray menu. D-Bus activation starts it on the first\n"
    "message; \"kernova set enabled YES\" switches Kernova on.\n"
    "\n"
    "  --autostart   started with the session: with no settings file yet, opens\n"
    "                the preferences on General\n"
    "  --help        print this help and exit\n"
    "  --version     print the version and exit\n";

// Whether kernovad was started with `--autostart`; absent, with a message, for
// any other argument.
std::optional<bool> parseArguments(int argc, char** argv) {
    bool autostart = false;
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]) == "--autostart") {
            autostart = true;
        } else {
            std::cerr << "kernovad: unknown argument \"" << argv[i]
                      << "\"\nusage: kernovad [--autostart]\n";
            return std::nullopt;
        }
    }
    return autostart;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (std::string_view(argv[1]) == "--help" || std::string_view(argv[1]) == "-h")) {
        std::cout << kHelp << std::flush;
        return std::cout ? 0 : 1;
    }
    if (argc == 2 && std::string_view(argv[1]) == "--version") {
        std::cout << "kernovad " KERNOVA_VERSION "\n" << std::flush;
        return std::cout ? 0 : 1;
    }
    const std::optional<bool> autostart = parseArguments(argc, argv);
    if (!autostart) return 2;
    XcbConnection probe;
    if (!useX11UnlessChosen(probe)) return 1;
    int signalFd = stopSignalDescriptor();
    desktop::prepareDesktopProcess();
    const EnvironmentLookup env = processEnvironment();
    // Font and word-breaking set-up runs beside the X and bus connections.
    daemon::StartupWarmUp warmUp(segmentationLocale(env));
    QApplication app(argc, argv);
    const std::jthread fontWarmUp = warmUp.warmFonts();
    probe.reset();
    QApplication::setApplicationName(QStringLiteral("kernovad"));
    QApplication::setQuitOnLastWindowClosed(false);

    QDBusConnection bus = desktop::sessionConnection();
    desktop::QtRunLoop runLoop;
    desktop::DBusMessageCenter center(bus);
    desktop::DBusSystemNotifications systemNotifications(bus);
    Context context(
        runLoop, systemNotifications,
        Paths{preferencesDirectory(env), bundleDirectory(env, desktop::dataDirectory())});
    context.log().setProgram("kernovad");
    context.log().configure(env);
    context.setLocale(segmentationLocale(env));
    // Requests still under way when kernovad stops are cancelled with the client.
    desktop::CurlHttpClient http(runLoop, context.log());
    context.setHttp(&http);
    // Tesseract is loaded at the first local recognition, which runs on a thread.
    desktop::TesseractEngine ocrEngine(runLoop, context.log(), startThreadJob, env);
    context.setOcrEngine(&ocrEngine);

    // The status is there as soon as the name is (`kernova doctor` asks it
    // right after starting kernovad by activation).
    daemon::StatusEndpoint statusEndpoint(env);
    if (!bus.registerObject(QString::fromLatin1(desktop::kStatusPath), &statusEndpoint,
                            QDBusConnection::ExportAllSlots))
        context.log().warn("kernovad", "cannot export the status interface");
    switch (center.start()) {
        case desktop::DBusMessageCenter::StartResult::alreadyRunning:
            std::cerr << "kernovad is already running\n";
            return 1;
        case desktop::DBusMessageCenter::StartResult::noBus:
            std::cerr << "kernovad: cannot connect to the session bus\n";
            return 1;
        case desktop::DBusMessageCenter::StartResult::serving:
            break;
    }
    daemon::DesktopServerHost host(context);
    // Texts handed to applications live until the next start or this exit.
    const std::filesystem::path privateFiles = host.runtimeDirectory();
    removePrivateTextFiles(privateFiles);
    Server server(context, center, host);
    server.start();
    daemon::CaptureServices capture(context, bus, host.clipboardChanges(), env, host,
                                    host.selectionGestures(), host.primaryReader());
    // "OCR & Splode" in the file managers' menus under the name set in the settings.
    daemon::OcrEntryName ocrEntry(
        context,
        desktop::dataDirectory().parent_path() / "applications" / daemon::kOcrEntryFileName,
        daemon::userApplicationsDirectory(env));
    context.log().info("kernovad", "serving; words are split in the locale " + context.locale());

    // The tray menu, shown when the desktop has a tray; its requests go
    // through the server's own handlers.
    const std::string kernova = daemon::kernovaCommand();
    TrayMenu trayMenu(context,
                      {&server.loopback(), &host, kernova, [] { QCoreApplication::exit(0); }});
    const QIcon icon = desktop::applicationIcon(desktop::dataDirectory());
    QApplication::setWindowIcon(icon);
    daemon::TrayIcon tray(context, trayMenu, icon);
    openPreferencesOnFirstRun(context, host, kernova, *autostart);

    statusEndpoint.setSources(
        {env, capture.hotkey(), [&capture] { return capture.clipboardWatchStarted(); }});

    std::unique_ptr<daemon::DebugEndpoint> debug;
    if (debugWanted(env)) {
        debug = std::make_unique<daemon::DebugEndpoint>(server, host);
        debug->setHotkey(capture.hotkey());
        debug->setTray(&trayMenu, &tray);
        if (!bus.registerObject(
                QString::fromLatin1(daemon::kDebugPath), debug.get(),
                QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals)) {
            context.log().warn("kernovad", "cannot export the debug interface");
            debug.reset();
        }
    }

    std::unique_ptr<QSocketNotifier> stopNotifier;
    if (signalFd >= 0) {
        stopNotifier = std::make_unique<QSocketNotifier>(signalFd, QSocketNotifier::Read);
        QObject::connect(stopNotifier.get(), &QSocketNotifier::activated, &app, [signalFd] {
            signalfd_siginfo info;
            while (::read(signalFd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
            }
            // Not quit(): that first asks every window to close, and an open
            // dialog may refuse, which would keep kernovad running.
            QCoreApplication::exit(0);
        });
    }
    // The bus library reports the end of the session as a local signal.
    bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), &app,
                SLOT(quit()));

    int status = QApplication::exec();
    if (debug) bus.unregisterObject(QString::fromLatin1(daemon::kDebugPath));
    bus.unregisterObject(QString::fromLatin1(desktop::kStatusPath));
    stopNotifier.reset();
    if (signalFd >= 0) ::close(signalFd);
    removePrivateTextFiles(privateFiles);
    return status;
}
