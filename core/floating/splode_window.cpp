#include "floating/splode_window.h"

namespace kernova {

GSplodeWindow::GSplodeWindow(ui::Application& application, const ui::Rect& frame)
    : ui::Window(application, frame) {
    setWindowLevel(kLevel);
    setUserInteractionEnabled(true);
}

std::shared_ptr<GSplodeWindow> GSplodeWindow::initWithFrame(ui::Application& application,
                                                            const ui::Rect& frame) {
    auto window = std::make_shared<GSplodeWindow>(application, frame);
    window->setHidden(false);
    return window;
}

}  // namespace kernova
