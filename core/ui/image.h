// Images: decoded pixels or a vector drawing of stroked paths, with a size in
// points and a scale. Decoding and encoding go through a platform codec.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "base/value.h"
#include "ui/color.h"
#include "ui/geometry.h"

namespace kernova::ui {

struct PixelBuffer {
    int width = 0;                    // in pixels
    int height = 0;                   // in pixels
    std::vector<std::uint32_t> argb;  // row-major, premultiplied 0xAARRGGBB
};

struct StrokedPath {
    std::vector<Point> points;  // in the image's point space
    double lineWidth = 1;
    Color color = Color::black();
    bool closed = false;
};

class Image {
  public:
    static std::shared_ptr<const Image> fromPixels(PixelBuffer pixels, double scale = 1.0);
    static std::shared_ptr<const Image> fromPaths(Size size, std::vector<StrokedPath> paths,
                                                  double scale = 1.0);

    Size size() const { return size_; }  // in points: pixels / scale
    double scale() const { return scale_; }
    const PixelBuffer* pixels() const { return pixels_ ? &*pixels_ : nullptr; }
    const std::vector<StrokedPath>& paths() const { return paths_; }

  private:
    Size size_;
    double scale_ = 1.0;
    std::optional<PixelBuffer> pixels_;
    std::vector<StrokedPath> paths_;
};

enum class ImageFormat { png, jpeg };

class ImageCodec {
  public:
    virtual ~ImageCodec() = default;
    // Null when the bytes are not an image this codec reads.
    virtual std::shared_ptr<const Image> decode(const Bytes& bytes) const = 0;
    // Empty when the image cannot be encoded. `quality` (0..1) applies to JPEG.
    virtual std::optional<Bytes> encode(const Image& image, ImageFormat format,
                                        double quality = 0.9) const = 0;
    // Reads and decodes a file; null when missing or unreadable.
    std::shared_ptr<const Image> imageWithContentsOfFile(const std::filesystem::path& path) const;
};

}  // namespace kernova::ui
