// The layering of the core, enforced: the core never includes Qt (or any GUI
// header), and each module includes only the modules below it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

// What each module of core/ may include besides itself. "server/settings.h" is
// the settings store: low enough for every module that reads a setting;
// "server/host.h" is the desktop's interface to the server process (nothing
// in it lies above base and ui).
const std::map<std::string, std::set<std::string>>& allowedIncludes() {
    static const std::map<std::string, std::set<std::string>> rules = {
        {"base", {}},
        {"support", {"base"}},
        {"segment", {"base"}},
        {"ui", {"base"}},
        {"board", {"base", "ui", "segment", "support", "floating", "server/settings.h"}},
        {"floating", {"base", "ui", "server/settings.h"}},
        {"translate", {"base", "ui", "support", "server/settings.h"}},
        {"panel",
         {"base", "ui", "segment", "support", "board", "floating", "translate",
          "server/settings.h"}},
        {"capture", {"base", "ui", "floating", "server/settings.h", "server/host.h"}},
        {"share", {"base", "ui", "support", "server/settings.h"}},
        {"server",
         {"base", "ui", "segment", "support", "board", "floating", "translate", "panel", "capture",
          "share"}},
    };
    return rules;
}

fs::path sourceDir() {
    const char* dir = std::getenv("KERNOVA_SOURCE_DIR");
    return dir ? fs::path(dir) : fs::path(KERNOVA_SOURCE_DIR_FALLBACK);
}

bool allowed(const std::string& module, const std::string& include) {
    auto slash = include.find('/');
    if (slash == std::string::npos) return true;  // same-folder include
    std::string target = include.substr(0, slash);
    if (target == module) return true;
    const auto& rules = allowedIncludes().at(module);
    return rules.count(target) > 0 || rules.count(include) > 0;
}

TEST(Layering, CoreModulesIncludeOnlyWhatTheyMay) {
    fs::path core = sourceDir() / "core";
    ASSERT_TRUE(fs::is_directory(core)) << core;
    const std::regex includeLine(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
    const std::regex guiHeader(R"(^(Q[A-Za-z]|Qt|qt|gtk|X11/|xcb/|wayland))");
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(core)) {
        if (!entry.is_regular_file()) continue;
        auto ext = entry.path().extension();
        if (ext != ".h" && ext != ".cpp") continue;
        std::string module = fs::relative(entry.path(), core).begin()->string();
        ASSERT_TRUE(allowedIncludes().count(module))
            << "core/" << module << " has no layering rule";
        ++files;
        std::ifstream in(entry.path());
        std::string line;
        int number = 0;
        while (std::getline(in, line)) {
            ++number;
            std::smatch m;
            if (!std::regex_search(line, m, includeLine)) continue;
            std::string where = entry.path().string() + ":" + std::to_string(number);
            EXPECT_FALSE(std::regex_search(m[2].str(), guiHeader))
                << where << " includes a GUI header";
            if (m[1] == "\"") {
                EXPECT_TRUE(allowed(module, m[2])) << where << " includes " << m[2];
            }
        }
    }
    EXPECT_GT(files, 0);
}

}  // namespace
