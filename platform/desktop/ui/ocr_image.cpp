#include "desktop/ui/ocr_image.h"

#include <QBuffer>
#include <QImageReader>
#include <QtGlobal>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <mutex>

namespace kernova::desktop {
namespace {

// Qt's image plugins report a damaged file as a warning and still hand back
// an image (a JPEG cut short comes out grey at the bottom). While an image is
// read, the warnings of Qt's image I/O on that thread are taken here instead
// of reaching standard error, and tell whether the data ended early; every
// other message goes on to the handler before. Qt has one handler per
// process, so one read at a time is watched.
std::mutex gCaptureMutex;
std::atomic<QtMessageHandler> gPreviousHandler{nullptr};
thread_local bool* tPrematureEnd = nullptr;

void captureImageWarnings(QtMsgType type, const QMessageLogContext& context,
                          const QString& message) {
    const bool imageIo =
        context.category != nullptr && QByteArray(context.category).startsWith("qt.gui.imageio");
    if (tPrematureEnd != nullptr && (imageIo || message.startsWith(QLatin1String("libpng")))) {
        if (message.contains(QLatin1String("premature end"), Qt::CaseInsensitive))
            *tPrematureEnd = true;
        return;
    }
    if (QtMessageHandler previous = gPreviousHandler.load()) previous(type, context, message);
}

class ImageWarningCapture {
  public:
    ImageWarningCapture() : lock_(gCaptureMutex) {
        tPrematureEnd = &prematureEnd_;
        // Qt gives its default handler back when no other was installed.
        gPreviousHandler = qInstallMessageHandler(captureImageWarnings);
    }
    ~ImageWarningCapture() {
        qInstallMessageHandler(gPreviousHandler.load());
        tPrematureEnd = nullptr;
    }
    ImageWarningCapture(const ImageWarningCapture&) = delete;
    ImageWarningCapture& operator=(const ImageWarningCapture&) = delete;
    bool prematureEnd() const { return prematureEnd_; }

  private:
    std::lock_guard<std::mutex> lock_;
    bool prematureEnd_ = false;
};

QSize fitted(QSize size, int maxSide) {
    const int longest = std::max(size.width(), size.height());
    if (longest <= maxSide) return size;
    const double factor = static_cast<double>(maxSide) / longest;
    return {std::max(1, static_cast<int>(std::lround(size.width() * factor))),
            std::max(1, static_cast<int>(std::lround(size.height() * factor)))};
}

// A BMP names its file size in its header; Qt reads a shorter one as far as
// it goes.
bool bmpCutShort(QIODevice& device) {
    const QByteArray head = device.peek(6);
    if (head.size() < 6 || !head.startsWith("BM") || device.isSequential()) return false;
    std::uint32_t declared = 0;
    for (int i = 5; i >= 2; --i)
        declared = (declared << 8) | static_cast<std::uint8_t>(head[i]);
    return declared != 0 && device.size() < static_cast<qint64>(declared);
}

OcrImage refused(std::string error, QSize size = {}) {
    return OcrImage{{}, size, std::move(error)};
}

}  // namespace

OcrImage readOcrImage(QIODevice& device) {
    if (device.peek(1).isEmpty()) return refused("it is empty (0 bytes)");
    const bool cutShort = bmpCutShort(device);
    QImageReader reader(&device);
    reader.setAutoTransform(true);
    reader.setAllocationLimit(OcrImageLimits::kAllocationLimitMiB);
    if (!reader.canRead()) return refused("not an image Kernova can read");
    const QSize size = reader.size();
    if (size.isValid()) {
        const qint64 pixels = qint64{size.width()} * qint64{size.height()};
        if (pixels > OcrImageLimits::kMaxSourcePixels) {
            return refused("the image is too large (" + std::to_string(size.width()) + " x " +
                               std::to_string(size.height()) +
                               " pixels; at most 100 megapixels are read)",
                           size);
        }
        if (pixels == 0) return refused("the image has no pixels", size);
        // JPEG decodes straight at the smaller size; other formats are scaled
        // smoothly after decoding.
        const QSize target = fitted(size, OcrImageLimits::kMaxSide);
        if (target != size) reader.setScaledSize(target);
    }
    QImage image;
    bool read = false;
    bool prematureEnd = false;
    {
        ImageWarningCapture capture;
        read = reader.read(&image);
        prematureEnd = capture.prematureEnd();
    }
    if (!read || image.isNull() || prematureEnd || cutShort) {
        return refused("the image is damaged or incomplete", size);
    }
    return OcrImage{scaledForOcr(image), size, {}};
}

OcrImage readOcrImage(const QByteArray& bytes) {
    QByteArray data = bytes;
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    return readOcrImage(buffer);
}

QImage scaledForOcr(const QImage& image, int maxSide) {
    const QSize target = fitted(image.size(), maxSide);
    if (target == image.size()) return image;
    return image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

}  // namespace kernova::desktop
