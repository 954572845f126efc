#include "ui/image_view.h"

#include <algorithm>

namespace kernova::ui {

ImageView::ImageView(Rect frame) : View(frame) {
    setUserInteractionEnabled(false);
}

ImageView::ImageView(std::shared_ptr<const Image> image) : View(), image_(std::move(image)) {
    setUserInteractionEnabled(false);
    if (image_) setFrame(Rect(Point{}, image_->size()));
}

Rect ImageView::imageRect() const {
    Rect b = bounds();
    if (!image_) return b;
    Size s = image_->size();
    if (s.width <= 0 || s.height <= 0) return b;
    double fx = b.width() / s.width;
    double fy = b.height() / s.height;
    double f = 1;
    switch (contentMode_) {
        case ContentMode::scaleToFill:
        case ContentMode::redraw:
            return b;
        case ContentMode::scaleAspectFit:
            f = std::min(fx, fy);
            break;
        case ContentMode::scaleAspectFill:
            f = std::max(fx, fy);
            break;
        case ContentMode::center:
            f = 1;
            break;
    }
    double w = s.width * f, h = s.height * f;
    return Rect(b.midX() - w / 2, b.midY() - h / 2, w, h);
}

VisualEffectView::VisualEffectView(std::optional<BlurEffectStyle> effect, Rect frame)
    : View(frame),
      effect_(effect),
      contentView_(std::make_shared<View>(Rect(Point{}, frame.size))) {
    addSubview(contentView_);
}

void VisualEffectView::layoutSubviews() {
    contentView_->setFrame(bounds());
}

ActivityIndicatorView::ActivityIndicatorView(ActivityIndicatorStyle style)
    : View(Rect(0, 0, style == ActivityIndicatorStyle::whiteLarge ? 37 : 20,
                style == ActivityIndicatorStyle::whiteLarge ? 37 : 20)),
      style_(style) {
    setHidden(true);
}

void ImageView::setImage(std::shared_ptr<const Image> value) {
    if (value == image_) return;
    image_ = std::move(value);
    setNeedsDisplay();
}

void ImageView::setContentMode(ContentMode value) {
    if (value == contentMode_) return;
    contentMode_ = value;
    setNeedsDisplay();
}

void VisualEffectView::setEffect(std::optional<BlurEffectStyle> value) {
    if (value == effect_) return;
    effect_ = value;
    setNeedsDisplay();
}

void ActivityIndicatorView::setStyle(ActivityIndicatorStyle value) {
    if (value == style_) return;
    style_ = value;
    setNeedsDisplay();
}

void ActivityIndicatorView::setHidesWhenStopped(bool hides) {
    hidesWhenStopped_ = hides;
    if (!animating_) setHidden(hides);
}

void ActivityIndicatorView::startAnimating() {
    animating_ = true;
    setNeedsDisplay();
    setHidden(false);
}

void ActivityIndicatorView::stopAnimating() {
    animating_ = false;
    setNeedsDisplay();
    if (hidesWhenStopped_) setHidden(true);
}

}  // namespace kernova::ui
