#include "ui/label.h"

namespace kernova::ui {

Label::Label(Rect frame) : View(frame) {
    setUserInteractionEnabled(false);
}

Size Label::textSize(const TextMeasurer& measurer) const {
    return measurer.boundingSize(text_, font_);
}

void Label::setText(std::string value) {
    if (value == text_) return;
    text_ = std::move(value);
    setNeedsDisplay();
}

void Label::setFont(Font value) {
    if (value == font_) return;
    font_ = std::move(value);
    setNeedsDisplay();
}

void Label::setTextColor(Color value) {
    if (value == textColor_) return;
    textColor_ = value;
    setNeedsDisplay();
}

void Label::setTextAlignment(TextAlignment value) {
    if (value == alignment_) return;
    alignment_ = value;
    setNeedsDisplay();
}

void Label::setNumberOfLines(int value) {
    if (value == numberOfLines_) return;
    numberOfLines_ = value;
    setNeedsDisplay();
}

void TextField::setText(std::string value) {
    if (value == text_) return;
    text_ = std::move(value);
    setNeedsDisplay();
}

void TextField::setPlaceholder(std::string value) {
    if (value == placeholder_) return;
    placeholder_ = std::move(value);
    setNeedsDisplay();
}

void TextField::setFont(Font value) {
    if (value == font_) return;
    font_ = std::move(value);
    setNeedsDisplay();
}

void TextField::setTextColor(Color value) {
    if (value == textColor_) return;
    textColor_ = value;
    setNeedsDisplay();
}

void TextField::setSecureTextEntry(bool value) {
    if (value == secure_) return;
    secure_ = value;
    setNeedsDisplay();
}

bool TextField::endEditing(bool force) {
    (void)force;
    resignFirstResponder();
    return View::endEditing(force);
}

}  // namespace kernova::ui
