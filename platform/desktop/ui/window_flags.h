// The window-system flags of overlay windows and dialogs, kept in one place
// because each operating system wants its own.
#pragma once

#include <Qt>

class QWidget;

namespace kernova::desktop {

// Frameless, above ordinary windows, out of the task bar.
Qt::WindowFlags overlayWindowFlags();
// Attributes of an overlay: a transparent background, touch input, and no
// activation on show (the key window asks for focus itself).
void applyOverlayAttributes(QWidget& widget);
// Dialogs shown for alerts and share sheets: above the overlays.
Qt::WindowFlags dialogWindowFlags();

}  // namespace kernova::desktop
