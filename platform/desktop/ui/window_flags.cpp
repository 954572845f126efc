#include "desktop/ui/window_flags.h"

#include <QWidget>

namespace kernova::desktop {

Qt::WindowFlags overlayWindowFlags() {
    Qt::WindowFlags flags = Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
#if defined(Q_OS_MACOS)
    // A tool window would hide when the application deactivates.
    flags |= Qt::Window;
#elif defined(Q_OS_WIN)
    flags |= Qt::Tool;
#else
    // X11 and Wayland: a tool window stays out of the task bar and pager while
    // the window manager still gives it focus when asked.
    flags |= Qt::Tool;
#endif
    return flags;
}

void applyOverlayAttributes(QWidget& widget) {
    widget.setAttribute(Qt::WA_TranslucentBackground);
    widget.setAttribute(Qt::WA_NoSystemBackground);
    widget.setAttribute(Qt::WA_AcceptTouchEvents);
    widget.setAttribute(Qt::WA_ShowWithoutActivating);
    widget.setAutoFillBackground(false);
    widget.setMouseTracking(false);
    widget.setFocusPolicy(Qt::StrongFocus);
}

Qt::WindowFlags dialogWindowFlags() {
    return Qt::Dialog | Qt::WindowStaysOnTopHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint;
}

}  // namespace kernova::desktop
