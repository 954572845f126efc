// The floating side of kernovad: the toolkit application on the desktop
// platform, its overlay windows, and the board overlay opened for a text.
#pragma once

#include <QString>
#include <memory>
#include <string>
#include <string_view>

#include "base/context.h"
#include "desktop/ui/desktop_platform.h"
#include "desktop/ui/overlay_window_host.h"
#include "panel/board_overlay.h"
#include "ui/application.h"

namespace kernova::daemon {

class BoardHost {
  public:
    // Needs a QApplication. The context must outlive the host.
    explicit BoardHost(Context& context);
    ~BoardHost();
    BoardHost(const BoardHost&) = delete;
    BoardHost& operator=(const BoardHost&) = delete;

    enum class OpenResult { opened, alreadyShown, noText };
    // Opens the board on `text` above every window; a board already on screen
    // stays as it is.
    OpenResult openBoard(std::string_view text);
    bool isShown() const { return overlay_ && overlay_->isShown(); }

    // The board as JSON: {"shown", "devicePixelRatio", "tags": [{"text", "x",
    // "y", "width", "height", "selected"}], "selection": [texts in picking
    // order]}; frames are in screen points, "selected" is the 1-based place in
    // the picking order (0 when not picked).
    std::string stateJson() const;
    // Saves the screen as a PNG: what the display shows where it can be read,
    // else the board window painted as it stands. False when nothing could be
    // written.
    bool saveScreenshot(const QString& path) const;

    ui::Application& application() { return *application_; }

  private:
    Context& context_;
    std::unique_ptr<desktop::DesktopPlatform> desktop_;
    std::unique_ptr<ui::Application> application_;
    std::unique_ptr<desktop::OverlayWindowHost> windows_;
    std::shared_ptr<BoardOverlay> overlay_;
};

}  // namespace kernova::daemon
