#include "ui/view.h"

#include <algorithm>

#include "ui/animation.h"
#include "ui/application.h"
#include "ui/gestures.h"
#include "ui/window.h"

namespace kernova::ui {

Point Touch::locationInView(const View* view) const {
    return view ? view->convertPointFromScreen(screenLocation) : screenLocation;
}

View::View(Rect frame) : frame_(frame) {}

View::~View() {
    for (auto& subview : subviews_)
        if (subview) subview->superview_ = nullptr;
    for (auto& recognizer : recognizers_)
        recognizer->view_ = nullptr;
}

void View::setFrame(const Rect& frame) {
    if (frame == frame_) return;
    AnimatableValue from = frame_;
    bool resized = !(frame.size == frame_.size);
    frame_ = frame;
    Animator::noteChange(*this, AnimatableProperty::frame, from);
    setNeedsDisplay();
    if (resized) setNeedsLayout();
}

void View::setBounds(const Rect& bounds) {
    if (bounds == this->bounds()) return;
    AnimatableValue from = this->bounds();
    Point c = center();
    bool resized = !(bounds.size == frame_.size);
    boundsOrigin_ = bounds.origin;
    frame_ = Rect(c.x - bounds.size.width / 2, c.y - bounds.size.height / 2, bounds.size.width,
                  bounds.size.height);
    Animator::noteChange(*this, AnimatableProperty::bounds, from);
    setNeedsDisplay();
    if (resized) setNeedsLayout();
}

void View::setCenter(Point center) {
    setFrame(Rect(center.x - frame_.size.width / 2, center.y - frame_.size.height / 2,
                  frame_.size.width, frame_.size.height));
}

void View::setAlpha(double alpha) {
    alpha = std::clamp(alpha, 0.0, 1.0);
    if (alpha == alpha_) return;
    AnimatableValue from = alpha_;
    alpha_ = alpha;
    Animator::noteChange(*this, AnimatableProperty::alpha, from);
    setNeedsDisplay();
}

void View::setHidden(bool hidden) {
    if (hidden == hidden_) return;
    hidden_ = hidden;
    setNeedsDisplay();
}

void View::setBackgroundColor(std::optional<Color> color) {
    if (color == backgroundColor_) return;
    AnimatableValue from = backgroundColor_.value_or(Color::clear());
    backgroundColor_ = color;
    Animator::noteChange(*this, AnimatableProperty::backgroundColor, from);
    setNeedsDisplay();
}

void View::setCornerRadius(double radius) {
    if (radius == cornerRadius_) return;
    cornerRadius_ = radius;
    setNeedsDisplay();
}

void View::setClipsToBounds(bool clips) {
    if (clips == clipsToBounds_) return;
    clipsToBounds_ = clips;
    setNeedsDisplay();
}

void View::setBorderWidth(double width) {
    if (width == borderWidth_) return;
    borderWidth_ = width;
    setNeedsDisplay();
}

void View::setBorderColor(Color color) {
    if (color == borderColor_) return;
    borderColor_ = color;
    setNeedsDisplay();
}

void View::setNeedsDisplay() {
    if (Window* w = window()) w->markNeedsDisplay();
}

Window* View::window() const {
    const View* root = this;
    while (root->superview_)
        root = root->superview_;
    return dynamic_cast<Window*>(const_cast<View*>(root));
}

void View::compactSubviews() const {
    if (holes_ == 0) return;
    std::erase(subviews_, nullptr);
    holes_ = 0;
    renumberSubviews(0);
}

void View::renumberSubviews(std::size_t from) const {
    for (std::size_t i = from; i < subviews_.size(); ++i)
        subviews_[i]->slot_ = i;
}

void View::detachSubview(View* view) {
    const std::size_t slot = view->slot_;
    if (slot < subviews_.size() && subviews_[slot].get() == view) {
        subviews_[slot].reset();
        ++holes_;
        while (!subviews_.empty() && !subviews_.back()) {
            subviews_.pop_back();
            --holes_;
        }
        if (holes_ > subviews_.size() / 2) compactSubviews();
        return;
    }
    compactSubviews();
    auto it = std::find_if(subviews_.begin(), subviews_.end(),
                           [view](const auto& s) { return s.get() == view; });
    if (it == subviews_.end()) return;
    const auto from = static_cast<std::size_t>(it - subviews_.begin());
    subviews_.erase(it);
    renumberSubviews(from);
}

void View::insertSubview(const std::shared_ptr<View>& view, std::size_t index) {
    if (!view || view.get() == this || isDescendantOfView(view.get())) return;
    std::shared_ptr<View> keep = view;  // the old superview may hold the last reference
    Window* oldWindow = view->window();
    if (view->superview_) view->superview_->detachSubview(view.get());
    if (index < subviews_.size()) compactSubviews();  // an append keeps the holes
    index = std::min(index, subviews_.size());
    subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(index), keep);
    renumberSubviews(index);
    view->superview_ = this;
    view->didMoveToSuperview();
    if (oldWindow != view->window()) view->notifyMovedToWindow();
    if (oldWindow) oldWindow->markNeedsDisplay();
    setNeedsDisplay();
    view->setNeedsLayout();
}

void View::addSubview(const std::shared_ptr<View>& view) {
    insertSubview(view, subviews_.size());
}

static std::size_t indexOf(const std::vector<std::shared_ptr<View>>& list, const View* view) {
    auto it =
        std::find_if(list.begin(), list.end(), [view](const auto& s) { return s.get() == view; });
    return static_cast<std::size_t>(it - list.begin());
}

void View::insertSubviewAbove(const std::shared_ptr<View>& view, const View* sibling) {
    if (view.get() == sibling) return;
    if (view && view->superview_ == this) detachSubview(view.get());
    compactSubviews();
    std::size_t i = indexOf(subviews_, sibling);
    insertSubview(view, i < subviews_.size() ? i + 1 : subviews_.size());
}

void View::insertSubviewBelow(const std::shared_ptr<View>& view, const View* sibling) {
    if (view.get() == sibling) return;
    if (view && view->superview_ == this) detachSubview(view.get());
    compactSubviews();
    std::size_t i = indexOf(subviews_, sibling);
    insertSubview(view, i < subviews_.size() ? i : 0);
}

void View::bringSubviewToFront(const View* view) {
    compactSubviews();
    std::size_t i = indexOf(subviews_, view);
    if (i >= subviews_.size()) return;
    auto keep = subviews_[i];
    subviews_.erase(subviews_.begin() + static_cast<std::ptrdiff_t>(i));
    subviews_.push_back(keep);
    renumberSubviews(i);
    setNeedsDisplay();
}

void View::sendSubviewToBack(const View* view) {
    compactSubviews();
    std::size_t i = indexOf(subviews_, view);
    if (i >= subviews_.size()) return;
    auto keep = subviews_[i];
    subviews_.erase(subviews_.begin() + static_cast<std::ptrdiff_t>(i));
    subviews_.insert(subviews_.begin(), keep);
    renumberSubviews(0);
    setNeedsDisplay();
}

void View::removeFromSuperview() {
    View* parent = superview_;
    if (!parent) return;
    std::shared_ptr<View> keep = shared_from_this();
    Window* oldWindow = window();
    parent->detachSubview(this);
    superview_ = nullptr;
    didMoveToSuperview();
    if (oldWindow) {
        notifyMovedToWindow();
        oldWindow->markNeedsDisplay();
    }
}

void View::notifyMovedToWindow() {
    didMoveToWindow();
    for (auto& subview : std::vector<std::shared_ptr<View>>(subviews())) {
        subview->notifyMovedToWindow();
    }
}

bool View::isDescendantOfView(const View* view) const {
    for (const View* v = this; v; v = v->superview_) {
        if (v == view) return true;
    }
    return false;
}

View* View::viewWithTag(std::int64_t tag) {
    if (tag_ == tag) return this;
    for (auto& subview : subviews()) {
        if (View* found = subview->viewWithTag(tag)) return found;
    }
    return nullptr;
}

void View::setNeedsLayout() {
    needsLayout_ = true;
    if (Window* w = window()) w->application().scheduleLayout();
}

void View::layoutIfNeeded() {
    if (needsLayout_) {
        needsLayout_ = false;
        layoutSubviews();
    }
    // Copied: layout may add or remove subviews.
    for (auto& subview : std::vector<std::shared_ptr<View>>(subviews()))
        subview->layoutIfNeeded();
}

Point View::convertPointToScreen(Point point) const {
    for (const View* v = this; v; v = v->superview_) {
        point.x += v->frame_.origin.x - v->boundsOrigin_.x;
        point.y += v->frame_.origin.y - v->boundsOrigin_.y;
    }
    return point;
}

Point View::convertPointFromScreen(Point point) const {
    Point origin = convertPointToScreen(Point{});
    return Point{point.x - origin.x, point.y - origin.y};
}

Point View::convertPointToView(Point point, const View* view) const {
    Point screen = convertPointToScreen(point);
    return view ? view->convertPointFromScreen(screen) : screen;
}

Point View::convertPointFromView(Point point, const View* view) const {
    Point screen = view ? view->convertPointToScreen(point) : point;
    return convertPointFromScreen(screen);
}

Rect View::convertRectToView(const Rect& rect, const View* view) const {
    return Rect(convertPointToView(rect.origin, view), rect.size);
}

bool View::pointInside(Point point) const {
    return bounds().contains(point);
}

View* View::hitTest(Point point) {
    if (hidden_ || !userInteractionEnabled_ || alpha_ < 0.01) return nullptr;
    if (!pointInside(point)) return nullptr;
    compactSubviews();
    for (auto it = subviews_.rbegin(); it != subviews_.rend(); ++it) {
        View& sub = **it;
        Point local{point.x - sub.frame_.origin.x + sub.boundsOrigin_.x,
                    point.y - sub.frame_.origin.y + sub.boundsOrigin_.y};
        if (View* hit = sub.hitTest(local)) return hit;
    }
    return this;
}

void View::addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer) {
    if (!recognizer) return;
    if (recognizer->view_ && recognizer->view_ != this) {
        recognizer->view_->removeGestureRecognizer(recognizer.get());
    }
    if (recognizer->view_ == this) return;
    recognizer->view_ = this;
    recognizers_.push_back(recognizer);
}

void View::removeGestureRecognizer(const GestureRecognizer* recognizer) {
    auto it = std::find_if(recognizers_.begin(), recognizers_.end(),
                           [recognizer](const auto& r) { return r.get() == recognizer; });
    if (it == recognizers_.end()) return;
    (*it)->view_ = nullptr;
    recognizers_.erase(it);
}

void View::touchesBegan(const Touch& touch) {
    if (superview_) superview_->touchesBegan(touch);
}
void View::touchesMoved(const Touch& touch) {
    if (superview_) superview_->touchesMoved(touch);
}
void View::touchesEnded(const Touch& touch) {
    if (superview_) superview_->touchesEnded(touch);
}
void View::touchesCancelled(const Touch& touch) {
    if (superview_) superview_->touchesCancelled(touch);
}

bool View::endEditing(bool force) {
    bool done = true;
    for (auto& subview : subviews())
        done = subview->endEditing(force) && done;
    return done;
}

AnimatableValue View::modelValue(AnimatableProperty property) const {
    switch (property) {
        case AnimatableProperty::frame:
            return frame_;
        case AnimatableProperty::bounds:
            return bounds();
        case AnimatableProperty::alpha:
            return alpha_;
        case AnimatableProperty::backgroundColor:
            return backgroundColor_.value_or(Color::clear());
    }
    return alpha_;
}

AnimatableValue View::presentationValue(AnimatableProperty property, double time) const {
    // The latest transition of the property wins; before its delay has passed
    // it shows its start value.
    for (auto it = transitions_.rbegin(); it != transitions_.rend(); ++it) {
        if (it->property != property || time >= it->endTime()) continue;
        double begin = it->startTime + it->delay;
        double t = it->duration > 0 ? (time - begin) / it->duration : 1.0;
        t = std::clamp(t, 0.0, 1.0);
        return interpolate(it->from, it->to, animationCurveValue(it->curve, t));
    }
    return modelValue(property);
}

}  // namespace kernova::ui
