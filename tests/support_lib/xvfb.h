// A private virtual X display for tests that need a real window system: Xvfb
// picks a free display number itself and tells it through a pipe.
#pragma once

#include <sys/types.h>

#include <string>

namespace kernova::testing {

class Xvfb {
  public:
    // Starts Xvfb with one screen of the given size; started() is false when
    // it could not (not installed, or it failed).
    explicit Xvfb(const std::string& screen = "1024x768x24");
    ~Xvfb();
    Xvfb(const Xvfb&) = delete;
    Xvfb& operator=(const Xvfb&) = delete;

    bool started() const { return pid_ > 0; }
    // ":N", empty when not started.
    const std::string& display() const { return display_; }

  private:
    pid_t pid_ = 0;
    std::string display_;
};

}  // namespace kernova::testing
