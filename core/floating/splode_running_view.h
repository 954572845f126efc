// The running indicator: the product mark, 80 points square, blinking near the
// top of the screen while a network request (translation, OCR) is under way.
// It goes away when the server posts "fun.quorle.hiderunning". On the desktop
// it lives in a small window of its own that never takes the keyboard.
#pragma once

#include <memory>

#include "base/run_loop.h"
#include "floating/splode_window.h"
#include "ui/image_view.h"

namespace kernova {

class GSplodeRunningView : public ui::ImageView {
  public:
    static constexpr double kSize = 80.0;
    static constexpr double kTopMargin = 35.0;
    static constexpr double kBlinkSeconds = 0.7;
    static constexpr const char* kImageName = "header@2x.png";

    // A new indicator centred 35 points below the top of `screen` (the work
    // area of the monitor it shows on, in screen coordinates).
    static std::shared_ptr<GSplodeRunningView> init(ui::Application& application,
                                                    const ui::Rect& screen);
    GSplodeRunningView(ui::Application& application, const ui::Rect& frame);
    ~GSplodeRunningView() override;

    // Shows the indicator at full alpha in its window, listens for the hide
    // notification and starts blinking.
    void show();
    // Stops listening and blinking and takes the indicator (and its window) away.
    void hide();
    bool isShown() const;

    // The window the indicator lives in while shown (the application keeps
    // it), or null.
    std::shared_ptr<GSplodeWindow> keyWindow() const { return window_.lock(); }
    TimerId timer() const { return timer_; }

  private:
    void addToKeyWindow();
    void removeFromKeyWindow();
    void blink();

    ui::Application& application_;
    ui::Rect screenFrame_;
    std::weak_ptr<GSplodeWindow> window_;
    TimerId timer_ = 0;
};

}  // namespace kernova
