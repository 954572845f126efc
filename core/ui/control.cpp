#include "ui/control.h"

#include "ui/image_view.h"

namespace kernova::ui {

void Control::addTarget(Action action, std::uint32_t events) {
    if (action && events) targets_.emplace_back(events, std::move(action));
}

void Control::sendActionsForControlEvents(std::uint32_t events) {
    auto targets = targets_;  // an action may change the targets
    for (auto& [mask, action] : targets) {
        if ((mask & events) != 0) action(*this);
    }
}

std::uint32_t Control::state() const {
    std::uint32_t s = kControlStateNormal;
    if (highlighted_) s |= kControlStateHighlighted;
    if (!enabled_) s |= kControlStateDisabled;
    if (selected_) s |= kControlStateSelected;
    return s;
}

bool Control::withinReach(const Touch& touch) const {
    Point p = touch.locationInView(this);
    Rect reach = bounds().insetBy(EdgeInsets{-kTouchSlop, -kTouchSlop, -kTouchSlop, -kTouchSlop});
    return reach.contains(p);
}

void Control::touchesBegan(const Touch& touch) {
    if (!enabled_) {
        View::touchesBegan(touch);
        return;
    }
    if (tracking_) return;
    tracking_ = true;
    trackedTouch_ = touch.id;
    setHighlighted(true);
    sendActionsForControlEvents(kControlEventTouchDown);
}

void Control::touchesMoved(const Touch& touch) {
    if (!tracking_ || touch.id != trackedTouch_) return;
    bool inside = withinReach(touch);
    if (inside != highlighted_) setHighlighted(inside);
    sendActionsForControlEvents(inside ? kControlEventTouchDragInside
                                       : kControlEventTouchDragOutside);
}

void Control::touchesEnded(const Touch& touch) {
    if (!tracking_ || touch.id != trackedTouch_) return;
    tracking_ = false;
    setHighlighted(false);
    sendActionsForControlEvents(withinReach(touch) ? kControlEventTouchUpInside
                                                   : kControlEventTouchUpOutside);
}

void Control::touchesCancelled(const Touch& touch) {
    if (!tracking_ || touch.id != trackedTouch_) return;
    tracking_ = false;
    setHighlighted(false);
    sendActionsForControlEvents(kControlEventTouchCancel);
}

void Control::setEnabled(bool value) {
    if (value == enabled_) return;
    enabled_ = value;
    setNeedsDisplay();
}

void Control::setHighlighted(bool value) {
    if (value == highlighted_) return;
    highlighted_ = value;
    setNeedsDisplay();
}

void Control::setSelected(bool value) {
    if (value == selected_) return;
    selected_ = value;
    setNeedsDisplay();
}

Button::Button(Rect frame, ButtonType type)
    : Control(frame),
      type_(type),
      titleLabel_(std::make_shared<Label>()),
      imageView_(std::make_shared<ImageView>()) {
    titleLabel_->setTextAlignment(TextAlignment::center);
    titleLabel_->setFont(Font::systemFont(type == ButtonType::system ? 15 : 18));
    addSubview(imageView_);
    addSubview(titleLabel_);
    refresh();
}

std::shared_ptr<Button> Button::buttonWithType(ButtonType type) {
    return std::make_shared<Button>(Rect{}, type);
}

template <class Map, class Value>
static void store(Map& map, std::uint32_t state, Value value, bool present) {
    if (present)
        map[state] = std::move(value);
    else
        map.erase(state);
}

void Button::setTitle(std::optional<std::string> title, std::uint32_t state) {
    store(titles_, state, title.value_or(""), title.has_value());
    refresh();
}

void Button::setTitleColor(std::optional<Color> color, std::uint32_t state) {
    store(titleColors_, state, color.value_or(Color{}), color.has_value());
    refresh();
}

void Button::setImage(std::shared_ptr<const Image> image, std::uint32_t state) {
    bool present = image != nullptr;
    store(images_, state, std::move(image), present);
    refresh();
}

void Button::setBackgroundImage(std::shared_ptr<const Image> image, std::uint32_t state) {
    bool present = image != nullptr;
    store(backgroundImages_, state, std::move(image), present);
    refresh();
}

template <class Map>
static auto lookup(const Map& map, std::uint32_t state)
    -> std::optional<typename Map::mapped_type> {
    auto it = map.find(state);
    if (it == map.end()) return std::nullopt;
    return it->second;
}

template <class Map>
static auto current(const Map& map, std::uint32_t state)
    -> std::optional<typename Map::mapped_type> {
    if (auto v = lookup(map, state)) return v;
    return lookup(map, kControlStateNormal);
}

std::optional<std::string> Button::titleForState(std::uint32_t state) const {
    return lookup(titles_, state);
}
std::optional<Color> Button::titleColorForState(std::uint32_t state) const {
    return lookup(titleColors_, state);
}
std::shared_ptr<const Image> Button::imageForState(std::uint32_t state) const {
    return lookup(images_, state).value_or(nullptr);
}
std::shared_ptr<const Image> Button::backgroundImageForState(std::uint32_t state) const {
    return lookup(backgroundImages_, state).value_or(nullptr);
}
std::optional<std::string> Button::currentTitle() const {
    return current(titles_, state());
}
Color Button::currentTitleColor() const {
    Color fallback = type_ == ButtonType::system ? Color{0, 122 / 255.0, 1, 1} : Color::white(1);
    return current(titleColors_, state()).value_or(fallback);
}
std::shared_ptr<const Image> Button::currentImage() const {
    return current(images_, state()).value_or(nullptr);
}
std::shared_ptr<const Image> Button::currentBackgroundImage() const {
    return current(backgroundImages_, state()).value_or(nullptr);
}

void Button::setHighlighted(bool highlighted) {
    Control::setHighlighted(highlighted);
    refresh();
}

void Button::refresh() {
    titleLabel_->setText(currentTitle().value_or(""));
    titleLabel_->setTextColor(currentTitleColor());
    imageView_->setImage(currentImage());
    // The background image is the button's own content.
    setNeedsDisplay();
    setNeedsLayout();
}

std::string Button::accessibilityLabel() const {
    if (!toolTip().empty()) return toolTip();
    return currentTitle().value_or("");
}

bool Button::accessibilityActivate() {
    if (!isEnabled()) return false;
    sendActionsForControlEvents(kControlEventTouchUpInside);
    return true;
}

void Button::layoutSubviews() {
    // Image and title side by side, centred; each fits the bounds.
    Rect b = bounds();
    Size image = imageView_->image() ? imageView_->image()->size() : Size{};
    image.width = std::min(image.width, b.width());
    image.height = std::min(image.height, b.height());
    double titleWidth = titleLabel_->text().empty() ? 0 : b.width() - image.width;
    double x = b.origin.x + (b.width() - image.width - titleWidth) / 2;
    imageView_->setFrame(
        Rect(x, b.origin.y + (b.height() - image.height) / 2, image.width, image.height));
    titleLabel_->setFrame(Rect(x + image.width, b.origin.y, titleWidth, b.height()));
}

}  // namespace kernova::ui
