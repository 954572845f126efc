// Kernova's application icon for windows and the tray: the PNG renderings of
// data/artwork/kernova.svg in the hicolor theme's folders beside the data
// folder (share/icons/hicolor/<n>x<n>/apps/kernova.png, installed or in the
// build tree), else the icon theme's "kernova".
#pragma once

#include <QIcon>
#include <array>
#include <filesystem>

namespace kernova::desktop {

inline constexpr const char* kApplicationIconName = "kernova";
// The sides the icon is rendered at, in pixels.
inline constexpr std::array<int, 6> kApplicationIconSizes{16, 32, 48, 64, 128, 256};

// `dataDirectory` is share/kernova (desktop::dataDirectory()).
QIcon applicationIcon(const std::filesystem::path& dataDirectory);

}  // namespace kernova::desktop
