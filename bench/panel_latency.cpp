// Request to pixels on screen, for Kernova's panel (or region picker) and for
// another program's overlay, timed by one watcher: it starts the request
// itself (a command), then waits for the first MapNotify of a new top-level
// window on the X server and, for Kernova, for kernovad's PanelPainted report
// (the first completed painting of the new panel or region picker, stamped on
// the monotonic clock). Each
// run is closed with Escape (XTest) before the next; it prints every run and
// the median in milliseconds.
//
//   kernova-bench-latency [--runs N] [--kernova] [--cold] -- COMMAND [ARGS...]
//
// --kernova waits for PanelPainted (else the first map); --cold stops the
// kernovad that owns fun.quorle.kernova.prefs before each run, so that the
// request starts it by bus activation.
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QProcess>
#include <QSocketNotifier>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr const char* kService = "fun.quorle.kernova.prefs";
constexpr int kDeadlineMs = 15000;

std::uint64_t monotonicNs() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000ULL +
           static_cast<std::uint64_t>(now.tv_nsec);
}

class Watcher : public QObject {
    Q_OBJECT

  public:
    explicit Watcher(xcb_connection_t* x) : x_(x) {
        xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
        root_ = screen->root;
        const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(x, root_, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(x);
        notifier_ = new QSocketNotifier(xcb_get_file_descriptor(x), QSocketNotifier::Read, this);
        connect(notifier_, &QSocketNotifier::activated, this, [this] { drain(); });
        QDBusConnection::sessionBus().connect(
            QString(), QStringLiteral("/fun/quorle/kernova/debug"),
            QStringLiteral("fun.quorle.kernova.Debug"), QStringLiteral("PanelPainted"), this,
            SLOT(painted(qulonglong)));
    }

    void arm() {
        mapped_.reset();
        painted_.reset();
    }
    std::optional<std::uint64_t> mapped() const { return mapped_; }
    std::optional<std::uint64_t> paintedAt() const { return painted_; }

    void pressEscape() {
        // Escape on the US keymap's keycode, looked up to be safe.
        xcb_keycode_t code = escapeKeycode();
        if (code == 0) return;
        xcb_test_fake_input(x_, XCB_KEY_PRESS, code, XCB_CURRENT_TIME, root_, 0, 0, 0);
        xcb_test_fake_input(x_, XCB_KEY_RELEASE, code, XCB_CURRENT_TIME, root_, 0, 0, 0);
        xcb_flush(x_);
    }

  public slots:
    void painted(qulonglong at) {
        if (!painted_) painted_ = at;
    }

  private:
    void drain() {
        while (xcb_generic_event_t* event = xcb_poll_for_event(x_)) {
            if ((event->response_type & 0x7f) == XCB_MAP_NOTIFY && !mapped_)
                mapped_ = monotonicNs();
            std::free(event);
        }
    }

    xcb_keycode_t escapeKeycode() {
        const xcb_setup_t* setup = xcb_get_setup(x_);
        auto cookie = xcb_get_keyboard_mapping(
            x_, setup->min_keycode,
            static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1));
        xcb_get_keyboard_mapping_reply_t* reply =
            xcb_get_keyboard_mapping_reply(x_, cookie, nullptr);
        if (!reply) return 0;
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(reply);
        const int per = reply->keysyms_per_keycode;
        const int count = xcb_get_keyboard_mapping_keysyms_length(reply);
        xcb_keycode_t found = 0;
        for (int i = 0; i < count; ++i) {
            if (syms[i] == 0xff1b) {  // XK_Escape
                found = static_cast<xcb_keycode_t>(setup->min_keycode + i / per);
                break;
            }
        }
        std::free(reply);
        return found;
    }

    xcb_connection_t* x_;
    xcb_window_t root_ = 0;
    QSocketNotifier* notifier_ = nullptr;
    std::optional<std::uint64_t> mapped_;
    std::optional<std::uint64_t> painted_;
};

bool waitUntil(const std::function<bool()>& condition, int timeoutMs = kDeadlineMs) {
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

bool serviceRunning() {
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    return bus && bus->isServiceRegistered(QString::fromLatin1(kService)).value();
}

// True while kernovad shows a panel or the region picker.
bool panelShown() {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QString::fromLatin1(kService), QStringLiteral("/fun/quorle/kernova/debug"),
        QStringLiteral("fun.quorle.kernova.Debug"), QStringLiteral("ScreenState"));
    QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 2000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return false;
    const QString state = reply.arguments().first().toString();
    return state.contains(QStringLiteral("\"shown\":true")) ||
           state.contains(QStringLiteral("\"regionPicker\":{"));
}

// Stops the kernovad that owns the service and waits until the name is free.
bool stopKernovad() {
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    if (!bus || !serviceRunning()) return true;
    const uint pid = bus->servicePid(QString::fromLatin1(kService)).value();
    if (pid == 0) return false;
    ::kill(static_cast<pid_t>(pid), SIGTERM);
    return waitUntil([] { return !serviceRunning(); });
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int runs = 10;
    bool kernova = false;
    bool cold = false;
    QStringList command;
    const QStringList args = app.arguments().mid(1);
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == "--runs" && i + 1 < args.size()) {
            runs = std::max(1, args[++i].toInt());
        } else if (args[i] == "--kernova") {
            kernova = true;
        } else if (args[i] == "--cold") {
            cold = true;
        } else if (args[i] == "--") {
            command = args.mid(i + 1);
            break;
        } else {
            std::fprintf(stderr,
                         "usage: kernova-bench-latency [--runs N] [--kernova] [--cold] -- "
                         "COMMAND [ARGS...]\n");
            return 2;
        }
    }
    if (command.isEmpty()) {
        std::fprintf(stderr, "kernova-bench-latency: no command\n");
        return 2;
    }
    xcb_connection_t* x = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(x) != 0) {
        std::fprintf(stderr, "kernova-bench-latency: cannot open the X display\n");
        return 1;
    }
    Watcher watcher(x);
    std::vector<double> times;
    for (int run = 0; run < runs; ++run) {
        if (cold && !stopKernovad()) {
            std::fprintf(stderr, "kernova-bench-latency: kernovad did not stop\n");
            return 1;
        }
        QCoreApplication::processEvents();
        watcher.arm();
        const std::uint64_t start = monotonicNs();
        QProcess request;
        request.setProcessChannelMode(QProcess::ForwardedChannels);
        request.start(command.first(), command.mid(1));
        const bool shown = waitUntil([&] {
            return kernova ? watcher.paintedAt().has_value() : watcher.mapped().has_value();
        });
        if (!shown) {
            std::fprintf(stderr, "kernova-bench-latency: run %d showed nothing in %d ms\n", run + 1,
                         kDeadlineMs);
            return 1;
        }
        const std::uint64_t end = kernova ? *watcher.paintedAt() : *watcher.mapped();
        times.push_back(static_cast<double>(end - start) / 1e6);
        std::printf("run %d: %.1f ms\n", run + 1, times.back());
        std::fflush(stdout);
        request.waitForFinished(kDeadlineMs);
        // Closed before the next run (its unmapping is not timed): Escape
        // again until the panel goes, as its window may not have the keyboard
        // yet; another program is given half a second.
        bool closed = false;
        for (int attempt = 0; attempt < 20 && !closed; ++attempt) {
            watcher.pressEscape();
            QElapsedTimer waited;
            waited.start();
            closed =
                waitUntil([&] { return kernova ? !panelShown() : waited.elapsed() >= 500; }, 1000);
        }
        if (!closed) {
            std::fprintf(stderr, "kernova-bench-latency: run %d did not close\n", run + 1);
            return 1;
        }
    }
    std::vector<double> sorted = times;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t n = sorted.size();
    const double median = n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
    std::printf("median_ms=%.1f runs=%zu\n", median, n);
    xcb_disconnect(x);
    return 0;
}

#include "panel_latency.moc"
