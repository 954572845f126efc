// Presented controllers as Qt dialogs built from their models: alerts and
// action sheets (title, message, text fields, one button per action, cancel and
// destructive actions set apart), and the share sheet (a Copy entry, the
// activities that can act on the items with their icons, scrolling when there
// are many, Cancel). Dialogs are non-modal: they show and
// return, and the user's choice calls back into the model from a signal.
// Dialogs presented from a window that passes touches through never take the
// keyboard focus. A dialog shows centred on the window it was presented from;
// its title takes one line, elided in the middle; the arrow keys move among
// its buttons, Enter presses the focused one and Escape dismisses it. A
// copyable alert's message (a translation result) can be selected by mouse and
// keyboard and scrolls when long; the copy key copies the selected part, or
// presses the copy action when nothing is selected.
#pragma once

#include <QDialog>
#include <QPointer>
#include <functional>
#include <memory>
#include <vector>

#include "base/log.h"
#include "ui/activity.h"
#include "ui/alert.h"
#include "ui/pasteboard.h"
#include "ui/services.h"
#include "ui/window.h"

namespace kernova::desktop {

class QtPresenter final : public ui::Presenter {
  public:
    // Object names of the dialogs' parts, for tests and accessibility tools.
    static constexpr const char* kTitleName = "title";
    static constexpr const char* kMessageName = "message";
    static constexpr const char* kMessageScrollName = "message-scroll";
    static constexpr const char* kActionPrefix = "action-";      // + index
    static constexpr const char* kFieldPrefix = "field-";        // + index
    static constexpr const char* kActivityPrefix = "activity-";  // + activity type
    static constexpr const char* kCancelName = "cancel";

    explicit QtPresenter(ui::Pasteboard& pasteboard) : pasteboard_(pasteboard) {}
    ~QtPresenter() override;
    QtPresenter(const QtPresenter&) = delete;
    QtPresenter& operator=(const QtPresenter&) = delete;

    void present(const std::shared_ptr<ui::ViewController>& controller,
                 ui::Window* window) override;
    void dismiss(ui::ViewController& controller) override;

    // The dialog showing `controller`; null when it shows none.
    QDialog* dialogFor(const ui::ViewController& controller) const;
    // Where controllers that cannot be shown are reported; none by default.
    void setLog(const Logger* log) { log_ = log; }
    std::size_t presentedCount() const { return shown_.size(); }

    // The dialogs on screen, oldest first, each with the toolkit window it was
    // presented from (null when that window is gone). The window host keeps
    // them stacked above the overlays.
    struct ShownDialog {
        QDialog* dialog = nullptr;
        ui::Window* window = nullptr;
    };
    std::vector<ShownDialog> shownDialogs() const;
    // Keeps a dialog of the caller's that shows no controller (a save dialog)
    // among shownDialogs() while it is visible, so that it stays above the
    // overlays as the presenter's own do. The caller shows it.
    void keepAboveOverlays(QDialog* dialog);
    // Called after a dialog was shown or taken away.
    void setChangeHandler(std::function<void()> handler) { onChange_ = std::move(handler); }
    // Called just before a dialog that has the keyboard goes, while it is
    // still on screen, so that the keyboard can be handed on before it goes.
    void setHidingHandler(std::function<void()> handler) { onHiding_ = std::move(handler); }
    // Callers hiding a dialog kept above the overlays call this first.
    void dialogHiding(const QDialog& dialog);

  private:
    struct Shown {
        std::shared_ptr<ui::ViewController> controller;
        QPointer<QDialog> dialog;
        std::weak_ptr<ui::View> window;
    };

    // `takesFocus` false: the dialog never takes the keyboard focus. A
    // copyable message scrolls past `messageMaxHeight`.
    QDialog* buildAlert(const std::shared_ptr<ui::AlertController>& alert, bool takesFocus,
                        int messageMaxHeight);
    QDialog* buildShareSheet(const std::shared_ptr<ui::ActivityViewController>& sheet,
                             bool takesFocus);
    void copyItems(const std::vector<ui::ActivityItem>& items);

    ui::Pasteboard& pasteboard_;
    std::vector<Shown> shown_;
    std::vector<QPointer<QDialog>> kept_;
    // Ends the connections to the kept dialogs with the presenter.
    QObject guard_;
    std::function<void()> onChange_;
    std::function<void()> onHiding_;
    const Logger* log_ = nullptr;
};

}  // namespace kernova::desktop
