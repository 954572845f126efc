// What the desktop tells about the user selecting text with the mouse: the
// buttons going down and up with the pointer's place, PRIMARY changing owner,
// and, only while the selection item is shown, the pointer's motion and key
// presses. The selection item decides from these alone; nothing is polled.
#pragma once

#include "ui/geometry.h"

namespace kernova::capture {

class SelectionGestures {
  public:
    class Listener {
      public:
        virtual ~Listener() = default;
        // A button (1 = left, 2 = middle, 3 = right) went down or up at
        // `where`, in the desktop's coordinates in points. Presses on the
        // selection item itself are reported too.
        virtual void buttonPressed(int button, ui::Point where) = 0;
        virtual void buttonReleased(int button, ui::Point where) = 0;
        // Another window took PRIMARY (the user selected something). Losing
        // PRIMARY to no owner is not reported.
        virtual void primaryOwnerChanged() = 0;
        // Only while tracking: the pointer is now at `where`.
        virtual void pointerMoved(ui::Point where) = 0;
        // Only while tracking: a key went down. Which key is never told.
        virtual void keyPressed() = 0;
    };

    virtual ~SelectionGestures() = default;
    // From now on calls `listener` (which must outlive the source) on the run
    // loop. False when this desktop cannot report mouse selections; nothing
    // is reported then.
    virtual bool start(Listener& listener) = 0;
    // Motion and keys are asked of the desktop and reported only while
    // tracking is on.
    virtual void setTracking(bool on) = 0;
};

}  // namespace kernova::capture
