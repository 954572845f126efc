// Context: everything one process owns (its run loop, notification centers, paths,
// settings and log), passed to the code that needs it. There are no other globals, so
// one test can run the server process and several app processes side by side.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/http.h"
#include "base/log.h"
#include "base/notification_center.h"
#include "base/paths.h"
#include "base/run_loop.h"
#include "base/value.h"

namespace kernova {

class OcrEngine;

// The settings held per process and refreshed when the settings change.
struct SettingsGlobals {
    // Refreshed by ReloadPrefs.
    bool tweakEnabled = false;
    bool watchClipboard = false;
    std::int64_t applistFlag = 0;
    Value customMenuName;  // kept as it stands in the file, absent when missing
    std::int64_t menuType = 0;
    // The enabled applications; absent when the list file exists without "Enabled".
    std::optional<std::vector<std::string>> applistWhite = std::vector<std::string>{};

    // Refreshed by LoadSettings.
    Value pref;  // the whole settings dictionary, absent when unreadable
    bool enabled = false;
    bool isFirstLoad = false;
    // Discards the shared selection menu bar so that it is rebuilt with the new
    // settings; set by the capture code of processes that have one.
    std::function<void()> releaseSelectionBar;

    // Maintained by the server process every second.
    bool availableInApp = false;
};

class Context {
  public:
    Context(RunLoop& runLoop, SystemNotifications& systemNotifications, Paths paths)
        : runLoop_(runLoop), systemNotifications_(systemNotifications), paths_(std::move(paths)) {}
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    RunLoop& runLoop() { return runLoop_; }
    NotificationCenter& notifications() { return notifications_; }
    SystemNotifications& systemNotifications() { return systemNotifications_; }
    const Paths& paths() const { return paths_; }
    SettingsGlobals& settings() { return settings_; }
    const SettingsGlobals& settings() const { return settings_; }
    // The locale texts are split in (an ICU locale id), chosen from the
    // environment when the process starts; "en" until then.
    const std::string& locale() const { return locale_; }
    void setLocale(std::string locale) { locale_ = std::move(locale); }
    // The process's log (warn and above on standard error until configured).
    Logger& log() { return log_; }
    const Logger& log() const { return log_; }
    // The process's HTTP client, set by whoever wires the process (and outliving
    // this context); until then every request fails as unavailable.
    HttpClient& http() { return http_ != nullptr ? *http_ : unavailableHttp_; }
    void setHttp(HttpClient* client) { http_ = client; }
    // The recognition engine on this machine (share/ocr_engine.h), set by
    // whoever wires the process and outliving this context; null when none.
    OcrEngine* ocrEngine() const { return ocrEngine_; }
    void setOcrEngine(OcrEngine* engine) { ocrEngine_ = engine; }

  private:
    RunLoop& runLoop_;
    SystemNotifications& systemNotifications_;
    NotificationCenter notifications_;
    Paths paths_;
    SettingsGlobals settings_;
    Logger log_;
    std::string locale_ = "en";
    HttpClient* http_ = nullptr;
    OcrEngine* ocrEngine_ = nullptr;
    UnavailableHttpClient unavailableHttp_{runLoop_};
};

}  // namespace kernova
