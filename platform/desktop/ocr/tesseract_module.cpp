// The module behind TesseractReader: the only file that includes Tesseract.
#include "desktop/ocr/tesseract_module.h"

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include <memory>

namespace kernova::desktop {
namespace {

class Reader final : public TesseractReader {
  public:
    bool start(const char* dataFolder, const char* languages) {
        // Tesseract's own messages would go to standard error.
        const std::vector<std::string> names = {"debug_file"};
        const std::vector<std::string> values = {"/dev/null"};
        return api_.Init(dataFolder, languages, tesseract::OEM_DEFAULT, nullptr, 0, &names, &values,
                         false) == 0;
    }

    bool read(const std::uint32_t* argb, int width, int height,
              std::vector<std::string>& lines) override {
        if (argb == nullptr || width <= 0 || height <= 0) return false;
        // Grey over white: what Tesseract works on anyway.
        std::vector<unsigned char> grey(static_cast<std::size_t>(width) *
                                        static_cast<std::size_t>(height));
        for (std::size_t i = 0; i < grey.size(); ++i) {
            const std::uint32_t p = argb[i];
            const unsigned white = 255 - (p >> 24);
            const unsigned r = ((p >> 16) & 0xFF) + white;
            const unsigned g = ((p >> 8) & 0xFF) + white;
            const unsigned b = (p & 0xFF) + white;
            grey[i] = static_cast<unsigned char>((r * 299 + g * 587 + b * 114) / 1000);
        }
        api_.SetImage(grey.data(), width, height, 1, width);
        const bool ok = api_.Recognize(nullptr) == 0;
        if (ok) {
            std::unique_ptr<tesseract::ResultIterator> it(api_.GetIterator());
            if (it) {
                do {
                    std::unique_ptr<char[]> text(it->GetUTF8Text(tesseract::RIL_TEXTLINE));
                    if (!text) continue;
                    std::string line(text.get());
                    const auto first = line.find_first_not_of(" \t\r\n");
                    if (first == std::string::npos) continue;
                    line.erase(line.find_last_not_of(" \t\r\n") + 1);
                    lines.push_back(line.substr(first));
                } while (it->Next(tesseract::RIL_TEXTLINE));
            }
        }
        api_.Clear();
        return ok;
    }

  private:
    tesseract::TessBaseAPI api_;
};

}  // namespace
}  // namespace kernova::desktop

extern "C" __attribute__((visibility("default"))) kernova::desktop::TesseractReader*
kernova_make_tesseract_reader(const char* dataFolder, const char* languages) {
    auto reader = std::make_unique<kernova::desktop::Reader>();
    if (!reader->start(dataFolder, languages)) return nullptr;
    return reader.release();
}
