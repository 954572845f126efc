// The first run: Kernova started by the session's autostart entry that finds
// no settings file opens the preferences on General, where one line explains
// the master switch. Nothing is written here: the file appears once the user
// saves. Started any other way (by bus activation, by hand) it never opens
// them by itself.
#pragma once

#include <string>

#include "base/context.h"
#include "server/host.h"

namespace kernova {

// The preferences page the first run opens.
inline constexpr const char* kFirstRunPage = "kernova-prefs:/General";

// Starts `kernova prefs --first-run kernova-prefs:/General` through the host
// when `autostarted` and the settings file does not exist; whether it asked.
bool openPreferencesOnFirstRun(Context& context, ServerHost& host,
                               const std::string& kernovaProgram, bool autostarted);

}  // namespace kernova
