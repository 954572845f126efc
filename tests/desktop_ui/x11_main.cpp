// Entry point of the tests on a real window system: a private Xvfb display
// started for this binary (it picks a free display number itself), and a
// widget application on the xcb plugin. Without Xvfb the tests skip.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <cstdlib>
#include <string>

#include "support_lib/temp_dir.h"

namespace {

// Starts Xvfb and answers its pid and display name; pid 0 when it could not start.
std::pair<pid_t, std::string> startXvfb() {
    int fds[2];
    if (::pipe(fds) != 0) return {0, {}};
    pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        std::string fd = std::to_string(fds[1]);
        ::execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1024x768x24",
                 "-nolisten", "tcp", "-noreset", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(fds[1]);
    std::string number;
    char c = 0;
    while (pid > 0 && ::read(fds[0], &c, 1) == 1 && c != '\n')
        number += c;
    ::close(fds[0]);
    if (pid <= 0 || number.empty()) return {0, {}};
    return {pid, ":" + number};
}

}  // namespace

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    ::setenv("KERNOVA_PREFERENCES_DIR", prefs.path().c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (prefs.path() / "xdg").c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", prefs.path().c_str(), 1);
    ::setenv("LANG", "en_US.UTF-8", 1);
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();

    auto [pid, display] = startXvfb();
    if (pid == 0) {
        ::setenv("KERNOVA_NO_X11", "1", 1);
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    } else {
        ::setenv("DISPLAY", display.c_str(), 1);
        ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    }
    int result = 0;
    {
        QApplication app(argc, argv);
        result = RUN_ALL_TESTS();
    }
    if (pid > 0) {
        ::kill(pid, SIGTERM);
        ::waitpid(pid, nullptr, 0);
    }
    return result;
}
