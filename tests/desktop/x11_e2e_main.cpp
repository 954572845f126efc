// Entry point of the end-to-end tests: a private preferences folder, a private
// Xvfb display managed by openbox for kernovad and the X tools (the test process itself stays on
// the offscreen platform), inside the private session bus the test runner
// gives every test.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <cstdlib>

#include "desktop_support.h"
#include "support_lib/temp_dir.h"
#include "support_lib/xvfb.h"

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    kernova::testing::usePrivateEnvironment(prefs);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();

    // A window manager runs, as on a desktop (openbox: no compositor), on a
    // screen of two monitors side by side.
    kernova::testing::XvfbOptions options;
    options.width = 2048;
    options.height = 768;
    options.twoMonitors = true;
    options.windowManager = true;
    kernova::testing::Xvfb xvfb(options);
    if (xvfb.started()) ::setenv("KERNOVA_TEST_DISPLAY", xvfb.display().c_str(), 1);
    QGuiApplication app(argc, argv);
    if (!kernova::testing::prepareKernovadEnvironment()) return 1;
    return RUN_ALL_TESTS();
}
