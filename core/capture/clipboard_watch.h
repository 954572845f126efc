// The clipboard watch: newly copied text asks the server for the floating
// button ("popButton"). Whether it runs is decided once, as the process starts,
// from the master switch and "watchClipboard"; it starts 2 s later and then
// lasts as long as the process, whatever the settings become.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/context.h"
#include "base/messaging.h"

namespace kernova::capture {

inline constexpr double kClipboardWatchDelaySeconds = 2.0;
inline constexpr const char* kPopButtonMessage = "popButton";

// The clipboard after a change of its owner: its text (absent when it offers
// none, an image only), and whether this process itself is the owner (its
// own copy, which never raises the button).
struct ClipboardChange {
    std::optional<std::string> text;
    bool ownWrite = false;
};

// Where the changes come from (the X11 CLIPBOARD owner on the desktop).
class ClipboardChanges {
  public:
    virtual ~ClipboardChanges() = default;
    // From now on, calls `changed` on the run loop after each change.
    virtual void start(std::function<void(const ClipboardChange&)> changed) = 0;
};

class ClipboardWatch {
  public:
    // The context, sender and source must outlive the watch.
    ClipboardWatch(Context& context, MessageSender& sender, ClipboardChanges& changes);
    ~ClipboardWatch();
    ClipboardWatch(const ClipboardWatch&) = delete;
    ClipboardWatch& operator=(const ClipboardWatch&) = delete;

    // Call once, with the settings as read at start: when "enabled" and
    // "watchClipboard" are both on, the watch starts 2 s later. Returns
    // whether it will start.
    bool startIfWanted();
    bool started() const { return started_; }

    // Whether a change asks for the button: text that is not empty, written
    // by someone else.
    static bool wantsButton(const ClipboardChange& change);

  private:
    void changed(const ClipboardChange& change);

    Context& context_;
    MessageSender& sender_;
    ClipboardChanges& changes_;
    bool decided_ = false;
    bool started_ = false;
};

}  // namespace kernova::capture
