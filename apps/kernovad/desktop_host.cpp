#include "kernovad/desktop_host.h"

#include <xcb/xcb.h>

#include <QClipboard>
#include <QCursor>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QUrl>
#include <cstdlib>
#include <cstring>

#include "desktop/ui/qt_convert.h"
#include "desktop/ui/qt_image_codec.h"
#include "desktop/ui/screen_behind.h"
#include "desktop/ui/work_area.h"

namespace kernova::daemon {
namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

xcb_atom_t atomNamed(xcb_connection_t* connection, const char* name) {
    xcb_intern_atom_cookie_t cookie =
        xcb_intern_atom(connection, 1, static_cast<std::uint16_t>(std::strlen(name)), name);
    std::unique_ptr<xcb_intern_atom_reply_t, FreeReply> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// The value of a window's property, as bytes; empty when it has none.
std::string property(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t name,
                     xcb_atom_t type) {
    xcb_get_property_cookie_t cookie = xcb_get_property(connection, 0, window, name, type, 0, 1024);
    std::unique_ptr<xcb_get_property_reply_t, FreeReply> reply(
        xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply) return {};
    const char* value = static_cast<const char*>(xcb_get_property_value(reply.get()));
    return std::string(value, static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
}

Monitor monitorOf(const QScreen& screen) {
    const QRect r = screen.geometry();
    const ui::Rect frame(r.x(), r.y(), r.width(), r.height());
    return Monitor{desktop::fromQString(screen.name()), frame, desktop::workAreaOf(screen),
                   screen.devicePixelRatio()};
}

}  // namespace

DesktopServerHost::DesktopServerHost(Context& context)
    : context_(context),
      desktop_(desktop::makeDesktopPlatform(context)),
      application_(std::make_unique<ui::Application>(context, desktop_->platform())),
      windows_(desktop_->makeWindowHost(*application_)),
      receiver_(std::make_unique<QObject>()) {
    windows_->start();
}

DesktopServerHost::~DesktopServerHost() {
    receiver_.reset();
    settingsWatcher_.reset();
    windows_->stop();
}

std::string DesktopServerHost::frontmostApplicationId() {
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) return {};
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection) return {};
    const xcb_setup_t* setup = xcb_get_setup(connection);
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(setup);
    if (!screens.rem) return {};
    std::string active = property(connection, screens.data->root,
                                  atomNamed(connection, "_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW);
    if (active.size() < sizeof(xcb_window_t)) return {};
    xcb_window_t window = 0;
    std::memcpy(&window, active.data(), sizeof window);
    // WM_CLASS holds the instance and the class, each ending in a zero byte.
    std::string wmClass = property(connection, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
    std::size_t split = wmClass.find('\0');
    if (split == std::string::npos) return {};
    std::string klass = wmClass.substr(split + 1);
    if (!klass.empty() && klass.back() == '\0') klass.pop_back();
    return klass;
}

Monitor DesktopServerHost::monitorUnderPointer() {
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen) screen = QGuiApplication::primaryScreen();
    if (screen && !screen->geometry().isEmpty()) return monitorOf(*screen);
    // Qt knows no screen: the toolkit's.
    Monitor monitor;
    monitor.frame = desktop_->screen().bounds;
    monitor.workArea = monitor.frame;
    monitor.scale = desktop_->screen().scale;
    return monitor;
}

void DesktopServerHost::openUrl(const std::string& url) {
    if (!QDesktopServices::openUrl(QUrl(desktop::toQString(url))))
        context_.log().warn("host", "no application opened a URL");
}

void DesktopServerHost::insertText(const std::string& text) {
    desktop_->keyboard().insertText(text);
}

void DesktopServerHost::readSelection(SelectionKind which, SelectionReply reply) {
    // Qt answers a selection read at once, waiting on the owner inside; the
    // reply still comes on a later turn of the loop, as the host promises.
    QTimer::singleShot(0, receiver_.get(), [which, reply = std::move(reply)] {
        QClipboard* clipboard = QGuiApplication::clipboard();
        QClipboard::Mode mode =
            which == SelectionKind::primary ? QClipboard::Selection : QClipboard::Clipboard;
        if (!clipboard || (mode == QClipboard::Selection && !clipboard->supportsSelection())) {
            reply(std::nullopt);
            return;
        }
        QString text = clipboard->text(mode);
        reply(text.isNull() ? std::nullopt : std::optional(desktop::fromQString(text)));
    });
}

std::shared_ptr<const ui::Image> DesktopServerHost::copyScreen(const Monitor& monitor) {
    const ui::Rect& f = monitor.frame;
    QImage image =
        desktop::grabScreen(QRect(static_cast<int>(f.origin.x), static_cast<int>(f.origin.y),
                                  static_cast<int>(f.size.width), static_cast<int>(f.size.height)));
    if (image.isNull()) return nullptr;
    return desktop::fromQImage(image, image.devicePixelRatio());
}

void DesktopServerHost::watchSettingsFolder(const std::filesystem::path& folder,
                                            std::function<void()> changed) {
    // Settings are written whole and replaced atomically: the folder changes,
    // so the folder is watched (made first, so that there is one to watch).
    QString path = desktop::toQString(folder.string());
    QDir().mkpath(path);
    settingsWatcher_ = std::make_unique<QFileSystemWatcher>();
    if (!settingsWatcher_->addPath(path)) {
        context_.log().warn("host", "cannot watch the settings folder for changes");
        return;
    }
    QObject::connect(settingsWatcher_.get(), &QFileSystemWatcher::directoryChanged, receiver_.get(),
                     [changed = std::move(changed)] { changed(); });
}

void DesktopServerHost::windowsChanged() {
    windows_->sync();
}

}  // namespace kernova::daemon
