#include "support_lib/xvfb.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

namespace kernova::testing {

namespace {

constexpr int kWindowManagerTimeoutMs = 15000;

// Runs a program with DISPLAY set to `display`; true when it exits with 0.
bool runOnDisplay(const std::string& display, std::vector<std::string> args) {
    pid_t pid = ::fork();
    if (pid < 0) return false;
    if (pid == 0) {
        ::setenv("DISPLAY", display.c_str(), 1);
        int null = ::open("/dev/null", O_WRONLY);
        if (null >= 0) ::dup2(null, STDOUT_FILENO);
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void stop(pid_t& pid) {
    if (pid <= 0) return;
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
    pid = 0;
}

}  // namespace

Xvfb::Xvfb(const XvfbOptions& options) {
    start(std::to_string(options.width) + "x" + std::to_string(options.height) + "x24");
    if (pid_ <= 0) return;
    if (options.twoMonitors && !splitIntoTwoMonitors(options.width, options.height)) {
        complete_ = false;
        problem_ = "xrandr could not split the screen into two monitors";
        return;
    }
    if (options.windowManager && !startWindowManager()) {
        complete_ = false;
        if (problem_.empty()) problem_ = "openbox did not start";
    }
}

void Xvfb::start(const std::string& screen) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        std::string fd = std::to_string(fds[1]);
        // -noreset: the server keeps its state (the monitors) when its last
        // client goes.
        ::execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", screen.c_str(),
                 "-nolisten", "tcp", "-noreset", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(fds[1]);
    std::string number;
    char c = 0;
    while (pid > 0 && ::read(fds[0], &c, 1) == 1 && c != '\n')
        number += c;
    ::close(fds[0]);
    if (pid <= 0) {
        problem_ = "cannot start Xvfb";
        return;
    }
    if (number.empty()) {
        ::kill(pid, SIGTERM);
        ::waitpid(pid, nullptr, 0);
        problem_ = "Xvfb did not start";
        return;
    }
    pid_ = pid;
    display_ = ":" + number;
}

bool Xvfb::splitIntoTwoMonitors(int width, int height) {
    // Sizes in millimetres as for a screen of 96 dots per inch.
    auto monitor = [&](const char* name, int x, const char* output) {
        int half = width / 2;
        std::string geometry = std::to_string(half) + "/" + std::to_string(half * 254 / 960) + "x" +
                               std::to_string(height) + "/" + std::to_string(height * 254 / 960) +
                               "+" + std::to_string(x) + "+0";
        return runOnDisplay(display_, {"xrandr", "--setmonitor", name, geometry, output});
    };
    return monitor("left", 0, "screen") && monitor("right", width / 2, "none");
}

bool Xvfb::startWindowManager() {
    // openbox runs its start-up command once it manages the screen; the
    // command writes into a FIFO that is waited on with a deadline.
    char folder[] = "/tmp/kernova-wm-XXXXXX";
    if (!::mkdtemp(folder)) return false;
    std::string fifo = std::string(folder) + "/ready";
    bool ready = false;
    if (::mkfifo(fifo.c_str(), 0600) == 0) {
        // Read and write: no end-of-file before the writer comes.
        int fd = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK);
        pid_t pid = fd >= 0 ? ::fork() : -1;
        if (pid == 0) {
            ::setenv("DISPLAY", display_.c_str(), 1);
            int null = ::open("/dev/null", O_WRONLY);
            if (null >= 0) {
                ::dup2(null, STDOUT_FILENO);
                ::dup2(null, STDERR_FILENO);
            }
            std::string command = "sh -c 'echo ready > " + fifo + "'";
            ::execlp("openbox", "openbox", "--sm-disable", "--startup", command.c_str(),
                     static_cast<char*>(nullptr));
            ::_exit(127);
        }
        if (pid > 0) {
            windowManagerPid_ = pid;
            pollfd wait{fd, POLLIN, 0};
            ready = ::poll(&wait, 1, kWindowManagerTimeoutMs) == 1 && (wait.revents & POLLIN);
            if (!ready) {
                int status = 0;
                if (::waitpid(pid, &status, WNOHANG) == pid) {
                    windowManagerPid_ = 0;
                    problem_ = "openbox exited at start (is it installed?)";
                }
                stop(windowManagerPid_);
            }
        }
        if (fd >= 0) ::close(fd);
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return ready;
}

Xvfb::~Xvfb() {
    stop(windowManagerPid_);
    stop(pid_);
}

}  // namespace kernova::testing
