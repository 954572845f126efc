// kernovad: the desktop's server process. One instance per session: it owns the
// message center's bus name, and a second start leaves at once. It runs until
// SIGTERM or SIGINT, or until the session bus goes away.
#include <sys/signalfd.h>
#include <unistd.h>

#include <QApplication>
#include <QDBusConnection>
#include <QSocketNotifier>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string_view>

#include "desktop/ui/desktop_platform.h"
#include "kernovad/board_host.h"
#include "kernovad/daemon.h"

namespace {

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

// Floating elements need global positions, which only X11 (or XWayland)
// gives. False, with a message, when X11 is wanted but no display is set:
// Qt would abort.
bool useX11UnlessChosen() {
    const char* chosen = std::getenv("QT_QPA_PLATFORM");
    if (chosen == nullptr || *chosen == '\0') {
        ::setenv("QT_QPA_PLATFORM", "xcb", 1);
        chosen = "xcb";
    }
    const char* display = std::getenv("DISPLAY");
    if (std::string_view(chosen).starts_with("xcb") && (display == nullptr || *display == '\0')) {
        std::cerr << "kernovad: no X display: set DISPLAY (under Wayland, XWayland provides one)\n";
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (!useX11UnlessChosen()) return 1;
    int signalFd = stopSignalDescriptor();
    kernova::desktop::prepareDesktopProcess();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("kernovad"));
    QApplication::setQuitOnLastWindowClosed(false);

    QDBusConnection bus = kernova::desktop::sessionConnection();
    kernova::daemon::Daemon daemon(bus, std::cerr);
    switch (daemon.start()) {
        case kernova::daemon::Daemon::StartResult::alreadyRunning:
            std::cerr << "kernovad is already running\n";
            return 1;
        case kernova::daemon::Daemon::StartResult::noBus:
            std::cerr << "kernovad: cannot connect to the session bus\n";
            return 1;
        case kernova::daemon::Daemon::StartResult::serving:
            break;
    }
    // Declared after the daemon: it goes first, while the context still exists.
    kernova::daemon::BoardHost boardHost(daemon.context());
    daemon.setBoardHost(&boardHost);

    std::unique_ptr<QSocketNotifier> stopNotifier;
    if (signalFd >= 0) {
        stopNotifier = std::make_unique<QSocketNotifier>(signalFd, QSocketNotifier::Read);
        QObject::connect(stopNotifier.get(), &QSocketNotifier::activated, &app, [signalFd] {
            signalfd_siginfo info;
            while (::read(signalFd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
            }
            QCoreApplication::quit();
        });
    }
    // The bus library reports the end of the session as a local signal.
    bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), &app,
                SLOT(quit()));

    int status = QApplication::exec();
    daemon.setBoardHost(nullptr);
    stopNotifier.reset();
    if (signalFd >= 0) ::close(signalFd);
    return status;
}
