#include "desktop/ui/qt_image_codec.h"

#include <QBuffer>
#include <QByteArray>
#include <QImageReader>
#include <QImageWriter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <cstring>

#include "desktop/ui/qt_convert.h"

namespace kernova::desktop {

void strokePaths(QPainter& painter, const ui::Image& image, const QRectF& target) {
    ui::Size size = image.size();
    if (size.width <= 0 || size.height <= 0) return;
    double sx = target.width() / size.width;
    double sy = target.height() / size.height;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(target.topLeft());
    painter.scale(sx, sy);
    for (const ui::StrokedPath& stroke : image.paths()) {
        if (stroke.points.empty()) continue;
        QPainterPath path(toQt(stroke.points.front()));
        for (std::size_t i = 1; i < stroke.points.size(); ++i)
            path.lineTo(toQt(stroke.points[i]));
        if (stroke.closed) path.closeSubpath();
        QPen pen(toQColor(stroke.color), stroke.lineWidth, Qt::SolidLine, Qt::RoundCap,
                 Qt::RoundJoin);
        painter.strokePath(path, pen);
    }
    painter.restore();
}

QImage toQImage(const ui::Image& image) {
    double scale = image.scale() > 0 ? image.scale() : 1.0;
    if (const ui::PixelBuffer* pixels = image.pixels()) {
        std::size_t count = static_cast<std::size_t>(std::max(pixels->width, 0)) *
                            static_cast<std::size_t>(std::max(pixels->height, 0));
        if (count == 0 || pixels->argb.size() < count) return {};
        QImage out(pixels->width, pixels->height, QImage::Format_ARGB32_Premultiplied);
        for (int y = 0; y < pixels->height; ++y) {
            const std::uint32_t* row =
                pixels->argb.data() +
                static_cast<std::size_t>(y) * static_cast<std::size_t>(pixels->width);
            std::memcpy(out.scanLine(y), row, static_cast<std::size_t>(pixels->width) * 4);
        }
        out.setDevicePixelRatio(scale);
        return out;
    }
    QImage canvas = makeCanvas(image.size(), scale);
    QPainter painter(&canvas);
    strokePaths(painter, image, QRectF(QPointF(0, 0), toQt(image.size())));
    return canvas;
}

std::shared_ptr<const ui::Image> fromQImage(const QImage& image, double scale) {
    if (image.isNull()) return nullptr;
    QImage argb = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    ui::PixelBuffer pixels;
    pixels.width = argb.width();
    pixels.height = argb.height();
    pixels.argb.resize(static_cast<std::size_t>(pixels.width) *
                       static_cast<std::size_t>(pixels.height));
    for (int y = 0; y < pixels.height; ++y) {
        std::memcpy(pixels.argb.data() +
                        static_cast<std::size_t>(y) * static_cast<std::size_t>(pixels.width),
                    argb.constScanLine(y), static_cast<std::size_t>(pixels.width) * 4);
    }
    return ui::Image::fromPixels(std::move(pixels), scale);
}

std::shared_ptr<const ui::Image> QtImageCodec::decode(const Bytes& bytes) const {
    if (bytes.empty()) return nullptr;
    QByteArray data(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<qsizetype>(bytes.size()));
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    QByteArray format = reader.format();
    if (format != "png" && format != "jpeg" && format != "jpg") return nullptr;
    QSize size = reader.size();
    if (!size.isValid() || size.isEmpty() || size.width() > kMaxDimension ||
        size.height() > kMaxDimension ||
        qint64{size.width()} * qint64{size.height()} > kMaxPixels) {
        return nullptr;
    }
    QImage image;
    if (!reader.read(&image)) return nullptr;
    return fromQImage(image);
}

std::optional<Bytes> QtImageCodec::encode(const ui::Image& image, ui::ImageFormat format,
                                          double quality) const {
    QImage source = toQImage(image);
    if (source.isNull()) return std::nullopt;
    bool jpeg = format == ui::ImageFormat::jpeg;
    if (jpeg) {
        // JPEG has no alpha: what is transparent comes out white.
        source.setDevicePixelRatio(1.0);
        QImage opaque(source.size(), QImage::Format_RGB32);
        opaque.fill(Qt::white);
        QPainter painter(&opaque);
        painter.drawImage(QPoint(0, 0), source);
        painter.end();
        source = opaque;
    }
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, jpeg ? "jpeg" : "png");
    if (jpeg) {
        double q = std::isfinite(quality) ? std::clamp(quality, 0.0, 1.0) : 0.9;
        writer.setQuality(static_cast<int>(std::lround(q * 100)));
    }
    if (!writer.write(source)) return std::nullopt;
    return Bytes(data.begin(), data.end());
}

}  // namespace kernova::desktop
