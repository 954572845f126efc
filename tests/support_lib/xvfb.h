// A private virtual X display for tests that need a real window system: Xvfb
// picks a free display number itself and tells it through a pipe. On request
// the screen is split into two monitors side by side (RandR monitors, made
// with xrandr --setmonitor) and a window manager (openbox, no compositor) runs
// on it.
#pragma once

#include <sys/types.h>

#include <string>

namespace kernova::testing {

struct XvfbOptions {
    int width = 1024;
    int height = 768;
    // Two monitors, the left and right halves of the screen ("left", "right").
    bool twoMonitors = false;
    // openbox managing the display, started before the constructor returns.
    bool windowManager = false;
};

class Xvfb {
  public:
    // Starts Xvfb as asked; started() is false when it could not (not
    // installed, or it failed).
    explicit Xvfb(const XvfbOptions& options = {});
    ~Xvfb();
    Xvfb(const Xvfb&) = delete;
    Xvfb& operator=(const Xvfb&) = delete;

    // True when Xvfb runs with everything asked for (monitors, window manager).
    bool started() const { return pid_ > 0 && complete_; }
    // ":N", empty when not started.
    const std::string& display() const { return display_; }
    // Why it did not start, for the test's message; empty when it did.
    const std::string& problem() const { return problem_; }

  private:
    void start(const std::string& screen);
    bool splitIntoTwoMonitors(int width, int height);
    bool startWindowManager();

    pid_t pid_ = 0;
    pid_t windowManagerPid_ = 0;
    bool complete_ = true;
    std::string display_;
    std::string problem_;
};

}  // namespace kernova::testing
