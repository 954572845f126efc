// The kind of display server this session runs, from its environment:
// "x11", "xwayland" (a Wayland session with an X display beside it) or
// "wayland" (no X display: global positions, grabs and selections are out of
// reach). A session without either display is "none".
#pragma once

#include <optional>
#include <string>

#include "base/paths.h"

namespace kernova::desktop {

inline std::string displayServer(const EnvironmentLookup& env) {
    auto set = [&](const char* name) {
        const std::optional<std::string> value = env(name);
        return value && !value->empty();
    };
    const std::optional<std::string> type = env("XDG_SESSION_TYPE");
    const bool wayland = set("WAYLAND_DISPLAY") || type == std::optional<std::string>("wayland");
    if (set("DISPLAY")) return wayland ? "xwayland" : "x11";
    return wayland ? "wayland" : "none";
}

}  // namespace kernova::desktop
