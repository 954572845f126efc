// Alerts, action sheets and share sheets shown as dialogs, and the user's
// choices (simulated on the dialogs' widgets) calling back into the models.
#include "desktop/ui/presenter.h"

#include <QApplication>
#include <QDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>

#include "desktop_ui/desktop_ui_fixture.h"
#include "ui/activity.h"
#include "ui/alert.h"

namespace kernova::desktop::testing {
namespace {

class PresenterTest : public DesktopUiTest {
  protected:
    void SetUp() override {
        window = makeWindow();
        root = std::make_shared<ui::ViewController>();
        window->setRootViewController(root);
    }
    QtPresenter& presenter() { return *desktop->dialogPresenter(); }
    template <class T>
    T* find(const ui::ViewController& controller, const QString& name) {
        QDialog* dialog = presenter().dialogFor(controller);
        return dialog ? dialog->findChild<T*>(name) : nullptr;
    }

    std::shared_ptr<ui::Window> window;
    std::shared_ptr<ui::ViewController> root;
    std::vector<std::string> tapped;
};

TEST_F(PresenterTest, AlertShowsItsModelAndAButtonCallsBackIntoIt) {
    auto alert = ui::AlertController::alertControllerWithTitle("Translation result", "Bonjour",
                                                               ui::AlertControllerStyle::alert);
    std::string fieldText;
    alert->addAction(ui::AlertAction::actionWithTitle(
        "Copy", ui::AlertActionStyle::defaultStyle, [&](ui::AlertAction&) {
            tapped.push_back("Copy");
            fieldText = alert->textFields().front()->text();
        }));
    alert->addAction(
        ui::AlertAction::actionWithTitle("Cancel", ui::AlertActionStyle::cancel,
                                         [&](ui::AlertAction&) { tapped.push_back("Cancel"); }));
    alert->addTextFieldWithConfigurationHandler([](ui::TextField& f) { f.setPlaceholder("Name"); });
    root->presentViewController(alert, true);

    QDialog* dialog = presenter().dialogFor(*alert);
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_FALSE(dialog->isModal());
    EXPECT_EQ(find<QLabel>(*alert, "title")->text(), "Translation result");
    EXPECT_EQ(find<QLabel>(*alert, "message")->text(), "Bonjour");
    auto* field = find<QLineEdit>(*alert, "field-0");
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(field->placeholderText(), "Name");
    field->setText("typed");
    EXPECT_TRUE(find<QPushButton>(*alert, "action-1")->font().bold());  // cancel stands out

    find<QPushButton>(*alert, "action-0")->click();
    EXPECT_EQ(tapped, std::vector<std::string>{"Copy"});
    EXPECT_EQ(fieldText, "typed");
    EXPECT_EQ(presenter().dialogFor(*alert), nullptr);
    EXPECT_EQ(root->presentedViewController(), nullptr);
}

TEST_F(PresenterTest, DismissingAnAlertWithoutACancelActionDoesNothing) {
    auto alert = ui::AlertController::alertControllerWithTitle("Title", std::nullopt,
                                                               ui::AlertControllerStyle::alert);
    alert->addAction(
        ui::AlertAction::actionWithTitle("OK", ui::AlertActionStyle::defaultStyle,
                                         [&](ui::AlertAction&) { tapped.push_back("OK"); }));
    root->presentViewController(alert, true);
    QDialog* dialog = presenter().dialogFor(*alert);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(find<QLabel>(*alert, "message"), nullptr);
    dialog->reject();  // no cancel action: the alert stays
    EXPECT_EQ(presenter().dialogFor(*alert), dialog);
    EXPECT_TRUE(tapped.empty());
    alert->tapAction(0);
    EXPECT_EQ(presenter().presentedCount(), 0u);
}

TEST_F(PresenterTest, ASheetsLongTitleStaysOnOneLineAndEscapeCancels) {
    window = makeWindow({200, 100, 800, 600});
    root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    const std::string title = "first line\n" + std::string(2000, 'w') + " end";
    auto sheet = ui::AlertController::alertControllerWithTitle(
        title, std::nullopt, ui::AlertControllerStyle::actionSheet);
    for (const char* name : {"One", "Two", "Cancel"}) {
        sheet->addAction(ui::AlertAction::actionWithTitle(
            name,
            std::string(name) == "Cancel" ? ui::AlertActionStyle::cancel
                                          : ui::AlertActionStyle::defaultStyle,
            [&, name](ui::AlertAction&) { tapped.push_back(name); }));
    }
    auto press = [&](int key) {
        QWidget* focused = presenter().dialogFor(*sheet)->focusWidget();
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(focused, &event);
    };
    root->presentViewController(sheet, true);
    QDialog* dialog = presenter().dialogFor(*sheet);
    ASSERT_NE(dialog, nullptr);
    auto* label = find<QLabel>(*sheet, "title");
    EXPECT_FALSE(label->wordWrap());
    EXPECT_TRUE(label->text().startsWith(QStringLiteral("first line\u23CEwww")));
    EXPECT_TRUE(label->text().endsWith(QStringLiteral("w end")));
    EXPECT_TRUE(label->text().contains(QChar(0x2026)));
    EXPECT_LE(dialog->width(), 600);
    EXPECT_EQ(dialog->geometry().center(), QPoint(600, 400)) << "centred on its window";

    // Walked with the arrows and Return in tests/desktop (the history sheet).
    EXPECT_EQ(dialog->focusWidget()->objectName(), QStringLiteral("action-0"));
    press(Qt::Key_Escape);
    EXPECT_EQ(tapped, std::vector<std::string>{"Cancel"});
    EXPECT_EQ(presenter().presentedCount(), 0u);
}

// The translation result: the copy key copies the selected part through the
// model (the dialog stays) or, with nothing selected, presses Copy; a long
// result scrolls within 60% of the monitor's height.
TEST_F(PresenterTest, ACopyableMessageIsSelectedCopiedAndScrolled) {
    window = makeWindow({0, 0, 1000, 500});
    root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    std::string result;
    for (int line = 0; line < 100; ++line)
        result += "Bonjour le monde, ligne " + std::to_string(line) + "\n";
    auto alert = ui::AlertController::alertControllerWithTitle("Translation result", result,
                                                               ui::AlertControllerStyle::alert);
    auto copy =
        ui::AlertAction::actionWithTitle("Copy", ui::AlertActionStyle::destructive,
                                         [&](ui::AlertAction&) { tapped.push_back("Copy"); });
    alert->addAction(copy);
    alert->addAction(
        ui::AlertAction::actionWithTitle("Cancel", ui::AlertActionStyle::cancel,
                                         [&](ui::AlertAction&) { tapped.push_back("Cancel"); }));
    std::vector<std::string> parts;
    alert->setCopyable(copy.get(), [&](const std::string& part) { parts.push_back(part); });
    auto copyKey = [](QWidget* target) {
        for (QEvent::Type type : {QEvent::ShortcutOverride, QEvent::KeyPress}) {
            QKeyEvent event(type, Qt::Key_C, Qt::ControlModifier, QStringLiteral("\x03"));
            QApplication::sendEvent(target, &event);
        }
    };
    root->presentViewController(alert, true);
    auto* message = find<QLabel>(*alert, "message");
    auto* area = find<QScrollArea>(*alert, "message-scroll");
    ASSERT_TRUE(message && area);
    EXPECT_TRUE(message->textInteractionFlags() & Qt::TextSelectableByKeyboard);
    EXPECT_LE(area->height(), 300);
    EXPECT_GT(message->height(), area->height());

    message->setSelection(3, 18);  // "jour le monde, lig"
    copyKey(message);
    message->setSelection(14, 15);  // across a line break
    copyKey(message);
    EXPECT_EQ(parts, (std::vector<std::string>{"jour le monde, lig", "de, ligne 0\nBon"}));
    EXPECT_TRUE(tapped.empty());
    EXPECT_NE(presenter().dialogFor(*alert), nullptr);

    message->setSelection(0, 0);
    copyKey(presenter().dialogFor(*alert)->focusWidget());
    EXPECT_EQ(tapped, std::vector<std::string>{"Copy"});
    EXPECT_EQ(presenter().presentedCount(), 0u);
}

class NamedActivity : public ui::Activity {
  public:
    explicit NamedActivity(std::string type) : type_(std::move(type)) {}
    std::string activityType() const override { return type_; }
    std::string activityTitle() const override { return "Open in " + type_; }
    bool canPerformWithActivityItems(const std::vector<ui::ActivityItem>&) const override {
        return true;
    }

  private:
    std::string type_;
};

// The applications scroll (their icons and private copies are checked with
// kernovad's host in tests/desktop); Copy and Cancel stay outside the list.
TEST_F(PresenterTest, ShareSheetScrollsManyEntriesCopiesAndCancels) {
    std::vector<std::shared_ptr<ui::Activity>> activities;
    for (int i = 0; i < 12; ++i)
        activities.push_back(std::make_shared<NamedActivity>("app" + std::to_string(i)));
    auto sheet = ui::ActivityViewController::initWithActivityItems(
        app, {ui::ActivityItem::text("shared words")}, activities);
    std::vector<std::pair<std::string, bool>> finished;
    sheet->setCompletionWithItemsHandler(
        [&](const std::string& type, bool completed) { finished.emplace_back(type, completed); });
    root->presentViewController(sheet, true);
    QDialog* dialog = presenter().dialogFor(*sheet);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), "Share");
    const QString copyName = QString("activity-") + ui::kActivityTypeCopyToPasteboard;
    auto* area = dialog->findChild<QScrollArea*>();
    ASSERT_NE(area, nullptr);
    EXPECT_TRUE(area->widget()->isAncestorOf(find<QPushButton>(*sheet, "activity-app11")));
    EXPECT_FALSE(area->widget()->isAncestorOf(find<QPushButton>(*sheet, copyName)));
    find<QPushButton>(*sheet, copyName)->click();
    EXPECT_EQ(desktop->platform().pasteboard.string(), "shared words");
    EXPECT_EQ(
        finished,
        (std::vector<std::pair<std::string, bool>>{{ui::kActivityTypeCopyToPasteboard, true}}));
    EXPECT_EQ(presenter().presentedCount(), 0u);

    root->presentViewController(sheet, true);
    presenter().dialogFor(*sheet)->reject();
    EXPECT_EQ(finished.back(), std::make_pair(std::string(), false));
    EXPECT_EQ(presenter().presentedCount(), 0u);
}

}  // namespace
}  // namespace kernova::desktop::testing
