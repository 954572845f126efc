#include "desktop/ui/painter.h"

#include <QPainterPath>
#include <cmath>
#include <variant>

#include "desktop/ui/qt_convert.h"
#include "ui/application.h"
#include "ui/control.h"
#include "ui/image_view.h"
#include "ui/label.h"

namespace kernova::desktop {

namespace {

template <class T>
T presentation(const ui::View& view, ui::AnimatableProperty property, double time) {
    ui::AnimatableValue value = view.presentationValue(property, time);
    if (const T* v = std::get_if<T>(&value)) return *v;
    return std::get<T>(view.modelValue(property));
}

bool transitionRunning(const ui::View& view, double time) {
    for (const ui::Transition& t : view.transitions()) {
        if (time < t.endTime()) return true;
    }
    return false;
}

QPainterPath outline(const QRectF& rect, double radius) {
    QPainterPath path;
    if (radius > 0 && std::isfinite(radius)) {
        double r = std::min({radius, rect.width() / 2, rect.height() / 2});
        path.addRoundedRect(rect, r, r);
    } else {
        path.addRect(rect);
    }
    return path;
}

}  // namespace

// A view's layer as it shows at the painting time, in its bounds coordinates.
struct Painter::Layer {
    QRectF rect;
    QPainterPath shape;
    double alpha = 1;
};

void Painter::paintWindow(QPainter& painter, ui::Window& window, double time) {
    moving_ = false;
    painted_ = false;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    // The window itself is painted even when hidden: whoever asks decides.
    paintView(painter, window, time, 1.0, true);
    painter.restore();
    images_.prune();
}

void Painter::paintView(QPainter& painter, ui::View& view, double time, double parentAlpha,
                        bool root) {
    if (view.isHidden() && !root) return;
    if (transitionRunning(view, time)) moving_ = true;
    auto frame = toQt(presentation<ui::Rect>(view, ui::AnimatableProperty::frame, time));
    auto bounds = toQt(presentation<ui::Rect>(view, ui::AnimatableProperty::bounds, time));
    double alpha = presentation<double>(view, ui::AnimatableProperty::alpha, time);
    alpha = std::isfinite(alpha) ? std::clamp(alpha, 0.0, 1.0) * parentAlpha : 0.0;
    if (alpha <= 0.001) return;

    painter.save();
    // The bounds origin is the scroll offset: content and subviews shift by it.
    painter.translate(frame.topLeft() - bounds.topLeft());
    Layer layer{QRectF(bounds.topLeft(), frame.size()), {}, alpha};
    layer.shape = outline(layer.rect, view.cornerRadius());
    painter.setOpacity(alpha);

    ui::Color background =
        presentation<ui::Color>(view, ui::AnimatableProperty::backgroundColor, time);
    if (background.alpha > 0) {
        painter.fillPath(layer.shape, toQColor(background));
        painted_ = true;
    }
    if (view.clipsToBounds()) painter.setClipPath(layer.shape, Qt::IntersectClip);
    paintContent(painter, view, layer, time);
    for (const auto& subview : view.subviews()) {
        if (subview) paintView(painter, *subview, time, alpha);
    }
    // The border lies over the content, inside the bounds, as the layer draws it.
    double border = view.borderWidth();
    if (border > 0 && std::isfinite(border)) {
        painter.setOpacity(alpha);
        painter.setClipping(false);
        QRectF inner = layer.rect.adjusted(border / 2, border / 2, -border / 2, -border / 2);
        QPen pen(toQColor(view.borderColor()), border);
        pen.setJoinStyle(Qt::MiterJoin);
        painter.strokePath(outline(inner, view.cornerRadius() - border / 2), pen);
        painted_ = true;
    }
    painter.restore();
}

void Painter::paintContent(QPainter& painter, ui::View& view, const Layer& layer, double time) {
    // Plain views paint nothing here; the kinds below count as painted.
    if (auto* label = dynamic_cast<ui::Label*>(&view)) {
        paintLabel(painter, *label, layer.rect);
        painted_ = true;
    } else if (auto* imageView = dynamic_cast<ui::ImageView*>(&view)) {
        paintImage(painter, images_, imageView->image(), toQt(imageView->imageRect()));
        painted_ = true;
    } else if (auto* button = dynamic_cast<ui::Button*>(&view)) {
        paintImage(painter, images_, button->currentBackgroundImage(), layer.rect);
        painted_ = true;
    } else if (auto* field = dynamic_cast<ui::TextField*>(&view)) {
        paintTextField(painter, *field, layer.rect);
        painted_ = true;
    } else if (auto* blur = dynamic_cast<ui::VisualEffectView*>(&view)) {
        blurs_.setCanvasUntouched(!painted_);
        if (paintBlur(painter, blurs_, blur->effect(), layer.shape)) moving_ = true;
        painted_ = true;
    } else if (auto* spinner = dynamic_cast<ui::ActivityIndicatorView*>(&view)) {
        paintActivityIndicator(painter, *spinner, layer.rect, time);
        painted_ = true;
        if (spinner->isAnimating()) moving_ = true;
    }
}

QImage Painter::renderWindow(ui::Window& window, ui::Size size, double scale) {
    window.application().layoutIfNeeded();
    QImage image = makeCanvas(size, scale);
    QPainter painter(&image);
    ui::Point origin = window.frame().origin;
    painter.translate(-origin.x, -origin.y);
    paintWindow(painter, window, window.application().runLoop().now());
    painter.end();
    return image;
}

QImage renderWindow(ui::Window& window, ui::Size size, double scale) {
    Painter painter;
    return painter.renderWindow(window, size, scale);
}

}  // namespace kernova::desktop
