#include "desktop/ui/screen_behind.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <cstdlib>
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

QImage grabScreen(const QRect& area) {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr || area.isEmpty()) return {};
    const QRect local = area.translated(-screen->geometry().topLeft());
    QPixmap pixmap = screen->grabWindow(0, local.x(), local.y(), local.width(), local.height());
    return pixmap.toImage();
}

}  // namespace kernova::desktop
