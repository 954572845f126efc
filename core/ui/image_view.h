// Simple content views: image view, blur backdrop and activity indicator.
#pragma once

#include <memory>

#include "ui/image.h"
#include "ui/view.h"

namespace kernova::ui {

// UIViewContentMode values.
enum class ContentMode {
    scaleToFill = 0,
    scaleAspectFit = 1,
    scaleAspectFill = 2,
    redraw = 3,
    center = 4,
};

// Image views do not take touches unless told to.
class ImageView : public View {
  public:
    explicit ImageView(Rect frame = {});
    explicit ImageView(std::shared_ptr<const Image> image);

    const std::shared_ptr<const Image>& image() const { return image_; }
    void setImage(std::shared_ptr<const Image> image);
    ContentMode contentMode() const { return contentMode_; }
    void setContentMode(ContentMode mode);
    // Where the image is painted inside the bounds for the content mode.
    Rect imageRect() const;

  private:
    std::shared_ptr<const Image> image_;
    ContentMode contentMode_ = ContentMode::scaleToFill;
};

// UIBlurEffectStyle values.
enum class BlurEffectStyle {
    extraLight = 0,
    light = 1,
    dark = 2,
    extraDark = 3,
    regular = 4,
    prominent = 5,
};

// A blurred backdrop; children go into its content view.
class VisualEffectView : public View {
  public:
    explicit VisualEffectView(std::optional<BlurEffectStyle> effect, Rect frame = {});

    std::optional<BlurEffectStyle> effect() const { return effect_; }
    void setEffect(std::optional<BlurEffectStyle> effect);
    View& contentView() { return *contentView_; }
    void layoutSubviews() override;

  private:
    std::optional<BlurEffectStyle> effect_;
    std::shared_ptr<View> contentView_;
};

// UIActivityIndicatorViewStyle values.
enum class ActivityIndicatorStyle { whiteLarge = 0, white = 1, gray = 2 };

class ActivityIndicatorView : public View {
  public:
    explicit ActivityIndicatorView(ActivityIndicatorStyle style = ActivityIndicatorStyle::white);

    ActivityIndicatorStyle style() const { return style_; }
    void setStyle(ActivityIndicatorStyle style);
    bool hidesWhenStopped() const { return hidesWhenStopped_; }
    void setHidesWhenStopped(bool hides);
    void startAnimating();
    void stopAnimating();
    bool isAnimating() const { return animating_; }

  private:
    ActivityIndicatorStyle style_;
    bool hidesWhenStopped_ = true;
    bool animating_ = false;
};

}  // namespace kernova::ui
