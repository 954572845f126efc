// The floating button: after a copy in an enabled application it slides in
// from one edge of the work area under the pointer, rests there for 2.5
// seconds and slides out again. A tap opens the panel on the clipboard; a long
// press opens it and at once runs the operation "longPress" names on the whole
// clipboard text. It lives in a pass-through window of its own: only the
// button takes clicks, and it never takes the keyboard.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/messaging.h"
#include "floating/splode_window.h"
#include "server/settings.h"
#include "ui/control.h"
#include "ui/gestures.h"

namespace kernova {

class GSplodeButton : public ui::Button {
  public:
    static constexpr double kSlideSeconds = 0.5;
    static constexpr double kRestSeconds = 2.5;
    static constexpr const char* kImageName = "button@2x.png";

    using ClipboardReply = std::function<void(std::optional<std::string> text)>;
    // What the button asks of the server that shows it.
    struct Services {
        // Reads the clipboard; the reply comes later on the run loop.
        std::function<void(ClipboardReply)> readClipboard;
        // A tap sends "notifySplode" (no dictionary) through it.
        MessageSender* sender = nullptr;
        // Opens a panel on `text` and runs the panel operation `operation`
        // ("translateText:" and kin) on it.
        std::function<void(const std::string& text, const std::string& operation)> openPanel;
    };

    // Where the button starts (touching the edge, just outside it) in the
    // coordinates of `screen`'s own origin, and how far it slides in.
    struct Geometry {
        ui::Rect start;
        double offsetX = 0;
        double offsetY = 0;
    };
    static Geometry geometryFor(const SettingsSnapshot& settings, const ui::Size& screen);

    // A new button for `screen` (the work area of the monitor under the
    // pointer, in screen coordinates), the settings read afresh. Its window is
    // made by the caller (keyWindow) over the same area.
    static std::shared_ptr<GSplodeButton> init(ui::Application& application, Services services,
                                               const ui::Rect& screen);
    GSplodeButton(ui::Application& application, Services services, const Geometry& geometry);
    ~GSplodeButton() override;

    const std::function<void()>& showingEndedBlock() const { return showingEnded_; }
    void setShowingEndedBlock(std::function<void()> block) { showingEnded_ = std::move(block); }
    // The window the button goes to. The application keeps it while it is
    // shown and the window keeps the button: the button only refers to it.
    std::shared_ptr<GSplodeWindow> keyWindow() const { return keyWindow_.lock(); }
    void setKeyWindow(const std::shared_ptr<GSplodeWindow>& window) { keyWindow_ = window; }
    double offsetX() const { return offsetX_; }
    double offsetY() const { return offsetY_; }

    // Slides in and schedules the slide-out kRestSeconds later.
    void addToKeyWindow();
    // Slides out and takes the button away kSlideSeconds later.
    void removeFromKeyWindowWithAnimetion();
    // Takes the button (and its window) away at once; its timers stop and the
    // ended block is called. Nothing happens when it is not shown.
    void removeFromKeyWindow();
    bool isShown() const;

    // The tap: the button goes, and a non-empty clipboard opens the panel.
    void actionBtnClick();
    // The long press, once it begins: the button goes and the panel opens on
    // the clipboard (empty too) running the "longPress" operation.
    void longPress(ui::GestureRecognizer& recognizer);

  private:
    ui::Application& application_;
    Services services_;
    std::function<void()> showingEnded_;
    std::weak_ptr<GSplodeWindow> keyWindow_;
    double offsetX_ = 0;
    double offsetY_ = 0;
};

}  // namespace kernova
