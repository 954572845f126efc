#include "desktop/x11_selection_gestures.h"

#include <xcb/xcbext.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <QObject>
#include <cstdlib>
#include <utility>

#include "desktop/x11_connection.h"

namespace kernova::desktop {
namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

// One XI event mask for every master device, as XISelectEvents wants it.
struct MasterMask {
    xcb_input_event_mask_t head{XCB_INPUT_DEVICE_ALL_MASTER, 1};
    std::uint32_t bits = 0;
};

}  // namespace

X11SelectionGestures::X11SelectionGestures(const EnvironmentLookup& env, const Logger& log,
                                           IsOwnWindow isOwn, double scale)
    : log_(log), isOwn_(std::move(isOwn)), scale_(scale > 0 ? scale : 1.0) {
    const X11Connection opened =
        openX11Connection(env, log_, "selection", "mouse selections are not noticed");
    connection_ = opened.connection;
    root_ = opened.root;
}

X11SelectionGestures::~X11SelectionGestures() {
    notifier_.reset();
    if (connection_) {
        for (const Pending& p : pending_)
            if (p.request != 0) xcb_discard_reply(connection_, p.request);
        xcb_disconnect(connection_);
    }
}

bool X11SelectionGestures::start(capture::SelectionGestures::Listener& listener) {
    if (!connection_ || listener_) return listener_ != nullptr;
    const xcb_query_extension_reply_t* input = xcb_get_extension_data(connection_, &xcb_input_id);
    const xcb_query_extension_reply_t* xfixes = xcb_get_extension_data(connection_, &xcb_xfixes_id);
    if (!input || !input->present || !xfixes || !xfixes->present) {
        log_.warn("selection",
                  "the X server lacks XInput or XFixes; mouse selections are not noticed");
        return false;
    }
    // Both versions and the button mapping are asked at once; XInput 2.0 is
    // enough.
    const auto inputCookie = xcb_input_xi_query_version(connection_, 2, 2);
    const auto xfixesCookie = xcb_xfixes_query_version(connection_, 5, 0);
    const auto mappingCookie = xcb_get_pointer_mapping(connection_);
    Reply<xcb_input_xi_query_version_reply_t> inputVersion(
        xcb_input_xi_query_version_reply(connection_, inputCookie, nullptr));
    Reply<xcb_xfixes_query_version_reply_t> xfixesVersion(
        xcb_xfixes_query_version_reply(connection_, xfixesCookie, nullptr));
    Reply<xcb_get_pointer_mapping_reply_t> mapping(
        xcb_get_pointer_mapping_reply(connection_, mappingCookie, nullptr));
    takeMapping(mapping.get());
    if (!inputVersion || inputVersion->major_version < 2 || !xfixesVersion) {
        log_.warn("selection", "the X server lacks XInput 2; mouse selections are not noticed");
        return false;
    }
    inputOpcode_ = input->major_opcode;
    xfixesEvent_ = xfixes->first_event;
    listener_ = &listener;
    xcb_xfixes_select_selection_input(connection_, root_, XCB_ATOM_PRIMARY,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    selectInput();
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection_),
                                                  QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { readEvents(); });
    return true;
}

void X11SelectionGestures::setTracking(bool on) {
    if (tracking_ == on) return;
    tracking_ = on;
    if (listener_) selectInput();
}

void X11SelectionGestures::selectInput() {
    MasterMask mask;
    mask.bits =
        XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE;
    if (tracking_)
        mask.bits |= XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS;
    xcb_input_xi_select_events(connection_, root_, 1, &mask.head);
    xcb_flush(connection_);
}

void X11SelectionGestures::takeMapping(const xcb_get_pointer_mapping_reply_t* mapping) {
    if (!mapping) return;
    const std::uint8_t* map = xcb_get_pointer_mapping_map(mapping);
    buttonMap_.assign(map, map + xcb_get_pointer_mapping_map_length(mapping));
}

int X11SelectionGestures::logicalButton(std::uint32_t device) const {
    if (device >= 1 && device <= buttonMap_.size()) return buttonMap_[device - 1];
    return static_cast<int>(device);
}

void X11SelectionGestures::queue(Kind kind, int button) {
    Pending p{kind, button, 0};
    if (kind == Kind::press || kind == Kind::release || kind == Kind::motion)
        p.request = xcb_query_pointer(connection_, root_).sequence;
    else if (kind == Kind::mapping)
        p.request = xcb_get_pointer_mapping(connection_).sequence;
    pending_.push_back(p);
}

bool X11SelectionGestures::takeEvent(xcb_generic_event_t* event) {
    const std::uint8_t type = event->response_type & 0x7f;
    if (type == XCB_GE_GENERIC) {
        auto* generic = reinterpret_cast<xcb_ge_generic_event_t*>(event);
        if (generic->extension != inputOpcode_) return false;
        auto* raw = reinterpret_cast<xcb_input_raw_button_press_event_t*>(event);
        switch (generic->event_type) {
            case XCB_INPUT_RAW_BUTTON_PRESS:
            case XCB_INPUT_RAW_BUTTON_RELEASE: {
                // Wheel steps are buttons 4 to 7 in X; they are no clicks.
                const int button = logicalButton(raw->detail);
                if (button < 1 || button > 3) return false;
                queue(
                    generic->event_type == XCB_INPUT_RAW_BUTTON_PRESS ? Kind::press : Kind::release,
                    button);
                return true;
            }
            case XCB_INPUT_RAW_MOTION:
                if (!tracking_ || motionAsked_) return false;
                motionAsked_ = true;
                queue(Kind::motion);
                return true;
            case XCB_INPUT_RAW_KEY_PRESS:
                if (!tracking_) return false;
                queue(Kind::key);
                return true;
            default:
                return false;
        }
    }
    if (type == XCB_MAPPING_NOTIFY) {
        if (reinterpret_cast<xcb_mapping_notify_event_t*>(event)->request != XCB_MAPPING_POINTER)
            return false;
        queue(Kind::mapping);
        return true;
    }
    if (type == xfixesEvent_ + XCB_XFIXES_SELECTION_NOTIFY) {
        auto* notify = reinterpret_cast<xcb_xfixes_selection_notify_event_t*>(event);
        if (notify->selection != XCB_ATOM_PRIMARY || notify->owner == XCB_NONE) return false;
        if (isOwn_ && isOwn_(notify->owner)) return false;
        queue(Kind::owner);
        return true;
    }
    return false;
}

// Reports the queued events from the front as far as their answers are in.
bool X11SelectionGestures::deliverAnswered() {
    bool delivered = false;
    while (!pending_.empty()) {
        Pending& front = pending_.front();
        ui::Point where;
        if (front.request != 0) {
            void* answer = nullptr;
            xcb_generic_error_t* error = nullptr;
            if (xcb_poll_for_reply(connection_, front.request, &answer, &error) == 0)
                return delivered;
            std::free(error);
            if (front.kind == Kind::mapping) {
                Reply<xcb_get_pointer_mapping_reply_t> mapping(
                    static_cast<xcb_get_pointer_mapping_reply_t*>(answer));
                takeMapping(mapping.get());
                pending_.pop_front();
                continue;
            }
            Reply<xcb_query_pointer_reply_t> reply(static_cast<xcb_query_pointer_reply_t*>(answer));
            if (front.kind == Kind::motion) motionAsked_ = false;
            if (!reply) {  // the pointer left the screen; nothing to tell
                pending_.pop_front();
                continue;
            }
            where = ui::Point(reply->root_x / scale_, reply->root_y / scale_);
        }
        const Pending done = front;
        pending_.pop_front();
        delivered = true;
        switch (done.kind) {
            case Kind::press:
                listener_->buttonPressed(done.button, where);
                break;
            case Kind::release:
                listener_->buttonReleased(done.button, where);
                break;
            case Kind::motion:
                if (tracking_) listener_->pointerMoved(where);
                break;
            case Kind::owner:
                listener_->primaryOwnerChanged();
                break;
            case Kind::key:
                if (tracking_) listener_->keyPressed();
                break;
            case Kind::mapping:
                break;
        }
    }
    return delivered;
}

void X11SelectionGestures::readEvents() {
    // Reading replies may take more events off the socket, which the notifier
    // then no longer announces: go on until neither brings anything.
    bool progress = true;
    while (progress && xcb_connection_has_error(connection_) == 0) {
        progress = false;
        bool asked = false;
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
            asked = takeEvent(event) || asked;
            std::free(event);
            progress = true;
        }
        if (asked) xcb_flush(connection_);
        if (deliverAnswered()) progress = true;
    }
    if (xcb_connection_has_error(connection_) != 0) {
        log_.warn("selection", "lost the X display; mouse selections are no longer noticed");
        notifier_->setEnabled(false);
        pending_.clear();
    }
}

}  // namespace kernova::desktop
