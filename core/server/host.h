// What the server needs of the desktop it runs on, and nothing more: the
// application in front, the monitors, the selections, a few system services and
// the toolkit application its windows live in. kernovad provides one on the
// desktop; the simulated device provides another for tests.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/paths.h"
#include "base/worker.h"
#include "ui/geometry.h"

namespace kernova {

namespace ui {
class Application;
class Image;
class Window;
}  // namespace ui

// CLIPBOARD is what the user copied; PRIMARY is what they last selected (X11).
enum class SelectionKind { clipboard, primary };

// What came of "Save as…": written, closed without a file, or not written.
enum class SaveOutcome { saved, cancelled, failed };

struct Monitor {
    std::string name;
    ui::Rect frame;     // in the desktop's coordinates, in points
    ui::Rect workArea;  // the frame less panels and docks
    double scale = 1;   // device pixels per point
};

class ServerHost {
  public:
    using SelectionReply = std::function<void(std::optional<std::string> text)>;
    using LaunchReply = std::function<void(bool started)>;
    using SaveReply = std::function<void(SaveOutcome outcome)>;

    virtual ~ServerHost() = default;

    // The toolkit application that the server's windows live in; its platform
    // also makes the platform's web view for ui::WebView.
    virtual ui::Application& application() = 0;
    // The id of the application in front (a desktop-entry id on the desktop);
    // empty when there is none or it cannot be told.
    virtual std::string frontmostApplicationId() = 0;
    // The monitor under the pointer (the primary one when that cannot be told).
    virtual Monitor monitorUnderPointer() = 0;

    virtual void openUrl(const std::string& url) = 0;
    // Types `text` into the focused field of the application in front.
    virtual void insertText(const std::string& text) = 0;

    // Reads a selection. The reply always comes later on the server's run loop,
    // never inside the call; absent when the selection holds no text.
    virtual void readSelection(SelectionKind which, SelectionReply reply) = 0;
    // A copy of what `monitor` shows now; null when it cannot be read.
    virtual std::shared_ptr<const ui::Image> copyScreen(const Monitor& monitor) = 0;

    // Sends every key and pointer event of the desktop to `window`'s overlay
    // until called with null (the region picker); a later call replaces the
    // grab. A window not on screen yet takes them as soon as it shows.
    virtual void grabInput(ui::Window* window) = 0;

    // Starts the program argv[0] (looked up on PATH unless it holds a "/") with
    // the other arguments, detached: it outlives the server and the call never
    // waits for it. The reply comes later on the run loop: whether it started.
    virtual void launch(std::vector<std::string> argv, LaunchReply reply) = 0;
    // Asks the user where to save `text` (the desktop's save dialog, without
    // blocking) and writes it there as UTF-8; the reply comes once the user
    // has answered.
    virtual void saveText(std::string text, SaveReply reply) = 0;
    // The private folder for files handed to other applications (the folder
    // itself may not exist yet): $XDG_RUNTIME_DIR/kernova on the desktop.
    virtual std::filesystem::path runtimeDirectory() = 0;
    // The environment the desktop's applications are read with
    // (DesktopEntries::load).
    virtual EnvironmentLookup environment() = 0;

    // Calls `changed` on the run loop after the settings folder changes, until
    // the host goes away.
    virtual void watchSettingsFolder(const std::filesystem::path& folder,
                                     std::function<void()> changed) = 0;
    // The server has opened, parked or closed windows: bring the screen in line now.
    virtual void windowsChanged() {}
    // Starts a job off the run loop's turns (segmenting a large text): on a
    // thread of its own unless the host says otherwise.
    virtual std::unique_ptr<WorkerJob> startJob(WorkerStep step) {
        return startThreadJob(std::move(step));
    }
};

}  // namespace kernova
