#include "support_lib/temp_dir.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace kernova::testing {

TempDir::TempDir() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "kernova-test-XXXXXX").string();
    if (!::mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
    path_ = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(path_, ec);
}

std::filesystem::path TempDir::write(std::string_view name, std::string_view bytes) const {
    std::filesystem::path p = path_ / name;
    std::filesystem::create_directories(p.parent_path());
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return p;
}

std::string TempDir::read(std::string_view name) const {
    std::ifstream in(path_ / name, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<std::string> TempDir::entries() const {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(path_)) {
        names.push_back(e.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void usePrivateEnvironment(const TempDir& dir) {
    ::setenv("KERNOVA_PREFERENCES_DIR", dir.path().c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (dir.path() / "xdg").c_str(), 1);
    ::setenv("LANG", "en_US.UTF-8", 1);
}

}  // namespace kernova::testing
