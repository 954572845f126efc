// X connections of kernovad's own (besides Qt's): opened on $DISPLAY with the
// root window of its default screen, and atoms interned in one round trip.
#pragma once

#include <xcb/xcb.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "base/log.h"
#include "base/paths.h"

namespace kernova::desktop {

struct X11Connection {
    xcb_connection_t* connection = nullptr;  // null when the display cannot be used
    xcb_window_t root = 0;
};

// Opens $DISPLAY. When it cannot (no DISPLAY, no server, no screen), logs a
// warning under `topic` naming `consequence` and gives a null connection.
X11Connection openX11Connection(const EnvironmentLookup& env, const Logger& log,
                                std::string_view topic, std::string_view consequence);

// The atoms of `names`, asked for all at once; XCB_ATOM_NONE for one that failed.
template <std::size_t N>
std::array<xcb_atom_t, N> internAtoms(xcb_connection_t* connection,
                                      const std::array<std::string_view, N>& names) {
    std::array<xcb_intern_atom_cookie_t, N> cookies{};
    for (std::size_t i = 0; i < N; ++i)
        cookies[i] = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(names[i].size()),
                                     names[i].data());
    std::array<xcb_atom_t, N> atoms{};
    for (std::size_t i = 0; i < N; ++i) {
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(connection, cookies[i], nullptr);
        atoms[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
        std::free(reply);
    }
    return atoms;
}

}  // namespace kernova::desktop
