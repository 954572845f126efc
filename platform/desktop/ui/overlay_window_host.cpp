#include "desktop/ui/overlay_window_host.h"

#include <xcb/xcb.h>

#include <QDialog>
#include <QGuiApplication>
#include <QRegion>
#include <QScreen>
#include <QTimer>
#include <QWindow>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "desktop/ui/presenter.h"
#include "desktop/ui/qt_convert.h"
#include "desktop/ui/screen_behind.h"
#include "desktop/ui/window_flags.h"

namespace kernova::desktop {

namespace {

// Gives the memory of a closed overlay (its full-screen backing store, the
// screen copy beneath it, painting canvases) back to the system: the allocator
// would otherwise keep the freed pages for the next board.
void releaseFreedMemory() {
#if defined(__GLIBC__)
    ::malloc_trim(0);
#endif
}

xcb_connection_t* x11Connection() {
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) return nullptr;
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

// The child of the root window that holds `window`: the window manager's
// frame around a managed window, or the window itself.
xcb_window_t topLevelOf(xcb_connection_t* connection, xcb_window_t window) {
    for (int depth = 0; depth < 8; ++depth) {
        xcb_query_tree_reply_t* tree =
            xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr);
        if (!tree) return XCB_NONE;
        const xcb_window_t parent = tree->parent;
        const xcb_window_t root = tree->root;
        std::free(tree);
        if (parent == root || parent == XCB_NONE) return window;
        window = parent;
    }
    return XCB_NONE;
}

// Shown, and with every ancestor shown and not faded out.
bool appearsOnScreen(const ui::View& view) {
    for (const ui::View* v = &view; v; v = v->superview()) {
        if (v->isHidden() || v->alpha() < 0.01) return false;
    }
    return true;
}

// Where a window's overlay goes: its frame in desktop coordinates, whole pixels.
QRect overlayGeometry(const ui::Window& window) {
    return toQt(window.frame()).toAlignedRect();
}

}  // namespace

QRegion contentRegion(const ui::Window& window) {
    std::vector<const ui::View*> content;
    const ui::View* rootView = nullptr;
    if (const auto& root = window.rootViewController(); root && root->isViewLoaded()) {
        rootView = root->view().get();
        if (rootView->superview() != &window) rootView = nullptr;
    }
    for (const auto& view : window.subviews()) {
        if (view && view.get() != rootView) content.push_back(view.get());
    }
    if (rootView) {
        for (const auto& view : rootView->subviews()) {
            if (view) content.push_back(view.get());
        }
    }
    const QPointF origin = QPointF(overlayGeometry(window).topLeft());
    QRegion region;
    for (const ui::View* view : content) {
        if (!appearsOnScreen(*view)) continue;
        QRectF frame = toQt(view->convertRectToView(view->bounds(), nullptr));
        region += frame.translated(-origin).toAlignedRect();
    }
    return region;
}

OverlayWindowHost::OverlayWindowHost(ui::Application& application,
                                     std::shared_ptr<WebViewRegistry> webViews,
                                     QtPresenter* presenter)
    : application_(application), webViews_(std::move(webViews)), presenter_(presenter) {}

OverlayWindowHost::~OverlayWindowHost() {
    stop();
    removeStale({}, true);
    spare_.reset();
}

void OverlayWindowHost::start() {
    if (!timer_) {
        timer_ = std::make_unique<QTimer>();
        timer_->setSingleShot(true);
        timer_->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer_.get(), &QTimer::timeout, [this] { tick(); });
    }
    application_.setDisplayHandler([this] { requestSync(); });
    if (presenter_) {
        presenter_->setChangeHandler([this] { requestSync(); });
        presenter_->setHidingHandler([this] { handKeyboardBack(); });
    }
    if (!exposeWatch_) {
        // A managed dialog is framed by the window manager as it maps: the
        // overlays go beneath its frame once it shows.
        exposeWatch_ = std::make_unique<EventWatch>(QEvent::Expose, [this] {
            restackPending_ = true;
            requestSync();
        });
    }
    timer_->start(0);
}

void OverlayWindowHost::stop() {
    application_.setDisplayHandler({});
    if (presenter_) {
        presenter_->setChangeHandler({});
        presenter_->setHidingHandler({});
    }
    timer_.reset();
}

bool OverlayWindowHost::hasFrameScheduled() const {
    return timer_ && timer_->isActive();
}

void OverlayWindowHost::requestSync() {
    // A frame already due, or the sync under way, takes the change with it.
    if (timer_ && !timer_->isActive() && !syncing_) timer_->start(0);
}

void OverlayWindowHost::requestAnimationFrame() {
    if (timer_ && !timer_->isActive()) timer_->start(frameInterval());
}

void OverlayWindowHost::tick() {
    sync();
    if (animating_) requestAnimationFrame();
}

int OverlayWindowHost::frameInterval() const {
    QScreen* screen = QGuiApplication::primaryScreen();
    double rate = screen ? screen->refreshRate() : 60.0;
    if (!(rate >= 1.0) || !std::isfinite(rate)) rate = 60.0;
    return std::max(1, static_cast<int>(std::lround(1000.0 / rate)));
}

void OverlayWindowHost::sync() {
    syncing_ = true;
    application_.layoutIfNeeded();
    std::vector<ui::Window*> visible = application_.windows();
    removeStale(visible);
    for (ui::Window* window : visible) {
        Entry& entry = entryFor(*window);
        if (entry.widget) configure(entry);
    }
    bool raised = restack(visible);
    const bool activated = focusKeyWindow();
    raised = raiseDialogs(raised) || raised;
    // The window manager may have put a managed window above the others
    // (raised, activated, or a dialog framed): the unmanaged ones go above
    // it again, or beneath a managed dialog.
    if (std::exchange(restackPending_, false) || raised || activated) raiseUnmanaged();
    repaintChanged();
    syncing_ = false;
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
        entry.widget->releaseImages();
        entry.widget->setWindow(nullptr);
        auto area = [](const QWidget& widget) {
            return qint64(widget.width()) * qint64(widget.height());
        };
        if (!now && (!spare_ || area(*spare_) < area(*entry.widget))) {
            std::swap(spare_, entry.widget);
            QTimer::singleShot(0, [] { releaseFreedMemory(); });
        }
        if (!entry.widget) continue;
        // Input handlers of the widget may still be on the stack.
        if (now) {
            entry.widget.reset();
            releaseFreedMemory();
        } else {
            OverlayWidget* widget = entry.widget.release();
            QObject::connect(widget, &QObject::destroyed,
                             [] { QTimer::singleShot(0, [] { releaseFreedMemory(); }); });
            widget->deleteLater();
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
        // Where no compositor runs, only the colours of the overlay's pixels
        // show: an opaque window paints them with no alpha to keep.
        const bool composited = windowsAreComposited();
        const Qt::WindowFlags kind = Qt::WindowDoesNotAcceptFocus | Qt::X11BypassWindowManagerHint;
        const Qt::WindowFlags flags = overlayWindowFlags(window.passesTouchesThrough()) & kind;
        if (spare_ && spare_->isOpaque() == !composited &&
            (spare_->windowFlags() & kind) == flags) {
            entry.widget = std::move(spare_);
            entry.widget->setWindow(shared);
        } else {
            entry.widget = std::make_unique<OverlayWidget>(application_, shared, composited);
        }
        // A painting that shows motion (a spinner) asks for the next frame.
        OverlayWidget* widget = entry.widget.get();
        // A window that presents a dialog leaves the keyboard to it, even when
        // the window manager activates the window's overlay after the dialog.
        entry.widget->setActivatedHandler([this, widget] {
            if (!presenter_) return;
            const std::shared_ptr<ui::Window> shown = widget->window();
            const std::vector<QtPresenter::ShownDialog> dialogs = presenter_->shownDialogs();
            for (auto it = dialogs.rbegin(); it != dialogs.rend(); ++it) {
                if (it->window != shown.get() ||
                    it->dialog->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus))
                    continue;
                it->dialog->activateWindow();
                return;
            }
        });
        entry.widget->setPaintedHandler([this, widget] {
            if (widget->needsAnimationFrames()) requestAnimationFrame();
            if (!paintedObserver_) return;
            if (auto painted = widget->window()) paintedObserver_(*painted);
        });
        // An opaque window hides whatever lies beneath it.
        const std::optional<ui::Color> background = window.backgroundColor();
        entry.grabsScreen = !composited && !(background && background->alpha >= 1.0);
    }
    entries_.push_back(std::move(entry));
    return entries_.back();
}

void OverlayWindowHost::configure(Entry& entry) {
    OverlayWidget& widget = *entry.widget;
    const ui::Window& window = *entry.window;
    const QRect geometry = overlayGeometry(window);
    if (geometry.isEmpty()) {
        if (widget.isVisible()) widget.hide();
        return;
    }
    // A window that passes touches through never takes the keyboard focus
    // (changing the flags hides the widget; it is shown again below, and
    // stacked anew).
    const bool passes = window.passesTouchesThrough();
    const Qt::WindowFlags toggled = Qt::WindowDoesNotAcceptFocus | Qt::X11BypassWindowManagerHint;
    const Qt::WindowFlags wanted = overlayWindowFlags(passes) & toggled;
    if ((widget.windowFlags() & toggled) != wanted) {
        widget.setWindowFlags((widget.windowFlags() & ~toggled) | wanted);
        stacking_.clear();
    }
    // On the monitor that shows most of the window, with that monitor's scale.
    QScreen* screen = screenShowing(geometry);
    if (screen && widget.screen() != screen) widget.setScreen(screen);
    if (widget.geometry() != geometry) widget.setGeometry(geometry);
    widget.setScreenOrigin(QPointF(geometry.topLeft()));
    // Clicks outside the content of a pass-through window go to what lies beneath.
    widget.setInputRegion(passes ? std::optional<QRegion>(contentRegion(window)) : std::nullopt);
    if (!widget.isVisible()) {
        if (std::exchange(entry.grabsScreen, false)) {
            // The screen beneath, asked for once the native window exists
            // (Qt waits on the X server while it makes one) and before it is
            // mapped: the whole monitor, so that the window may move on it.
            // The server copies it while the overlay is mapped.
            widget.winId();
            if (screen) {
                QRect monitor = screen->geometry();
                widget.setBackdrop(std::make_unique<ScreenGrab>(monitor),
                                   QPointF(monitor.topLeft()));
            }
        }
        widget.show();
        // The window manager maps it while the first frame is painted.
        flushDisplay();
    }
}

bool OverlayWindowHost::restack(const std::vector<ui::Window*>& visible) {
    if (visible == stacking_) return false;
    // Overlays already in order at the bottom stay where they are; each one
    // from the first that is new or out of order up is raised, back to front.
    std::size_t inPlace = 0;
    for (ui::Window* window : stacking_) {
        if (inPlace < visible.size() && visible[inPlace] == window)
            ++inPlace;
        else if (std::find(visible.begin(), visible.end(), window) != visible.end())
            break;
    }
    bool raised = false;
    for (std::size_t i = inPlace; i < visible.size(); ++i) {
        if (OverlayWidget* widget = widgetFor(*visible[i])) {
            widget->raise();
            raised = true;
        }
    }
    stacking_ = visible;
    return raised;
}

bool OverlayWindowHost::raiseDialogs(bool overlaysRaised) {
    if (!presenter_) return false;
    std::vector<QtPresenter::ShownDialog> shown = presenter_->shownDialogs();
    std::vector<QDialog*> dialogs;
    for (const auto& entry : shown)
        dialogs.push_back(entry.dialog);
    if (!overlaysRaised && dialogs == raisedDialogs_) return false;
    for (const auto& entry : shown) {
        // The window may be gone: it is only compared, never used.
        OverlayWidget* overlay = nullptr;
        for (const Entry& shownEntry : entries_) {
            if (shownEntry.window == entry.window) overlay = shownEntry.widget.get();
        }
        QWindow* handle = entry.dialog->windowHandle();
        if (overlay && handle && overlay->windowHandle()) {
            // Window managers that honour it keep the dialog above its overlay.
            handle->setTransientParent(overlay->windowHandle());
        }
        entry.dialog->raise();
    }
    raisedDialogs_ = std::move(dialogs);
    // The newest dialog that takes the keys gets them (the key window's
    // overlay had them); those of pass-through windows never do.
    for (auto it = raisedDialogs_.rbegin(); it != raisedDialogs_.rend(); ++it) {
        if ((*it)->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus)) continue;
        (*it)->activateWindow();
        break;
    }
    return true;
}

void OverlayWindowHost::raiseUnmanaged() {
    // The overlays above the topmost managed one, back to front.
    std::size_t first = stacking_.size();
    while (first > 0) {
        OverlayWidget* widget = widgetFor(*stacking_[first - 1]);
        if (widget && widget->isVisible() && !bypassesWindowManager(*widget)) break;
        --first;
    }
    // Beneath the frame of the oldest managed dialog, if one shows: the
    // window manager stacks it below every unmanaged window.
    xcb_connection_t* connection = x11Connection();
    xcb_window_t frame = XCB_NONE;
    for (QDialog* dialog : raisedDialogs_) {
        if (!connection || !dialog->isVisible() || bypassesWindowManager(*dialog)) continue;
        if (QWindow* handle = dialog->windowHandle()) {
            handle->installEventFilter(exposeWatch_.get());
            frame = topLevelOf(connection, static_cast<xcb_window_t>(dialog->winId()));
        }
        break;
    }
    for (std::size_t i = first; i < stacking_.size(); ++i) {
        OverlayWidget* widget = widgetFor(*stacking_[i]);
        if (!widget || !widget->isVisible()) continue;
        if (frame == XCB_NONE) {
            widget->raise();
            continue;
        }
        // Each directly beneath the frame, so above the one before.
        const std::uint32_t values[] = {frame, XCB_STACK_MODE_BELOW};
        xcb_configure_window(connection, static_cast<xcb_window_t>(widget->winId()),
                             XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, values);
    }
    if (frame != XCB_NONE) xcb_flush(connection);
    // Then the unmanaged dialogs, oldest first: above every overlay.
    for (QDialog* dialog : raisedDialogs_) {
        if (dialog->isVisible() && bypassesWindowManager(*dialog)) dialog->raise();
    }
}

void OverlayWindowHost::handKeyboardBack() {
    // Only when no other dialog that takes the keys stays: the one going
    // has them now, and the window manager would hand them to another
    // program's window as it goes, never to an unmanaged overlay.
    if (!presenter_) return;
    int takingKeys = 0;
    for (const QtPresenter::ShownDialog& shown : presenter_->shownDialogs()) {
        if (!shown.dialog->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus)) ++takingKeys;
    }
    OverlayWidget* key = focused_ ? widgetFor(*focused_) : nullptr;
    if (takingKeys > 1 || !key || !key->isVisible() || !bypassesWindowManager(*key)) return;
    key->activateWindow();
}

bool OverlayWindowHost::focusKeyWindow() {
    ui::Window* key = application_.keyWindow();
    if (key == focused_) return false;
    OverlayWidget* widget = key && !key->passesTouchesThrough() ? widgetFor(*key) : nullptr;
    focused_ = widget ? key : nullptr;
    if (!widget) return false;
    widget->activateWindow();
    widget->setFocus(Qt::ActiveWindowFocusReason);
    return true;
}

void OverlayWindowHost::repaintChanged() {
    bool moving = application_.isAnimating();
    for (Entry& entry : entries_) {
        OverlayWidget& widget = *entry.widget;
        if (entry.window->needsDisplay() || moving || widget.needsAnimationFrames()) {
            widget.redraw(entry.window->needsDisplay());
        }
        moving = moving || widget.needsAnimationFrames();
    }
    for (ui::Window* window : application_.allWindowsIncludingInternalWindows(true)) {
        window->clearNeedsDisplay();
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
        // In the overlay's own coordinates.
        QPointF offset = widget ? widget->screenOrigin() : QPointF();
        QRect rect =
            QRectF(origin.x - offset.x(), origin.y - offset.y(), bounds.width(), bounds.height())
                .toAlignedRect();
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
