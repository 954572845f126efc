#include "ui/image.h"

#include <fstream>
#include <iterator>

namespace kernova::ui {

std::shared_ptr<const Image> Image::fromPixels(PixelBuffer pixels, double scale) {
    if (!(scale > 0)) scale = 1.0;
    if (pixels.width < 0 || pixels.height < 0) return nullptr;
    auto count = static_cast<std::size_t>(pixels.width) * static_cast<std::size_t>(pixels.height);
    if (pixels.argb.size() != count) return nullptr;
    auto image = std::make_shared<Image>();
    image->size_ = Size{pixels.width / scale, pixels.height / scale};
    image->scale_ = scale;
    image->pixels_ = std::move(pixels);
    return image;
}

std::shared_ptr<const Image> Image::fromPaths(Size size, std::vector<StrokedPath> paths,
                                              double scale) {
    if (!(scale > 0)) scale = 1.0;
    auto image = std::make_shared<Image>();
    image->size_ = size;
    image->scale_ = scale;
    image->paths_ = std::move(paths);
    return image;
}

std::shared_ptr<const Image> ImageCodec::imageWithContentsOfFile(
    const std::filesystem::path& path) const {
    std::ifstream in(path, std::ios::binary);
    if (!in) return nullptr;
    Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad() || bytes.empty()) return nullptr;
    return decode(bytes);
}

}  // namespace kernova::ui
