// A private temporary folder, removed with everything in it when the object goes.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kernova::testing {

class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }
    // Writes `bytes` to `name` inside the folder and returns the full path.
    std::filesystem::path write(std::string_view name, std::string_view bytes) const;
    std::string read(std::string_view name) const;
    // The names of the entries in the folder, sorted.
    std::vector<std::string> entries() const;

  private:
    std::filesystem::path path_;
};

// Points the process's settings at a private folder under `dir` and fixes the
// locale, so that nothing reads or writes the developer's own settings.
void usePrivateEnvironment(const TempDir& dir);

}  // namespace kernova::testing
