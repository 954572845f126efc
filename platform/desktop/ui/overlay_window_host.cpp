#include "desktop/ui/overlay_window_host.h"

#include <QGuiApplication>
#include <QRegion>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <cmath>

#include "desktop/ui/qt_convert.h"
#include "desktop/ui/screen_behind.h"
#include "desktop/ui/tree_fingerprint.h"

namespace kernova::desktop {

namespace {

QRect screenGeometry() {
    QScreen* screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry() : QRect(0, 0, 800, 600);
}

// Shown, and with every ancestor shown and not faded out.
bool appearsOnScreen(const ui::View& view) {
    for (const ui::View* v = &view; v; v = v->superview()) {
        if (v->isHidden() || v->alpha() < 0.01) return false;
    }
    return true;
}

}  // namespace

OverlayWindowHost::OverlayWindowHost(ui::Application& application,
                                     std::shared_ptr<WebViewRegistry> webViews)
    : application_(application), webViews_(std::move(webViews)) {}

OverlayWindowHost::~OverlayWindowHost() {
    stop();
    removeStale({}, true);
}

void OverlayWindowHost::start() {
    if (!timer_) {
        timer_ = std::make_unique<QTimer>();
        timer_->setSingleShot(true);
        timer_->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer_.get(), &QTimer::timeout, [this] { tick(); });
    }
    timer_->start(0);
}

void OverlayWindowHost::stop() {
    timer_.reset();
}

void OverlayWindowHost::requestSync() {
    if (timer_) timer_->start(0);
}

void OverlayWindowHost::tick() {
    sync();
    if (timer_) timer_->start(animating_ ? frameInterval() : kIdlePollMilliseconds);
}

int OverlayWindowHost::frameInterval() const {
    QScreen* screen = QGuiApplication::primaryScreen();
    double rate = screen ? screen->refreshRate() : 60.0;
    if (!(rate >= 1.0) || !std::isfinite(rate)) rate = 60.0;
    return std::max(1, static_cast<int>(std::lround(1000.0 / rate)));
}

void OverlayWindowHost::sync() {
    application_.layoutIfNeeded();
    std::vector<ui::Window*> visible = application_.windows();
    removeStale(visible);
    QRect screen = screenGeometry();
    for (ui::Window* window : visible) {
        Entry& entry = entryFor(*window);
        if (entry.widget) configure(entry, screen);
    }
    restack(visible);
    focusKeyWindow();
    repaintChanged();
    placeWebViews();
}

void OverlayWindowHost::removeStale(const std::vector<ui::Window*>& visible, bool now) {
    auto stale = [&](const Entry& entry) {
        auto window = entry.widget ? entry.widget->window() : nullptr;
        return window.get() != entry.window ||
               std::find(visible.begin(), visible.end(), entry.window) == visible.end();
    };
    for (Entry& entry : entries_) {
        if (!stale(entry) || !entry.widget) continue;
        if (webViews_) {
            for (QtWebViewBacking* backing : webViews_->backings()) {
                backing->detachFrom(entry.widget.get());
            }
        }
        entry.widget->hide();
        // Input handlers of the widget may still be on the stack.
        if (now) {
            entry.widget.reset();
        } else {
            entry.widget.release()->deleteLater();
        }
    }
    std::erase_if(entries_, [](const Entry& entry) { return !entry.widget; });
    std::erase_if(stacking_, [&](ui::Window* w) {
        return std::none_of(entries_.begin(), entries_.end(),
                            [w](const Entry& entry) { return entry.window == w; });
    });
    if (std::find(stacking_.begin(), stacking_.end(), focused_) == stacking_.end()) {
        focused_ = nullptr;
    }
}

OverlayWindowHost::Entry& OverlayWindowHost::entryFor(ui::Window& window) {
    for (Entry& entry : entries_) {
        if (entry.window == &window) return entry;
    }
    Entry entry{&window, nullptr};
    if (auto shared = std::static_pointer_cast<ui::Window>(window.weak_from_this().lock())) {
        entry.widget = std::make_unique<OverlayWidget>(application_, shared);
        entry.widget->setInputHandler([this] { requestSync(); });
        // Taken before the overlay appears, so that it shows what is beneath.
        if (!windowsAreComposited()) entry.widget->setBackdrop(grabScreen(screenGeometry()));
    }
    entries_.push_back(std::move(entry));
    return entries_.back();
}

void OverlayWindowHost::configure(Entry& entry, const QRect& screen) {
    OverlayWidget& widget = *entry.widget;
    if (widget.geometry() != screen) widget.setGeometry(screen);
    widget.setScreenOrigin(QPointF(0, 0));
    // Input outside a window that does not cover the screen goes to whatever
    // lies below the overlay.
    QRect frame = toQt(entry.window->frame()).toAlignedRect();
    QRect local(QPoint(0, 0), screen.size());
    if (frame.contains(local)) {
        if (!widget.mask().isEmpty()) widget.clearMask();
    } else if (widget.mask() != QRegion(frame & local)) {
        widget.setMask(QRegion(frame & local));
    }
    if (!widget.isVisible()) widget.show();
}

void OverlayWindowHost::restack(const std::vector<ui::Window*>& visible) {
    if (visible == stacking_) return;
    for (ui::Window* window : visible) {
        if (OverlayWidget* widget = widgetFor(*window)) widget->raise();
    }
    stacking_ = visible;
}

void OverlayWindowHost::focusKeyWindow() {
    ui::Window* key = application_.keyWindow();
    if (key == focused_) return;
    OverlayWidget* widget = key ? widgetFor(*key) : nullptr;
    focused_ = widget ? key : nullptr;
    if (!widget) return;
    widget->activateWindow();
    widget->setFocus(Qt::ActiveWindowFocusReason);
}

void OverlayWindowHost::repaintChanged() {
    bool moving = application_.isAnimating();
    for (Entry& entry : entries_) {
        OverlayWidget& widget = *entry.widget;
        std::uint64_t fingerprint = treeFingerprint(*entry.window);
        bool changed = fingerprint != widget.paintedFingerprint();
        if (changed || moving || widget.needsAnimationFrames()) widget.update();
        widget.setPaintedFingerprint(fingerprint);
        moving = moving || widget.needsAnimationFrames();
    }
    animating_ = moving;
}

void OverlayWindowHost::placeWebViews() {
    if (!webViews_) return;
    for (QtWebViewBacking* backing : webViews_->backings()) {
        ui::WebView& view = backing->view();
        ui::Window* window = view.window();
        OverlayWidget* widget = window ? widgetFor(*window) : nullptr;
        ui::Rect bounds = view.bounds();
        ui::Point origin = view.convertPointToScreen(bounds.origin);
        QRect rect = QRectF(origin.x, origin.y, bounds.width(), bounds.height()).toAlignedRect();
        backing->place(widget, rect, appearsOnScreen(view));
    }
}

OverlayWidget* OverlayWindowHost::widgetFor(const ui::Window& window) const {
    for (const Entry& entry : entries_) {
        if (entry.window == &window) return entry.widget.get();
    }
    return nullptr;
}

}  // namespace kernova::desktop
