// Images on Qt: the PNG and JPEG codec, and the conversions the painter uses.
#pragma once

#include <QImage>
#include <QPainter>

#include "ui/image.h"

namespace kernova::desktop {

// Draws the strokes of a vector image, its point space mapped onto `target`.
void strokePaths(QPainter& painter, const ui::Image& image, const QRectF& target);

// The image's pixels (premultiplied ARGB32, device pixel ratio = its scale);
// a vector image is stroked onto a transparent canvas of its pixel size.
QImage toQImage(const ui::Image& image);
// A toolkit image holding `image`'s pixels; null for a null image.
std::shared_ptr<const ui::Image> fromQImage(const QImage& image, double scale = 1.0);

class QtImageCodec final : public ui::ImageCodec {
  public:
    // Larger images are refused rather than allocated.
    static constexpr int kMaxDimension = 16384;
    static constexpr qint64 kMaxPixels = qint64{1} << 26;

    std::shared_ptr<const ui::Image> decode(const Bytes& bytes) const override;
    std::optional<Bytes> encode(const ui::Image& image, ui::ImageFormat format,
                                double quality = 0.9) const override;
};

}  // namespace kernova::desktop
