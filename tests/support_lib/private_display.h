// Entry point shared by the test binaries that need a real window system: a
// private preferences folder and runtime directory, a private Xvfb display
// started for the binary (see xvfb.h), and a widget application on the xcb
// plugin. Without the display the application runs offscreen and
// KERNOVA_NO_X11 says why, so that the tests skip.
#pragma once

#include "support_lib/xvfb.h"

namespace kernova::testing {

// Runs every test of the binary as described above and returns the result.
int runOnPrivateDisplay(int argc, char** argv, const XvfbOptions& options = {});

}  // namespace kernova::testing
