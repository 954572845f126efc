#include "ui/label.h"

namespace kernova::ui {

Label::Label(Rect frame) : View(frame) {
    setUserInteractionEnabled(false);
}

Size Label::textSize(const TextMeasurer& measurer) const {
    return measurer.boundingSize(text_, font_);
}

bool TextField::endEditing(bool force) {
    (void)force;
    resignFirstResponder();
    return View::endEditing(force);
}

}  // namespace kernova::ui
