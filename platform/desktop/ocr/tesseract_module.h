// Tesseract lives in a module of its own (libkernova_tesseract.so, built from
// tesseract_module.cpp), loaded with dlopen at the first local recognition:
// a process that recognises nothing here never maps Tesseract, Leptonica or
// their image libraries. This header is the whole contract between the two
// sides; it names no Tesseract type.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kernova::desktop {

// One started Tesseract (its language data loaded), used by one thread at a
// time.
class TesseractReader {
  public:
    virtual ~TesseractReader() = default;
    // Recognises `width` × `height` premultiplied 0xAARRGGBB pixels (laid on
    // white): the lines of text found, top to bottom, as Tesseract writes them
    // (ends trimmed, empty lines left out). False when recognition failed.
    virtual bool read(const std::uint32_t* argb, int width, int height,
                      std::vector<std::string>& lines) = 0;
};

// Starts Tesseract on `languages` ("chi_sim+eng") with the data in
// `dataFolder`; null when it cannot start. The caller owns the reader.
using MakeTesseractReaderFunction = TesseractReader* (*)(const char* dataFolder,
                                                         const char* languages);
inline constexpr const char* kMakeTesseractReaderSymbol = "kernova_make_tesseract_reader";
inline constexpr const char* kTesseractModuleFile = "libkernova_tesseract.so";

}  // namespace kernova::desktop
