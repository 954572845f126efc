// Start-up work that the first panel would otherwise wait for, done on threads
// of their own while the main thread connects to the X server and the session
// bus, and while it handles the first request. Only shared, thread-safe state
// is warmed (fontconfig's configuration and caches, Qt's font database and
// its fallback lists, ICU's break rules and dictionaries); nothing is shown or
// changed, so a warm-up that has not finished only means that the main thread
// does that part itself, as it would without it.
#pragma once

#include <string>
#include <thread>

namespace kernova::daemon {

class StartupWarmUp {
  public:
    // Starts what needs no Qt: fontconfig and the word breaking of `locale`.
    explicit StartupWarmUp(std::string locale);
    // Waits for the thread.
    ~StartupWarmUp();
    StartupWarmUp(const StartupWarmUp&) = delete;
    StartupWarmUp& operator=(const StartupWarmUp&) = delete;

    // Once the GUI application exists: fills Qt's font database and resolves
    // the panel's font (and its fallbacks for Chinese) on a second thread,
    // which its owner keeps for less long than the application.
    [[nodiscard]] std::jthread warmFonts();

  private:
    std::thread early_;
};

}  // namespace kernova::daemon
