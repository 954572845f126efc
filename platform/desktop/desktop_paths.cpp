#include "desktop/desktop_paths.h"

#include <system_error>

namespace kernova::desktop {

std::filesystem::path dataDirectory() {
    std::error_code error;
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return dataDirectory(error ? std::filesystem::path() : program.parent_path());
}

std::filesystem::path dataDirectory(const std::filesystem::path& programDirectory) {
    if (!programDirectory.empty()) {
        std::filesystem::path installed =
            (programDirectory / KERNOVA_DATA_RELATIVE_DIR).lexically_normal();
        std::error_code error;
        if (std::filesystem::is_directory(installed, error)) return installed;
    }
    return KERNOVA_BUILD_DATA_DIR;
}

}  // namespace kernova::desktop
