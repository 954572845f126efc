// Small platform services the system uses. Each platform (the simulated
// device, the desktop) implements them; code reaches them through ui::Platform.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ui/geometry.h"

namespace kernova::ui {

class ViewController;
class Window;

// The main screen: bounds in points (the origin is 0, 0) and pixels per point.
// The platform owns it and may change it (rotation).
struct Screen {
    Rect bounds{0, 0, 375, 667};
    double scale = 2.0;
};

// The system sound service: tap and show vibrations are numbered sounds.
class Haptic {
  public:
    virtual ~Haptic() = default;
    virtual void playSystemSound(std::uint32_t soundId) = 0;
};

// The keyboard of whatever field has focus (in any application).
class Keyboard {
  public:
    virtual ~Keyboard() = default;
    // Inserts at the focused field's caret; nothing happens without a focused field.
    virtual void insertText(const std::string& text) = 0;
    // The keyboard host's state: 0 hidden, 1 docked and shown, other values as
    // the platform reports them.
    virtual int currentState() const = 0;
    // Closes the keyboard (focus leaves the field).
    virtual void dismiss() = 0;
};

class Appearance {
  public:
    virtual ~Appearance() = default;
    virtual bool isDarkMode() const = 0;
};

// Opens URLs in other applications (schemes) or the browser.
class UrlOpener {
  public:
    virtual ~UrlOpener() = default;
    // False when nothing handles the URL.
    virtual bool openURL(const std::string& url) = 0;
    virtual bool canOpenURL(const std::string& url) const = 0;
};

// Shows presented controllers (alerts, action sheets, share sheets). The
// platform paints them and, when the user acts, calls back into the model
// (AlertController::tapAction, TextField::setText, ActivityViewController::
// chooseActivity or cancel).
class Presenter {
  public:
    virtual ~Presenter() = default;
    // `window` is the window of the presenting controller.
    virtual void present(const std::shared_ptr<ViewController>& controller, Window* window) = 0;
    virtual void dismiss(ViewController& controller) = 0;
};

}  // namespace kernova::ui
