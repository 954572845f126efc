#include "desktop/ui/work_area.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QScreen>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace kernova::desktop {

namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

double area(const ui::Rect& r) {
    return r.isEmpty() ? 0 : r.width() * r.height();
}

xcb_atom_t existingAtom(xcb_connection_t* connection, const std::string& name) {
    xcb_intern_atom_cookie_t cookie =
        xcb_intern_atom(connection, 1, static_cast<std::uint16_t>(name.size()), name.c_str());
    std::unique_ptr<xcb_intern_atom_reply_t, FreeReply> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// A CARDINAL list property of `window`, at most `maxValues` long.
std::vector<std::uint32_t> cardinals(xcb_connection_t* connection, xcb_window_t window,
                                     const std::string& name, std::uint32_t maxValues = 4096) {
    xcb_atom_t atom = existingAtom(connection, name);
    if (atom == XCB_ATOM_NONE) return {};
    xcb_get_property_cookie_t cookie =
        xcb_get_property(connection, 0, window, atom, XCB_ATOM_CARDINAL, 0, maxValues);
    std::unique_ptr<xcb_get_property_reply_t, FreeReply> reply(
        xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply || reply->format != 32 || reply->type != XCB_ATOM_CARDINAL) return {};
    auto count = static_cast<std::size_t>(xcb_get_property_value_length(reply.get())) / 4;
    std::vector<std::uint32_t> values(count);
    if (count) std::memcpy(values.data(), xcb_get_property_value(reply.get()), count * 4);
    return values;
}

}  // namespace

std::vector<ui::Rect> rectsFromCardinals(std::span<const std::uint32_t> values) {
    std::vector<ui::Rect> rects;
    for (std::size_t i = 0; i + 4 <= values.size(); i += 4) {
        // Positions are signed on the wire's 32 bits (a monitor left of the origin).
        rects.emplace_back(static_cast<std::int32_t>(values[i]),
                           static_cast<std::int32_t>(values[i + 1]), values[i + 2], values[i + 3]);
    }
    return rects;
}

ui::Rect intersection(const ui::Rect& a, const ui::Rect& b) {
    if (!a.intersects(b)) return {};
    double x = std::max(a.minX(), b.minX());
    double y = std::max(a.minY(), b.minY());
    return ui::Rect(x, y, std::min(a.maxX(), b.maxX()) - x, std::min(a.maxY(), b.maxY()) - y);
}

ui::Rect workAreaInPixels(const WorkAreaHints& hints, const ui::Rect& monitorPixels) {
    ui::Rect best;
    for (const ui::Rect& candidate : rectsFromCardinals(hints.gtkWorkAreas)) {
        ui::Rect part = intersection(candidate, monitorPixels);
        if (area(part) > area(best)) best = part;
    }
    if (!best.isEmpty()) return best;
    std::vector<ui::Rect> perDesktop = rectsFromCardinals(hints.netWorkArea);
    if (!perDesktop.empty()) {
        std::size_t index = hints.currentDesktop.value_or(0);
        if (index >= perDesktop.size()) index = 0;
        best = intersection(perDesktop[index], monitorPixels);
    }
    return best.isEmpty() ? monitorPixels : best;
}

ui::Rect workAreaInPoints(const WorkAreaHints& hints, const ui::Rect& frame, double scale) {
    if (!(scale > 0) || !std::isfinite(scale)) scale = 1;
    const ui::Point origin = frame.origin;
    ui::Rect pixels = workAreaInPixels(
        hints, ui::Rect(origin.x, origin.y, frame.width() * scale, frame.height() * scale));
    ui::Rect points(origin.x + (pixels.origin.x - origin.x) / scale,
                    origin.y + (pixels.origin.y - origin.y) / scale, pixels.width() / scale,
                    pixels.height() / scale);
    // Rounding may leave a hair outside the frame.
    ui::Rect inside = intersection(points, frame);
    return inside.isEmpty() ? frame : inside;
}

WorkAreaHints readWorkAreaHints() {
    WorkAreaHints hints;
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) return hints;
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection) return hints;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    if (!screens.rem) return hints;
    xcb_window_t root = screens.data->root;
    std::vector<std::uint32_t> current = cardinals(connection, root, "_NET_CURRENT_DESKTOP", 1);
    if (!current.empty()) hints.currentDesktop = current.front();
    hints.gtkWorkAreas =
        cardinals(connection, root,
                  "_GTK_WORKAREAS_D" + std::to_string(current.empty() ? 0 : current.front()));
    hints.netWorkArea = cardinals(connection, root, "_NET_WORKAREA");
    return hints;
}

}  // namespace kernova::desktop

namespace kernova::desktop {

ui::Rect workAreaOf(const QScreen& screen) {
    const QRect r = screen.geometry();
    return workAreaInPoints(readWorkAreaHints(), ui::Rect(r.x(), r.y(), r.width(), r.height()),
                            screen.devicePixelRatio());
}

}  // namespace kernova::desktop
