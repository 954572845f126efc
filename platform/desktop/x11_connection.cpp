#include "desktop/x11_connection.h"

#include <optional>
#include <string>

namespace kernova::desktop {

X11Connection openX11Connection(const EnvironmentLookup& env, const Logger& log,
                                std::string_view topic, std::string_view consequence) {
    std::optional<std::string> display = env("DISPLAY");
    if (!display || display->empty()) return {};
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(display->c_str(), &screenNumber);
    xcb_screen_iterator_t screens{};
    if (xcb_connection_has_error(connection) == 0) {
        screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
        for (int i = 0; i < screenNumber && screens.rem; ++i)
            xcb_screen_next(&screens);
    }
    if (xcb_connection_has_error(connection) != 0 || !screens.rem) {
        log.warn(std::string(topic), "cannot open the X display; " + std::string(consequence));
        xcb_disconnect(connection);
        return {};
    }
    return {connection, screens.data->root};
}

}  // namespace kernova::desktop
