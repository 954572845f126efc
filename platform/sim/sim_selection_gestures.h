// The mouse and PRIMARY as the desktop reports them to the selection item,
// played by the test: presses, releases, drags and clicks at points, PRIMARY
// changing owner, and, only while the item tracks them, motion and keys.
// Each call reaches the listener at once.
#pragma once

#include <cstddef>

#include "capture/selection_gestures.h"

namespace kernova::sim {

class SimSelectionGestures final : public capture::SelectionGestures {
  public:
    // Whether start() succeeds (as on a desktop that cannot report selections).
    explicit SimSelectionGestures(bool available = true) : available_(available) {}

    bool start(Listener& listener) override;
    void setTracking(bool on) override;

    bool started() const { return listener_ != nullptr; }
    bool tracking() const { return tracking_; }

    void press(ui::Point where, int button = 1);
    void release(ui::Point where, int button = 1);
    // A left-button press at `from` and its release at `to`.
    void drag(ui::Point from, ui::Point to);
    void click(ui::Point where, int button = 1);
    // Another window takes PRIMARY.
    void primaryOwnerChanged();
    // Reported only while tracking.
    void move(ui::Point where);
    void key();

  private:
    bool available_;
    Listener* listener_ = nullptr;
    bool tracking_ = false;
};

}  // namespace kernova::sim
