#include "desktop/ui/window_flags.h"

#include <QWidget>

namespace kernova::desktop {

Qt::WindowFlags overlayWindowFlags(bool passesTouchesThrough) {
    Qt::WindowFlags flags = Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
    if (passesTouchesThrough) flags |= Qt::WindowDoesNotAcceptFocus;
#if defined(Q_OS_MACOS)
    // A tool window would hide when the application deactivates.
    flags |= Qt::Window;
#elif defined(Q_OS_WIN)
    flags |= Qt::Tool;
#else
    // X11 and Wayland: a tool window stays out of the task bar and pager.
    flags |= Qt::Tool;
    // On X11 no overlay is managed by the window manager (override-redirect):
    // mapping the panel's waits on no other process, the host alone stacks
    // them (below the frames of its managed dialogs), and the key overlay
    // takes the keyboard itself.
    flags |= Qt::X11BypassWindowManagerHint;
#endif
    return flags;
}

bool bypassesWindowManager(const QWidget& widget) {
    return widget.windowFlags().testFlag(Qt::X11BypassWindowManagerHint);
}

void applyOverlayAttributes(QWidget& widget, bool translucent) {
    if (translucent)
        widget.setAttribute(Qt::WA_TranslucentBackground);
    else
        widget.setAttribute(Qt::WA_OpaquePaintEvent);
    widget.setAttribute(Qt::WA_NoSystemBackground);
    widget.setAttribute(Qt::WA_AcceptTouchEvents);
    widget.setAttribute(Qt::WA_ShowWithoutActivating);
    // Tool tips also over overlays that are not active (pass-through ones never are).
    widget.setAttribute(Qt::WA_AlwaysShowToolTips);
    widget.setAutoFillBackground(false);
    // Moves without a button reach the widget, so that Qt can time tool tips.
    widget.setMouseTracking(true);
    widget.setFocusPolicy(Qt::StrongFocus);
}

Qt::WindowFlags dialogWindowFlags(bool takesFocus) {
    Qt::WindowFlags flags =
        Qt::Dialog | Qt::WindowStaysOnTopHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint;
    if (!takesFocus) flags |= Qt::WindowDoesNotAcceptFocus;
#if !defined(Q_OS_MACOS) && !defined(Q_OS_WIN)
    // Like the overlays of pass-through windows, those that never take the
    // focus are left unmanaged, so that they can come above a full-screen one.
    if (!takesFocus) flags |= Qt::X11BypassWindowManagerHint;
#endif
    return flags;
}

}  // namespace kernova::desktop
