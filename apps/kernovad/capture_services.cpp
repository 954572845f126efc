#include "kernovad/capture_services.h"

#include <utility>

#include "desktop/dbus_app_list.h"

namespace kernova::daemon {

void X11ClipboardChanges::start(std::function<void(const capture::ClipboardChange&)> changed) {
    selections_.watchClipboardOwner([this, changed = std::move(changed)](std::uint32_t owner) {
        if (owner == 0) return;  // the owner went away: nothing was copied
        if (owner == selections_.window() || isOwn_(owner)) {
            changed(capture::ClipboardChange{std::nullopt, true});
            return;
        }
        selections_.readText(desktop::X11Selections::Which::clipboard,
                             [changed](std::optional<std::string> text) {
                                 changed(capture::ClipboardChange{std::move(text), false});
                             });
    });
}

CaptureServices::CaptureServices(Context& context, QDBusConnection bus,
                                 capture::ClipboardChanges* changes, EnvironmentLookup env,
                                 ServerHost& host, capture::SelectionGestures* gestures,
                                 capture::PrimaryReader readPrimary)
    : bus_(std::move(bus)),
      sender_(bus_),
      apps_(context, std::move(env), [this](const capture::ApplicationList& list) {
          desktop::postWithUserInfo(bus_, capture::kSetAppsNotification, list);
      }) {
    if (changes) {
        watch_ = std::make_unique<capture::ClipboardWatch>(context, sender_, *changes);
        watch_->startIfWanted();
    }
    if (gestures) {
        item_ = std::make_unique<capture::SelectionItem>(context, host, sender_, *gestures,
                                                         std::move(readPrimary));
        item_->start();
    }
}

}  // namespace kernova::daemon
