#include "desktop/ui/screen_behind.h"

#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>

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

xcb_connection_t* x11Connection() {
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) return nullptr;
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

void detachSegment(void* address) {
    ::shmdt(address);
}

// 32-bit pixels of a 24- or 32-bit root window, in the byte order of this
// machine: what the shared-memory copy can wrap in an image as it is.
bool rootHasPlainPixels(const xcb_setup_t* setup, const xcb_screen_t* screen) {
    if (screen == nullptr || (screen->root_depth != 24 && screen->root_depth != 32) ||
        setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST)
        return false;
    bool thirtyTwoBits = false;
    for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem;
         xcb_format_next(&format)) {
        if (format.data->depth == screen->root_depth)
            thirtyTwoBits = format.data->bits_per_pixel == 32;
    }
    return thirtyTwoBits;
}

}  // namespace

// `rect` of the root window (device pixels) read through shared memory: the X
// server writes the pixels straight into our memory instead of sending them
// through the socket (a full monitor is several megabytes).
struct ScreenGrab::Pending {
    xcb_connection_t* connection = nullptr;
    void* address = nullptr;
    xcb_shm_get_image_cookie_t cookie{};
    QSize size;
    double scale = 1;
    bool answered = false;

    // False where the server cannot share memory with us (a remote display),
    // or keeps the screen in another format.
    bool start(xcb_connection_t* x, QRect rect) {
        const xcb_query_extension_reply_t* shm = xcb_get_extension_data(x, &xcb_shm_id);
        if (shm == nullptr || !shm->present || rect.isEmpty()) return false;
        const xcb_setup_t* setup = xcb_get_setup(x);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(setup).data;
        if (!rootHasPlainPixels(setup, screen)) return false;
        const auto bytes = std::size_t(rect.width()) * std::size_t(rect.height()) * 4;
        const int id = ::shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id < 0) return false;
        void* mapped = ::shmat(id, nullptr, 0);
        if (mapped == reinterpret_cast<void*>(-1)) {
            ::shmctl(id, IPC_RMID, nullptr);
            return false;
        }
        const xcb_shm_seg_t segment = xcb_generate_id(x);
        std::unique_ptr<xcb_generic_error_t, FreeReply> refused(xcb_request_check(
            x, xcb_shm_attach_checked(x, segment, static_cast<std::uint32_t>(id), 0)));
        // Gone once both sides have let go of it.
        ::shmctl(id, IPC_RMID, nullptr);
        if (refused) {
            ::shmdt(mapped);
            return false;
        }
        connection = x;
        address = mapped;
        size = rect.size();
        cookie = xcb_shm_get_image(
            x, screen->root, static_cast<std::int16_t>(rect.x()),
            static_cast<std::int16_t>(rect.y()), static_cast<std::uint16_t>(rect.width()),
            static_cast<std::uint16_t>(rect.height()), ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0);
        xcb_shm_detach(x, segment);
        xcb_flush(x);
        return true;
    }

    QImage finish() {
        answered = true;
        std::unique_ptr<xcb_shm_get_image_reply_t, FreeReply> reply(
            xcb_shm_get_image_reply(connection, cookie, nullptr));
        void* mapping = std::exchange(address, nullptr);
        if (!reply) {
            ::shmdt(mapping);
            return {};
        }
#if defined(MADV_POPULATE_READ)
        // Its page tables in one call, rather than a fault for every page read.
        ::madvise(mapping, std::size_t(size.width()) * std::size_t(size.height()) * 4,
                  MADV_POPULATE_READ);
#endif
        // The image owns the mapping from here on.
        QImage image(static_cast<uchar*>(mapping), size.width(), size.height(),
                     qsizetype(size.width()) * 4, QImage::Format_RGB32, detachSegment, mapping);
        image.setDevicePixelRatio(scale);
        return image;
    }

    ~Pending() {
        if (connection && !answered) xcb_discard_reply(connection, cookie.sequence);
        if (address) ::shmdt(address);
    }
};

void flushDisplay() {
    if (xcb_connection_t* connection = x11Connection()) xcb_flush(connection);
}

bool windowsAreComposited() {
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) return true;
    xcb_connection_t* connection = x11Connection();
    return connection == nullptr || compositorOwnsScreen(connection);
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
    return ScreenGrab(area).take();
}

ScreenGrab::ScreenGrab(const QRect& area) {
    QScreen* screen = screenShowing(area);
    if (screen == nullptr || area.isEmpty()) return;
    const QRect local = area.translated(-screen->geometry().topLeft());
    if (xcb_connection_t* connection = x11Connection()) {
        // Device pixels: Qt scales each monitor about its top-left corner,
        // which keeps its place on the root window.
        const double scale = screen->devicePixelRatio();
        const QPointF origin = screen->geometry().topLeft();
        const QRect native =
            QRectF(origin + QPointF(local.topLeft()) * scale, QSizeF(local.size()) * scale)
                .toAlignedRect();
        auto pending = std::make_unique<Pending>();
        pending->scale = scale;
        if (pending->start(connection, native)) {
            pending_ = std::move(pending);
            return;
        }
    }
    image_ = screen->grabWindow(0, local.x(), local.y(), local.width(), local.height()).toImage();
}

ScreenGrab::~ScreenGrab() = default;

QImage ScreenGrab::take() {
    if (pending_) {
        image_ = pending_->finish();
        pending_.reset();
    }
    return std::exchange(image_, QImage());
}

}  // namespace kernova::desktop
