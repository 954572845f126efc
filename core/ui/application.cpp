#include "ui/application.h"

#include <algorithm>

#include "ui/alert.h"
#include "ui/scroll_view.h"
#include "ui/touch_dispatch.h"

namespace kernova::ui {

Application::Application(Context& context, const Platform& platform, std::string bundleIdentifier)
    : context_(context),
      platform_(platform),
      bundleIdentifier_(std::move(bundleIdentifier)),
      animator_(context.runLoop()),
      touches_(std::make_unique<TouchDispatch>(*this)) {}

Application::~Application() {
    context_.runLoop().cancelAll(this);
    touches_.reset();
    shown_.clear();
}

std::vector<Window*> Application::ordered(bool includeInternal, bool onlyVisible) const {
    std::vector<Window*> list;
    for (Window* window : registered_) {
        if (!includeInternal && window->isInternal()) continue;
        if (onlyVisible && window->isHidden()) continue;
        list.push_back(window);
    }
    std::stable_sort(list.begin(), list.end(), [](const Window* a, const Window* b) {
        if (a->windowLevel() != b->windowLevel()) return a->windowLevel() < b->windowLevel();
        return a->showOrder() < b->showOrder();
    });
    return list;
}

std::vector<Window*> Application::windows() const {
    return ordered(false, true);
}

std::vector<Window*> Application::allWindowsIncludingInternalWindows(bool onlyVisible) const {
    return ordered(true, onlyVisible);
}

void Application::setFrontmostApplication(std::string identifier, Orientation orientation) {
    frontmostId_ = std::move(identifier);
    frontmostOrientation_ = orientation;
}

void Application::registerWindow(Window& window) {
    registered_.push_back(&window);
}

void Application::unregisterWindow(Window& window) {
    registered_.erase(std::remove(registered_.begin(), registered_.end(), &window),
                      registered_.end());
    if (keyWindow_ == &window) keyWindow_ = nullptr;
}

void Application::windowVisibilityChanged(Window& window) {
    if (!window.isHidden()) {
        window.showOrder_ = nextShowOrder_++;
        auto keep = std::static_pointer_cast<Window>(window.weak_from_this().lock());
        bool known = std::any_of(shown_.begin(), shown_.end(),
                                 [&](const auto& w) { return w.get() == &window; });
        if (keep && !known) shown_.push_back(keep);
        scheduleLayout();
        requestDisplay();
        return;
    }
    requestDisplay();
    if (keyWindow_ == &window) {
        // The key passes to the topmost window still shown.
        keyWindow_ = nullptr;
        auto visible = ordered(false, true);
        if (!visible.empty()) keyWindow_ = visible.back();
    }
    auto it = std::find_if(shown_.begin(), shown_.end(),
                           [&](const auto& w) { return w.get() == &window; });
    if (it != shown_.end()) {
        auto keep = std::move(*it);  // released after the list is consistent
        shown_.erase(it);
    }
}

void Application::makeKey(Window* window) {
    if (window == keyWindow_) return;
    keyWindow_ = window;
    requestDisplay();
}

void Application::scheduleLayout() {
    if (layoutScheduled_) return;
    layoutScheduled_ = true;
    context_.runLoop().after(0, this, [this] {
        layoutScheduled_ = false;
        layoutIfNeeded();
    });
}

void Application::layoutIfNeeded() {
    for (Window* window : ordered(true, true))
        window->layoutIfNeeded();
}

void Application::handleTouch(const TouchEvent& event) {
    layoutIfNeeded();
    Touch touch;
    touch.id = event.id;
    touch.phase = event.phase;
    touch.screenLocation = event.location;
    touch.timestamp = event.timestamp;
    touches_->handle(touch);
}

void Application::handleScroll(const ScrollEvent& event) {
    layoutIfNeeded();
    auto visible = ordered(true, true);
    for (auto it = visible.rbegin(); it != visible.rend(); ++it) {
        View* hit = (*it)->hitTest((*it)->convertPointFromScreen(event.location));
        if (!hit) continue;
        for (View* v = hit; v; v = v->superview()) {
            auto* scroll = dynamic_cast<ScrollView*>(v);
            if (scroll && scroll->isScrollEnabled() && scroll->scrollBy(event.dx, event.dy)) {
                return;
            }
        }
        return;
    }
}

static AlertController* presentedAlert(Window* window) {
    if (!window || !window->rootViewController()) return nullptr;
    ViewController* top = window->rootViewController().get();
    while (top->presentedViewController())
        top = top->presentedViewController();
    return dynamic_cast<AlertController*>(top);
}

bool Application::handleKey(const KeyEvent& event) {
    layoutIfNeeded();
    Window* window = keyWindow_;
    if (!window) return false;
    if (event.key == Key::escape) {
        if (AlertController* alert = presentedAlert(window)) {
            auto cancel = alert->cancelActionIndex();
            return cancel && alert->tapAction(*cancel);
        }
    }
    return window->handleKey(event);
}

}  // namespace kernova::ui
