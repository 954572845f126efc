// The server's host on the simulated device: the home-screen process's
// application, the device's front-most application, screen, keyboard and
// clipboard. Selections answer on the server's run loop, at once or after a
// delay the test sets; PRIMARY holds whatever the test puts there.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "server/host.h"
#include "sim/device.h"

namespace kernova::sim {

class SimServerHost final : public ServerHost {
  public:
    explicit SimServerHost(Device& device) : device_(device) {}
    ~SimServerHost() override;
    SimServerHost(const SimServerHost&) = delete;
    SimServerHost& operator=(const SimServerHost&) = delete;

    ui::Application& application() override { return device_.server().application(); }
    std::string frontmostApplicationId() override { return device_.frontmostApplication(); }
    Monitor monitorUnderPointer() override;
    void openUrl(const std::string& url) override;
    void insertText(const std::string& text) override;
    void readSelection(SelectionKind which, SelectionReply reply) override;
    std::shared_ptr<const ui::Image> copyScreen(const Monitor& monitor) override;
    void watchSettingsFolder(const std::filesystem::path& folder,
                             std::function<void()> changed) override;
    void windowsChanged() override { ++windowsChanged_; }

    // Seconds a selection read takes (0: the next turn of the loop).
    void setSelectionDelay(double seconds) { selectionDelay_ = seconds; }
    void setPrimarySelection(std::optional<std::string> text) { primary_ = std::move(text); }
    // Plays the file watcher: the server hears of a change of the settings
    // folder on its run loop.
    void settingsFolderChanged();

    std::size_t selectionReads() const { return selectionReads_; }
    std::size_t windowsChangedCount() const { return windowsChanged_; }

  private:
    Device& device_;
    double selectionDelay_ = 0;
    std::optional<std::string> primary_;
    std::function<void()> settingsChanged_;
    std::size_t selectionReads_ = 0;
    std::size_t windowsChanged_ = 0;
};

}  // namespace kernova::sim
