#include "kernova/gui_helper.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <ostream>

namespace kernova::cli {

int execHelperProgram(const char* relative, const char* buildPath, std::vector<std::string> args,
                      std::string_view who, std::ostream& out, std::ostream& err) {
    std::filesystem::path program = buildPath;
    std::error_code ec;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        const std::filesystem::path installed = self.parent_path() / relative;
        if (::access(installed.c_str(), X_OK) == 0) program = installed;
    }
    args.insert(args.begin(), program.string());
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    out.flush();
    ::execv(program.c_str(), argv.data());
    err << who << ": cannot start " << program.string() << ": " << std::strerror(errno) << '\n';
    return 1;
}

int runInGuiHelper(std::string_view command, std::span<const std::string> args, std::ostream& out,
                   std::ostream& err) {
    std::vector<std::string> all{std::string(command)};
    all.insert(all.end(), args.begin(), args.end());
    return execHelperProgram(KERNOVA_GUI_RELATIVE_PATH, KERNOVA_GUI_BUILD_PATH, std::move(all),
                             "kernova " + std::string(command), out, err);
}

}  // namespace kernova::cli
