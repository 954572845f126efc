#include "floating/toast.h"

#include <memory>

#include "ui/alert.h"
#include "ui/application.h"
#include "ui/window.h"

namespace kernova {

void showToastMessage(ui::Application& application, const std::string& message,
                      const std::string& title, double timeout,
                      const std::optional<ui::Rect>& screen) {
    auto window =
        std::make_shared<ui::Window>(application, screen.value_or(application.screen().bounds));
    auto root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    window->setWindowLevel(ui::kWindowLevelAlert + 2.0);
    window->setPassesTouchesThrough(true);
    window->makeKeyAndVisible();
    auto alert = ui::AlertController::alertControllerWithTitle(title, message,
                                                               ui::AlertControllerStyle::alert);
    root->presentViewController(alert, true);
    if (timeout <= 0.01) timeout = 1.0;
    // The application keeps the shown window (and through it the alert) alive;
    // the timer holds it weakly so that nothing outlives the application.
    std::weak_ptr<ui::Window> weak = window;
    application.context().runLoop().after(timeout, nullptr, [weak] {
        std::shared_ptr<ui::Window> shown = weak.lock();
        if (!shown || !shown->rootViewController()) return;
        shown->rootViewController()->dismissViewControllerAnimated(true, [weak] {
            if (auto still = weak.lock()) still->setHidden(true);
        });
    });
}

}  // namespace kernova
