#include "kernovad/desktop_host.h"

#include <QClipboard>
#include <QCursor>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QUrl>

#include "desktop/ui/qt_convert.h"
#include "desktop/ui/qt_image_codec.h"
#include "desktop/ui/screen_behind.h"
#include "desktop/ui/work_area.h"

namespace kernova::daemon {
namespace {

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
    if (QGuiApplication::platformName() == QStringLiteral("xcb"))
        front_ = std::make_unique<FrontApplication>(processEnvironment(), context_.log());
}

DesktopServerHost::~DesktopServerHost() {
    receiver_.reset();
    front_.reset();
    settingsWatcher_.reset();
    windows_->stop();
}

std::string DesktopServerHost::frontmostApplicationId() {
    return front_ ? front_->id() : std::string();
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
