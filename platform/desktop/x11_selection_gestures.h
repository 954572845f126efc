// Mouse selections as the X server sees them, on an xcb connection of our own
// whose socket a QSocketNotifier watches (nothing polls): XInput 2 raw button
// presses and releases of the master pointers on the root window, PRIMARY's
// new owners through XFixes, and, only while tracking, raw motion and raw key
// presses. Raw events carry no position, so each press, release and (at most
// one at a time) motion asks the pointer's place with QueryPointer, whose
// reply is taken when it arrives; reports keep the order of their events.
// Raw buttons are the device's own: the pointer's button mapping (a
// left-handed mouse) is applied, asked again when it changes. Which key was
// pressed is never looked at.
#pragma once

#include <xcb/xcb.h>

#include <QSocketNotifier>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "base/log.h"
#include "base/paths.h"
#include "capture/selection_gestures.h"

namespace kernova::desktop {

class X11SelectionGestures final : public capture::SelectionGestures {
  public:
    // True for a window of this process (such an owner of PRIMARY is not
    // reported).
    using IsOwnWindow = std::function<bool(std::uint32_t window)>;

    // Opens `env`'s DISPLAY. Positions are divided by `scale` (pixels per
    // point). The logger must outlive this object.
    X11SelectionGestures(const EnvironmentLookup& env, const Logger& log, IsOwnWindow isOwn = {},
                         double scale = 1.0);
    ~X11SelectionGestures() override;
    X11SelectionGestures(const X11SelectionGestures&) = delete;
    X11SelectionGestures& operator=(const X11SelectionGestures&) = delete;

    // False without a display, XInput 2.0 or XFixes.
    bool start(capture::SelectionGestures::Listener& listener) override;
    void setTracking(bool on) override;

  private:
    enum class Kind { press, release, motion, owner, key, mapping };
    struct Pending {
        Kind kind;
        int button = 0;
        unsigned int request = 0;  // the reply awaited (all but owner and key)
    };

    void readEvents();
    bool takeEvent(xcb_generic_event_t* event);
    bool deliverAnswered();
    void queue(Kind kind, int button = 0);
    void selectInput();
    void takeMapping(const xcb_get_pointer_mapping_reply_t* mapping);
    int logicalButton(std::uint32_t device) const;

    const Logger& log_;
    IsOwnWindow isOwn_;
    double scale_;
    xcb_connection_t* connection_ = nullptr;
    xcb_window_t root_ = 0;
    std::uint8_t inputOpcode_ = 0, xfixesEvent_ = 0;
    capture::SelectionGestures::Listener* listener_ = nullptr;
    bool tracking_ = false;
    bool motionAsked_ = false;             // a motion's QueryPointer is outstanding
    std::vector<std::uint8_t> buttonMap_;  // device button - 1 -> the button it means
    std::deque<Pending> pending_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace kernova::desktop
