#include "capture/clipboard_watch.h"

namespace kernova::capture {

ClipboardWatch::ClipboardWatch(Context& context, MessageSender& sender, ClipboardChanges& changes)
    : context_(context), sender_(sender), changes_(changes) {}

ClipboardWatch::~ClipboardWatch() {
    context_.runLoop().cancelAll(this);
}

bool ClipboardWatch::startIfWanted() {
    if (decided_) return false;
    decided_ = true;
    const SettingsGlobals& settings = context_.settings();
    if (!settings.tweakEnabled || !settings.watchClipboard) {
        context_.log().info("watch", "the clipboard watch stays off until the next start");
        return false;
    }
    context_.runLoop().after(kClipboardWatchDelaySeconds, this, [this] {
        started_ = true;
        changes_.start([this](const ClipboardChange& change) { changed(change); });
        context_.log().info("watch", "watching the clipboard");
    });
    return true;
}

bool ClipboardWatch::wantsButton(const ClipboardChange& change) {
    return !change.ownWrite && change.text && !change.text->empty();
}

void ClipboardWatch::changed(const ClipboardChange& change) {
    if (!wantsButton(change)) {
        context_.log().debug("watch", change.ownWrite ? "clipboard changed by Kernova itself"
                                                      : "clipboard changed without text");
        return;
    }
    context_.log().debug(
        "watch", "clipboard changed: " + std::to_string(change.text->size()) + " bytes of text");
    sender_.sendMessageName(kPopButtonMessage);
}

}  // namespace kernova::capture
