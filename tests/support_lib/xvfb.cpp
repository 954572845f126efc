#include "support_lib/xvfb.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kernova::testing {

Xvfb::Xvfb(const std::string& screen) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        std::string fd = std::to_string(fds[1]);
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
    if (pid <= 0) return;
    if (number.empty()) {
        ::kill(pid, SIGTERM);
        ::waitpid(pid, nullptr, 0);
        return;
    }
    pid_ = pid;
    display_ = ":" + number;
}

Xvfb::~Xvfb() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
}

}  // namespace kernova::testing
