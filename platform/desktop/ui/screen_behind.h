// What lies beneath an overlay. Translucent windows show the desktop through
// them only under a compositing manager; without one (a bare X server, or a
// window manager with no compositor) the X server fills their transparent
// pixels with black. There the overlay paints a copy of the screen taken just
// before it appears, which also gives blur views a screen to blur.
#pragma once

#include <QImage>
#include <QRect>
#include <memory>

class QScreen;

namespace kernova::desktop {

// Sends what is queued for the X server now (no-op elsewhere).
void flushDisplay();

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

// The same copy, asked for at construction and received by take(): on X11 the
// server copies the screen (through shared memory) before it carries out any
// later request of this process, such as mapping an overlay, so the process
// need not wait for the pixels before showing it.
class ScreenGrab {
  public:
    explicit ScreenGrab(const QRect& area);
    ~ScreenGrab();
    ScreenGrab(const ScreenGrab&) = delete;
    ScreenGrab& operator=(const ScreenGrab&) = delete;

    // Waits for the copy (once); null where the screen could not be read.
    QImage take();

  private:
    struct Pending;
    std::unique_ptr<Pending> pending_;
    QImage image_;  // the copy, when it was made at once
};

}  // namespace kernova::desktop
