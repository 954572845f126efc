#include "ui/alert.h"

namespace kernova::ui {

std::shared_ptr<AlertAction> AlertAction::actionWithTitle(std::optional<std::string> title,
                                                          AlertActionStyle style, Handler handler) {
    return std::make_shared<AlertAction>(std::move(title), style, std::move(handler));
}

std::shared_ptr<AlertController> AlertController::alertControllerWithTitle(
    std::optional<std::string> title, std::optional<std::string> message,
    AlertControllerStyle preferredStyle) {
    return std::make_shared<AlertController>(std::move(title), std::move(message), preferredStyle);
}

void AlertController::addAction(std::shared_ptr<AlertAction> action) {
    if (action) actions_.push_back(std::move(action));
}

void AlertController::addTextFieldWithConfigurationHandler(
    const std::function<void(TextField&)>& configure) {
    if (style_ != AlertControllerStyle::alert) return;
    auto field = std::make_shared<TextField>();
    textFields_.push_back(field);
    if (configure) configure(*field);
}

bool AlertController::tapAction(std::size_t index) {
    if (index >= actions_.size() || !actions_[index]->isEnabled()) return false;
    // Keep the alert and the action alive through the dismissal and the handler.
    auto self = std::static_pointer_cast<AlertController>(shared_from_this());
    auto action = actions_[index];
    dismissViewControllerAnimated(true);
    if (action->handler()) action->handler()(*action);
    return true;
}

std::optional<std::size_t> AlertController::cancelActionIndex() const {
    for (std::size_t i = 0; i < actions_.size(); ++i) {
        if (actions_[i]->style() == AlertActionStyle::cancel && actions_[i]->isEnabled()) return i;
    }
    return std::nullopt;
}

void AlertController::setCopyable(AlertAction* copyAction, CopySelectionHandler handler) {
    copyAction_ = copyAction;
    copySelection_ = std::move(handler);
}

std::optional<std::size_t> AlertController::copyActionIndex() const {
    for (std::size_t i = 0; i < actions_.size(); ++i) {
        if (actions_[i].get() == copyAction_ && actions_[i]->isEnabled()) return i;
    }
    return std::nullopt;
}

bool AlertController::copySelection(const std::string& part) {
    if (!copySelection_ || part.empty()) return false;
    // The handler may drop the alert's last owner.
    auto self = shared_from_this();
    auto handler = copySelection_;
    handler(part);
    return true;
}

}  // namespace kernova::ui
