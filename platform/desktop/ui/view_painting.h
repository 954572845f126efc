// Painting of what particular view kinds show besides their layer (background,
// border): text, images, blur, the spinning indicator. Each paints in the view's
// bounds coordinates on a painter already translated, clipped and faded.
#pragma once

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <map>
#include <memory>
#include <optional>

#include "ui/image.h"
#include "ui/image_view.h"
#include "ui/label.h"

namespace kernova::desktop {

// Converted images, kept while the toolkit image lives.
class ImageCache {
  public:
    const QImage& get(const std::shared_ptr<const ui::Image>& image);
    // Forgets images that have gone away.
    void prune();

  private:
    struct Entry {
        std::weak_ptr<const ui::Image> image;
        QImage pixels;
    };
    std::map<const ui::Image*, Entry> entries_;
};

// A toolkit image (pixels or strokes) drawn into `target`.
void paintImage(QPainter& painter, ImageCache& cache, const std::shared_ptr<const ui::Image>& image,
                const QRectF& target);

void paintLabel(QPainter& painter, const ui::Label& label, const QRectF& rect);
void paintTextField(QPainter& painter, const ui::TextField& field, const QRectF& rect);

// The blurred backdrop where the painter's device can be read back (an
// image), then the style's tint. `shape` is the view's outline.
void paintBlur(QPainter& painter, std::optional<ui::BlurEffectStyle> style,
               const QPainterPath& shape);

// Twelve spokes turning once a second at `time`.
void paintActivityIndicator(QPainter& painter, const ui::ActivityIndicatorView& view,
                            const QRectF& rect, double time);

}  // namespace kernova::desktop
