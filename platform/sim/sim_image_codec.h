// An image codec for tests, with a tiny format of our own:
//
//   "KIMG"                       4 bytes, the magic
//   width, height                2 x uint32, little-endian, in pixels
//   scale                        uint32, little-endian, thousandths (2000 = @2x)
//   pixels                       width x height x uint32 little-endian 0xAARRGGBB,
//                                row-major
//
// encode() writes this format whatever format is asked for (the quality is
// ignored); a drawn image (paths only) is written as transparent pixels of its
// pixel size. decode() reads it back exactly, and also recognises PNG (size
// from IHDR) and JPEG (size from the first start-of-frame segment), answering
// an image of that pixel size at scale 1 with transparent pixels.
//
// Anything else, a truncated file, a zero size, or more than kMaxDimension
// pixels a side or kMaxPixels in all, decodes as null.
#pragma once

#include "ui/image.h"

namespace kernova::sim {

class SimImageCodec final : public ui::ImageCodec {
  public:
    static constexpr std::uint32_t kMaxDimension = 16384;
    static constexpr std::uint64_t kMaxPixels = 1u << 26;

    std::shared_ptr<const ui::Image> decode(const Bytes& bytes) const override;
    std::optional<Bytes> encode(const ui::Image& image, ui::ImageFormat format,
                                double quality = 0.9) const override;
};

}  // namespace kernova::sim
