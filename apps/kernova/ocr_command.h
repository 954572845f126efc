// `kernova ocr`: recognises the words of one image, as the "OCR & Splode"
// entry of the file managers' "Open With" menu does. The image comes from a
// file, standard input or the clipboard; the words open the panel, or with
// --copy, kernovad recognises them itself and puts them on the clipboard
// (this command does not live long enough to keep an X11 selection). With
// --screen kernovad lets the user pick a region of the screen to recognise.
#pragma once

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kernova::cli {

inline constexpr std::string_view kOcrUsage =
    "usage: kernova ocr [--copy] FILE | - | --clipboard | --screen\n"
    "  FILE         an image file: PNG, JPEG, WebP, BMP, GIF (first frame), TIFF...\n"
    "  -            read the image from standard input\n"
    "  --clipboard  the image on the clipboard\n"
    "  --screen     a region of the screen, picked with the mouse or the keys\n"
    "  --copy       put the words on the clipboard instead of opening the panel";

inline constexpr std::string_view kOcrHelp =
    "The image is recognised by Tesseract here, or sent to the OCR service named\n"
    "by the OCR proxy (\"ocrProxy\") as \"ocrEngine\" says (auto: the web while a\n"
    "proxy is set), and the words found (or why none were) open the panel.\n"
    "Images over 100 megapixels are refused; larger ones than 4096 pixels on\n"
    "their longest side are scaled down first. Of several FILEs only the first\n"
    "is read.\n"
    "With --screen kernovad shows the monitor under the pointer, frozen: drag a\n"
    "rectangle (its release takes it), or press Enter for the rectangle or the\n"
    "whole monitor; the arrow keys move the rectangle, Shift+arrows resize it,\n"
    "Escape cancels. The region's words open the panel.\n"
    "Exit status: 0 once the words or a failure sentence are handed on, 1 when\n"
    "the image cannot be read or kernovad cannot be reached, 2 for bad arguments.\n";

struct OcrOptions {
    enum class Source { file, standardInput, clipboard, screen };
    Source source = Source::file;
    std::string file;                  // for Source::file
    std::vector<std::string> ignored;  // further FILEs
    bool copy = false;
    bool help = false;
};

struct OcrParse {
    std::optional<OcrOptions> options;
    std::string error;  // set when options is absent
};

OcrParse parseOcrArguments(std::span<const std::string> args);

int runOcr(std::span<const std::string> args, std::istream& in, std::ostream& out,
           std::ostream& err);

}  // namespace kernova::cli
