#include "desktop/ui/qt_text_measurer.h"

#include <QTextOption>
#include <algorithm>
#include <cmath>

#include "desktop/ui/qt_convert.h"

namespace kernova::desktop {

namespace {

// Wide enough for any line; Qt needs a width even when it does not wrap.
constexpr double kUnboundedWidth = 1.0e7;

}  // namespace

QSizeF layOutLines(QTextLayout& layout, double width, int maxLines) {
    bool bounded = width > 0 && std::isfinite(width);
    QTextOption option = layout.textOption();
    option.setWrapMode(bounded ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::NoWrap);
    layout.setTextOption(option);
    double widest = 0;
    double y = 0;
    int count = 0;
    layout.beginLayout();
    for (;;) {
        if (maxLines > 0 && count == maxLines) break;
        QTextLine line = layout.createLine();
        if (!line.isValid()) break;
        // A hair of slack so a text laid out at exactly its measured width
        // does not wrap through rounding.
        line.setLineWidth(bounded ? width + 0.01 : kUnboundedWidth);
        line.setPosition(QPointF(0, y));
        widest = std::max(widest, line.naturalTextWidth());
        y += line.height();
        ++count;
    }
    layout.endLayout();
    return {widest, y};
}

QtTextMeasurer::QtTextMeasurer() : device_(makeCanvas(ui::Size{1, 1}, 1.0)) {}

ui::Size QtTextMeasurer::boundingSize(std::string_view text, const ui::Font& font) const {
    if (text.empty()) return {};
    QTextLayout layout(withLineSeparators(toQString(text)), toQFont(font), &device_);
    QSizeF size = layOutLines(layout, 0, 0);
    return {std::ceil(size.width() * 1000) / 1000, std::ceil(size.height() * 1000) / 1000};
}

}  // namespace kernova::desktop
