// Text measurement with Qt's text layout, the same layout the painter draws
// labels with: the size measured for a text is the size it paints at.
#pragma once

#include <QImage>
#include <QSizeF>
#include <QTextLayout>

#include "ui/text_measurer.h"

namespace kernova::desktop {

// Lays `layout` out in lines (its text and font set beforehand), each at
// `width` points wide (unbounded when not positive), at most `maxLines` lines
// (all when 0), stacked from y = 0. Answers the size the lines cover: the widest
// line's natural width and the sum of the line heights.
QSizeF layOutLines(QTextLayout& layout, double width, int maxLines);

class QtTextMeasurer final : public ui::TextMeasurer {
  public:
    QtTextMeasurer();
    ui::Size boundingSize(std::string_view text, const ui::Font& font) const override;

  private:
    // The device whose resolution the fonts are resolved for (as every canvas).
    mutable QImage device_;
};

}  // namespace kernova::desktop
