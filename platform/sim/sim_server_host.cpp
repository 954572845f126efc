#include "sim/sim_server_host.h"

#include <fstream>

namespace kernova::sim {

SimServerHost::SimServerHost(Device& device) : device_(device) {
    const std::filesystem::path root = device_.temporaryDirectory();
    environment_ = {{"HOME", (root / "home").string()},
                    {"XDG_DATA_HOME", (root / "data-home").string()},
                    {"XDG_DATA_DIRS", (root / "data-dirs").string()}};
}

SimServerHost::~SimServerHost() {
    device_.server().runLoop().cancelAll(this);
}

Monitor SimServerHost::monitorUnderPointer() {
    const ui::Screen& screen = device_.services().screen;
    return Monitor{"sim", screen.bounds, workArea_.value_or(screen.bounds), screen.scale};
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
    return screen_;
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

void SimServerHost::launch(std::vector<std::string> argv, LaunchReply reply) {
    launches_.push_back(std::move(argv));
    device_.server().runLoop().after(
        0, this, [reply = std::move(reply), start = launchesStart_] { reply(start); });
}

void SimServerHost::saveText(std::string text, SaveReply reply) {
    savedTexts_.push_back(text);
    SaveOutcome outcome = SaveOutcome::cancelled;
    if (saveAnswer_) {
        std::ofstream out(*saveAnswer_, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        outcome = out ? SaveOutcome::saved : SaveOutcome::failed;
    }
    device_.server().runLoop().after(0, this,
                                     [reply = std::move(reply), outcome] { reply(outcome); });
}

std::filesystem::path SimServerHost::runtimeDirectory() {
    return device_.temporaryDirectory() / "runtime";
}

EnvironmentLookup SimServerHost::environment() {
    return [variables = environment_](const char* name) -> std::optional<std::string> {
        auto it = variables.find(name);
        if (it == variables.end()) return std::nullopt;
        return it->second;
    };
}

std::unique_ptr<WorkerJob> SimServerHost::startJob(WorkerStep step) {
    return startLoopJob(device_.server().context().runLoop(), std::move(step));
}

}  // namespace kernova::sim
