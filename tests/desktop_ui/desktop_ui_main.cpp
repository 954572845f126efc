// Entry point of the desktop toolkit tests: a private preferences folder as for
// every test binary, and a widget application on the offscreen platform.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>

#include "support_lib/temp_dir.h"

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    kernova::testing::usePrivateEnvironment(prefs);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
