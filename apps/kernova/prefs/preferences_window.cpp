#include "kernova/prefs/preferences_window.h"

#include <QAbstractItemView>
#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>
#include <QStyle>
#include <QTableWidget>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

#include "base/desktop_entries.h"
#include "capture/app_list.h"
#include "kernova/prefs/autostart.h"
#include "server/message_names.h"

namespace kernova::prefs {
namespace {

QString toQ(std::string_view s) {
    return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}
std::string fromQ(const QString& s) {
    return s.toUtf8().toStdString();
}

QString pageTitle(SettingsPage page) {
    return toQ(settingsPageTitle(page));
}

// A desktop-entry id as the enabled-applications file may hold it, with ".desktop".
std::string withDesktopSuffix(std::string id) {
    if (!id.ends_with(".desktop")) id += ".desktop";
    return id;
}

QStringList stringsOf(const Value& array) {
    QStringList out;
    if (const Array* items = array.asArray()) {
        for (const Value& item : *items)
            out.append(toQ(item.stringValue().value_or("")));
    }
    return out;
}

Value arrayOf(const QStringList& strings) {
    Array out;
    for (const QString& s : strings)
        out.emplace_back(fromQ(s));
    return Value(std::move(out));
}

// The text a stored value shows as in its field.
QString displayText(const SettingKey& key, const Value& stored) {
    switch (key.type) {
        case SettingType::boolean:
            return readBooleanSetting(key, stored) ? QStringLiteral("YES") : QStringLiteral("NO");
        case SettingType::integer: {
            const std::int64_t value = readIntegerSetting(key, stored);
            for (const SettingChoice& choice : key.choices) {
                if (choice.value == value) return toQ(choice.label);
            }
            return QString::number(value);
        }
        case SettingType::string:
            break;
    }
    return toQ(readStringSetting(key, stored));
}

bool isHotkey(const SettingKey& key) {
    return key.name == settings_key::kHotkey.name();
}

void moveCurrentRow(QListWidget* list, int by) {
    const int row = list->currentRow();
    const int to = row + by;
    if (row < 0 || to < 0 || to >= list->count()) return;
    QListWidgetItem* item = list->takeItem(row);
    list->insertItem(to, item);
    list->setCurrentRow(to);
}

// Move up / Move down for a list, also on Alt+Up and Alt+Down in it.
QHBoxLayout* moveButtons(QWidget* list, const std::function<void(int)>& move) {
    auto* row = new QHBoxLayout;
    auto* up = new QPushButton(QObject::tr("Move &up"));
    auto* down = new QPushButton(QObject::tr("Move &down"));
    QObject::connect(up, &QPushButton::clicked, list, [move] { move(-1); });
    QObject::connect(down, &QPushButton::clicked, list, [move] { move(1); });
    row->addWidget(up);
    row->addWidget(down);
    row->addStretch(1);
    auto* upKey = new QShortcut(QKeySequence(Qt::ALT | Qt::Key_Up), list);
    auto* downKey = new QShortcut(QKeySequence(Qt::ALT | Qt::Key_Down), list);
    upKey->setContext(Qt::WidgetShortcut);
    downKey->setContext(Qt::WidgetShortcut);
    QObject::connect(upKey, &QShortcut::activated, list, [move] { move(-1); });
    QObject::connect(downKey, &QShortcut::activated, list, [move] { move(1); });
    return row;
}

const QRegularExpression& languageCodePattern() {
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z]{2,3}(-[A-Za-z0-9]{2,8})*$"));
    return pattern;
}

}  // namespace

SettingsPage pageForUrl(const QString& url) {
    const QUrl parsed(url);
    if (parsed.scheme().compare(toQ(kPreferencesUrlScheme), Qt::CaseInsensitive) != 0)
        return SettingsPage::general;
    QString name = parsed.host().isEmpty() ? parsed.path() : parsed.host() + parsed.path();
    while (name.startsWith(QLatin1Char('/')))
        name.remove(0, 1);
    while (name.endsWith(QLatin1Char('/')))
        name.chop(1);
    for (SettingsPage page : kSettingsPages) {
        if (name.compare(pageTitle(page), Qt::CaseInsensitive) == 0) return page;
    }
    return SettingsPage::general;
}

struct PreferencesWindow::KeyField {
    const SettingKey* key = nullptr;
    QWidget* widget = nullptr;
    QLabel* label = nullptr;
    QLabel* error = nullptr;
    QAction* mark = nullptr;  // the warning inside a text field
    QString baseline;         // the text the file gave it
    QString problem;

    QString text() const {
        if (auto* box = qobject_cast<QCheckBox*>(widget))
            return box->isChecked() ? QStringLiteral("YES") : QStringLiteral("NO");
        if (auto* combo = qobject_cast<QComboBox*>(widget)) return combo->currentText();
        if (auto* keys = qobject_cast<QKeySequenceEdit*>(widget)) {
            const QKeySequence sequence = keys->keySequence();
            return sequence.isEmpty() ? QStringLiteral("none")
                                      : sequence.toString(QKeySequence::PortableText);
        }
        return static_cast<QLineEdit*>(widget)->text();
    }

    void setText(const QString& text) {
        if (auto* box = qobject_cast<QCheckBox*>(widget)) {
            std::string why;
            box->setChecked(
                parseSettingText(*key, fromQ(text), why).value_or(Value(false)).boolValue());
        } else if (auto* combo = qobject_cast<QComboBox*>(widget)) {
            int index = combo->findText(text);
            if (index < 0) {
                combo->addItem(text);
                index = combo->count() - 1;
            }
            combo->setCurrentIndex(index);
        } else if (auto* keys = qobject_cast<QKeySequenceEdit*>(widget)) {
            keys->setKeySequence(text.compare(QStringLiteral("none"), Qt::CaseInsensitive) == 0
                                     ? QKeySequence()
                                     : QKeySequence::fromString(text, QKeySequence::PortableText));
        } else {
            static_cast<QLineEdit*>(widget)->setText(text);
        }
    }
};

PreferencesWindow::PreferencesWindow(WindowOptions options, QWidget* parent)
    : QWidget(parent), options_(std::move(options)) {
    setWindowTitle(tr("Kernova Preferences"));
    setWindowIcon(QIcon::fromTheme(QStringLiteral("kernova")));
    state(PrefsFile::settings).path = options_.paths.settingsFile();
    state(PrefsFile::menus).path = options_.paths.menusFile();
    state(PrefsFile::schemes).path = options_.paths.schemesFile();
    state(PrefsFile::languages).path = options_.paths.languagesFile();
    state(PrefsFile::applications).path = options_.paths.enabledAppsFile();
    for (std::size_t i = 0; i < kPrefsFileCount; ++i)
        readFile(static_cast<PrefsFile>(i));

    pages_ = new QListWidget(this);
    pages_->setAccessibleName(tr("Pages"));
    pages_->setMaximumWidth(200);
    stack_ = new QStackedWidget(this);
    for (SettingsPage page : kSettingsPages) {
        pageOrder_.push_back(page);
        pages_->addItem(pageTitle(page));
        auto* scroll = new QScrollArea(stack_);
        scroll->setWidgetResizable(true);
        scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scroll->setWidget(buildPage(page));
        scroll->setAccessibleName(pageTitle(page));
        stack_->addWidget(scroll);
    }
    connect(pages_, &QListWidget::currentRowChanged, stack_, &QStackedWidget::setCurrentIndex);

    status_ = new QLabel(this);
    status_->setWordWrap(true);
    status_->setAccessibleName(tr("Status"));
    status_->setTextInteractionFlags(Qt::TextSelectableByKeyboard | Qt::TextSelectableByMouse);
    restart_ = new QPushButton(tr("&Restart kernovad"), this);
    restart_->setVisible(false);
    connect(restart_, &QPushButton::clicked, this, [this] {
        if (!options_.restartDaemon) return;
        restart_->setEnabled(false);
        options_.restartDaemon([this](QString sentence) {
            restart_->setEnabled(true);
            restart_->setVisible(false);
            setStatus(sentence);
        });
    });
    auto* saveButton = new QPushButton(tr("&Save"), this);
    saveButton->setDefault(true);
    saveButton->setShortcut(QKeySequence::Save);
    connect(saveButton, &QPushButton::clicked, this, [this] { save(); });
    auto* closeButton = new QPushButton(tr("&Close"), this);
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(escape, &QShortcut::activated, this, &QWidget::close);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(status_, 1);
    buttons->addWidget(restart_);
    buttons->addWidget(saveButton);
    buttons->addWidget(closeButton);
    auto* body = new QHBoxLayout;
    body->addWidget(pages_);
    body->addWidget(stack_, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(body, 1);
    layout->addLayout(buttons);

    fillKeys(false);
    fillActions();
    fillSchemes();
    fillLanguages();
    fillApplications();
    validateLists();
    pages_->setCurrentRow(0);
    if (!warnings_.isEmpty()) setStatus(warnings_.join(QLatin1Char('\n')));
    resize(760, 560);
}

PreferencesWindow::~PreferencesWindow() = default;

void PreferencesWindow::closeEvent(QCloseEvent* event) {
    if (!hasEdits()) return event->accept();
    const auto answer = QMessageBox::question(
        this, windowTitle(), tr("Save the changes before closing?"),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Cancel || (answer == QMessageBox::Save && !save()))
        return event->ignore();
    event->accept();
}

void PreferencesWindow::readFile(PrefsFile which) {
    FileState& file = state(which);
    file.file = readEditable(file.path);
    if (file.file.malformed) {
        warnings_.append(tr("%1 could not be read: its defaults are shown, and saving replaces it.")
                             .arg(QString::fromStdString(file.path.filename().string())));
    }
}

QWidget* PreferencesWindow::buildPage(SettingsPage page) {
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    if (page == SettingsPage::general && options_.firstRun) {
        auto* line = new QLabel(tr("Kernova does nothing until its master switch is on: tick "
                                   "\"Master switch\" below and press Save."),
                                widget);
        line->setWordWrap(true);
        line->setObjectName(QStringLiteral("firstRun"));
        layout->addWidget(line);
    }
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    for (const SettingKey& key : kSettingKeys) {
        if (key.page == page) buildKeyField(key, form);
    }
    if (page == SettingsPage::general) buildStartAtLogin(form);
    layout->addLayout(form);
    switch (page) {
        case SettingsPage::actions:
            buildActionsPage(layout);
            break;
        case SettingsPage::schemes:
            buildSchemesPage(layout);
            break;
        case SettingsPage::translation:
            buildLanguagesList(form);
            break;
        case SettingsPage::applications:
            buildApplicationsPage(layout);
            break;
        default:
            layout->addStretch(1);
            break;
    }
    return widget;
}

void PreferencesWindow::buildKeyField(const SettingKey& key, QFormLayout* form) {
    auto field = std::make_unique<KeyField>();
    field->key = &key;
    const QString description = toQ(key.description);
    QWidget* widget = nullptr;
    KeyField* raw = field.get();
    if (key.type == SettingType::boolean) {
        // The description is the row's label, which wraps; the box has none.
        auto* box = new QCheckBox;
        connect(box, &QCheckBox::toggled, this, [this, raw] { fieldChanged(*raw); });
        widget = box;
    } else if (!key.choices.empty() || !key.texts.empty()) {
        auto* combo = new QComboBox;
        for (const SettingChoice& choice : key.choices)
            combo->addItem(toQ(choice.label));
        for (const SettingText& text : key.texts)
            combo->addItem(toQ(text));
        connect(combo, &QComboBox::currentTextChanged, this, [this, raw] { fieldChanged(*raw); });
        widget = combo;
    } else if (isHotkey(key)) {
        auto* keys = new QKeySequenceEdit;
        keys->setClearButtonEnabled(true);
        connect(keys, &QKeySequenceEdit::keySequenceChanged, this,
                [this, raw, keys](const QKeySequence& sequence) {
                    // One key with its modifiers: the first of a chord.
                    if (sequence.count() > 1) {
                        keys->setKeySequence(QKeySequence(sequence[0]));
                        return;
                    }
                    fieldChanged(*raw);
                });
        widget = keys;
    } else {
        auto* line = new QLineEdit;
        line->setClearButtonEnabled(false);
        if (key.type == SettingType::integer)
            line->setInputMethodHints(Qt::ImhFormattedNumbersOnly);
        if (key.name == settings_key::kSecretKey.name() || key.name == settings_key::kApiKey.name())
            line->setEchoMode(QLineEdit::PasswordEchoOnEdit);
        field->mark = line->addAction(style()->standardIcon(QStyle::SP_MessageBoxWarning),
                                      QLineEdit::TrailingPosition);
        field->mark->setVisible(false);
        connect(line, &QLineEdit::textChanged, this, [this, raw] { fieldChanged(*raw); });
        widget = line;
    }
    widget->setObjectName(toQ(key.name));
    widget->setAccessibleName(description);
    QString tip = toQ(key.name) + QStringLiteral(": ") + toQ(settingValuesDescription(key));
    if (key.appliesAtStart) tip += tr(" (takes effect when kernovad starts again)");
    widget->setToolTip(tip);
    field->widget = widget;
    field->error = new QLabel;
    field->error->setWordWrap(true);
    field->error->setVisible(false);
    auto* column = new QVBoxLayout;
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(widget);
    column->addWidget(field->error);
    field->label = new QLabel(description + QLatin1Char(':'));
    field->label->setWordWrap(true);
    field->label->setBuddy(widget);
    form->addRow(field->label, column);
    fields_.push_back(std::move(field));
}

// Not a setting: switched at once, by the autostart entry itself.
void PreferencesWindow::buildStartAtLogin(QFormLayout* form) {
    const AutostartFolders folders = autostartFolders(options_.environment);
    startAtLogin_ = new QCheckBox;
    startAtLogin_->setObjectName(QStringLiteral("startAtLogin"));
    startAtLogin_->setAccessibleName(tr("Start at login"));
    startAtLogin_->setChecked(startsAtLogin(folders));
    startAtLogin_->setToolTip(QString::fromStdString((folders.user / kAutostartFileName).string()));
    startAtLoginError_ = new QLabel;
    startAtLoginError_->setObjectName(QStringLiteral("startAtLoginError"));
    startAtLoginError_->setWordWrap(true);
    startAtLoginError_->setVisible(false);
    connect(startAtLogin_, &QCheckBox::toggled, this, [this](bool on) {
        const AutostartFolders now = autostartFolders(options_.environment);
        const AutostartChange change = setStartAtLogin(now, on, options_.kernovad);
        const bool starts = startsAtLogin(now);
        QSignalBlocker block(startAtLogin_);
        startAtLogin_->setChecked(starts);
        QString error;
        if (!change.ok)
            error = tr("Could not change the start at login: %1")
                        .arg(QString::fromStdString(change.error));
        else if (starts != on)
            error = tr("Changed, but another autostart entry decides: %1")
                        .arg(startAtLogin_->toolTip());
        startAtLoginError_->setText(error);
        startAtLoginError_->setVisible(!error.isEmpty());
        startAtLogin_->setAccessibleDescription(error);
    });
    auto* column = new QVBoxLayout;
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(startAtLogin_);
    column->addWidget(startAtLoginError_);
    auto* label = new QLabel(tr("Start at login") + QLatin1Char(':'));
    label->setBuddy(startAtLogin_);
    form->addRow(label, column);
}

void PreferencesWindow::fillKeys(bool keepEdited) {
    filling_ = true;
    const Dictionary& root = state(PrefsFile::settings).file.root;
    for (auto& field : fields_) {
        auto found = root.find(field->key->name);
        const QString text =
            displayText(*field->key, found == root.end() ? Value() : found->second);
        const bool edited = field->text() != field->baseline;
        field->baseline = text;
        if (!(keepEdited && edited)) field->setText(text);
    }
    filling_ = false;
    for (auto& field : fields_)
        fieldChanged(*field);
}

void PreferencesWindow::fieldChanged(KeyField& field) {
    if (filling_) return;
    const QString text = field.text();
    std::string error;
    QString problem;
    if (!parseSettingText(*field.key, fromQ(text), error)) problem = QString::fromStdString(error);
    if (problem.isEmpty() && isHotkey(*field.key) && text != field.baseline &&
        text.compare(QStringLiteral("none"), Qt::CaseInsensitive) != 0 && options_.checkHotkey) {
        switch (options_.checkHotkey(fromQ(text))) {
            case capture::HotkeyStatus::invalid:
                problem =
                    tr("%1 is not one key with its modifiers that this keyboard has (letters, "
                       "digits and punctuation need Ctrl, Alt or Meta)")
                        .arg(text);
                break;
            case capture::HotkeyStatus::refused:
                problem = tr("%1 is held by another program").arg(text);
                break;
            default:
                break;
        }
    }
    field.problem = problem;
    field.error->setText(problem);
    field.error->setVisible(!problem.isEmpty());
    if (field.mark) {
        field.mark->setVisible(!problem.isEmpty());
        field.mark->setToolTip(problem);
    }
    field.widget->setAccessibleDescription(problem);
}

QString PreferencesWindow::fieldText(std::string_view key) const {
    for (const auto& field : fields_) {
        if (field->key->name == key) return field->text();
    }
    return {};
}

void PreferencesWindow::setFieldText(std::string_view key, const QString& text) {
    for (auto& field : fields_) {
        if (field->key->name == key) field->setText(text);
    }
}

QString PreferencesWindow::fieldError(std::string_view key) const {
    for (const auto& field : fields_) {
        if (field->key->name == key) return field->problem;
    }
    return {};
}

QWidget* PreferencesWindow::field(std::string_view key) const {
    for (const auto& field : fields_) {
        if (field->key->name == key) return field->widget;
    }
    return nullptr;
}

void PreferencesWindow::showPage(SettingsPage page) {
    auto found = std::find(pageOrder_.begin(), pageOrder_.end(), page);
    pages_->setCurrentRow(found == pageOrder_.end() ? 0
                                                    : static_cast<int>(found - pageOrder_.begin()));
    // The entry may have been changed elsewhere since the window opened.
    QSignalBlocker block(startAtLogin_);
    startAtLogin_->setChecked(startsAtLogin(autostartFolders(options_.environment)));
}

SettingsPage PreferencesWindow::currentPage() const {
    const int row = pages_->currentRow();
    return row < 0 ? SettingsPage::general : pageOrder_[static_cast<std::size_t>(row)];
}

// ---- the action bar

void PreferencesWindow::buildActionsPage(QVBoxLayout* layout) {
    auto* label = new QLabel(
        tr("&Buttons of the panel's action bar, left to right (ticked ones are shown; drag or "
           "use Move up and Move down to reorder):"));
    label->setWordWrap(true);
    actionsList_ = new QListWidget;
    actionsList_->setObjectName(QStringLiteral("actions"));
    actionsList_->setAccessibleName(tr("Action bar buttons"));
    actionsList_->setDragDropMode(QAbstractItemView::InternalMove);
    actionsList_->setIconSize(QSize(24, 24));
    label->setBuddy(actionsList_);
    connect(actionsList_, &QListWidget::itemChanged, this, [this] { validateLists(); });
    layout->addWidget(label);
    layout->addWidget(actionsList_, 1);
    layout->addLayout(
        moveButtons(actionsList_, [this](int by) { moveCurrentRow(actionsList_, by); }));
}

void PreferencesWindow::fillActions() {
    const Value root(state(PrefsFile::menus).file.root);
    QStringList enabled;
    QStringList disabled;
    if (root["menus"].isAbsent()) {
        for (std::string_view name : kKnownActions)
            enabled.append(toQ(name));
    } else {
        enabled = stringsOf(root["menus"]["Enabled"]);
        disabled = stringsOf(root["menus"]["Disabled"]);
    }
    QStringList all = enabled + disabled;
    for (std::string_view name : kKnownActions) {
        if (!all.contains(toQ(name))) disabled.append(toQ(name));
    }
    QSignalBlocker block(actionsList_);
    actionsList_->clear();
    auto add = [this](const QString& name, bool on) {
        auto* item = new QListWidgetItem(name.isEmpty() ? tr("(empty slot)") : name);
        item->setData(Qt::UserRole, name);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable |
                       Qt::ItemIsDragEnabled);
        item->setCheckState(on ? Qt::Checked : Qt::Unchecked);
        const auto picture = options_.paths.bundle / (fromQ(name) + ".png");
        if (!name.isEmpty()) item->setIcon(QIcon(QString::fromStdString(picture.string())));
        actionsList_->addItem(item);
    };
    for (const QString& name : enabled)
        add(name, true);
    for (const QString& name : disabled)
        add(name, false);
    actionsBaseline_ = actions();
}

std::pair<QStringList, QStringList> PreferencesWindow::actions() const {
    std::pair<QStringList, QStringList> out;
    for (int i = 0; i < actionsList_->count(); ++i) {
        const QListWidgetItem* item = actionsList_->item(i);
        (item->checkState() == Qt::Checked ? out.first : out.second)
            .append(item->data(Qt::UserRole).toString());
    }
    return out;
}

void PreferencesWindow::setActions(const QStringList& enabled) {
    for (int i = 0; i < actionsList_->count(); ++i) {
        QListWidgetItem* item = actionsList_->item(i);
        const int at = static_cast<int>(enabled.indexOf(item->data(Qt::UserRole).toString()));
        item->setCheckState(at >= 0 ? Qt::Checked : Qt::Unchecked);
    }
    for (int at = 0; at < enabled.size(); ++at) {
        for (int i = 0; i < actionsList_->count(); ++i) {
            if (actionsList_->item(i)->data(Qt::UserRole).toString() != enabled[at]) continue;
            actionsList_->insertItem(at, actionsList_->takeItem(i));
            break;
        }
    }
}

// ---- URL templates

void PreferencesWindow::buildSchemesPage(QVBoxLayout* layout) {
    auto* label =
        new QLabel(tr("&URL templates for the UrlScheme button; %s stands for the text "
                      "(and {1}, {2}, {all} with template slots):"));
    label->setWordWrap(true);
    schemesTable_ = new QTableWidget(0, 2);
    schemesTable_->setObjectName(QStringLiteral("schemes"));
    schemesTable_->setAccessibleName(tr("URL templates"));
    schemesTable_->setHorizontalHeaderLabels({tr("Name"), tr("URL template")});
    schemesTable_->horizontalHeader()->setStretchLastSection(true);
    schemesTable_->setSelectionBehavior(QAbstractItemView::SelectRows);
    schemesTable_->setTabKeyNavigation(false);
    label->setBuddy(schemesTable_);
    connect(schemesTable_, &QTableWidget::itemChanged, this, [this] {
        if (!filling_) validateLists();
    });
    auto* add = new QPushButton(tr("&Add"));
    auto* remove = new QPushButton(tr("Re&move"));
    connect(add, &QPushButton::clicked, this, [this] {
        std::vector<UrlTemplate> all = urlTemplates();
        all.push_back({tr("New template"), QStringLiteral("https://example.org/?q=%s")});
        setUrlTemplates(all);
        schemesTable_->setCurrentCell(static_cast<int>(all.size()) - 1, 0);
        schemesTable_->editItem(schemesTable_->currentItem());
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        const int row = schemesTable_->currentRow();
        if (row >= 0) schemesTable_->removeRow(row);
        validateLists();
    });
    auto* rowButtons = moveButtons(schemesTable_, [this](int by) {
        const int row = schemesTable_->currentRow();
        const int to = row + by;
        if (row < 0 || to < 0 || to >= schemesTable_->rowCount()) return;
        filling_ = true;
        for (int column = 0; column < 2; ++column) {
            QTableWidgetItem* a = schemesTable_->takeItem(row, column);
            QTableWidgetItem* b = schemesTable_->takeItem(to, column);
            schemesTable_->setItem(row, column, b);
            schemesTable_->setItem(to, column, a);
        }
        filling_ = false;
        schemesTable_->setCurrentCell(to, schemesTable_->currentColumn());
        validateLists();
    });
    rowButtons->insertWidget(0, remove);
    rowButtons->insertWidget(0, add);
    layout->addWidget(label);
    layout->addWidget(schemesTable_, 1);
    layout->addLayout(rowButtons);
}

void PreferencesWindow::fillSchemes() {
    const Value items = Value(state(PrefsFile::schemes).file.root)["items"];
    std::vector<UrlTemplate> templates;
    schemeEntries_.clear();
    if (const Array* array = items.asArray()) {
        for (const Value& item : *array) {
            const Dictionary* entry = item.asDictionary();
            schemeEntries_.push_back(entry ? *entry : Dictionary{});
            templates.push_back({toQ(item["name"].stringValue().value_or("")),
                                 toQ(item["scheme"].stringValue().value_or(""))});
        }
    }
    schemesBaseline_ = templates;
    filling_ = true;
    schemesTable_->setRowCount(0);
    for (std::size_t row = 0; row < templates.size(); ++row) {
        schemesTable_->insertRow(static_cast<int>(row));
        auto* name = new QTableWidgetItem(templates[row].name);
        name->setData(Qt::UserRole, static_cast<int>(row));  // its entry in schemeEntries_
        schemesTable_->setItem(static_cast<int>(row), 0, name);
        schemesTable_->setItem(static_cast<int>(row), 1,
                               new QTableWidgetItem(templates[row].scheme));
    }
    filling_ = false;
}

std::vector<UrlTemplate> PreferencesWindow::urlTemplates() const {
    std::vector<UrlTemplate> out;
    for (int row = 0; row < schemesTable_->rowCount(); ++row) {
        const QTableWidgetItem* name = schemesTable_->item(row, 0);
        const QTableWidgetItem* scheme = schemesTable_->item(row, 1);
        out.push_back({name ? name->text() : QString(), scheme ? scheme->text() : QString()});
    }
    return out;
}

void PreferencesWindow::setUrlTemplates(const std::vector<UrlTemplate>& templates) {
    filling_ = true;
    const int rows = static_cast<int>(templates.size());
    for (int row = schemesTable_->rowCount(); row < rows; ++row) {
        schemesTable_->insertRow(row);
        schemesTable_->setItem(row, 0, new QTableWidgetItem);
        schemesTable_->setItem(row, 1, new QTableWidgetItem);
    }
    while (schemesTable_->rowCount() > rows)
        schemesTable_->removeRow(rows);
    for (int row = 0; row < rows; ++row) {
        schemesTable_->item(row, 0)->setText(templates[static_cast<std::size_t>(row)].name);
        schemesTable_->item(row, 1)->setText(templates[static_cast<std::size_t>(row)].scheme);
    }
    filling_ = false;
    validateLists();
}

// ---- languages

void PreferencesWindow::buildLanguagesList(QFormLayout* form) {
    auto* label = new QLabel(tr("&Languages to translate into, first one first:"));
    label->setWordWrap(true);
    languagesList_ = new QListWidget;
    languagesList_->setObjectName(QStringLiteral("languages"));
    languagesList_->setAccessibleName(tr("Languages to translate into"));
    languagesList_->setDragDropMode(QAbstractItemView::InternalMove);
    languagesList_->setMaximumHeight(160);
    label->setBuddy(languagesList_);
    connect(languagesList_, &QListWidget::itemChanged, this, [this] {
        if (!filling_) validateLists();
    });
    languagesError_ = new QLabel;
    languagesError_->setVisible(false);
    auto* add = new QPushButton(tr("A&dd language"));
    auto* remove = new QPushButton(tr("Remo&ve language"));
    connect(add, &QPushButton::clicked, this, [this] {
        QStringList codes = languages();
        codes.append(QStringLiteral("en"));
        setLanguages(codes);
        languagesList_->setCurrentRow(languagesList_->count() - 1);
        languagesList_->editItem(languagesList_->currentItem());
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        delete languagesList_->takeItem(languagesList_->currentRow());
        validateLists();
    });
    auto* buttons = moveButtons(languagesList_, [this](int by) {
        moveCurrentRow(languagesList_, by);
        validateLists();
    });
    buttons->insertWidget(0, remove);
    buttons->insertWidget(0, add);
    auto* column = new QVBoxLayout;
    column->addWidget(languagesList_);
    column->addWidget(languagesError_);
    column->addLayout(buttons);
    form->addRow(label, column);
}

void PreferencesWindow::fillLanguages() {
    const Value root(state(PrefsFile::languages).file.root);
    languagesBaseline_ = root["languages"].isAbsent() ? QStringList{QStringLiteral("en")}
                                                      : stringsOf(root["languages"]);
    filling_ = true;
    languagesList_->clear();
    for (const QString& code : languagesBaseline_) {
        auto* item = new QListWidgetItem(code);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        languagesList_->addItem(item);
    }
    filling_ = false;
}

QStringList PreferencesWindow::languages() const {
    QStringList out;
    for (int i = 0; i < languagesList_->count(); ++i)
        out.append(languagesList_->item(i)->text());
    return out;
}

void PreferencesWindow::setLanguages(const QStringList& codes) {
    filling_ = true;
    languagesList_->clear();
    for (const QString& code : codes) {
        auto* item = new QListWidgetItem(code);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        languagesList_->addItem(item);
    }
    filling_ = false;
    validateLists();
}

// ---- applications

void PreferencesWindow::buildApplicationsPage(QVBoxLayout* layout) {
    auto* label =
        new QLabel(tr("The floating button and the clipboard answer only in the "
                      "applications ticked here."));
    label->setWordWrap(true);
    appSearch_ = new QLineEdit;
    appSearch_->setObjectName(QStringLiteral("applicationSearch"));
    appSearch_->setPlaceholderText(tr("Search applications"));
    appSearch_->setAccessibleName(tr("Search applications"));
    appSearch_->setClearButtonEnabled(true);
    auto* searchLabel = new QLabel(tr("S&earch:"));
    searchLabel->setBuddy(appSearch_);
    appsList_ = new QListWidget;
    appsList_->setObjectName(QStringLiteral("applications"));
    appsList_->setAccessibleName(tr("Applications"));
    appsList_->setIconSize(QSize(24, 24));
    appsList_->setSortingEnabled(false);
    connect(appSearch_, &QLineEdit::textChanged, this, &PreferencesWindow::filterApplications);
    auto* search = new QHBoxLayout;
    search->addWidget(searchLabel);
    search->addWidget(appSearch_, 1);
    layout->addWidget(label);
    layout->addLayout(search);
    layout->addWidget(appsList_, 1);
}

void PreferencesWindow::fillApplications() {
    const Value root(state(PrefsFile::applications).file.root);
    appsBaseline_.clear();
    for (const QString& id : stringsOf(root["Enabled"]))
        appsBaseline_.insert(withDesktopSuffix(fromQ(id)));
    const DesktopEntries entries = DesktopEntries::load(options_.environment);
    const capture::ApplicationList apps = capture::applicationList(entries);
    std::vector<std::pair<QString, std::string>> rows;  // name, id
    for (const auto& [id, name] : apps)
        rows.emplace_back(toQ(name), id);
    // Enabled ids with no entry here stay listed, so that nothing is lost.
    for (const std::string& id : appsBaseline_) {
        if (!apps.contains(id)) rows.emplace_back(toQ(id), id);
    }
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
        const int order = a.first.localeAwareCompare(b.first);
        return order != 0 ? order < 0 : a.second < b.second;
    });
    QSignalBlocker block(appsList_);
    appsList_->clear();
    for (const auto& [name, id] : rows) {
        auto* item = new QListWidgetItem(name);
        item->setData(Qt::UserRole, QString::fromStdString(id));
        item->setToolTip(QString::fromStdString(id));
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
        item->setCheckState(appsBaseline_.contains(id) ? Qt::Checked : Qt::Unchecked);
        if (const DesktopEntry* entry = entries.find(id); entry && !entry->icon.empty()) {
            const auto file = DesktopEntries::iconFile(entry->icon, options_.environment);
            item->setIcon(file.empty() ? QIcon::fromTheme(toQ(entry->icon))
                                       : QIcon(QString::fromStdString(file.string())));
        }
        appsList_->addItem(item);
    }
}

std::set<std::string> PreferencesWindow::enabledApplications() const {
    std::set<std::string> out;
    for (int i = 0; i < appsList_->count(); ++i) {
        const QListWidgetItem* item = appsList_->item(i);
        if (item->checkState() == Qt::Checked)
            out.insert(fromQ(item->data(Qt::UserRole).toString()));
    }
    return out;
}

void PreferencesWindow::setApplicationEnabled(const std::string& id, bool enabled) {
    for (int i = 0; i < appsList_->count(); ++i) {
        QListWidgetItem* item = appsList_->item(i);
        if (fromQ(item->data(Qt::UserRole).toString()) == withDesktopSuffix(id))
            item->setCheckState(enabled ? Qt::Checked : Qt::Unchecked);
    }
}

void PreferencesWindow::filterApplications(const QString& text) {
    if (appSearch_->text() != text) appSearch_->setText(text);
    for (int i = 0; i < appsList_->count(); ++i) {
        QListWidgetItem* item = appsList_->item(i);
        item->setHidden(!text.isEmpty() && !item->text().contains(text, Qt::CaseInsensitive) &&
                        !item->data(Qt::UserRole).toString().contains(text, Qt::CaseInsensitive));
    }
}

int PreferencesWindow::visibleApplicationCount() const {
    int count = 0;
    for (int i = 0; i < appsList_->count(); ++i)
        count += appsList_->item(i)->isHidden() ? 0 : 1;
    return count;
}

// ---- checks, saving

void PreferencesWindow::validateLists() {
    if (filling_) return;
    invalidLists_.clear();
    const QIcon warning = style()->standardIcon(QStyle::SP_MessageBoxWarning);
    for (int row = 0; row < schemesTable_->rowCount(); ++row) {
        QTableWidgetItem* scheme = schemesTable_->item(row, 1);
        if (scheme == nullptr) continue;
        const bool ok = isUrl(fromQ(scheme->text()));
        QSignalBlocker block(schemesTable_);
        scheme->setIcon(ok ? QIcon() : warning);
        scheme->setToolTip(
            ok ? QString()
               : tr("Not a URL: a scheme such as https or dict, a colon, and no blanks"));
        if (!ok) invalidLists_.append(tr("URL template %1 is not a URL").arg(row + 1));
    }
    QStringList badCodes;
    for (const QString& code : languages()) {
        if (!languageCodePattern().match(code).hasMatch()) badCodes.append(code);
    }
    if (!badCodes.isEmpty()) {
        invalidLists_.append(
            tr("not a language code: %1").arg(badCodes.join(QStringLiteral(", "))));
        languagesError_->setText(tr("Not a language code (such as en, ja, zh-TW): %1")
                                     .arg(badCodes.join(QStringLiteral(", "))));
    }
    languagesError_->setVisible(!badCodes.isEmpty());
    languagesList_->setAccessibleDescription(languagesError_->isVisible() ? languagesError_->text()
                                                                          : QString());
}

bool PreferencesWindow::fileEdited(PrefsFile which) const {
    switch (which) {
        case PrefsFile::settings:
            return std::any_of(fields_.begin(), fields_.end(),
                               [](const auto& f) { return f->text() != f->baseline; });
        case PrefsFile::menus:
            return actions() != actionsBaseline_;
        case PrefsFile::schemes:
            return urlTemplates() != schemesBaseline_;
        case PrefsFile::languages:
            return languages() != languagesBaseline_;
        case PrefsFile::applications:
            return enabledApplications() != appsBaseline_;
    }
    return false;
}

bool PreferencesWindow::hasEdits() const {
    for (std::size_t i = 0; i < kPrefsFileCount; ++i) {
        if (fileEdited(static_cast<PrefsFile>(i))) return true;
    }
    return false;
}

void PreferencesWindow::edit(PrefsFile which, Dictionary& root) const {
    switch (which) {
        case PrefsFile::settings:
            for (const auto& field : fields_) {
                if (field->text() == field->baseline) continue;
                std::string error;
                if (auto value = parseSettingText(*field->key, fromQ(field->text()), error))
                    root[std::string(field->key->name)] = *value;
            }
            return;
        case PrefsFile::menus: {
            const Value old = Value(root)["menus"];
            Dictionary menus = old.asDictionary() ? *old.asDictionary() : Dictionary{};
            const auto [enabled, disabled] = actions();
            menus["Enabled"] = arrayOf(enabled);
            menus["Disabled"] = arrayOf(disabled);
            root["menus"] = Value(std::move(menus));
            return;
        }
        case PrefsFile::schemes: {
            Array items;
            for (int row = 0; row < schemesTable_->rowCount(); ++row) {
                const QTableWidgetItem* name = schemesTable_->item(row, 0);
                const QVariant tag = name ? name->data(Qt::UserRole) : QVariant();
                Dictionary entry;
                if (tag.isValid() && tag.toInt() >= 0 &&
                    static_cast<std::size_t>(tag.toInt()) < schemeEntries_.size())
                    entry = schemeEntries_[static_cast<std::size_t>(tag.toInt())];
                entry["name"] = Value(fromQ(name ? name->text() : QString()));
                const QTableWidgetItem* scheme = schemesTable_->item(row, 1);
                entry["scheme"] = Value(fromQ(scheme ? scheme->text() : QString()));
                items.emplace_back(std::move(entry));
            }
            root["items"] = Value(std::move(items));
            return;
        }
        case PrefsFile::languages:
            root["languages"] = arrayOf(languages());
            return;
        case PrefsFile::applications: {
            // Ids written without ".desktop" stay as they were.
            Array ids;
            const std::set<std::string> enabled = enabledApplications();
            std::set<std::string> kept;
            for (const QString& id : stringsOf(Value(root)["Enabled"])) {
                const std::string full = withDesktopSuffix(fromQ(id));
                if (enabled.contains(full) && kept.insert(full).second) ids.emplace_back(fromQ(id));
            }
            for (const std::string& id : enabled) {
                if (kept.insert(id).second) ids.emplace_back(id);
            }
            root["Enabled"] = Value(std::move(ids));
            return;
        }
    }
}

bool PreferencesWindow::save() {
    QStringList problems = invalidLists_;
    QWidget* firstInvalid = nullptr;
    for (const auto& field : fields_) {
        if (field->problem.isEmpty() || field->text() == field->baseline) continue;
        problems.append(toQ(field->key->name) + QStringLiteral(": ") + field->problem);
        if (firstInvalid == nullptr) firstInvalid = field->widget;
    }
    if (!problems.isEmpty()) {
        setStatus(tr("Nothing was saved; fix the marked fields first: %1")
                      .arg(problems.join(QStringLiteral("; "))));
        if (firstInvalid) {
            for (std::size_t i = 0; i < pageOrder_.size(); ++i) {
                if (stack_->widget(static_cast<int>(i))->isAncestorOf(firstInvalid))
                    pages_->setCurrentRow(static_cast<int>(i));
            }
            firstInvalid->setFocus();
        }
        return false;
    }
    bool wroteSomething = false;
    bool needsRestart = false;
    QStringList messages;
    for (std::size_t i = 0; i < kPrefsFileCount; ++i) {
        const auto which = static_cast<PrefsFile>(i);
        if (!fileEdited(which)) continue;
        FileState& file = state(which);
        const QString fileName = QString::fromStdString(file.path.filename().string());
        SaveOutcome outcome =
            saveEdited(file.path, file.file.stamp, [&](Dictionary& root) { edit(which, root); });
        if (outcome.status == SaveStatus::failed) {
            messages.append(tr("%1 could not be written: %2")
                                .arg(fileName, QString::fromStdString(outcome.error)));
            continue;
        }
        if (outcome.status == SaveStatus::changedOnDisk) {
            // Read again: what was not edited shows the new contents, edits stay.
            file.file = readEditable(file.path);
            messages.append(tr("%1 was changed by another program: it has been read again, "
                               "and your changes are kept; press Save again to write them.")
                                .arg(fileName));
            switch (which) {
                case PrefsFile::settings:
                    fillKeys(true);
                    break;
                case PrefsFile::menus:
                    actionsBaseline_ = {QStringList{QStringLiteral("\n")}, {}};  // stays edited
                    break;
                case PrefsFile::schemes: {
                    const Value items = Value(file.file.root)["items"];
                    schemeEntries_.clear();
                    if (const Array* array = items.asArray()) {
                        for (const Value& item : *array) {
                            const Dictionary* entry = item.asDictionary();
                            schemeEntries_.push_back(entry ? *entry : Dictionary{});
                        }
                    }
                    schemesBaseline_.clear();
                    break;
                }
                case PrefsFile::languages:
                    languagesBaseline_ = QStringList{QStringLiteral("\n")};
                    break;
                case PrefsFile::applications:
                    appsBaseline_ = {std::string("\n")};
                    break;
            }
            continue;
        }
        file.file.stamp = outcome.stamp;
        wroteSomething = true;
        switch (which) {
            case PrefsFile::settings:
                for (auto& field : fields_) {
                    if (field->text() == field->baseline) continue;
                    needsRestart = needsRestart || field->key->appliesAtStart;
                    field->baseline = field->text();
                }
                break;
            case PrefsFile::menus:
                actionsBaseline_ = actions();
                break;
            case PrefsFile::schemes:
                schemesBaseline_ = urlTemplates();
                break;
            case PrefsFile::languages:
                languagesBaseline_ = languages();
                break;
            case PrefsFile::applications:
                appsBaseline_ = enabledApplications();
                break;
        }
    }
    if (wroteSomething && options_.announceReload) options_.announceReload();
    if (needsRestart) {
        restart_->setVisible(true);
        messages.append(tr("Some changes take effect when kernovad starts again."));
    }
    if (messages.isEmpty()) messages.append(wroteSomething ? tr("Saved.") : tr("Nothing to save."));
    setStatus(messages.join(QLatin1Char(' ')));
    return !hasEdits();
}

void PreferencesWindow::setStatus(const QString& text) {
    status_->setText(text);
}

QString PreferencesWindow::statusText() const {
    return status_->text();
}

bool PreferencesWindow::restartOffered() const {
    return !restart_->isHidden();
}

}  // namespace kernova::prefs
