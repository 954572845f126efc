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
#include <vector>

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

// Blurred copies of a canvas's pixels, kept while the canvas holds the same
// picture beneath them (a full monitor takes tens of milliseconds to blur).
class BlurCache {
  public:
    // What the canvas holds before anything is painted on it: the caller
    // changes `generation` whenever that changes. Unset (the default), nothing
    // is kept.
    void setCanvasGeneration(std::optional<std::uint64_t> generation);
    // Whether the next blur reads only the canvas's first picture: false
    // once anything else was painted on it.
    void setCanvasUntouched(bool untouched) { untouched_ = untouched; }

    // The blurred pixels of `area` of `canvas`, made now or kept. Null when
    // the caller may do without them this once: a first painting in which the
    // blur shows faintly (`opacity` below kFaintOpacity) draws the pixels as
    // they are, and asks for another frame (`deferred`), which blurs them.
    QImage blurred(const QImage& canvas, QRect area, double opacity, bool* deferred);

    static constexpr double kFaintOpacity = 0.1;
    static constexpr std::size_t kKeptAreas = 4;

  private:
    struct Entry {
        QRect area;
        QImage pixels;
    };
    std::optional<std::uint64_t> generation_;
    bool untouched_ = false;
    std::vector<Entry> entries_;
    std::vector<QRect> deferred_;
};

// The blurred backdrop where the painter's device can be read back (an
// image), then the style's tint. `shape` is the view's outline. True when it
// left the backdrop sharp for now and wants another frame.
bool paintBlur(QPainter& painter, BlurCache& cache, std::optional<ui::BlurEffectStyle> style,
               const QPainterPath& shape);

// Twelve spokes turning once a second at `time`.
void paintActivityIndicator(QPainter& painter, const ui::ActivityIndicatorView& view,
                            const QRectF& rect, double time);

}  // namespace kernova::desktop
