// The usable part of a monitor (less panels and docks) as the X11 desktop
// publishes it on the root window: per-monitor work areas (_GTK_WORKAREAS_D<n>,
// where the desktop sets them) or one work area per virtual desktop
// (_NET_WORKAREA). The choice is pure and tested alone; reading the properties
// needs Qt's X11 connection.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ui/geometry.h"

class QScreen;

namespace kernova::desktop {

// The root window's properties as read: 32-bit CARDINAL lists, empty when unset.
struct WorkAreaHints {
    std::optional<std::uint32_t> currentDesktop;  // _NET_CURRENT_DESKTOP
    std::vector<std::uint32_t> gtkWorkAreas;      // _GTK_WORKAREAS_D<current>: x, y, w, h each
    std::vector<std::uint32_t> netWorkArea;       // _NET_WORKAREA: x, y, w, h per desktop
};

// Rectangles from x, y, width, height quads; a trailing partial quad is dropped.
std::vector<ui::Rect> rectsFromCardinals(std::span<const std::uint32_t> values);

// The part of both rectangles; an empty rectangle when they do not meet.
ui::Rect intersection(const ui::Rect& a, const ui::Rect& b);

// The work area of the monitor at `monitorPixels` (device pixels): the GTK
// area that overlaps it most, else the current desktop's _NET_WORKAREA (the
// first when the current one is unknown or missing), cut to the monitor; the
// whole monitor when neither is published or the result is empty.
ui::Rect workAreaInPixels(const WorkAreaHints& hints, const ui::Rect& monitorPixels);

// The same in points for a monitor whose frame is `frame` in points at `scale`
// device pixels per point. Like Qt, a monitor keeps its top-left at its pixel
// position and only its extent is scaled.
ui::Rect workAreaInPoints(const WorkAreaHints& hints, const ui::Rect& frame, double scale);

// The hints of the X display the application runs on; none elsewhere.
WorkAreaHints readWorkAreaHints();

// The work area of `screen` in points (Qt's global logical pixels), read now.
ui::Rect workAreaOf(const QScreen& screen);

}  // namespace kernova::desktop
