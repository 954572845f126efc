// Text measurement, implemented by each platform (the simulated device uses
// fixed metrics that tests can predict; the desktop uses the painting fonts).
#pragma once

#include <string_view>

#include "ui/font.h"
#include "ui/geometry.h"

namespace kernova::ui {

class TextMeasurer {
  public:
    virtual ~TextMeasurer() = default;
    // The bounding size of `text` on unbounded lines (explicit newlines still
    // break lines), as the phone's boundingRectWithSize answers it.
    virtual Size boundingSize(std::string_view text, const Font& font) const = 0;
};

}  // namespace kernova::ui
