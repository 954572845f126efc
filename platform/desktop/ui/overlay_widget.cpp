#include "desktop/ui/overlay_widget.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QTouchEvent>
#include <QWheelEvent>

#include "desktop/ui/qt_convert.h"
#include "desktop/ui/window_flags.h"

namespace kernova::desktop {

OverlayWidget::OverlayWidget(ui::Application& application,
                             const std::shared_ptr<ui::Window>& window)
    : QWidget(nullptr, overlayWindowFlags()), application_(application), window_(window) {
    applyOverlayAttributes(*this);
}

void OverlayWidget::paintEvent(QPaintEvent* event) {
    (void)event;
    auto window = window_.lock();
    QPainter target(this);
    target.setCompositionMode(QPainter::CompositionMode_Source);
    // Painted off screen first so that blur views can read what lies beneath
    // them; the canvas is kept between paintings (a full-screen image is
    // several megabytes) and goes with the widget.
    double scale = devicePixelRatioF();
    if (canvas_.isNull() || canvasFor_ != size() || canvasScale_ != scale) {
        canvas_ = makeCanvas(ui::Size{double(width()), double(height())}, scale);
        canvasFor_ = size();
        canvasScale_ = scale;
    } else {
        canvas_.fill(Qt::transparent);
    }
    QImage& canvas = canvas_;
    if (!backdrop_.isNull()) {
        QPainter painter(&canvas);
        painter.drawImage(QRectF(0, 0, width(), height()), backdrop_);
    }
    if (window) {
        QPainter painter(&canvas);
        painter.translate(-screenOrigin_);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        painter_.paintWindow(painter, *window, application_.runLoop().now());
    }
    target.drawImage(QPointF(0, 0), canvas);
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
    if (!mouseDown_) return;
    touch(kMouseTouchId, ui::TouchPhase::moved, event->position());
}

void OverlayWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !mouseDown_) return;
    mouseDown_ = false;
    touch(kMouseTouchId, ui::TouchPhase::ended, event->position());
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

std::optional<ui::KeyEvent> toKeyEvent(int qtKey, const QString& text) {
    switch (qtKey) {
        case Qt::Key_Escape:
            return ui::KeyEvent{ui::Key::escape, {}};
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return ui::KeyEvent{ui::Key::enter, {}};
        case Qt::Key_Tab:
            return ui::KeyEvent{ui::Key::tab, {}};
        case Qt::Key_Backspace:
            return ui::KeyEvent{ui::Key::backspace, {}};
        default:
            break;
    }
    if (text.isEmpty() || !text.at(0).isPrint()) return std::nullopt;
    return ui::KeyEvent{ui::Key::other, fromQString(text)};
}

void OverlayWidget::keyPressEvent(QKeyEvent* event) {
    auto key = toKeyEvent(event->key(), event->text());
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

bool OverlayWidget::event(QEvent* event) {
    switch (event->type()) {
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::TouchCancel:
            return handleTouchEvent(event);
        default:
            return QWidget::event(event);
    }
}

}  // namespace kernova::desktop
