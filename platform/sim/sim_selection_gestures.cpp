#include "sim/sim_selection_gestures.h"

namespace kernova::sim {

bool SimSelectionGestures::start(Listener& listener) {
    if (!available_) return false;
    listener_ = &listener;
    return true;
}

void SimSelectionGestures::setTracking(bool on) {
    tracking_ = on;
}

void SimSelectionGestures::press(ui::Point where, int button) {
    if (listener_) listener_->buttonPressed(button, where);
}

void SimSelectionGestures::release(ui::Point where, int button) {
    if (listener_) listener_->buttonReleased(button, where);
}

void SimSelectionGestures::drag(ui::Point from, ui::Point to) {
    press(from);
    release(to);
}

void SimSelectionGestures::click(ui::Point where, int button) {
    press(where, button);
    release(where, button);
}

void SimSelectionGestures::primaryOwnerChanged() {
    if (listener_) listener_->primaryOwnerChanged();
}

void SimSelectionGestures::move(ui::Point where) {
    if (tracking_ && listener_) listener_->pointerMoved(where);
}

void SimSelectionGestures::key() {
    if (tracking_ && listener_) listener_->keyPressed();
}

}  // namespace kernova::sim
