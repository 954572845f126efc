#include "server/first_run.h"

#include <filesystem>
#include <system_error>

#include "server/tray_menu.h"

namespace kernova {

bool openPreferencesOnFirstRun(Context& context, ServerHost& host,
                               const std::string& kernovaProgram, bool autostarted) {
    if (!autostarted) return false;
    // A file that exists but cannot be read (or cannot be looked at) is not a
    // first run either.
    std::error_code error;
    const auto type = std::filesystem::symlink_status(context.paths().settingsFile(), error).type();
    if (type != std::filesystem::file_type::not_found) return false;
    Logger& log = context.log();
    log.info("first run", "no settings file: opening the preferences");
    host.launch(preferencesCommand(kernovaProgram, kFirstRunPage, true), [&log](bool started) {
        if (!started) log.warn("first run", "cannot start kernova prefs");
    });
    return true;
}

}  // namespace kernova
