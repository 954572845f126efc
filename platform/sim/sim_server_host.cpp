#include "sim/sim_server_host.h"

namespace kernova::sim {

SimServerHost::~SimServerHost() {
    device_.server().runLoop().cancelAll(this);
}

Monitor SimServerHost::monitorUnderPointer() {
    const ui::Screen& screen = device_.services().screen;
    return Monitor{"sim", screen.bounds, screen.bounds, screen.scale};
}

void SimServerHost::openUrl(const std::string& url) {
    device_.server().services().urlOpener().openURL(url);
}

void SimServerHost::insertText(const std::string& text) {
    device_.services().keyboard.insertText(text);
}

void SimServerHost::readSelection(SelectionKind which, SelectionReply reply) {
    ++selectionReads_;
    // The selection's owner answers when the reply is due, with what it holds then.
    device_.server().runLoop().after(
        selectionDelay_, this, [this, which, reply = std::move(reply)] {
            reply(which == SelectionKind::clipboard ? device_.pasteboard().string() : primary_);
        });
}

std::shared_ptr<const ui::Image> SimServerHost::copyScreen(const Monitor& monitor) {
    (void)monitor;
    return nullptr;  // the simulated screen has no pixels of its own
}

void SimServerHost::watchSettingsFolder(const std::filesystem::path& folder,
                                        std::function<void()> changed) {
    (void)folder;
    settingsChanged_ = std::move(changed);
}

void SimServerHost::settingsFolderChanged() {
    if (!settingsChanged_) return;
    device_.server().runLoop().after(0, this, [this] { settingsChanged_(); });
}

}  // namespace kernova::sim
