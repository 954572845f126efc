#include "panel/action_sheet.h"

#include <memory>

#include "floating/splode_window.h"
#include "ui/alert.h"
#include "ui/gestures.h"

namespace kernova {

void showActionSheet(ui::Application& application, const ui::Rect& monitor,
                     const std::string& title, const std::vector<std::string>& entries,
                     const std::string& cancelTitle, std::function<void(std::size_t)> choose) {
    auto window = GSplodeWindow::initWithFrame(application, monitor);
    auto root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    window->makeKeyAndVisible();
    std::weak_ptr<GSplodeWindow> weak = window;
    auto sheet = ui::AlertController::alertControllerWithTitle(
        title, std::nullopt, ui::AlertControllerStyle::actionSheet);
    auto chosen = std::make_shared<std::function<void(std::size_t)>>(std::move(choose));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        sheet->addAction(ui::AlertAction::actionWithTitle(
            entries[i], ui::AlertActionStyle::defaultStyle, [weak, chosen, i](ui::AlertAction&) {
                if (auto shown = weak.lock()) shown->setHidden(true);
                if (*chosen) (*chosen)(i);
            }));
    }
    sheet->addAction(ui::AlertAction::actionWithTitle(cancelTitle, ui::AlertActionStyle::cancel,
                                                      [weak](ui::AlertAction&) {
                                                          if (auto shown = weak.lock())
                                                              shown->setHidden(true);
                                                      }));
    // A click outside the sheet, on the window around it, cancels.
    auto outside = std::make_shared<ui::TapGestureRecognizer>();
    std::weak_ptr<ui::AlertController> weakSheet = sheet;
    outside->addTarget([weakSheet](ui::GestureRecognizer& recognizer) {
        auto shown = weakSheet.lock();
        if (!shown || recognizer.state() != ui::kGestureRecognized ||
            !shown->presentingViewController())
            return;
        if (auto cancel = shown->cancelActionIndex()) shown->tapAction(*cancel);
    });
    root->view()->addGestureRecognizer(outside);
    root->presentViewController(sheet, true);
}

}  // namespace kernova
