#include "desktop/ui/screen_behind.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>

namespace kernova::desktop {
namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

bool compositorOwnsScreen(xcb_connection_t* connection) {
    static constexpr char kSelection[] = "_NET_WM_CM_S0";
    xcb_intern_atom_cookie_t atomCookie =
        xcb_intern_atom(connection, 0, sizeof kSelection - 1, kSelection);
    std::unique_ptr<xcb_intern_atom_reply_t, FreeReply> atom(
        xcb_intern_atom_reply(connection, atomCookie, nullptr));
    if (!atom) return false;
    std::unique_ptr<xcb_get_selection_owner_reply_t, FreeReply> owner(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, atom->atom), nullptr));
    return owner && owner->owner != XCB_NONE;
}

}  // namespace

bool windowsAreComposited() {
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) return true;
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (x11 == nullptr || x11->connection() == nullptr) return true;
    return compositorOwnsScreen(x11->connection());
}

QScreen* screenShowing(const QRect& area) {
    QScreen* best = nullptr;
    qint64 bestArea = 0;
    qint64 bestDistance = std::numeric_limits<qint64>::max();
    const QPoint center = area.center();
    for (QScreen* screen : QGuiApplication::screens()) {
        const QRect geometry = screen->geometry();
        const QRect common = geometry & area;
        const qint64 shown = qint64(common.width()) * common.height();
        // Distance from the area's centre to the monitor, for areas off every monitor.
        const qint64 dx =
            std::max({geometry.left() - center.x(), 0, center.x() - geometry.right()});
        const qint64 dy =
            std::max({geometry.top() - center.y(), 0, center.y() - geometry.bottom()});
        const qint64 distance = dx * dx + dy * dy;
        if (shown > bestArea || (bestArea == 0 && shown == 0 && distance < bestDistance)) {
            best = screen;
            bestArea = shown;
            bestDistance = distance;
        }
    }
    return best ? best : QGuiApplication::primaryScreen();
}

QImage grabScreen(const QRect& area) {
    QScreen* screen = screenShowing(area);
    if (screen == nullptr || area.isEmpty()) return {};
    const QRect local = area.translated(-screen->geometry().topLeft());
    QPixmap pixmap = screen->grabWindow(0, local.x(), local.y(), local.width(), local.height());
    return pixmap.toImage();
}

}  // namespace kernova::desktop
