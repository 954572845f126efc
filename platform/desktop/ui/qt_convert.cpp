#include "desktop/ui/qt_convert.h"

#include <QFontDatabase>
#include <algorithm>
#include <cmath>

#include "base/text.h"

namespace kernova::desktop {

namespace {

int channel(double value) {
    if (!std::isfinite(value)) return 0;
    return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0));
}

}  // namespace

QColor toQColor(const ui::Color& color) {
    return QColor(channel(color.red), channel(color.green), channel(color.blue),
                  channel(color.alpha));
}

ui::Color fromQColor(const QColor& color) {
    return ui::Color{color.redF(), color.greenF(), color.blueF(), color.alphaF()};
}

QString toQString(std::string_view text) {
    std::string repaired = repairUtf8(text);
    return QString::fromUtf8(repaired.data(), static_cast<qsizetype>(repaired.size()));
}

std::string fromQString(const QString& text) {
    return text.toStdString();
}

QFont toQFont(const ui::Font& font, double dpi) {
    QFont qfont = font.family.empty() ? QFontDatabase::systemFont(QFontDatabase::GeneralFont)
                                      : QFont(toQString(font.family));
    double size = std::isfinite(font.pointSize) ? std::clamp(font.pointSize, 0.5, 2000.0) : 17.0;
    if (dpi <= 0) dpi = kCanvasDpi;
    qfont.setPointSizeF(size * 72.0 / dpi);
    qfont.setBold(font.bold);
    // Unhinted outlines keep advances proportional at every scale, so widths
    // measured at one scale hold when painting at another.
    qfont.setHintingPreference(QFont::PreferNoHinting);
    qfont.setKerning(true);
    return qfont;
}

QImage makeCanvas(ui::Size size, double scale) {
    if (!(scale > 0) || !std::isfinite(scale)) scale = 1.0;
    auto pixels = [scale](double points) {
        double v = std::isfinite(points) ? std::ceil(std::max(points, 0.0) * scale) : 0.0;
        return static_cast<int>(std::min(v, 16384.0));
    };
    QImage image(std::max(1, pixels(size.width)), std::max(1, pixels(size.height)),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    int dotsPerMeter = static_cast<int>(std::lround(kCanvasDpi / 0.0254));
    image.setDotsPerMeterX(dotsPerMeter);
    image.setDotsPerMeterY(dotsPerMeter);
    image.setDevicePixelRatio(scale);
    return image;
}

QString withLineSeparators(const QString& text) {
    QString out = text;
    out.replace(QStringLiteral("\r\n"), QString(QChar::LineSeparator));
    out.replace(QLatin1Char('\r'), QChar::LineSeparator);
    out.replace(QLatin1Char('\n'), QChar::LineSeparator);
    return out;
}

}  // namespace kernova::desktop
