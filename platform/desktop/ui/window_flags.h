// The window-system flags of overlay windows and dialogs, kept in one place
// because each operating system wants its own.
#pragma once

#include <Qt>

class QWidget;

namespace kernova::desktop {

// Frameless, above ordinary windows, out of the task bar; a window that
// passes touches through never takes the keyboard focus.
Qt::WindowFlags overlayWindowFlags(bool passesTouchesThrough = false);
// Attributes of an overlay: a transparent background, touch input, pointer
// moves tracked (tool tips), and no activation on show (the key window asks
// for focus itself).
void applyOverlayAttributes(QWidget& widget);
// Dialogs shown for alerts and share sheets: above the overlays. Those of a
// pass-through window do not take the keyboard focus either.
Qt::WindowFlags dialogWindowFlags(bool takesFocus = true);

}  // namespace kernova::desktop
