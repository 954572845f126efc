// Where the desktop programs find Kernova's data files.
#pragma once

#include <filesystem>

namespace kernova::desktop {

// The folder of Kernova's data (share/kernova, which holds KernovaPrefs.bundle):
// <bindir>/../share/kernova beside the running program when that folder exists
// (an installed program), else the build tree's share/kernova.
std::filesystem::path dataDirectory();
// The same lookup for a program that lives in `programDirectory`.
std::filesystem::path dataDirectory(const std::filesystem::path& programDirectory);

}  // namespace kernova::desktop
