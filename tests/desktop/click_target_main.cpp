// A plain X11 window for the end-to-end tests: an application whose desktop
// entry the test enables (WM_CLASS "KernovaClickTarget") and that reports
// every mouse press it receives. It prints "window ID" once mapped, then
// "press X Y" (window coordinates) for each press, and exits when its
// standard input closes or the connection ends.
//
// As a text field the mouse selects in: `--select-text TEXT` takes PRIMARY as
// soon as the left button drags (as most toolkits do) and gives TEXT to whoever
// asks.
//
// As another program's global shortcut: `--grab-ctrl-alt K` first holds
// Ctrl+Alt+K (K a lower-case letter) on the root window and prints "grabbed"
// once it does (or exits with status 2 when it cannot).
#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

xcb_atom_t atom(xcb_connection_t* connection, const char* name) {
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
        nullptr);
    xcb_atom_t found = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    std::free(reply);
    return found;
}

// Grabs Ctrl+Mod1 with `letter`'s key, checked.
bool grabCtrlAlt(xcb_connection_t* connection, xcb_window_t root, char letter) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    xcb_get_keyboard_mapping_reply_t* mapping = xcb_get_keyboard_mapping_reply(
        connection, xcb_get_keyboard_mapping(connection, setup->min_keycode, count), nullptr);
    if (!mapping) return false;
    const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(mapping);
    xcb_keycode_t code = 0;
    for (int i = 0; i < count && code == 0; ++i)
        if (syms[i * mapping->keysyms_per_keycode] == static_cast<xcb_keysym_t>(letter))
            code = static_cast<xcb_keycode_t>(setup->min_keycode + i);
    std::free(mapping);
    if (code == 0) return false;
    xcb_generic_error_t* error = xcb_request_check(
        connection, xcb_grab_key_checked(connection, 0, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1,
                                         code, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    const bool grabbed = error == nullptr;
    std::free(error);
    return grabbed;
}

// Answers a request for PRIMARY with `text` (TARGETS and UTF8_STRING), or
// refuses it.
void answer(xcb_connection_t* connection, const xcb_selection_request_event_t& request,
            const std::string& text, xcb_atom_t targets, xcb_atom_t utf8) {
    xcb_atom_t property = request.property == XCB_NONE ? request.target : request.property;
    if (request.target == targets) {
        const xcb_atom_t offered[] = {targets, utf8};
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, request.requestor, property,
                            XCB_ATOM_ATOM, 32, 2, offered);
    } else if (request.target == utf8) {
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, request.requestor, property, utf8, 8,
                            static_cast<std::uint32_t>(text.size()), text.data());
    } else {
        property = XCB_NONE;
    }
    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    notify.property = property;
    xcb_send_event(connection, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&notify));
    xcb_flush(connection);
}

}  // namespace

int main(int argc, char** argv) {
    bool selecting = false;
    std::string text;
    char grabLetter = 0;
    if (argc == 3 && std::strcmp(argv[1], "--select-text") == 0) {
        selecting = true;
        text = argv[2];
    } else if (argc == 3 && std::strcmp(argv[1], "--grab-ctrl-alt") == 0) {
        grabLetter = argv[2][0];
    } else if (argc != 1) {
        std::fprintf(stderr,
                     "usage: kernova_click_target [--select-text TEXT | "
                     "--grab-ctrl-alt K]\n");
        return 2;
    }
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) return 1;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    if (grabLetter != 0) {
        if (!grabCtrlAlt(connection, screen->root, grabLetter)) return 2;
        std::printf("grabbed\n");
        std::fflush(stdout);
    }
    const xcb_window_t window = xcb_generate_id(connection);
    const std::uint32_t values[] = {screen->white_pixel,
                                    XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                                        XCB_EVENT_MASK_BUTTON_1_MOTION | XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 400, 300, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    const char wmClass[] = "kernovaclicktarget\0KernovaClickTarget";
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS,
                        XCB_ATOM_STRING, 8, sizeof wmClass, wmClass);
    const char title[] = "Click target";
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME,
                        XCB_ATOM_STRING, 8, sizeof title - 1, title);
    const std::uint32_t pid = static_cast<std::uint32_t>(getpid());
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atom(connection, "_NET_WM_PID"),
                        XCB_ATOM_CARDINAL, 32, 1, &pid);
    const xcb_atom_t targets = atom(connection, "TARGETS");
    const xcb_atom_t utf8 = atom(connection, "UTF8_STRING");
    bool taken = false;  // PRIMARY taken in this press's selection
    xcb_map_window(connection, window);
    xcb_flush(connection);
    std::printf("window %u\n", window);
    std::fflush(stdout);

    pollfd fds[] = {{xcb_get_file_descriptor(connection), POLLIN, 0}, {0, POLLIN, 0}};
    while (poll(fds, 2, -1) >= 0) {
        if (fds[1].revents != 0) {
            char buffer[64];
            if (read(0, buffer, sizeof buffer) <= 0) break;
        }
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection)) {
            const std::uint8_t type = event->response_type & 0x7f;
            if (type == XCB_BUTTON_PRESS) {
                auto* press = reinterpret_cast<xcb_button_press_event_t*>(event);
                std::printf("press %d %d\n", press->event_x, press->event_y);
                std::fflush(stdout);
                taken = false;
            } else if (type == XCB_MOTION_NOTIFY && selecting && !taken) {
                taken = true;
                xcb_set_selection_owner(connection, window, XCB_ATOM_PRIMARY,
                                        reinterpret_cast<xcb_motion_notify_event_t*>(event)->time);
                xcb_flush(connection);
            } else if (type == XCB_SELECTION_REQUEST && selecting) {
                answer(connection, *reinterpret_cast<xcb_selection_request_event_t*>(event), text,
                       targets, utf8);
            }
            std::free(event);
        }
        if (xcb_connection_has_error(connection)) break;
    }
    xcb_disconnect(connection);
    return 0;
}
