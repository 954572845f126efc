// The eleven message names the server serves, in the order it registers them.
#pragma once

#include <array>
#include <string_view>

namespace kernova::daemon {

inline constexpr std::array<std::string_view, 11> kMessageNames{
    "notifySplode", "openPrefs", "alertTrans",  "openUrl",    "shareText", "popButton",
    "showRunning",  "copyText",  "showHistory", "insertText", "doOCR",
};

}  // namespace kernova::daemon
