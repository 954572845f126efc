#include "floating/selection_item_view.h"

#include <cmath>
#include <utility>

#include "ui/image_view.h"
#include "ui/label.h"

namespace kernova {

GSelectionItemView::GSelectionItemView(ui::Application& application, std::string title,
                                       const std::string& imagePath)
    : ui::Button(ui::Rect{}, ui::ButtonType::custom), title_(std::move(title)) {
    const ui::Platform& platform = application.platform();
    setBackgroundColor(ui::Color::white(0.12, 0.92));
    setCornerRadius(8);
    std::shared_ptr<const ui::Image> image;
    if (!imagePath.empty()) image = platform.imageCodec.imageWithContentsOfFile(imagePath);
    if (image) {
        imagePath_ = imagePath;
        imageView().setContentMode(ui::ContentMode::scaleAspectFit);
        setImage(std::move(image));
        setToolTip(title_);
        setFrame(ui::Rect(0, 0, kImageWidth, kHeight));
        return;
    }
    setTitle(title_);
    setTitleColor(ui::Color::white(1.0));
    titleLabel().setFont(ui::Font::systemFont(kFontSize));
    const ui::Size needed = titleLabel().textSize(platform.textMeasurer);
    setFrame(ui::Rect(0, 0, std::ceil(needed.width) + 2 * kTitlePadding, kHeight));
}

}  // namespace kernova
