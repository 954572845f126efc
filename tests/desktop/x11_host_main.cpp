// Entry point of the host's tests on a real X server: a private Xvfb display
// started for this binary, and a widget application on the xcb plugin, as
// kernovad runs. Without Xvfb the tests skip.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>

#include "support_lib/temp_dir.h"
#include "support_lib/xvfb.h"

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    kernova::testing::usePrivateEnvironment(prefs);
    ::setenv("XDG_RUNTIME_DIR", prefs.path().c_str(), 1);
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();

    kernova::testing::Xvfb xvfb;
    if (!xvfb.started()) {
        ::setenv("KERNOVA_NO_X11", "1", 1);
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
