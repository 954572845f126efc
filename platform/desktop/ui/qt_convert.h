// Conversions between the toolkit's value types and Qt's, and the one place
// that turns a toolkit font into a QFont, so that measuring and painting use
// exactly the same fonts.
#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <string>
#include <string_view>

#include "ui/color.h"
#include "ui/font.h"
#include "ui/geometry.h"

namespace kernova::desktop {

// Toolkit points are device-independent pixels. Canvases are tagged with this
// resolution so that a font of N points is N pixels tall before scaling.
inline constexpr double kCanvasDpi = 72.0;

inline QPointF toQt(ui::Point p) {
    return {p.x, p.y};
}
inline QSizeF toQt(ui::Size s) {
    return {s.width, s.height};
}
inline QRectF toQt(const ui::Rect& r) {
    return QRectF(r.origin.x, r.origin.y, r.size.width, r.size.height).normalized();
}
inline ui::Point fromQt(QPointF p) {
    return {p.x(), p.y()};
}
QColor toQColor(const ui::Color& color);
ui::Color fromQColor(const QColor& color);

QString toQString(std::string_view text);
std::string fromQString(const QString& text);

// The QFont for `font` on a device of `dpi` dots per inch: a size of N points
// comes out N device-independent pixels tall. An empty family is the system UI
// font; characters it lacks (CJK, emoji) fall back through Qt's font matching.
QFont toQFont(const ui::Font& font, double dpi = kCanvasDpi);

// A transparent premultiplied canvas of `size` points at `scale` pixels per
// point, tagged with kCanvasDpi.
QImage makeCanvas(ui::Size size, double scale);

// Line breaks as the toolkit counts them ("\r\n", "\r", "\n") turned into
// Unicode line separators, which Qt's text layout breaks at.
QString withLineSeparators(const QString& text);

}  // namespace kernova::desktop
