// Screen readers see the toolkit's views: each overlay widget answers Qt's
// accessibility queries with the readable views of its window (buttons,
// labels, tags), with their names, places on screen, selected state and, for
// buttons, the press action.
#pragma once

namespace kernova::desktop {

// Installs the accessibility factory for overlay widgets (once per process).
void installOverlayAccessibility();

}  // namespace kernova::desktop
