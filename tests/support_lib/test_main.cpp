// Test entry point: every test binary runs with a private preferences folder and
// a fixed locale, so that nothing reads or writes the developer's own settings.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support_lib/temp_dir.h"

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    kernova::testing::usePrivateEnvironment(prefs);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
