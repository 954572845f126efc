#include "base/paths.h"

#include <cstdlib>

namespace kernova {

std::string formatWithObject(const std::string& format, const std::string& value) {
    std::string out = format;
    auto at = out.find("%@");
    if (at != std::string::npos) out.replace(at, 2, value);
    return out;
}

EnvironmentLookup processEnvironment() {
    return [](const char* name) -> std::optional<std::string> {
        const char* v = std::getenv(name);
        if (!v) return std::nullopt;
        return std::string(v);
    };
}

std::filesystem::path preferencesDirectory(const EnvironmentLookup& env) {
    if (auto dir = env("KERNOVA_PREFERENCES_DIR"); dir && !dir->empty()) return *dir;
    if (auto xdg = env("XDG_CONFIG_HOME"); xdg && !xdg->empty() && xdg->front() == '/') {
        return std::filesystem::path(*xdg) / "kernova";
    }
    std::string home = env("HOME").value_or("");
    if (home.empty()) home = ".";
    return std::filesystem::path(home) / ".config" / "kernova";
}

std::filesystem::path bundleDirectory(const EnvironmentLookup& env,
                                      const std::filesystem::path& dataDir) {
    if (auto dir = env("KERNOVA_BUNDLE_DIR"); dir && !dir->empty()) return *dir;
    return dataDir / "KernovaPrefs.bundle";
}

}  // namespace kernova
