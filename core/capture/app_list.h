// The applications the user can enable Kernova in, for the preferences side:
// it posts "fun.quorle.kernova.getapps", and the server process answers with
// "fun.quorle.kernova.setapps" carrying desktop-entry id → display name.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "base/context.h"
#include "base/desktop_entries.h"

namespace kernova::capture {

inline constexpr const char* kAppListNamespace = "fun.quorle.kernova";
inline constexpr const char* kGetAppsNotification = "fun.quorle.kernova.getapps";
inline constexpr const char* kSetAppsNotification = "fun.quorle.kernova.setapps";
// The name given to an application whose entry has an empty Name.
inline constexpr const char* kNamelessApplication = "Error";

// Desktop-entry id (with ".desktop") → Name in the user's locale.
using ApplicationList = std::map<std::string, std::string>;

// Every entry listed in this desktop's menus (not hidden, not NoDisplay, shown
// in $XDG_CURRENT_DESKTOP), except Kernova's own.
ApplicationList applicationList(const DesktopEntries& entries);

// Whether the entry is one of Kernova's own programs (kernovad, kernova).
bool isOwnEntry(const DesktopEntry& entry);

// Answers "fun.quorle.kernova.getapps" in the server process: reads the
// desktop entries with `env` at each request and hands the list to `post`,
// which sends it as "fun.quorle.kernova.setapps".
class ApplicationListService {
  public:
    using Post = std::function<void(const ApplicationList&)>;
    ApplicationListService(Context& context, EnvironmentLookup env, Post post);
    ~ApplicationListService();
    ApplicationListService(const ApplicationListService&) = delete;
    ApplicationListService& operator=(const ApplicationListService&) = delete;

  private:
    Context& context_;
    EnvironmentLookup env_;
    Post post_;
};

}  // namespace kernova::capture
