#include "support_lib/private_display.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>

#include "support_lib/temp_dir.h"

namespace kernova::testing {

int runOnPrivateDisplay(int argc, char** argv, const XvfbOptions& options) {
    TempDir prefs;
    usePrivateEnvironment(prefs);
    ::setenv("XDG_RUNTIME_DIR", prefs.path().c_str(), 1);
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();

    Xvfb xvfb(options);
    if (!xvfb.started()) {
        ::setenv("KERNOVA_NO_X11", xvfb.problem().empty() ? "1" : xvfb.problem().c_str(), 1);
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    } else {
        ::setenv("DISPLAY", xvfb.display().c_str(), 1);
        ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    }
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}

}  // namespace kernova::testing
