// The full-screen overlay window that floats above the system's alerts; the
// panel, the floating button, the tag editor and result alerts live in one.
#pragma once

#include <memory>

#include "ui/application.h"
#include "ui/window.h"

namespace kernova {

class GSplodeWindow : public ui::Window {
  public:
    // The level every overlay window takes: just above the platform's alerts.
    static constexpr double kLevel = ui::kWindowLevelAlert + 1.0;

    // A new overlay window, visible at once and taking touches. Callers pass the
    // main screen's bounds and add a root controller when they present alerts.
    // The application keeps the window alive while it is shown.
    static std::shared_ptr<GSplodeWindow> initWithFrame(ui::Application& application,
                                                        const ui::Rect& frame);

    // Use initWithFrame: showing the window needs a shared owner.
    GSplodeWindow(ui::Application& application, const ui::Rect& frame);
};

}  // namespace kernova
