// Entry point of the desktop tests: a private preferences folder as for every
// test binary, and a GUI application on the offscreen platform, so that timers,
// bus events and the clipboard work without a display.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <cstdlib>

#include "desktop_support.h"
#include "support_lib/temp_dir.h"

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    kernova::testing::usePrivateEnvironment(prefs);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::testing::InitGoogleTest(&argc, argv);
    QGuiApplication app(argc, argv);
    if (!kernova::testing::prepareKernovadEnvironment()) return 1;
    return RUN_ALL_TESTS();
}
