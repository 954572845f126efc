// Entry point of the tests on a real window system: a private Xvfb display and
// a widget application on the xcb plugin.
#include "support_lib/private_display.h"

int main(int argc, char** argv) {
    return kernova::testing::runOnPrivateDisplay(argc, argv);
}
