// The re-entry flags of the server process. They keep the system from
// answering its own clipboard writes and from stacking panels or buttons.
#pragma once

namespace kernova {

struct ServerFlags {
    // How long usingSplode and popSplode stay set after they are raised.
    static constexpr double kOwnWriteSeconds = 0.5;
    static constexpr double kPopSeconds = 0.5;

    bool showing = false;      // a floating button is up (cleared 2.5 s after "popButton")
    bool usingSplode = false;  // the system itself wrote the clipboard less than 0.5 s ago
    bool popSplode = false;    // a panel popped up less than 0.5 s ago
    bool longPressFlag = false;
};

}  // namespace kernova
