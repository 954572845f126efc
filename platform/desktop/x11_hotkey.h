// The global hotkey on X11: one key with its modifiers (Qt's portable text,
// "Ctrl+Alt+S") grabbed on the root window, on an xcb connection of its own
// whose socket a QSocketNotifier watches; nothing polls. The key is grabbed
// once for every combination of the lock modifiers (CapsLock, NumLock and,
// when the keyboard maps it, ScrollLock; NumLock's and ScrollLock's modifiers,
// like Alt's and Super's, come from the keyboard's modifier mapping), so that
// it works whatever locks are on. Keys that type text (letters, digits,
// punctuation, space) need Ctrl, Alt or Meta; the function keys, the editing
// and the navigation keys may stand alone.
#pragma once

#include <QSocketNotifier>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/paths.h"
#include "capture/hotkey.h"

struct xcb_connection_t;

namespace kernova::desktop {

// Whether `sequence` could be grabbed now on `env`'s display: `ok`, `refused`
// (another client holds it: the X server answered BadAccess), `invalid` (not
// one key with its modifiers, or a key the keyboard lacks) or `noDisplay`.
// The key is let go again at once. A key that kernovad itself holds counts as
// refused. The preferences window and `kernova doctor` ask this too.
capture::HotkeyStatus checkHotkey(const std::string& sequence,
                                  const EnvironmentLookup& env = processEnvironment());

class X11Hotkey final : public capture::HotkeyGrabs {
  public:
    // Opens `env`'s DISPLAY; without one every grab answers `noDisplay`. The
    // logger must outlive this object.
    X11Hotkey(const EnvironmentLookup& env, const Logger& log);
    ~X11Hotkey() override;
    X11Hotkey(const X11Hotkey&) = delete;
    X11Hotkey& operator=(const X11Hotkey&) = delete;

    capture::HotkeyStatus grab(const std::string& sequence, std::function<void()> pressed) override;
    void release() override;

    // The keys and modifier masks grabbed now (none when nothing is).
    struct Grab {
        std::vector<std::uint8_t> keycodes;
        std::uint16_t modifiers = 0;           // the chord's own
        std::vector<std::uint16_t> lockMasks;  // every combination of the locks
        bool operator==(const Grab&) const = default;
    };

  private:
    void readEvents();
    void keyboardChanged();

    const Logger& log_;
    xcb_connection_t* connection_ = nullptr;
    std::uint32_t root_ = 0;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::string sequence_;  // grabbed now; empty when nothing is
    Grab grab_;
    std::function<void()> pressed_;
    std::optional<std::uint32_t> lastRelease_;  // server time of the last key release
};

}  // namespace kernova::desktop
