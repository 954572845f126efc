// The tray menu's items and what each does, apart from any toolkit: the
// desktop shows them in its status-notifier menu, the tests trigger them by
// name. Every request goes through the server's own message handlers (its
// loopback sender), as if it had come over the bus; the master switch is
// written into the settings file through the key table, whole and atomically,
// and announced with the reload notification.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/context.h"
#include "base/messaging.h"
#include "server/host.h"

namespace kernova {

// The preferences window's command line: `kernova prefs`, on `page` when not
// empty, with `--first-run` for the window opened at the first start.
std::vector<std::string> preferencesCommand(const std::string& kernovaProgram,
                                            const std::string& page = {}, bool firstRun = false);

class TrayMenu {
  public:
    // The items' names, in menu order.
    static constexpr std::string_view kEnabled = "enabled";
    static constexpr std::string_view kSplitClipboard = "splitClipboard";
    static constexpr std::string_view kOcrScreen = "ocrScreen";
    static constexpr std::string_view kHistory = "history";
    static constexpr std::string_view kPreferences = "preferences";
    static constexpr std::string_view kQuit = "quit";

    struct Item {
        std::string name;
        std::string title;
        bool checkable = false;
        bool checked = false;
    };

    struct Services {
        // The server's loopback sender; must outlive the menu.
        MessageSender* sender = nullptr;
        // Starts the preferences; must outlive the menu.
        ServerHost* host = nullptr;
        // The `kernova` command (a path, or a name looked up on PATH).
        std::string kernovaProgram = "kernova";
        // Ends the process.
        std::function<void()> quit;
    };

    TrayMenu(Context& context, Services services);

    // The items as they stand: the master switch is checked when the settings
    // file says so now.
    std::vector<Item> items() const;
    // Runs the item `name`; false (and nothing done) for an unknown name.
    bool trigger(std::string_view name);

  private:
    void toggleEnabled();

    Context& context_;
    Services services_;
};

}  // namespace kernova
