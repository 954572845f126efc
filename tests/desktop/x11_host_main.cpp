// Entry point of the host's tests on a real X server: a private Xvfb display
// and a widget application on the xcb plugin, as kernovad runs.
#include "support_lib/private_display.h"

int main(int argc, char** argv) {
    return kernova::testing::runOnPrivateDisplay(argc, argv);
}
