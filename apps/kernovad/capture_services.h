// kernovad's capture: the clipboard watch (CLIPBOARD owner changes on X11,
// Kernova's own windows told apart from other owners), the selection item
// (mouse selections from a SelectionGestures source), the global hotkey (its
// grab on X11, the selections read through the host) and the answer to the
// preferences side's "fun.quorle.kernova.getapps" on the session bus.
#pragma once

#include <QDBusConnection>
#include <cstdint>
#include <functional>
#include <memory>

#include "base/context.h"
#include "capture/app_list.h"
#include "capture/clipboard_watch.h"
#include "capture/hotkey.h"
#include "capture/selection_item.h"
#include "desktop/dbus_messaging.h"
#include "desktop/x11_hotkey.h"
#include "desktop/x11_selection.h"
#include "server/host.h"

namespace kernova::daemon {

// CLIPBOARD changes as the watch wants them: the text of another owner's
// clipboard, or an own write for a window of this process.
class X11ClipboardChanges final : public capture::ClipboardChanges {
  public:
    using IsOwnWindow = std::function<bool(std::uint32_t window)>;
    X11ClipboardChanges(desktop::X11Selections& selections, IsOwnWindow isOwn)
        : selections_(selections), isOwn_(std::move(isOwn)) {}
    void start(std::function<void(const capture::ClipboardChange&)> changed) override;

  private:
    desktop::X11Selections& selections_;
    IsOwnWindow isOwn_;
};

// The selections as the host reads them (on X11 without waiting on their owner).
class HostSelectionTexts final : public capture::SelectionTexts {
  public:
    explicit HostSelectionTexts(ServerHost& host) : host_(host) {}
    void readText(Which which, Reply reply) override {
        host_.readSelection(
            which == Which::primary ? SelectionKind::primary : SelectionKind::clipboard,
            std::move(reply));
    }

  private:
    ServerHost& host_;
};

class CaptureServices {
  public:
    // Call after the server has read the settings: the watch and the
    // selection item decide from them now. `changes` is null where there is
    // no X11 clipboard, `gestures` where mouse selections cannot be told;
    // `host` and `gestures` must outlive this object. On X11 (with `changes`)
    // the hotkey is grabbed, and its texts are read through `host`.
    CaptureServices(Context& context, QDBusConnection bus, capture::ClipboardChanges* changes,
                    EnvironmentLookup env, ServerHost& host, capture::SelectionGestures* gestures,
                    capture::PrimaryReader readPrimary);
    CaptureServices(const CaptureServices&) = delete;
    CaptureServices& operator=(const CaptureServices&) = delete;

    // Null without X11.
    const capture::Hotkey* hotkey() const { return hotkey_.get(); }
    // Whether the clipboard watch runs (it starts a moment after kernovad).
    bool clipboardWatchStarted() const { return watch_ && watch_->started(); }

  private:
    QDBusConnection bus_;
    desktop::DBusMessageSender sender_;
    std::unique_ptr<capture::ClipboardWatch> watch_;
    std::unique_ptr<capture::SelectionItem> item_;
    capture::ApplicationListService apps_;
    std::unique_ptr<desktop::X11Hotkey> hotkeyGrabs_;
    std::unique_ptr<HostSelectionTexts> hotkeyTexts_;
    std::unique_ptr<capture::Hotkey> hotkey_;
};

}  // namespace kernova::daemon
