#include "server/tray_menu.h"

#include <utility>

#include "server/message_names.h"
#include "server/settings.h"
#include "server/settings_keys.h"

namespace kernova {

std::vector<std::string> preferencesCommand(const std::string& kernovaProgram,
                                            const std::string& page, bool firstRun) {
    std::vector<std::string> argv{kernovaProgram, "prefs"};
    if (firstRun) argv.emplace_back("--first-run");
    if (!page.empty()) argv.push_back(page);
    return argv;
}

TrayMenu::TrayMenu(Context& context, Services services)
    : context_(context), services_(std::move(services)) {}

std::vector<TrayMenu::Item> TrayMenu::items() const {
    const bool enabled = readSettings(context_).get(settings_key::kEnabled);
    return {
        {std::string(kEnabled), "Enabled", true, enabled},
        {std::string(kSplitClipboard), "Split clipboard"},
        {std::string(kOcrScreen), "OCR screen region"},
        {std::string(kHistory), "History"},
        {std::string(kPreferences), "Preferences…"},
        {std::string(kQuit), "Quit"},
    };
}

bool TrayMenu::trigger(std::string_view name) {
    Logger& log = context_.log();
    if (name == kEnabled) {
        toggleEnabled();
    } else if (name == kSplitClipboard) {
        // As a shortcut would ask: the clipboard, whatever application is in front.
        services_.sender->sendMessageName(message_name::kNotifySplode,
                                          Value(Dictionary{{"callFromCC", Value(true)}}));
    } else if (name == kOcrScreen) {
        services_.sender->sendMessageName(message_name::kDoOCR,
                                          Value(Dictionary{{"screen", Value(true)}}));
    } else if (name == kHistory) {
        services_.sender->sendMessageName(message_name::kShowHistory);
    } else if (name == kPreferences) {
        services_.host->launch(preferencesCommand(services_.kernovaProgram), [&log](bool started) {
            if (!started) log.warn("tray", "cannot start kernova prefs");
        });
    } else if (name == kQuit) {
        if (services_.quit) services_.quit();
    } else {
        return false;
    }
    log.info("tray", "menu item " + std::string(name));
    return true;
}

void TrayMenu::toggleEnabled() {
    const bool enabled = !readSettings(context_).get(settings_key::kEnabled);
    SaveResult saved = writeSetting(context_, settings_key::kEnabled.key(), Value(enabled));
    if (!saved) {
        context_.log().warn("tray", "the master switch is not written: " + saved.error);
        return;
    }
    context_.systemNotifications().post(kReloadPreferencesNotification);
}

}  // namespace kernova
