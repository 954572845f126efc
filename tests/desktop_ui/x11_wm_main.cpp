// Entry point of the tests under a window manager: a private Xvfb display of
// 1600x600 pixels split into two monitors side by side (800x600 each), with
// openbox (no compositor) managing it. Without Xvfb, xrandr or openbox the
// tests skip (they fail on CI).
#include "support_lib/private_display.h"

int main(int argc, char** argv) {
    return kernova::testing::runOnPrivateDisplay(
        argc, argv, {.width = 1600, .height = 600, .twoMonitors = true, .windowManager = true});
}
