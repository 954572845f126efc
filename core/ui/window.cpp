#include "ui/window.h"

#include "ui/application.h"

namespace kernova::ui {

Window::Window(Application& application, Rect frame) : View(frame), application_(application) {
    View::setHidden(true);
    application_.registerWindow(*this);
}

Window::~Window() {
    application_.unregisterWindow(*this);
}

void Window::setWindowLevel(double level) {
    if (level == level_) return;
    level_ = level;
    markNeedsDisplay();
    // The stacking of shown windows changed.
    if (!isHidden()) application_.requestDisplay();
}

void Window::markNeedsDisplay() {
    if (needsDisplay_) return;
    needsDisplay_ = true;
    if (!isHidden()) application_.requestDisplay();
}

void Window::setHidden(bool hidden) {
    if (hidden == isHidden()) return;
    View::setHidden(hidden);
    application_.windowVisibilityChanged(*this);
}

void Window::makeKeyAndVisible() {
    makeKeyWindow();
    setHidden(false);
}

void Window::makeKeyWindow() {
    if (passesTouchesThrough_) return;
    application_.makeKey(this);
}

bool Window::isContentHit(const View* view) const {
    if (!view || view == this) return false;
    return !(root_ && root_->isViewLoaded() && root_->view().get() == view);
}

bool Window::isKeyWindow() const {
    return application_.keyWindow() == this;
}

void Window::setRootViewController(std::shared_ptr<ViewController> controller) {
    if (root_ && root_->isViewLoaded() && root_->view()->superview() == this) {
        root_->view()->removeFromSuperview();
    }
    root_ = std::move(controller);
    if (!root_) return;
    const auto& view = root_->view();
    view->setFrame(bounds());
    addSubview(view);
}

void Window::rotateToOrientation(Orientation orientation, bool updateStatusBar, double duration,
                                 bool skipCallbacks) {
    (void)updateStatusBar, (void)duration, (void)skipCallbacks;
    orientation_ = orientation;
    setNeedsLayout();
}

bool Window::handleKey(const KeyEvent& event) {
    return keyHandler_ && keyHandler_(event);
}

void Window::layoutSubviews() {
    if (root_ && root_->isViewLoaded() && root_->view()->superview() == this) {
        root_->view()->setFrame(bounds());
    }
}

ViewController::~ViewController() = default;

const std::shared_ptr<View>& ViewController::view() {
    if (!view_) {
        loadView();
        if (!view_) view_ = std::make_shared<View>();
        viewDidLoad();
    }
    return view_;
}

void ViewController::loadView() {
    view_ = std::make_shared<View>();
}

Window* ViewController::window() const {
    if (view_) {
        if (Window* w = view_->window()) return w;
    }
    return presenting_ ? presenting_->window() : nullptr;
}

void ViewController::presentViewController(std::shared_ptr<ViewController> controller,
                                           bool animated, std::function<void()> completion) {
    (void)animated;
    Window* w = window();
    if (!controller || presented_ || !w || controller->presenting_) return;
    presented_ = controller;
    controller->presenting_ = this;
    Application& app = w->application();
    app.platform().presenter.present(controller, w);
    if (completion) app.runLoop().post(std::move(completion));
}

void ViewController::dismissViewControllerAnimated(bool animated,
                                                   std::function<void()> completion) {
    (void)animated;
    ViewController* owner = presented_ ? this : presenting_;
    if (!owner || !owner->presented_) return;
    Window* w = owner->window();
    // Anything the dismissed controller presents goes with it.
    auto dismissed = owner->presented_;
    if (dismissed->presented_) dismissed->dismissViewControllerAnimated(false);
    owner->presented_.reset();
    dismissed->presenting_ = nullptr;
    if (!w) return;
    Application& app = w->application();
    app.platform().presenter.dismiss(*dismissed);
    if (completion) app.runLoop().post(std::move(completion));
}

}  // namespace kernova::ui
