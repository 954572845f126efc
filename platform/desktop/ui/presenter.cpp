#include "desktop/ui/presenter.h"

#include <QBoxLayout>
#include <QClipboard>
#include <QFileInfo>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <algorithm>
#include <functional>

#include "desktop/ui/qt_convert.h"
#include "desktop/ui/qt_image_codec.h"
#include "desktop/ui/window_flags.h"

namespace kernova::desktop {

namespace {

// A dialog whose dismissal without a choice (Escape, the close button) is
// answered by the model instead of closing it outright.
class ModelDialog final : public QDialog {
  public:
    ModelDialog(std::function<void()> onReject, bool takesFocus)
        : QDialog(nullptr, dialogWindowFlags(takesFocus)), onReject_(std::move(onReject)) {
        setModal(false);
        setAttribute(Qt::WA_DeleteOnClose, false);
        if (!takesFocus) setAttribute(Qt::WA_ShowWithoutActivating);
    }
    void reject() override {
        if (onReject_) onReject_();
    }
    // What the copy key stands for; none by default.
    void setCopyHandler(std::function<void()> onCopy) { onCopy_ = std::move(onCopy); }

  protected:
    // The keyboard drives the list: up and down move among the buttons (the
    // buttons leave those keys to their dialog), Enter or Return presses the
    // one with the focus, Escape dismisses (reject).
    void keyPressEvent(QKeyEvent* event) override {
        const int key = event->key();
        if (onCopy_ && event->matches(QKeySequence::Copy)) {
            onCopy_();
            return;
        }
        if (key == Qt::Key_Up || key == Qt::Key_Down) {
            focusNextPrevChild(key == Qt::Key_Down);
            return;
        }
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            if (auto* button = qobject_cast<QPushButton*>(focusWidget())) {
                if (button->isEnabled()) button->click();
                return;
            }
        }
        QDialog::keyPressEvent(event);
    }

  private:
    std::function<void()> onReject_;
    std::function<void()> onCopy_;
};

// Takes the copy key from a selectable label (which would copy by itself) and
// hands it to `onCopy`.
class CopyKeyFilter final : public QObject {
  public:
    CopyKeyFilter(QObject* parent, std::function<void()> onCopy)
        : QObject(parent), onCopy_(std::move(onCopy)) {}

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        const QEvent::Type type = event->type();
        if (type != QEvent::ShortcutOverride && type != QEvent::KeyPress)
            return QObject::eventFilter(watched, event);
        if (!static_cast<QKeyEvent*>(event)->matches(QKeySequence::Copy)) return false;
        if (type == QEvent::ShortcutOverride) {
            event->accept();  // delivered as a key press, not to a shortcut
            return true;
        }
        onCopy_();
        return true;
    }

  private:
    std::function<void()> onCopy_;
};

// A copyable message's part of the monitor's height before it scrolls.
constexpr double kMessageMaxHeightShare = 0.6;

// The selected text of `label` with plain line breaks.
std::string selectedText(const QLabel& label) {
    QString text = label.selectedText();
    text.replace(QChar(0x2029), QLatin1Char('\n'));
    text.replace(QChar(0x2028), QLatin1Char('\n'));
    return fromQString(text);
}

// Share-sheet entries shown before the list scrolls.
constexpr std::size_t kShareEntriesWithoutScrolling = 8;
constexpr int kShareListMaxHeight = 360;

// An icon-theme name, or an absolute file; none when empty.
QIcon iconNamed(const std::string& name) {
    if (name.empty()) return {};
    QString qname = toQString(name);
    if (qname.startsWith(QLatin1Char('/')))
        return QFileInfo::exists(qname) ? QIcon(qname) : QIcon();
    return QIcon::fromTheme(qname);
}

QString indexedName(const char* prefix, std::size_t index) {
    return QString::fromLatin1(prefix) + QString::number(index);
}

// A title longer than this many pixels is elided in the middle.
constexpr int kTitleMaxWidth = 480;

// One line: each line break shown as a return symbol.
QString oneLine(QString text) {
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\u23CE"));
    for (QChar lineBreak : {QChar(u'\n'), QChar(u'\r'), QChar(0x2028), QChar(0x2029)})
        text.replace(lineBreak, QChar(0x23CE));
    return text;
}

QLabel* addText(QBoxLayout& layout, const std::optional<std::string>& text, const char* name,
                bool bold) {
    if (!text || text->empty()) return nullptr;
    auto* label = new QLabel(toQString(*text));
    label->setObjectName(QString::fromLatin1(name));
    // The title takes one line however long (a sheet may be titled with a
    // whole text); the message wraps.
    label->setWordWrap(!bold);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setAlignment(Qt::AlignHCenter);
    if (bold) {
        QFont font = label->font();
        font.setBold(true);
        label->setFont(font);
        label->setText(
            QFontMetrics(font).elidedText(oneLine(label->text()), Qt::ElideMiddle, kTitleMaxWidth));
    }
    layout.addWidget(label);
    return label;
}

// The message of a copyable alert: selectable by mouse and keyboard, in a
// scroll area at most `maxHeight` high; the copy key copies the selected part
// or, with nothing selected, presses the copy action, both through the model.
void makeCopyable(ModelDialog& dialog, QBoxLayout& layout, QLabel& message,
                  std::weak_ptr<ui::AlertController> weak, int maxHeight) {
    message.setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    message.setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // Its menu's Copy would write the clipboard behind the model's back.
    message.setContextMenuPolicy(Qt::NoContextMenu);
    const int index = layout.indexOf(&message);
    layout.removeWidget(&message);
    auto* area = new QScrollArea;
    area->setObjectName(QString::fromLatin1(QtPresenter::kMessageScrollName));
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    area->setWidget(&message);
    const int width = kTitleMaxWidth;
    const int textHeight =
        message.heightForWidth(width - area->verticalScrollBar()->sizeHint().width());
    area->setMinimumWidth(width);
    area->setFixedHeight(std::clamp(textHeight, 1, std::max(maxHeight, 1)));
    layout.insertWidget(index, area);

    auto copy = [weak, label = QPointer<QLabel>(&message)] {
        auto model = weak.lock();
        if (!model) return;
        if (label && label->hasSelectedText()) {
            model->copySelection(selectedText(*label));
        } else if (auto action = model->copyActionIndex()) {
            model->tapAction(*action);
        }
    };
    dialog.setCopyHandler(copy);
    message.installEventFilter(new CopyKeyFilter(&message, copy));
}

// Cancel is bold, destructive red, as the phone's alerts set them apart.
void styleAction(QPushButton& button, const ui::AlertAction& action) {
    if (action.style() == ui::AlertActionStyle::cancel) {
        QFont font = button.font();
        font.setBold(true);
        button.setFont(font);
    } else if (action.style() == ui::AlertActionStyle::destructive) {
        button.setStyleSheet("QPushButton { color: #ff3b30; }");
    }
    button.setEnabled(action.isEnabled());
}

void addFields(QBoxLayout& layout, ui::AlertController& alert) {
    std::size_t index = 0;
    for (const auto& field : alert.textFields()) {
        auto* edit = new QLineEdit(toQString(field->text()));
        edit->setObjectName(indexedName(QtPresenter::kFieldPrefix, index++));
        edit->setPlaceholderText(toQString(field->placeholder()));
        if (field->isSecureTextEntry()) edit->setEchoMode(QLineEdit::Password);
        std::weak_ptr<ui::TextField> weak = field;
        QObject::connect(edit, &QLineEdit::textChanged, edit, [weak](const QString& text) {
            if (auto f = weak.lock()) f->setText(fromQString(text));
        });
        layout.addWidget(edit);
    }
}

}  // namespace

QtPresenter::~QtPresenter() {
    for (Shown& shown : shown_)
        delete shown.dialog.data();
}

void QtPresenter::present(const std::shared_ptr<ui::ViewController>& controller,
                          ui::Window* window) {
    if (!controller || dialogFor(*controller)) return;
    QDialog* dialog = nullptr;
    // A window that floats above the others without taking them over keeps
    // its dialogs from taking the keyboard focus too.
    const bool takesFocus = !(window && window->passesTouchesThrough());
    if (auto alert = std::dynamic_pointer_cast<ui::AlertController>(controller)) {
        // A copyable message scrolls past a share of the window's (monitor's) height.
        const QScreen* screen = QGuiApplication::primaryScreen();
        const double height = window ? window->frame().size.height
                                     : (screen ? screen->availableGeometry().height() : 768);
        dialog = buildAlert(alert, takesFocus, static_cast<int>(height * kMessageMaxHeightShare));
    } else if (auto sheet = std::dynamic_pointer_cast<ui::ActivityViewController>(controller)) {
        dialog = buildShareSheet(sheet, takesFocus);
    } else {
        if (log_) log_->info("presenter", "only alerts and share sheets are shown on the desktop");
        return;
    }
    std::weak_ptr<ui::View> weakWindow;
    if (window) weakWindow = window->weak_from_this();
    shown_.push_back(Shown{controller, dialog, weakWindow});
    if (window) {
        // Centred on the window it was presented from (its monitor).
        dialog->adjustSize();
        const QRect area = toQt(window->frame()).toAlignedRect();
        dialog->move(area.center() - QPoint(dialog->width() / 2, dialog->height() / 2));
    }
    dialog->show();
    dialog->raise();
    if (takesFocus) dialog->activateWindow();
    if (onChange_) onChange_();
}

std::vector<QtPresenter::ShownDialog> QtPresenter::shownDialogs() const {
    std::vector<ShownDialog> dialogs;
    for (const Shown& shown : shown_) {
        if (!shown.dialog || !shown.dialog->isVisible()) continue;
        auto window = std::dynamic_pointer_cast<ui::Window>(shown.window.lock());
        dialogs.push_back(ShownDialog{shown.dialog.data(), window.get()});
    }
    for (const QPointer<QDialog>& dialog : kept_) {
        if (dialog && dialog->isVisible()) dialogs.push_back(ShownDialog{dialog.data(), nullptr});
    }
    return dialogs;
}

void QtPresenter::dialogHiding(const QDialog& dialog) {
    if (dialog.isVisible() && dialog.isActiveWindow() && onHiding_) onHiding_();
}

void QtPresenter::keepAboveOverlays(QDialog* dialog) {
    if (!dialog) return;
    std::erase_if(kept_, [](const QPointer<QDialog>& kept) { return kept.isNull(); });
    kept_.emplace_back(dialog);
    auto changed = [this] {
        std::erase_if(kept_, [](const QPointer<QDialog>& kept) { return kept.isNull(); });
        if (onChange_) onChange_();
    };
    QObject::connect(dialog, &QDialog::finished, &guard_, changed);
    QObject::connect(dialog, &QObject::destroyed, &guard_, changed);
    if (onChange_) onChange_();
}

void QtPresenter::dismiss(ui::ViewController& controller) {
    auto it = std::find_if(shown_.begin(), shown_.end(),
                           [&](const Shown& s) { return s.controller.get() == &controller; });
    if (it == shown_.end()) return;
    if (QDialog* dialog = it->dialog.data()) {
        dialogHiding(*dialog);
        dialog->hide();
        // The dismissal may come from one of the dialog's own buttons.
        dialog->deleteLater();
    }
    shown_.erase(it);
    if (onChange_) onChange_();
}

QDialog* QtPresenter::dialogFor(const ui::ViewController& controller) const {
    for (const Shown& shown : shown_) {
        if (shown.controller.get() == &controller) return shown.dialog.data();
    }
    return nullptr;
}

QDialog* QtPresenter::buildAlert(const std::shared_ptr<ui::AlertController>& alert, bool takesFocus,
                                 int messageMaxHeight) {
    std::weak_ptr<ui::AlertController> weak = alert;
    bool sheet = alert->preferredStyle() == ui::AlertControllerStyle::actionSheet;
    auto* dialog = new ModelDialog(
        [weak, sheet] {
            auto model = weak.lock();
            if (!model) return;
            if (auto cancel = model->cancelActionIndex()) {
                model->tapAction(*cancel);
            } else if (sheet) {
                model->dismissViewControllerAnimated(true);
            }
            // An alert without a cancel action stays until an action is chosen.
        },
        takesFocus);
    dialog->setWindowTitle(toQString(alert->title().value_or("")));
    auto* layout = new QVBoxLayout(dialog);
    addText(*layout, alert->title(), kTitleName, true);
    QLabel* message = addText(*layout, alert->message(), kMessageName, false);
    if (message && alert->isCopyable())
        makeCopyable(*dialog, *layout, *message, weak, messageMaxHeight);
    addFields(*layout, *alert);

    const auto& actions = alert->actions();
    // Two actions of an alert sit side by side; otherwise they stack, and a
    // sheet's cancel action comes last, apart from the others.
    bool row = !sheet && actions.size() == 2;
    QBoxLayout* buttons =
        row ? static_cast<QBoxLayout*>(new QHBoxLayout) : static_cast<QBoxLayout*>(new QVBoxLayout);
    QPushButton* cancelButton = nullptr;
    QPushButton* firstButton = nullptr;
    for (std::size_t i = 0; i < actions.size(); ++i) {
        auto* button = new QPushButton(toQString(actions[i]->title().value_or("")));
        button->setObjectName(indexedName(kActionPrefix, i));
        button->setAutoDefault(false);
        styleAction(*button, *actions[i]);
        if (alert->preferredAction() == actions[i].get()) button->setDefault(true);
        QObject::connect(button, &QPushButton::clicked, button, [weak, i] {
            if (auto model = weak.lock()) model->tapAction(i);
        });
        bool isCancel = actions[i]->style() == ui::AlertActionStyle::cancel;
        if (sheet && isCancel && !cancelButton) {
            cancelButton = button;
            continue;
        }
        if (!firstButton && button->isEnabled()) firstButton = button;
        buttons->addWidget(button);
    }
    layout->addLayout(buttons);
    if (cancelButton) {
        layout->addSpacing(8);
        layout->addWidget(cancelButton);
    }
    // The keyboard starts on the first choice (a text field takes it when there is one).
    if (!firstButton) firstButton = cancelButton;
    if (firstButton && alert->textFields().empty()) firstButton->setFocus();
    return dialog;
}

QDialog* QtPresenter::buildShareSheet(const std::shared_ptr<ui::ActivityViewController>& sheet,
                                      bool takesFocus) {
    std::weak_ptr<ui::ActivityViewController> weak = sheet;
    auto cancel = [weak] {
        if (auto model = weak.lock()) model->cancel();
    };
    auto* dialog = new ModelDialog(cancel, takesFocus);
    dialog->setWindowTitle(QStringLiteral("Share"));
    auto* layout = new QVBoxLayout(dialog);
    addText(*layout, std::string("Share"), kTitleName, true);
    auto makeEntry = [weak](const std::string& type, const std::string& title,
                            const std::string& icon, std::function<void()> before) {
        auto* button = new QPushButton(iconNamed(icon), toQString(title));
        button->setObjectName(QString::fromLatin1(kActivityPrefix) + toQString(type));
        button->setAutoDefault(false);
        button->setStyleSheet(
            QStringLiteral("QPushButton { text-align: left; padding: 4px 8px; }"));
        QObject::connect(button, &QPushButton::clicked, button, [weak, type, before] {
            auto model = weak.lock();
            if (!model) return;
            if (before) before();
            model->chooseActivity(type);
        });
        return button;
    };
    if (!sheet->isExcluded(ui::kActivityTypeCopyToPasteboard)) {
        auto items = sheet->activityItems();
        layout->addWidget(makeEntry(ui::kActivityTypeCopyToPasteboard, "Copy", "edit-copy",
                                    [this, items] { copyItems(items); }));
    }
    const auto activities = sheet->availableApplicationActivities();
    QBoxLayout* list = layout;
    QWidget* listWidget = nullptr;
    if (activities.size() > kShareEntriesWithoutScrolling) {
        // Many applications: they scroll, the rest of the sheet stays.
        listWidget = new QWidget;
        list = new QVBoxLayout(listWidget);
        list->setContentsMargins(0, 0, 0, 0);
    }
    for (const auto& activity : activities) {
        list->addWidget(makeEntry(activity->activityType(), activity->activityTitle(),
                                  activity->activityIconName(), {}));
    }
    if (listWidget) {
        auto* area = new QScrollArea;
        area->setFrameShape(QFrame::NoFrame);
        area->setWidgetResizable(true);
        area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        area->setWidget(listWidget);
        area->setMinimumHeight(std::min(listWidget->sizeHint().height(), kShareListMaxHeight));
        area->setMinimumWidth(listWidget->sizeHint().width() + 24);
        layout->addWidget(area);
    }
    auto* cancelButton = new QPushButton(QStringLiteral("Cancel"));
    cancelButton->setObjectName(QString::fromLatin1(kCancelName));
    QFont font = cancelButton->font();
    font.setBold(true);
    cancelButton->setFont(font);
    QObject::connect(cancelButton, &QPushButton::clicked, cancelButton, cancel);
    layout->addSpacing(8);
    layout->addWidget(cancelButton);
    return dialog;
}

void QtPresenter::copyItems(const std::vector<ui::ActivityItem>& items) {
    std::string text;
    for (const ui::ActivityItem& item : items) {
        if (item.kind() == ui::ActivityItem::Kind::image) {
            if (item.imageValue())
                QGuiApplication::clipboard()->setImage(toQImage(*item.imageValue()));
            return;
        }
        if (!text.empty()) text += "\n";
        text += item.string();
    }
    if (!text.empty()) pasteboard_.setString(text);
}

}  // namespace kernova::desktop
