#include "desktop/ui/overlay_widget.h"

#include <sys/mman.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QToolTip>
#include <QTouchEvent>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <vector>

#include "desktop/ui/qt_convert.h"
#include "desktop/ui/window_flags.h"

namespace kernova::desktop {

namespace {

xcb_connection_t* x11Connection() {
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) return nullptr;
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

// Sets the input shape of `window` to `region` (logical pixels, scaled to the
// window's device pixels, rounded outwards). False without the extension.
bool setInputShape(xcb_connection_t* connection, xcb_window_t window, const QRegion& region,
                   double scale) {
    const xcb_query_extension_reply_t* shape = xcb_get_extension_data(connection, &xcb_shape_id);
    if (!shape || !shape->present) return false;
    std::vector<xcb_rectangle_t> rects;
    for (const QRect& r : region) {
        auto x0 = static_cast<int>(std::floor(r.x() * scale));
        auto y0 = static_cast<int>(std::floor(r.y() * scale));
        auto x1 = static_cast<int>(std::ceil((r.x() + r.width()) * scale));
        auto y1 = static_cast<int>(std::ceil((r.y() + r.height()) * scale));
        rects.push_back(xcb_rectangle_t{
            static_cast<std::int16_t>(x0), static_cast<std::int16_t>(y0),
            static_cast<std::uint16_t>(x1 - x0), static_cast<std::uint16_t>(y1 - y0)});
    }
    xcb_shape_rectangles(connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                         XCB_CLIP_ORDERING_UNSORTED, window, 0, 0,
                         static_cast<std::uint32_t>(rects.size()), rects.data());
    xcb_flush(connection);
    return true;
}

void unmapCanvas(void* info) {
    auto* mapping = static_cast<std::pair<void*, std::size_t>*>(info);
    ::munmap(mapping->first, mapping->second);
    delete mapping;
}

// A canvas of `size` logical pixels at `scale`, its pixels cleared (transparent,
// or black when opaque). A full-screen canvas is several megabytes: it is
// mapped on its own, in huge pages where the system has them, so that it
// costs a few page faults instead of thousands (on the way to the first
// frame), and goes back to the system as a whole with its image.
QImage makeOverlayCanvas(QSize size, double scale, bool opaque) {
    const QImage::Format format =
        opaque ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied;
    constexpr std::size_t kHugePage = std::size_t(2) << 20;
    const int width = std::clamp(static_cast<int>(std::ceil(size.width() * scale)), 1, 16384);
    const int height = std::clamp(static_cast<int>(std::ceil(size.height() * scale)), 1, 16384);
    const std::size_t bytes = std::size_t(width) * std::size_t(height) * 4;
    QImage image;
    if (bytes >= kHugePage) {
        // Anonymous memory comes cleared; aligned to a huge page.
        const std::size_t length = (bytes + kHugePage - 1) / kHugePage * kHugePage;
        void* mapped = ::mmap(nullptr, length + kHugePage, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapped != MAP_FAILED) {
            auto begin = reinterpret_cast<std::uintptr_t>(mapped);
            const std::uintptr_t aligned = (begin + kHugePage - 1) / kHugePage * kHugePage;
            if (aligned > begin) ::munmap(mapped, aligned - begin);
            const std::size_t tail = kHugePage - (aligned - begin);
            if (tail > 0) ::munmap(reinterpret_cast<void*>(aligned + length), tail);
            auto* memory = reinterpret_cast<uchar*>(aligned);
            ::madvise(memory, length, MADV_HUGEPAGE);
            image = QImage(memory, width, height, qsizetype(width) * 4, format, unmapCanvas,
                           new std::pair<void*, std::size_t>(memory, length));
        }
    }
    if (image.isNull()) {
        image = QImage(width, height, format);
        image.fill(opaque ? Qt::black : Qt::transparent);
    }
    const int dotsPerMeter = static_cast<int>(std::lround(kCanvasDpi / 0.0254));
    image.setDotsPerMeterX(dotsPerMeter);
    image.setDotsPerMeterY(dotsPerMeter);
    image.setDevicePixelRatio(scale);
    return image;
}

}  // namespace

OverlayWidget::OverlayWidget(ui::Application& application,
                             const std::shared_ptr<ui::Window>& window, bool translucent)
    : QWidget(nullptr, overlayWindowFlags(window && window->passesTouchesThrough())),
      application_(application),
      window_(window),
      opaque_(!translucent) {
    applyOverlayAttributes(*this, translucent);
}

void OverlayWidget::setWindow(const std::shared_ptr<ui::Window>& window) {
    window_ = window;
    painter_ = Painter();
    releaseImages();
    screenOrigin_ = {};
    prepared_ = false;
    painted_ = false;
    mouseDown_ = false;
}

void OverlayWidget::releaseImages() {
    setBackdrop(QImage());
    canvas_ = QImage();
    canvasFor_ = {};
    canvasScale_ = 0;
    prepared_ = false;
}

void OverlayWidget::redraw(bool changed) {
    if (!painted_ && !prepared_) {
        // Not on screen yet: the first frame is painted while the window is
        // being mapped, and only copied out when the server exposes it.
        paintCanvas();
        prepared_ = true;
    } else if (changed) {
        prepared_ = false;
    }
    update();
}

void OverlayWidget::paintCanvas() {
    auto window = window_.lock();
    if (pendingBackdrop_) setBackdrop(pendingBackdrop_->take(), backdropOrigin_);
    // Painted off screen first so that blur views can read what lies beneath
    // them; the canvas is kept between paintings (a full-screen image is
    // several megabytes) and goes with the widget.
    double scale = devicePixelRatioF();
    const QRectF backdropRect(backdropOrigin_ - screenOrigin_,
                              QSizeF(backdrop_.size()) / backdrop_.devicePixelRatio());
    if (canvas_.isNull() || canvasFor_ != size() || canvasScale_ != scale ||
        paintedOrigin_ != backdropRect.topLeft()) {
        ++canvasGeneration_;
        paintedOrigin_ = backdropRect.topLeft();
    }
    if (canvas_.isNull() || canvasFor_ != size() || canvasScale_ != scale) {
        canvas_ = makeOverlayCanvas(size(), scale, opaque_);
        canvasFor_ = size();
        canvasScale_ = scale;
    }
    {
        // A backdrop that covers the canvas replaces it in one pass.
        QPainter painter(&canvas_);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        const bool covers =
            !backdrop_.isNull() && backdropRect.contains(QRectF(QPointF(0, 0), QSizeF(size())));
        if (!covers) painter.fillRect(QRectF(QPointF(0, 0), QSizeF(size())), Qt::transparent);
        if (!backdrop_.isNull()) painter.drawImage(backdropRect, backdrop_);
    }
    painter_.setCanvasGeneration(canvasGeneration_);
    if (window) {
        QPainter painter(&canvas_);
        painter.translate(-screenOrigin_);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        painter_.paintWindow(painter, *window, application_.runLoop().now());
    }
}

void OverlayWidget::paintEvent(QPaintEvent* event) {
    (void)event;
    // A window hidden since is about to lose its overlay: the last frame stays.
    auto window = window_.lock();
    const bool leaving = painted_ && (!window || window->isHidden());
    if (!prepared_ && !leaving) paintCanvas();
    prepared_ = false;
    painted_ = true;
    QPainter target(this);
    target.setCompositionMode(QPainter::CompositionMode_Source);
    target.drawImage(QPointF(0, 0), canvas_);
    if (onPainted_) onPainted_();
}

ui::Point OverlayWidget::toScreen(QPointF local) const {
    return fromQt(local + screenOrigin_);
}

void OverlayWidget::touch(ui::TouchId id, ui::TouchPhase phase, QPointF local) {
    ui::TouchEvent event{id, phase, toScreen(local), application_.runLoop().now()};
    application_.handleTouch(event);
}

void OverlayWidget::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || mouseDown_) return;
    mouseDown_ = true;
    touch(kMouseTouchId, ui::TouchPhase::began, event->position());
}

void OverlayWidget::mouseMoveEvent(QMouseEvent* event) {
    // Moves without a button (tracked for tool tips) are no touches.
    if (!mouseDown_) return;
    touch(kMouseTouchId, ui::TouchPhase::moved, event->position());
}

void OverlayWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !mouseDown_) return;
    mouseDown_ = false;
    touch(kMouseTouchId, ui::TouchPhase::ended, event->position());
}

void OverlayWidget::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && onActivated_)
        onActivated_();
}

void OverlayWidget::wheelEvent(QWheelEvent* event) {
    QPointF delta;
    if (!event->pixelDelta().isNull()) {
        // Touchpads report the distance itself.
        delta = QPointF(event->pixelDelta());
    } else {
        delta = QPointF(event->angleDelta()) / 120.0 * kPointsPerWheelStep;
    }
    if (event->inverted()) delta = -delta;
    // Turning the wheel away (positive) moves the content back up.
    ui::ScrollEvent scroll{toScreen(event->position()), -delta.x(), -delta.y()};
    application_.handleScroll(scroll);
    event->accept();
}

std::optional<ui::KeyEvent> toKeyEvent(int qtKey, const QString& text,
                                       Qt::KeyboardModifiers modifiers) {
    const bool control = modifiers.testFlag(Qt::ControlModifier);
    const bool shift = modifiers.testFlag(Qt::ShiftModifier);
    const bool alt = modifiers.testFlag(Qt::AltModifier);
    auto named = [&](ui::Key key) { return ui::KeyEvent{key, {}, control, shift, alt}; };
    switch (qtKey) {
        case Qt::Key_Escape:
            return named(ui::Key::escape);
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return named(ui::Key::enter);
        // Shift+Tab arrives as Backtab.
        case Qt::Key_Tab:
            return named(ui::Key::tab);
        case Qt::Key_Backtab:
            return ui::KeyEvent{ui::Key::tab, {}, control, true};
        case Qt::Key_Backspace:
            return named(ui::Key::backspace);
        case Qt::Key_Left:
            return named(ui::Key::left);
        case Qt::Key_Right:
            return named(ui::Key::right);
        case Qt::Key_Up:
            return named(ui::Key::up);
        case Qt::Key_Down:
            return named(ui::Key::down);
        case Qt::Key_Space:
            if (!control) return named(ui::Key::space);
            break;
        default:
            break;
    }
    if (control) {
        // The keyboard's text is a control character (Ctrl+C gives U+0003):
        // the key itself names the letter.
        if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) {
            return ui::KeyEvent{ui::Key::other, std::string(1, char('a' + (qtKey - Qt::Key_A))),
                                true, shift};
        }
        if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) {
            return ui::KeyEvent{ui::Key::other, std::string(1, char('0' + (qtKey - Qt::Key_0))),
                                true, shift};
        }
    }
    if (text.isEmpty() || !text.at(0).isPrint()) return std::nullopt;
    return ui::KeyEvent{ui::Key::other, fromQString(text), control, shift};
}

void OverlayWidget::keyPressEvent(QKeyEvent* event) {
    auto key = toKeyEvent(event->key(), event->text(), event->modifiers());
    if (!key || !application_.handleKey(*key)) {
        QWidget::keyPressEvent(event);
        return;
    }
    event->accept();
}

bool OverlayWidget::handleTouchEvent(QEvent* event) {
    auto* touchEvent = static_cast<QTouchEvent*>(event);
    for (const QEventPoint& point : touchEvent->points()) {
        ui::TouchPhase phase = ui::TouchPhase::moved;
        switch (point.state()) {
            case QEventPoint::Pressed:
                phase = ui::TouchPhase::began;
                break;
            case QEventPoint::Released:
                phase = event->type() == QEvent::TouchCancel ? ui::TouchPhase::cancelled
                                                             : ui::TouchPhase::ended;
                break;
            case QEventPoint::Stationary:
                continue;
            default:
                if (event->type() == QEvent::TouchCancel) phase = ui::TouchPhase::cancelled;
                break;
        }
        touch(kFirstTouchPointId + point.id(), phase, point.position());
    }
    event->accept();
    return true;
}

std::string toolTipAt(ui::Window& window, ui::Point point, ui::Rect* area) {
    ui::View* hit = window.hitTest(window.convertPointFromScreen(point));
    if (hit && window.passesTouchesThrough() && !window.isContentHit(hit)) hit = nullptr;
    for (ui::View* view = hit; view; view = view->superview()) {
        if (view->toolTip().empty()) continue;
        if (area) *area = view->convertRectToView(view->bounds(), nullptr);
        return view->toolTip();
    }
    return {};
}

void OverlayWidget::showToolTip(QPoint local, QPoint global) {
    auto window = window_.lock();
    ui::Rect area;
    std::string text = window ? toolTipAt(*window, toScreen(local), &area) : std::string();
    if (text.empty()) {
        QToolTip::hideText();
        return;
    }
    // Qt hides the tip once the pointer leaves the view's frame.
    QRect rect = (toQt(area).translated(-screenOrigin_)).toAlignedRect();
    QToolTip::showText(global, toQString(text), this, rect);
}

void OverlayWidget::setInputRegion(std::optional<QRegion> region) {
    if (region == inputRegion_) return;
    inputRegion_ = std::move(region);
    applyInputRegion();
}

void OverlayWidget::applyInputRegion() {
    if (!testAttribute(Qt::WA_WState_Created)) return;  // applied when made
    xcb_connection_t* connection = x11Connection();
    if (!connection) return;
    WId id = internalWinId();
    double scale = devicePixelRatioF();
    if (id == shapedWindow_ && inputRegion_ == appliedRegion_ && scale == appliedScale_) return;
    if (!inputRegion_ && (!appliedRegion_ || id != shapedWindow_)) {
        // A new window takes input everywhere as it is.
        shapedWindow_ = id;
        appliedRegion_.reset();
        return;
    }
    // Unset again: one rectangle over the whole window (the X server's default).
    QRegion region = inputRegion_.value_or(QRegion(QRect(0, 0, 32767, 32767)));
    if (!setInputShape(connection, static_cast<xcb_window_t>(id), region, scale)) return;
    shapedWindow_ = id;
    appliedRegion_ = inputRegion_;
    appliedScale_ = scale;
}

bool OverlayWidget::event(QEvent* event) {
    switch (event->type()) {
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::TouchCancel:
            return handleTouchEvent(event);
        case QEvent::ToolTip: {
            // Sent by Qt once the pointer has rested (its own delay).
            auto* help = static_cast<QHelpEvent*>(event);
            showToolTip(help->pos(), help->globalPos());
            return true;
        }
        case QEvent::Leave:
            QToolTip::hideText();
            return QWidget::event(event);
        case QEvent::Show:
        case QEvent::WinIdChange:
        case QEvent::ScreenChangeInternal: {
            bool handled = QWidget::event(event);
            applyInputRegion();
            return handled;
        }
        default:
            return QWidget::event(event);
    }
}

}  // namespace kernova::desktop
