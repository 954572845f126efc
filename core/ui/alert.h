// Alerts and action sheets as models: the platform's presenter shows them and
// calls tapAction when the user picks one; text fields are edited in place.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/label.h"
#include "ui/window.h"

namespace kernova::ui {

// UIAlertActionStyle values.
enum class AlertActionStyle { defaultStyle = 0, cancel = 1, destructive = 2 };
// UIAlertControllerStyle values.
enum class AlertControllerStyle { actionSheet = 0, alert = 1 };

class AlertAction {
  public:
    using Handler = std::function<void(AlertAction&)>;

    static std::shared_ptr<AlertAction> actionWithTitle(std::optional<std::string> title,
                                                        AlertActionStyle style,
                                                        Handler handler = {});
    AlertAction(std::optional<std::string> title, AlertActionStyle style, Handler handler)
        : title_(std::move(title)), style_(style), handler_(std::move(handler)) {}

    const std::optional<std::string>& title() const { return title_; }
    AlertActionStyle style() const { return style_; }
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled) { enabled_ = enabled; }
    const Handler& handler() const { return handler_; }

  private:
    std::optional<std::string> title_;
    AlertActionStyle style_;
    Handler handler_;
    bool enabled_ = true;
};

class AlertController : public ViewController {
  public:
    static std::shared_ptr<AlertController> alertControllerWithTitle(
        std::optional<std::string> title, std::optional<std::string> message,
        AlertControllerStyle preferredStyle);
    AlertController(std::optional<std::string> title, std::optional<std::string> message,
                    AlertControllerStyle preferredStyle)
        : title_(std::move(title)), message_(std::move(message)), style_(preferredStyle) {}

    const std::optional<std::string>& title() const { return title_; }
    void setTitle(std::optional<std::string> title) { title_ = std::move(title); }
    const std::optional<std::string>& message() const { return message_; }
    void setMessage(std::optional<std::string> message) { message_ = std::move(message); }
    AlertControllerStyle preferredStyle() const { return style_; }

    void addAction(std::shared_ptr<AlertAction> action);
    const std::vector<std::shared_ptr<AlertAction>>& actions() const { return actions_; }
    AlertAction* preferredAction() const { return preferred_; }
    void setPreferredAction(AlertAction* action) { preferred_ = action; }

    // Alerts only: an action sheet ignores it (the toolkit refuses it).
    void addTextFieldWithConfigurationHandler(const std::function<void(TextField&)>& configure);
    const std::vector<std::shared_ptr<TextField>>& textFields() const { return textFields_; }

    // Called by the platform when the user picks the action at `index` (an
    // enabled one): the alert is dismissed, then the handler runs. False when
    // there is no such enabled action.
    bool tapAction(std::size_t index);
    // The action a dismissal without a choice (Escape, a tap outside a sheet)
    // stands for: the cancel-style action, if any.
    std::optional<std::size_t> cancelActionIndex() const;

    // A message the user may copy from: `copyAction` is what a copy command
    // with nothing selected stands for, and `handler` receives the part of the
    // message the user copied (the alert stays). The platform then offers
    // selecting the message by mouse and keyboard and leaves the clipboard to
    // them.
    using CopySelectionHandler = std::function<void(const std::string& part)>;
    void setCopyable(AlertAction* copyAction, CopySelectionHandler handler);
    bool isCopyable() const { return static_cast<bool>(copySelection_); }
    std::optional<std::size_t> copyActionIndex() const;
    // Called by the platform when the user copies `part` of the message; false
    // when the alert is not copyable or `part` is empty.
    bool copySelection(const std::string& part);

  private:
    std::optional<std::string> title_;
    std::optional<std::string> message_;
    AlertControllerStyle style_;
    std::vector<std::shared_ptr<AlertAction>> actions_;
    std::vector<std::shared_ptr<TextField>> textFields_;
    AlertAction* preferred_ = nullptr;
    AlertAction* copyAction_ = nullptr;
    CopySelectionHandler copySelection_;
};

}  // namespace kernova::ui
