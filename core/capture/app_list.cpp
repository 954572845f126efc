#include "capture/app_list.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

namespace kernova::capture {
namespace {

bool isKernovaProgram(std::string_view name) {
    return name == "kernovad" || name == "kernova";
}

}  // namespace

bool isOwnEntry(const DesktopEntry& entry) {
    std::string_view id = entry.id;
    if (id.ends_with(".desktop")) id.remove_suffix(std::string_view(".desktop").size());
    if (isKernovaProgram(id)) return true;
    std::optional<std::vector<std::string>> argv = splitExec(entry.exec);
    return argv && !argv->empty() &&
           isKernovaProgram(std::filesystem::path(argv->front()).filename().string());
}

ApplicationList applicationList(const DesktopEntries& entries) {
    ApplicationList list;
    for (const DesktopEntry& entry : entries.entries()) {
        if (!entry.visible() || isOwnEntry(entry)) continue;
        list.emplace(entry.id, entry.name.empty() ? std::string(kNamelessApplication) : entry.name);
    }
    return list;
}

ApplicationListService::ApplicationListService(Context& context, EnvironmentLookup env, Post post)
    : context_(context), env_(std::move(env)), post_(std::move(post)) {
    context_.systemNotifications().observe(kGetAppsNotification, this, [this] {
        ApplicationList list = applicationList(DesktopEntries::load(env_));
        context_.log().info("apps", "answered the application list with " +
                                        std::to_string(list.size()) + " applications");
        post_(list);
    });
}

ApplicationListService::~ApplicationListService() {
    context_.systemNotifications().removeObservers(this);
}

}  // namespace kernova::capture
