// The server's host on the desktop: kernovad's toolkit application on the Qt
// platform with its overlay windows, the X11 window in front, the monitors,
// the CLIPBOARD and PRIMARY selections (read without waiting on their owner), the URL handler and
// the typing helper; programs started detached, the save dialog (kept above the overlays as the
// presenter's dialogs are), and the private folder $XDG_RUNTIME_DIR/kernova.
#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QPointer>
#include <QWindow>
#include <deque>
#include <memory>
#include <string>

#include "base/context.h"
#include "capture/clipboard_watch.h"
#include "desktop/ui/desktop_platform.h"
#include "desktop/ui/overlay_window_host.h"
#include "desktop/x11_selection.h"
#include "desktop/x11_selection_gestures.h"
#include "kernovad/capture_services.h"
#include "kernovad/front_application.h"
#include "server/host.h"
#include "ui/application.h"

namespace kernova::daemon {

class DesktopServerHost final : public ServerHost {
  public:
    // Needs a QApplication. The context must outlive the host.
    explicit DesktopServerHost(Context& context);
    ~DesktopServerHost() override;
    DesktopServerHost(const DesktopServerHost&) = delete;
    DesktopServerHost& operator=(const DesktopServerHost&) = delete;

    ui::Application& application() override { return *application_; }
    // The desktop-entry id of the application in front (X11 only; see
    // FrontApplication); empty elsewhere.
    std::string frontmostApplicationId() override;
    Monitor monitorUnderPointer() override;
    // Through xdg-open when installed, else the first desktop entry that
    // handles the scheme, else Qt's own guess (a web browser).
    void openUrl(const std::string& url) override;
    void insertText(const std::string& text) override;
    // On X11 without ever waiting on the selection's owner (X11Selections);
    // elsewhere through Qt's clipboard.
    void readSelection(SelectionKind which, SelectionReply reply) override;
    std::shared_ptr<const ui::Image> copyScreen(const Monitor& monitor) override;
    void watchSettingsFolder(const std::filesystem::path& folder,
                             std::function<void()> changed) override;
    void windowsChanged() override;
    // Through Qt's grabs on the window's overlay, once the X server has
    // mapped it (tried again every kGrabRetryMs up to kGrabTries times).
    void grabInput(ui::Window* window) override;
    static constexpr int kGrabRetryMs = 5;
    static constexpr int kGrabTries = 200;
    void launch(std::vector<std::string> argv, LaunchReply reply) override;
    void saveText(std::string text, SaveReply reply) override;
    // $XDG_RUNTIME_DIR/kernova, else /tmp/kernova-<uid>.
    std::filesystem::path runtimeDirectory() override;
    EnvironmentLookup environment() override { return processEnvironment(); }

    desktop::DesktopPlatform& desktop() { return *desktop_; }
    desktop::OverlayWindowHost& windows() { return *windows_; }
    // Absent where Qt does not run on X11.
    FrontApplication* frontApplication() { return front_.get(); }
    // The CLIPBOARD's changes for the clipboard watch (X11 only, else null);
    // the owner windows of kernovad's own connections count as its own writes.
    capture::ClipboardChanges* clipboardChanges() { return clipboardChanges_.get(); }
    // Mouse selections (X11 only, else null); PRIMARY owned by kernovad's own
    // windows is no one else's selection.
    capture::SelectionGestures* selectionGestures() { return gestures_.get(); }
    // PRIMARY read for the selection item: on X11 telling an empty selection
    // from an owner that failed or did not answer in 500 ms.
    capture::PrimaryReader primaryReader();
    // The last launches, oldest first, as they were asked for: "kernova" with
    // its arguments (Kernova's own command lines), any other program's file
    // name with only the number of its arguments (they may hold a URL).
    const std::deque<std::string>& recentLaunches() const { return launches_; }

  private:
    Context& context_;
    std::unique_ptr<desktop::DesktopPlatform> desktop_;
    std::unique_ptr<ui::Application> application_;
    std::unique_ptr<desktop::OverlayWindowHost> windows_;
    std::unique_ptr<QFileSystemWatcher> settingsWatcher_;
    std::unique_ptr<FrontApplication> front_;
    std::unique_ptr<desktop::X11Selections> selections_;
    std::unique_ptr<X11ClipboardChanges> clipboardChanges_;
    std::unique_ptr<desktop::X11SelectionGestures> gestures_;
    void tryGrab(unsigned generation);
    QPointer<QWidget> grabTarget_;  // the overlay to grab for
    QPointer<QWindow> grabbed_;     // its window, once it holds the grabs
    unsigned grabGeneration_ = 0;
    int grabTries_ = 0;
    // Owns the connections and the posted selection reads: they end with the host.
    std::unique_ptr<QObject> receiver_;
    std::deque<std::string> launches_;
};

}  // namespace kernova::daemon
