#include "sim/sim_image_codec.h"

#include <cmath>
#include <cstring>

namespace kernova::sim {
namespace {

constexpr std::uint8_t kMagic[4] = {'K', 'I', 'M', 'G'};
constexpr std::uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::size_t kHeaderSize = 16;

bool startsWith(const Bytes& b, const std::uint8_t* prefix, std::size_t n) {
    return b.size() >= n && std::memcmp(b.data(), prefix, n) == 0;
}

std::uint32_t readLE32(const Bytes& b, std::size_t at) {
    return std::uint32_t{b[at]} | std::uint32_t{b[at + 1]} << 8 | std::uint32_t{b[at + 2]} << 16 |
           std::uint32_t{b[at + 3]} << 24;
}

std::uint32_t readBE32(const Bytes& b, std::size_t at) {
    return std::uint32_t{b[at]} << 24 | std::uint32_t{b[at + 1]} << 16 |
           std::uint32_t{b[at + 2]} << 8 | std::uint32_t{b[at + 3]};
}

std::uint32_t readBE16(const Bytes& b, std::size_t at) {
    return std::uint32_t{b[at]} << 8 | std::uint32_t{b[at + 1]};
}

void appendLE32(Bytes& out, std::uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) {
        out.push_back(static_cast<std::uint8_t>(v >> shift));
    }
}

bool acceptableSize(std::uint64_t w, std::uint64_t h) {
    return w > 0 && h > 0 && w <= SimImageCodec::kMaxDimension &&
           h <= SimImageCodec::kMaxDimension && w * h <= SimImageCodec::kMaxPixels;
}

std::shared_ptr<const ui::Image> blank(std::uint32_t w, std::uint32_t h, double scale) {
    if (!acceptableSize(w, h)) return nullptr;
    ui::PixelBuffer pixels;
    pixels.width = static_cast<int>(w);
    pixels.height = static_cast<int>(h);
    pixels.argb.assign(std::size_t{w} * h, 0);
    return ui::Image::fromPixels(std::move(pixels), scale);
}

std::shared_ptr<const ui::Image> decodeOwn(const Bytes& b) {
    if (b.size() < kHeaderSize) return nullptr;
    std::uint32_t w = readLE32(b, 4);
    std::uint32_t h = readLE32(b, 8);
    std::uint32_t scaleMilli = readLE32(b, 12);
    if (!acceptableSize(w, h) || scaleMilli == 0) return nullptr;
    std::size_t count = std::size_t{w} * h;
    if (b.size() != kHeaderSize + count * 4) return nullptr;
    ui::PixelBuffer pixels;
    pixels.width = static_cast<int>(w);
    pixels.height = static_cast<int>(h);
    pixels.argb.resize(count);
    for (std::size_t i = 0; i < count; ++i)
        pixels.argb[i] = readLE32(b, kHeaderSize + i * 4);
    return ui::Image::fromPixels(std::move(pixels), scaleMilli / 1000.0);
}

std::shared_ptr<const ui::Image> decodePng(const Bytes& b) {
    // Signature, then the IHDR chunk: length, type, width, height.
    constexpr std::size_t kIhdrEnd = 8 + 4 + 4 + 8;
    if (b.size() < kIhdrEnd || std::memcmp(b.data() + 12, "IHDR", 4) != 0) return nullptr;
    return blank(readBE32(b, 16), readBE32(b, 20), 1.0);
}

bool isStartOfFrame(std::uint8_t marker) {
    // SOF0..SOF15, less DHT (C4), JPG (C8) and DAC (CC).
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

std::shared_ptr<const ui::Image> decodeJpeg(const Bytes& b) {
    std::size_t i = 2;  // past SOI
    while (i + 4 <= b.size()) {
        if (b[i] != 0xFF) return nullptr;
        std::uint8_t marker = b[i + 1];
        if (marker == 0xFF) {  // fill byte
            ++i;
            continue;
        }
        if (marker == 0xD9 || marker == 0xDA) return nullptr;        // end or scan before a frame
        if ((marker >= 0xD0 && marker <= 0xD7) || marker == 0x01) {  // no length
            i += 2;
            continue;
        }
        std::size_t length = readBE16(b, i + 2);
        if (length < 2) return nullptr;
        if (isStartOfFrame(marker)) {
            // Length, precision, height, width.
            if (length < 7 || i + 9 > b.size()) return nullptr;
            return blank(readBE16(b, i + 7), readBE16(b, i + 5), 1.0);
        }
        i += 2 + length;
    }
    return nullptr;
}

}  // namespace

std::shared_ptr<const ui::Image> SimImageCodec::decode(const Bytes& bytes) const {
    if (startsWith(bytes, kMagic, sizeof kMagic)) return decodeOwn(bytes);
    if (startsWith(bytes, kPngSignature, sizeof kPngSignature)) return decodePng(bytes);
    if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xD8) return decodeJpeg(bytes);
    return nullptr;
}

std::optional<Bytes> SimImageCodec::encode(const ui::Image& image, ui::ImageFormat, double) const {
    double scale = image.scale();
    if (!(scale > 0 && scale <= 1000)) scale = 1.0;
    ui::PixelBuffer blankPixels;
    const ui::PixelBuffer* pixels = image.pixels();
    if (pixels == nullptr) {
        double w = std::round(image.size().width * scale);
        double h = std::round(image.size().height * scale);
        if (!(w >= 1 && w <= kMaxDimension && h >= 1 && h <= kMaxDimension)) return std::nullopt;
        blankPixels.width = static_cast<int>(w);
        blankPixels.height = static_cast<int>(h);
        blankPixels.argb.assign(static_cast<std::size_t>(w * h), 0);
        pixels = &blankPixels;
    }
    if (pixels->width <= 0 || pixels->height <= 0) return std::nullopt;
    auto w = static_cast<std::uint32_t>(pixels->width);
    auto h = static_cast<std::uint32_t>(pixels->height);
    if (!acceptableSize(w, h) || pixels->argb.size() != std::size_t{w} * h) return std::nullopt;
    Bytes out(kMagic, kMagic + sizeof kMagic);
    out.reserve(kHeaderSize + pixels->argb.size() * 4);
    appendLE32(out, w);
    appendLE32(out, h);
    appendLE32(out, static_cast<std::uint32_t>(std::lround(scale * 1000)));
    for (std::uint32_t px : pixels->argb)
        appendLE32(out, px);
    return out;
}

}  // namespace kernova::sim
