// The window-system flags of overlay windows and dialogs, kept in one place
// because each operating system wants its own.
#pragma once

#include <Qt>

class QWidget;

namespace kernova::desktop {

// Frameless, above ordinary windows, out of the task bar, and on X11 not
// managed by the window manager (the overlay host stacks it); a window that
// passes touches through never takes the keyboard focus.
Qt::WindowFlags overlayWindowFlags(bool passesTouchesThrough = false);
// True when `widget`'s window is kept out of the window manager's hands: it
// goes where it is raised, whatever the window manager does with the others.
bool bypassesWindowManager(const QWidget& widget);
// Attributes of an overlay: a transparent background (unless not
// `translucent`: then its paintings cover it whole), touch input, pointer
// moves tracked (tool tips), and no activation on show (the key window asks
// for focus itself).
void applyOverlayAttributes(QWidget& widget, bool translucent = true);
// Dialogs shown for alerts and share sheets: above the overlays. Those of a
// pass-through window do not take the keyboard focus either, and are not
// managed by the window manager on X11.
Qt::WindowFlags dialogWindowFlags(bool takesFocus = true);

}  // namespace kernova::desktop
