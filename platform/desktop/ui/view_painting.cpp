#include "desktop/ui/view_painting.h"

#include <QFontMetricsF>
#include <QPainterPath>
#include <QTextLayout>
#include <QtMath>
#include <algorithm>
#include <cmath>

#include "desktop/ui/qt_convert.h"
#include "desktop/ui/qt_image_codec.h"
#include "desktop/ui/qt_text_measurer.h"

namespace kernova::desktop {

const QImage& ImageCache::get(const std::shared_ptr<const ui::Image>& image) {
    Entry& entry = entries_[image.get()];
    if (entry.image.lock() != image) entry = Entry{image, toQImage(*image)};
    return entry.pixels;
}

void ImageCache::prune() {
    std::erase_if(entries_, [](const auto& item) { return item.second.image.expired(); });
}

void paintImage(QPainter& painter, ImageCache& cache, const std::shared_ptr<const ui::Image>& image,
                const QRectF& target) {
    if (!image || target.isEmpty()) return;
    if (image->pixels()) {
        const QImage& pixels = cache.get(image);
        if (pixels.isNull()) return;
        painter.save();
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(target, pixels, QRectF(QPointF(0, 0), QSizeF(pixels.size())));
        painter.restore();
        return;
    }
    strokePaths(painter, *image, target);
}

namespace {

Qt::Alignment horizontalAlignment(ui::TextAlignment alignment) {
    switch (alignment) {
        case ui::TextAlignment::center:
            return Qt::AlignHCenter;
        case ui::TextAlignment::right:
            return Qt::AlignRight;
        case ui::TextAlignment::justified:
            return Qt::AlignJustify;
        case ui::TextAlignment::left:
            return Qt::AlignLeft;
        case ui::TextAlignment::natural:
            break;
    }
    return Qt::AlignLeading;
}

double deviceDpi(const QPainter& painter) {
    const QPaintDevice* device = painter.device();
    return device ? device->logicalDpiY() : kCanvasDpi;
}

// Lines laid out in `rect` (vertically centred, as labels place text) and drawn.
void drawLines(QPainter& painter, const QString& text, const QFont& font, Qt::Alignment alignment,
               const QRectF& rect, int maxLines) {
    QTextLayout layout(text, font, painter.device());
    QTextOption option;
    option.setAlignment(alignment);
    layout.setTextOption(option);
    QSizeF size = layOutLines(layout, rect.width(), maxLines);
    double y = rect.top() + (rect.height() - size.height()) / 2;
    layout.draw(&painter, QPointF(rect.left(), y));
}

// A single line of `text` (its first line), cut with an ellipsis to `width`.
QString singleLine(const QString& text, const QFont& font, QPaintDevice* device, double width) {
    QString line = text.section(QChar::LineSeparator, 0, 0);
    QFontMetricsF metrics(font, device);
    if (metrics.horizontalAdvance(line) <= width + 0.01) return line;
    return metrics.elidedText(line, Qt::ElideRight, width);
}

}  // namespace

void paintLabel(QPainter& painter, const ui::Label& label, const QRectF& rect) {
    if (label.text().empty() || rect.isEmpty()) return;
    QFont font = toQFont(label.font(), deviceDpi(painter));
    QString text = withLineSeparators(toQString(label.text()));
    int lines = std::max(label.numberOfLines(), 0);
    if (lines == 1) text = singleLine(text, font, painter.device(), rect.width());
    painter.setPen(toQColor(label.textColor()));
    drawLines(painter, text, font, horizontalAlignment(label.textAlignment()), rect, lines);
}

void paintTextField(QPainter& painter, const ui::TextField& field, const QRectF& rect) {
    bool placeholder = field.text().empty();
    QString text = toQString(placeholder ? field.placeholder() : field.text());
    if (text.isEmpty() || rect.isEmpty()) return;
    if (!placeholder && field.isSecureTextEntry()) text = QString(text.size(), QChar(0x2022));
    QFont font = toQFont(field.font(), deviceDpi(painter));
    text = singleLine(withLineSeparators(text), font, painter.device(), rect.width());
    ui::Color color = placeholder ? ui::Color::white(0.7) : field.textColor();
    painter.setPen(toQColor(color));
    drawLines(painter, text, font, Qt::AlignLeading, rect, 1);
}

namespace {

// The tint each blur style lays over its backdrop.
ui::Color blurTint(ui::BlurEffectStyle style) {
    switch (style) {
        case ui::BlurEffectStyle::extraLight:
        case ui::BlurEffectStyle::prominent:
            return ui::Color::white(0.97, 0.82);
        case ui::BlurEffectStyle::light:
        case ui::BlurEffectStyle::regular:
            return ui::Color::white(0.97, 0.7);
        case ui::BlurEffectStyle::dark:
            return ui::Color::white(0.11, 0.73);
        case ui::BlurEffectStyle::extraDark:
            return ui::Color::white(0.08, 0.85);
    }
    return ui::Color::white(0.97, 0.7);
}

// A cheap blur of `area` of `canvas`: down to an eighth and back up, both
// smoothly, read in place.
QImage blurredArea(const QImage& canvas, QRect area) {
    const QImage source(
        canvas.constBits() + area.y() * canvas.bytesPerLine() + area.x() * (canvas.depth() / 8),
        area.width(), area.height(), canvas.bytesPerLine(), canvas.format());
    QSize small(std::max(1, area.width() / 8), std::max(1, area.height() / 8));
    QImage blurred = source.scaled(small, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                         .scaled(area.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    blurred.setDevicePixelRatio(1.0);
    return blurred;
}

// True when it left the backdrop sharp for now.
bool paintBackdrop(QPainter& painter, BlurCache& cache, const QPainterPath& shape) {
    QPaintDevice* device = painter.device();
    if (!device || device->devType() != QInternal::Image) return false;
    auto* canvas = static_cast<QImage*>(device);
    QRect area = painter.deviceTransform().mapRect(shape.boundingRect()).toAlignedRect() &
                 QRect(QPoint(0, 0), canvas->size());
    if (area.isEmpty() || canvas->depth() < 8) return false;
    bool deferred = false;
    QImage backdrop = cache.blurred(*canvas, area, painter.opacity(), &deferred);
    if (backdrop.isNull()) return deferred;
    painter.save();
    painter.setClipPath(shape, Qt::IntersectClip);
    // The clip stays where it was set while drawing in device pixels.
    painter.resetTransform();
    painter.drawImage(area.topLeft(), backdrop);
    painter.restore();
    return false;
}

}  // namespace

void BlurCache::setCanvasGeneration(std::optional<std::uint64_t> generation) {
    if (generation == generation_) return;
    generation_ = generation;
    entries_.clear();
    deferred_.clear();
}

QImage BlurCache::blurred(const QImage& canvas, QRect area, double opacity, bool* deferred) {
    const bool keep = generation_.has_value() && untouched_;
    if (!keep) return blurredArea(canvas, area);
    for (const Entry& entry : entries_) {
        if (entry.area == area) return entry.pixels;
    }
    // A first painting seldom shows a blur at full strength (a fade starts
    // from nothing): it goes out sharp and faint, the blur comes next frame.
    const bool seen = std::find(deferred_.begin(), deferred_.end(), area) != deferred_.end();
    if (!seen && opacity < kFaintOpacity) {
        deferred_.push_back(area);
        *deferred = true;
        return {};
    }
    // A blur view that moves leaves its old places behind.
    if (entries_.size() >= kKeptAreas) entries_.erase(entries_.begin());
    if (deferred_.size() > kKeptAreas) deferred_.erase(deferred_.begin());
    entries_.push_back(Entry{area, blurredArea(canvas, area)});
    return entries_.back().pixels;
}

bool paintBlur(QPainter& painter, BlurCache& cache, std::optional<ui::BlurEffectStyle> style,
               const QPainterPath& shape) {
    if (!style) return false;
    const bool deferred = paintBackdrop(painter, cache, shape);
    painter.fillPath(shape, toQColor(blurTint(*style)));
    return deferred;
}

void paintActivityIndicator(QPainter& painter, const ui::ActivityIndicatorView& view,
                            const QRectF& rect, double time) {
    if (!view.isAnimating() && view.hidesWhenStopped()) return;
    bool large = view.style() == ui::ActivityIndicatorStyle::whiteLarge;
    double radius = std::min({large ? 18.5 : 10.0, rect.width() / 2, rect.height() / 2});
    if (radius <= 0) return;
    QColor color = view.style() == ui::ActivityIndicatorStyle::gray ? QColor(128, 128, 128)
                                                                    : QColor(Qt::white);
    int step = view.isAnimating() && std::isfinite(time)
                   ? static_cast<int>(std::fmod(std::floor(time * 12), 12.0))
                   : 0;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(rect.center());
    for (int i = 0; i < 12; ++i) {
        int age = ((step - i) % 12 + 12) % 12;  // 0 is the spoke at the head
        QColor spoke = color;
        spoke.setAlphaF(static_cast<float>(1.0 - age * 0.07));
        painter.setPen(QPen(spoke, radius * 0.2, Qt::SolidLine, Qt::RoundCap));
        double angle = qDegreesToRadians(i * 30.0 - 90.0);
        QPointF direction(std::cos(angle), std::sin(angle));
        painter.drawLine(direction * radius * 0.5, direction * radius * 0.9);
    }
    painter.restore();
}

}  // namespace kernova::desktop
