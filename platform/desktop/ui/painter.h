// Paints toolkit view trees with QPainter: layers (background, corner radius,
// border, clipping, alpha down the tree), scroll offsets, and each view kind's
// content, using the presentation values of running animations.
#pragma once

#include <QImage>
#include <QPainter>

#include "desktop/ui/view_painting.h"
#include "ui/geometry.h"
#include "ui/view.h"
#include "ui/window.h"

namespace kernova::desktop {

class Painter {
  public:
    // Paints `window` at its frame, in the painter's coordinates taken as
    // screen points, as it shows at `time` on the run loop's clock (also when
    // the window is hidden; its hidden subviews are left out).
    void paintWindow(QPainter& painter, ui::Window& window, double time);

    // Lays the window out and paints it, with its frame's origin at the image's
    // top-left, into a transparent image of `size` points at `scale` pixels per
    // point, as it shows now.
    QImage renderWindow(ui::Window& window, ui::Size size, double scale);

    // True when the last paint showed something that moves by itself (a running
    // transition or a spinning indicator), so the next frame will differ.
    bool needsAnimationFrames() const { return moving_; }

    // Where paintWindow paints on a canvas that holds the same picture before
    // each painting (the screen beneath): `generation` names that picture and
    // changes with it, so that blur views over it are blurred once and kept.
    // Unset (the default), every painting blurs anew.
    void setCanvasGeneration(std::optional<std::uint64_t> generation) {
        blurs_.setCanvasGeneration(generation);
    }

  private:
    struct Layer;
    void paintView(QPainter& painter, ui::View& view, double time, double parentAlpha,
                   bool root = false);
    void paintContent(QPainter& painter, ui::View& view, const Layer& layer, double time);

    ImageCache images_;
    BlurCache blurs_;
    bool moving_ = false;
    bool painted_ = false;  // anything painted on the canvas in this painting
};

// Renders with a painter of its own.
QImage renderWindow(ui::Window& window, ui::Size size, double scale);

}  // namespace kernova::desktop
