// The preferences window: one page per settings page of the key table, every
// user-visible key of the table as a field generated from its row, and the
// pages that edit files of their own (the action bar's menus file, the URL
// templates, the translation languages, the enabled applications). A save
// writes only what was edited (see prefs_files.h), tells kernovad once, and
// offers a restart when a key it reads only at start changed.
#pragma once

#include <QString>
#include <QStringList>
#include <QWidget>
#include <array>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/paths.h"
#include "capture/hotkey.h"
#include "kernova/prefs/prefs_files.h"
#include "server/settings_keys.h"

class QCheckBox;
class QCloseEvent;
class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QTableWidget;
class QLineEdit;
class QFormLayout;
class QVBoxLayout;

namespace kernova::prefs {

struct WindowOptions {
    Paths paths;
    EnvironmentLookup environment = processEnvironment();
    // Shows one line on General that explains the master switch.
    bool firstRun = false;
    // Whether a hotkey could be taken now (desktop::checkHotkey on the desktop).
    std::function<capture::HotkeyStatus(const std::string&)> checkHotkey;
    // Called once after each save that wrote something.
    std::function<void()> announceReload;
    // Restarts kernovad; `done` gets a sentence for the status line.
    std::function<void(std::function<void(QString)> done)> restartDaemon;
    // The program a user autostart entry starts when none is installed.
    std::filesystem::path kernovad = "kernovad";
};

// The editable files, each read with its stamp.
enum class PrefsFile { settings, menus, schemes, languages, applications };
inline constexpr std::size_t kPrefsFileCount = 5;

// The actions the action bar knows, in its default order.
inline constexpr std::array<std::string_view, 6> kKnownActions{"Copy",   "UrlScheme", "Translate",
                                                               "Search", "Share",     "History"};

struct UrlTemplate {
    QString name;
    QString scheme;
    bool operator==(const UrlTemplate&) const = default;
};

// The page a "kernova-prefs:" URL names by its path ("kernova-prefs:/Translation",
// titles compared without case); General for any other.
SettingsPage pageForUrl(const QString& url);

class PreferencesWindow final : public QWidget {
    Q_OBJECT
  public:
    explicit PreferencesWindow(WindowOptions options, QWidget* parent = nullptr);
    ~PreferencesWindow() override;

    void showPage(SettingsPage page);
    SettingsPage currentPage() const;

    // A key's field as the text `kernova set` takes ("YES", a choice's name, a
    // number, the text), and a change of it made as the user makes one.
    QString fieldText(std::string_view key) const;
    void setFieldText(std::string_view key, const QString& text);
    // Why the field's value cannot be written; empty when it can.
    QString fieldError(std::string_view key) const;
    QWidget* field(std::string_view key) const;

    // The list pages' contents, and changes made as the user makes them.
    std::pair<QStringList, QStringList> actions() const;  // enabled, disabled
    void setActions(const QStringList& enabled);          // the rest disabled
    std::vector<UrlTemplate> urlTemplates() const;
    void setUrlTemplates(const std::vector<UrlTemplate>& templates);
    QStringList languages() const;
    void setLanguages(const QStringList& codes);
    std::set<std::string> enabledApplications() const;
    void setApplicationEnabled(const std::string& id, bool enabled);
    void filterApplications(const QString& text);
    int visibleApplicationCount() const;

    // Writes every edited file; false when something could not be written (an
    // invalid field, a file changed by another program, a failed write).
    bool save();
    bool hasEdits() const;
    QString statusText() const;
    bool restartOffered() const;

  protected:
    // Asks whether to save edits first.
    void closeEvent(QCloseEvent* event) override;

  private:
    struct KeyField;
    struct FileState {
        EditableFile file;
        std::filesystem::path path;
    };

    QWidget* buildPage(SettingsPage page);
    void buildKeyField(const SettingKey& key, QFormLayout* form);
    void buildActionsPage(QVBoxLayout* layout);
    void buildSchemesPage(QVBoxLayout* layout);
    void buildLanguagesList(QFormLayout* form);
    void buildApplicationsPage(QVBoxLayout* layout);
    void buildStartAtLogin(QFormLayout* form);

    void readFile(PrefsFile which);
    void fillKeys(bool keepEdited);
    void fillActions();
    void fillSchemes();
    void fillLanguages();
    void fillApplications();

    void fieldChanged(KeyField& field);
    void validateLists();
    void setStatus(const QString& text);
    bool fileEdited(PrefsFile which) const;
    void edit(PrefsFile which, Dictionary& root) const;

    FileState& state(PrefsFile which) { return files_[static_cast<std::size_t>(which)]; }

    WindowOptions options_;
    std::array<FileState, kPrefsFileCount> files_;
    std::vector<std::unique_ptr<KeyField>> fields_;
    QStringList warnings_;

    QListWidget* pages_ = nullptr;
    QStackedWidget* stack_ = nullptr;
    std::vector<SettingsPage> pageOrder_;
    QLabel* status_ = nullptr;
    QPushButton* restart_ = nullptr;

    QListWidget* actionsList_ = nullptr;
    std::pair<QStringList, QStringList> actionsBaseline_;
    QTableWidget* schemesTable_ = nullptr;
    std::vector<UrlTemplate> schemesBaseline_;
    std::vector<Dictionary> schemeEntries_;  // each row's whole entry, by the row's tag
    QListWidget* languagesList_ = nullptr;
    QLabel* languagesError_ = nullptr;
    QStringList languagesBaseline_;
    QLineEdit* appSearch_ = nullptr;
    QListWidget* appsList_ = nullptr;
    std::set<std::string> appsBaseline_;
    QStringList invalidLists_;
    bool filling_ = false;
    QCheckBox* startAtLogin_ = nullptr;
    QLabel* startAtLoginError_ = nullptr;
};

}  // namespace kernova::prefs
