// The server's host on the simulated device: the home-screen process's
// application, the device's front-most application, screen, keyboard and
// clipboard, and the mouse selections the test plays. Selections answer on the server's run loop,
// at once or after a delay the test sets; PRIMARY holds whatever the test puts there. Launches and
// saves are recorded and answered on the next turn of the loop, as the test decides; the
// environment is the test's own (by default it names empty data folders in the device's temporary
// folder, never the machine's).
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "server/host.h"
#include "sim/device.h"
#include "sim/sim_selection_gestures.h"

namespace kernova::sim {

class SimServerHost final : public ServerHost {
  public:
    explicit SimServerHost(Device& device);
    ~SimServerHost() override;
    SimServerHost(const SimServerHost&) = delete;
    SimServerHost& operator=(const SimServerHost&) = delete;

    ui::Application& application() override { return device_.server().application(); }
    std::string frontmostApplicationId() override { return device_.frontmostApplication(); }
    Monitor monitorUnderPointer() override;
    void openUrl(const std::string& url) override;
    void insertText(const std::string& text) override;
    void readSelection(SelectionKind which, SelectionReply reply) override;
    // What the test set with setScreen (the simulated screen has no pixels of its own).
    std::shared_ptr<const ui::Image> copyScreen(const Monitor& monitor) override;
    // Recorded: grabbedWindow() tells which window holds the input.
    void grabInput(ui::Window* window) override { grabbed_ = window; }
    void watchSettingsFolder(const std::filesystem::path& folder,
                             std::function<void()> changed) override;
    void windowsChanged() override { ++windowsChanged_; }
    // One step per turn of the server's run loop, on the virtual clock.
    std::unique_ptr<WorkerJob> startJob(WorkerStep step) override;
    void launch(std::vector<std::string> argv, LaunchReply reply) override;
    void saveText(std::string text, SaveReply reply) override;
    // A folder in the device's temporary folder.
    std::filesystem::path runtimeDirectory() override;
    EnvironmentLookup environment() override;

    // The environment variables the host reports (replacing the default ones).
    void setEnvironment(std::map<std::string, std::string> variables) {
        environment_ = std::move(variables);
    }
    // Whether the next launches start (true by default).
    void setLaunchesStart(bool start) { launchesStart_ = start; }
    // The save dialog's answer: the file to write, or none to close it unchosen.
    void setSaveAnswer(std::optional<std::filesystem::path> file) { saveAnswer_ = std::move(file); }
    // Every launch's arguments, and every text handed to the save dialog.
    const std::vector<std::vector<std::string>>& launches() const { return launches_; }
    const std::vector<std::string>& savedTexts() const { return savedTexts_; }

    // Seconds a selection read takes (0: the next turn of the loop).
    void setSelectionDelay(double seconds) { selectionDelay_ = seconds; }
    void setPrimarySelection(std::optional<std::string> text) { primary_ = std::move(text); }
    // The work area the monitor reports (the whole screen by default).
    void setWorkArea(std::optional<ui::Rect> area) { workArea_ = area; }
    // What the monitor shows, for copyScreen; null (the default) cannot be copied.
    void setScreen(std::shared_ptr<const ui::Image> image) { screen_ = std::move(image); }
    ui::Window* grabbedWindow() const { return grabbed_; }
    // The mouse selections, played by the test.
    SimSelectionGestures& selectionGestures() { return gestures_; }
    // Plays the file watcher: the server hears of a change of the settings
    // folder on its run loop.
    void settingsFolderChanged();

    std::size_t selectionReads() const { return selectionReads_; }
    std::size_t windowsChangedCount() const { return windowsChanged_; }

  private:
    Device& device_;
    double selectionDelay_ = 0;
    std::optional<std::string> primary_;
    std::optional<ui::Rect> workArea_;
    std::shared_ptr<const ui::Image> screen_;
    ui::Window* grabbed_ = nullptr;
    SimSelectionGestures gestures_;
    std::function<void()> settingsChanged_;
    std::map<std::string, std::string> environment_;
    bool launchesStart_ = true;
    std::optional<std::filesystem::path> saveAnswer_;
    std::vector<std::vector<std::string>> launches_;
    std::vector<std::string> savedTexts_;
    std::size_t selectionReads_ = 0;
    std::size_t windowsChanged_ = 0;
};

}  // namespace kernova::sim
