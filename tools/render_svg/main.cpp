// kernova-render-svg: renders one SVG file onto a transparent PNG of a given
// pixel size, antialiased, keeping the drawing's aspect ratio (centred).
//
//   kernova-render-svg IN.svg OUT.png WIDTH HEIGHT
//
// The PNG is replaced as a whole or left alone. Exit status: 0 when written,
// 1 when the SVG cannot be read or the PNG cannot be written, 2 on bad
// arguments. Needs no display and no Qt application object: the SVG renderer,
// images and the painter's raster engine work without one.
#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSaveFile>
#include <QSvgRenderer>
#include <charconv>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace {

constexpr std::string_view kUsage = "usage: kernova-render-svg IN.svg OUT.png WIDTH HEIGHT\n";
constexpr int kMaxSide = 4096;

// A side in pixels, 1 to kMaxSide, written in decimal digits only.
std::optional<int> parseSide(std::string_view text) {
    int value = 0;
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end || value < 1 || value > kMaxSide) {
        return std::nullopt;
    }
    return value;
}

QString localPath(const char* path) {
    return QFile::decodeName(QByteArray(path));
}

int badArguments(const std::string& message) {
    std::cerr << "kernova-render-svg: " << message << '\n' << kUsage;
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return badArguments("expected 4 arguments, got " + std::to_string(argc - 1));
    const char* in = argv[1];
    const char* out = argv[2];
    std::optional<int> width = parseSide(argv[3]);
    std::optional<int> height = parseSide(argv[4]);
    if (!width || !height) {
        return badArguments("WIDTH and HEIGHT must be whole numbers of pixels from 1 to " +
                            std::to_string(kMaxSide));
    }
    if (*out == '\0') return badArguments("OUT.png must not be empty");

    QFile source(localPath(in));
    if (!source.open(QIODevice::ReadOnly)) {
        std::cerr << "kernova-render-svg: cannot read " << in << ": "
                  << source.errorString().toStdString() << '\n';
        return 1;
    }
    const QByteArray svg = source.readAll();
    QSvgRenderer renderer;
    if (!renderer.load(svg) || !renderer.isValid()) {
        std::cerr << "kernova-render-svg: " << in << " is not a valid SVG document\n";
        return 1;
    }
    renderer.setAspectRatioMode(Qt::KeepAspectRatio);

    QImage image(*width, *height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        renderer.render(&painter, QRectF(0, 0, *width, *height));
    }

    // QSaveFile writes a sibling and renames it over OUT.png on commit only.
    QSaveFile file(localPath(out));
    std::string error;
    if (!file.open(QIODevice::WriteOnly)) {
        error = file.errorString().toStdString();
    } else if (!image.save(&file, "PNG")) {
        file.cancelWriting();
        error = file.error() != QFileDevice::NoError ? file.errorString().toStdString()
                                                     : "the PNG encoder failed";
    } else if (!file.commit()) {
        error = file.errorString().toStdString();
    }
    if (!error.empty()) {
        std::cerr << "kernova-render-svg: cannot write " << out << ": " << error << '\n';
        return 1;
    }
    return 0;
}
