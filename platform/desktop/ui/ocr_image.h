// Images to recognise: read from a file, standard input or the clipboard in
// any format Qt reads (PNG, JPEG, WebP, BMP, GIF's first frame, TIFF...),
// refused before decoding when the header names more than 100 megapixels, and
// scaled so that the longest side is at most 4096 pixels. What the loader
// refuses comes back as a sentence for the user, never as a crash.
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QImage>
#include <QSize>
#include <string>

namespace kernova::desktop {

struct OcrImageLimits {
    // The most pixels a source image may have by its header.
    static constexpr qint64 kMaxSourcePixels = 100'000'000;
    // The longest side of the image that is recognised and sent.
    static constexpr int kMaxSide = 4096;
    // What Qt may allocate for one decoded image, in MiB: a source at the
    // pixel limit in 32-bit pixels.
    static constexpr int kAllocationLimitMiB = 400;
};

struct OcrImage {
    QImage image;       // null when the source was refused
    QSize sourceSize;   // the size the header names, when it could be read
    std::string error;  // why it was refused: "the image is damaged or incomplete", ...

    bool ok() const { return !image.isNull(); }
};

// Reads one image from `device` (open for reading, positioned at its start).
OcrImage readOcrImage(QIODevice& device);
OcrImage readOcrImage(const QByteArray& bytes);

// `image` scaled down (smoothly, keeping its proportions) so that its longest
// side is at most `maxSide`; as it is when already small enough.
QImage scaledForOcr(const QImage& image, int maxSide = OcrImageLimits::kMaxSide);

}  // namespace kernova::desktop
