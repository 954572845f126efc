#include "kernova/gui_helper.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <vector>

namespace kernova::cli {
namespace {

// Installed beside this program (<bindir>/<relative>), else the build tree's.
std::filesystem::path guiHelper() {
    std::error_code ec;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        const std::filesystem::path installed = self.parent_path() / KERNOVA_GUI_RELATIVE_PATH;
        if (::access(installed.c_str(), X_OK) == 0) return installed;
    }
    return KERNOVA_GUI_BUILD_PATH;
}

}  // namespace

int runInGuiHelper(std::string_view command, std::span<const std::string> args, std::ostream& out,
                   std::ostream& err) {
    const std::filesystem::path program = guiHelper();
    std::vector<std::string> owned{program.string(), std::string(command)};
    owned.insert(owned.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : owned)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    out.flush();
    ::execv(program.c_str(), argv.data());
    err << "kernova " << command << ": cannot start " << program.string() << ": "
        << std::strerror(errno) << '\n';
    return 1;
}

}  // namespace kernova::cli
