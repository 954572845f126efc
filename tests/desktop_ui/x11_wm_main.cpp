// Entry point of the tests under a window manager: a private Xvfb display of
// 1600x600 pixels split into two monitors side by side (800x600 each), with
// openbox (no compositor) managing it, and a widget application on the xcb
// plugin. Without Xvfb, xrandr or openbox the tests skip (they fail on CI).
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>
#include <string>

#include "support_lib/temp_dir.h"
#include "support_lib/xvfb.h"

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    kernova::testing::usePrivateEnvironment(prefs);
    ::setenv("XDG_RUNTIME_DIR", prefs.path().c_str(), 1);
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();

    kernova::testing::XvfbOptions options;
    options.width = 1600;
    options.height = 600;
    options.twoMonitors = true;
    options.windowManager = true;
    kernova::testing::Xvfb xvfb(options);
    if (!xvfb.started()) {
        ::setenv("KERNOVA_NO_X11", xvfb.problem().c_str(), 1);
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    } else {
        ::setenv("DISPLAY", xvfb.display().c_str(), 1);
        ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    }
    int result = 0;
    {
        QApplication app(argc, argv);
        result = RUN_ALL_TESTS();
    }
    return result;
}
