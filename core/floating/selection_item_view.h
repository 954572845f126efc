// The selection item's look: a small dark rounded button that shows a title,
// or a picture when one is given and loads (a picture that does not load keeps
// the title). It sizes itself; the selection item (capture/selection_item.h)
// places it in a pass-through window of its own.
#pragma once

#include <string>

#include "ui/application.h"
#include "ui/control.h"

namespace kernova {

class GSelectionItemView : public ui::Button {
  public:
    static constexpr double kHeight = 32;
    static constexpr double kImageWidth = 40;
    static constexpr double kTitlePadding = 12;
    static constexpr double kFontSize = 14;

    // `imagePath` empty: the title form.
    GSelectionItemView(ui::Application& application, std::string title,
                       const std::string& imagePath);

    const std::string& title() const { return title_; }
    // The picture's file in the image form, empty in the title form.
    const std::string& imagePath() const { return imagePath_; }

  private:
    std::string title_;
    std::string imagePath_;
};

}  // namespace kernova
