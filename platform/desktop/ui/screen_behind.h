// What lies beneath an overlay. Translucent windows show the desktop through
// them only under a compositing manager; without one (a bare X server, or a
// window manager with no compositor) the X server fills their transparent
// pixels with black. There the overlay paints a copy of the screen taken just
// before it appears, which also gives blur views a screen to blur.
#pragma once

#include <QImage>
#include <QRect>

class QScreen;

namespace kernova::desktop {

// True when translucent windows are composited over the desktop: always on
// Wayland and the offscreen platform, on X11 when a compositing manager owns
// the screen's _NET_WM_CM_S0 selection.
bool windowsAreComposited();

// The monitor that shows most of `area` (global logical coordinates); the
// one nearest to it when none shows any of it, null when there is no screen.
QScreen* screenShowing(const QRect& area);

// A copy of `area` (global logical coordinates) as the monitor that shows most
// of it shows it now, at that monitor's device pixel ratio; a null image where
// the screen cannot be read.
QImage grabScreen(const QRect& area);

}  // namespace kernova::desktop
