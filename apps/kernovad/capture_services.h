// kernovad's capture: the clipboard watch (CLIPBOARD owner changes on X11,
// Kernova's own windows told apart from other owners), the selection item
// (mouse selections from a SelectionGestures source) and the answer to the
// preferences side's "fun.quorle.kernova.getapps" on the session bus.
#pragma once

#include <QDBusConnection>
#include <cstdint>
#include <functional>
#include <memory>

#include "base/context.h"
#include "capture/app_list.h"
#include "capture/clipboard_watch.h"
#include "capture/selection_item.h"
#include "desktop/dbus_messaging.h"
#include "desktop/x11_selection.h"

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

class CaptureServices {
  public:
    // Call after the server has read the settings: the watch and the
    // selection item decide from them now. `changes` is null where there is
    // no X11 clipboard, `gestures` where mouse selections cannot be told;
    // `host` and `gestures` must outlive this object.
    CaptureServices(Context& context, QDBusConnection bus, capture::ClipboardChanges* changes,
                    EnvironmentLookup env, ServerHost& host, capture::SelectionGestures* gestures,
                    capture::PrimaryReader readPrimary);
    CaptureServices(const CaptureServices&) = delete;
    CaptureServices& operator=(const CaptureServices&) = delete;

  private:
    QDBusConnection bus_;
    desktop::DBusMessageSender sender_;
    std::unique_ptr<capture::ClipboardWatch> watch_;
    std::unique_ptr<capture::SelectionItem> item_;
    capture::ApplicationListService apps_;
};

}  // namespace kernova::daemon
