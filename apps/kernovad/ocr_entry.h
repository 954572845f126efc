// The "OCR & Splode" desktop entry under the name the user chose
// ("ocrMenuName"): a copy of the installed entry with that Name in the user's
// applications folder, where it takes the installed one's place in the file
// managers' "Open With" menu. Written at start and whenever the settings may
// have changed (ReloadPreferences, a change in the settings folder), only
// when its content differs, whole and atomically; removed when the setting is
// empty or absent.
#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/context.h"

namespace kernova::daemon {

inline constexpr const char* kOcrEntryFileName = "fun.quorle.KernovaActivity.desktop";

// $XDG_DATA_HOME/applications (when absolute), else ~/.local/share/applications.
std::filesystem::path userApplicationsDirectory(const EnvironmentLookup& env);

// The entry `installed` (a desktop file's text) with its Name (and any
// translated Name) replaced by `name`, escaped for a desktop file, and a first
// comment line that marks the copy as kernovad's.
std::string renamedOcrEntry(const std::string& installed, const std::string& name);

class OcrEntryName {
  public:
    // `installedEntry`: the entry as installed (share/applications beside
    // the data folder); `userFolder`: where the copy goes.
    OcrEntryName(Context& context, std::filesystem::path installedEntry,
                 std::filesystem::path userFolder);
    ~OcrEntryName();
    OcrEntryName(const OcrEntryName&) = delete;
    OcrEntryName& operator=(const OcrEntryName&) = delete;

    // Brings the copy in line with the setting now.
    void update();

  private:
    Context& context_;
    std::filesystem::path installedEntry_;
    std::filesystem::path userEntry_;
    std::unique_ptr<QFileSystemWatcher> watcher_;
    std::unique_ptr<QObject> receiver_;
};

}  // namespace kernova::daemon
