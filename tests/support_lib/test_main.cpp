// Test entry point: every test binary runs with a private preferences folder and
// a fixed locale, so that nothing reads or writes the developer's own settings.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support_lib/temp_dir.h"

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    ::setenv("KERNOVA_PREFERENCES_DIR", prefs.path().c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (prefs.path() / "xdg").c_str(), 1);
    ::setenv("LANG", "en_US.UTF-8", 1);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
