// The application in front on X11, as a desktop-entry id: the window named by
// the root window's _NET_ACTIVE_WINDOW, told by its program (_NET_WM_PID and
// /proc/<pid>/exe) and its WM_CLASS. A connection of its own to the display
// hears the property change, so the id is kept, not asked for on each use;
// nothing runs while the active window stays.
#pragma once

#include <QFileSystemWatcher>
#include <QSocketNotifier>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/desktop_entries.h"
#include "base/log.h"
#include "base/paths.h"

struct xcb_connection_t;

namespace kernova::daemon {

class FrontApplication {
  public:
    // Opens `env`'s DISPLAY; without one, or where it cannot be opened, no
    // application is ever in front. The logger must outlive this object.
    FrontApplication(const EnvironmentLookup& env, const Logger& log);
    ~FrontApplication();
    FrontApplication(const FrontApplication&) = delete;
    FrontApplication& operator=(const FrontApplication&) = delete;

    // The id of the application in front: empty when no window is active, or
    // the desktop is, or its application has no entry. While a window of
    // Kernova's own (kernovad, the kernova command) is active, the application
    // in front before it stays. The entries are read on first use and again
    // after the applications folders change.
    std::string id();

    // The active window as last heard (0 for none); lets tests know that a
    // change was seen.
    std::uint32_t activeWindow() const { return activeWindow_; }

  private:
    struct Window;
    void readEvents();
    void activeWindowChanged();
    Window describe(std::uint32_t window);
    void loadEntries();
    void watchFolders();

    EnvironmentLookup env_;
    const Logger& log_;
    xcb_connection_t* connection_ = nullptr;
    std::uint32_t root_ = 0;  // window and atoms are X ids
    std::uint32_t activeAtom_ = 0, pidAtom_ = 0, typeAtom_ = 0, desktopTypeAtom_ = 0;
    std::string host_;  // this machine's name, for WM_CLIENT_MACHINE
    std::unique_ptr<QSocketNotifier> notifier_;
    std::uint32_t activeWindow_ = 0;

    std::optional<WindowIdentity> front_;  // the last window of another application
    std::optional<std::string> id_;        // front_'s id, once looked up
    std::optional<DesktopEntries> entries_;
    std::unique_ptr<QFileSystemWatcher> watcher_;
};

}  // namespace kernova::daemon
