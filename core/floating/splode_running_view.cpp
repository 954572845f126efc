#include "floating/splode_running_view.h"

#include "ui/animation.h"
#include "ui/application.h"

namespace kernova {
namespace {

constexpr const char* kHideRunning = "fun.quorle.hiderunning";

}  // namespace

std::shared_ptr<GSplodeRunningView> GSplodeRunningView::init(ui::Application& application,
                                                             const ui::Rect& screen) {
    ui::Rect frame(screen.origin.x + (screen.size.width - kSize) / 2, screen.origin.y + kTopMargin,
                   kSize, kSize);
    return std::make_shared<GSplodeRunningView>(application, frame);
}

GSplodeRunningView::GSplodeRunningView(ui::Application& application, const ui::Rect& frame)
    : ui::ImageView(ui::Rect(0, 0, frame.size.width, frame.size.height)),
      application_(application),
      screenFrame_(frame) {
    setContentMode(ui::ContentMode::scaleAspectFit);
    const Context& context = application.context();
    setImage(application.platform().imageCodec.imageWithContentsOfFile(context.paths().bundle /
                                                                       kImageName));
}

GSplodeRunningView::~GSplodeRunningView() {
    application_.context().notifications().removeObservers(this);
    application_.runLoop().cancelAll(this);
}

void GSplodeRunningView::show() {
    setAlpha(1.0);
    addToKeyWindow();
    application_.context().notifications().addObserver(kHideRunning, this,
                                                       [this](const Notification&) { hide(); });
    application_.runLoop().cancel(timer_);
    timer_ = application_.runLoop().every(kBlinkSeconds, this, [this] { blink(); });
}

void GSplodeRunningView::hide() {
    application_.context().notifications().removeObservers(this);
    // The blink stops with the indicator: nothing runs once it is gone.
    application_.runLoop().cancel(timer_);
    timer_ = 0;
    removeFromKeyWindow();
}

void GSplodeRunningView::blink() {
    application_.animator().animate(kBlinkSeconds, 0, ui::kAnimationOptionCurveLinear,
                                    [this] { setAlpha(alpha() == 1.0 ? 0.2 : 1.0); });
}

bool GSplodeRunningView::isShown() const {
    auto window = window_.lock();
    return window && !window->isHidden() && superview() == window.get();
}

void GSplodeRunningView::addToKeyWindow() {
    std::shared_ptr<GSplodeWindow> window = window_.lock();
    if (!window) {
        window = GSplodeWindow::initWithFrame(application_, screenFrame_);
        window->setPassesTouchesThrough(true);
        window_ = window;
    }
    window->addSubview(shared_from_this());
    window->setHidden(false);
}

void GSplodeRunningView::removeFromKeyWindow() {
    // The application holds the shown window and the window holds the
    // indicator: hiding the window lets both go once nothing else keeps them.
    auto self = shared_from_this();
    std::shared_ptr<GSplodeWindow> window = window_.lock();
    window_.reset();
    if (superview()) removeFromSuperview();
    if (window) window->setHidden(true);
}

}  // namespace kernova
