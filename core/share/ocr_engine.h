// A recognition engine on this machine (Tesseract on the desktop), which the
// OCR activity uses instead of the web service when "ocrEngine" says so. The
// engine answers later, on the run loop, with the lines it found, the first
// language whose data is missing, or a failure. Also here: the language table
// ("languageType" to Tesseract's codes), which of them have data installed,
// and the sentence for missing data.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ui/image.h"

namespace kernova {

struct OcrOutcome {
    enum class Kind {
        lines,        // recognised: `lines`, top to bottom (maybe none)
        missingData,  // no data for any language asked: `missingLanguage`
        failure,      // anything else went wrong
    };
    Kind kind = Kind::failure;
    std::vector<std::string> lines;
    std::string missingLanguage;  // Tesseract's code, "chi_sim"
};

// A recognition under way; destroying it drops its answer.
class OcrTask {
  public:
    virtual ~OcrTask() = default;
};

class OcrEngine {
  public:
    virtual ~OcrEngine() = default;
    // Recognises the image's text in `languages` (Tesseract codes, the first
    // the main one). `done` runs once, later, on the run loop (never inside
    // this call), unless the task is destroyed first; `done` may destroy it.
    virtual std::unique_ptr<OcrTask> recognise(std::shared_ptr<const ui::Image> image,
                                               std::vector<std::string> languages,
                                               std::function<void(OcrOutcome)> done) = 0;
};

// "languageType" as Tesseract languages: CHN_ENG → chi_sim, eng; ENG → eng;
// JAP → jpn; KOR → kor; FRE → fra; GER → deu; ITA → ita; SPA → spa; POR →
// por; RUS → rus; anything else as CHN_ENG.
std::vector<std::string> tesseractLanguages(std::string_view languageType);
// Where Tesseract's data lies: `TESSDATA_PREFIX` when set, else the data
// folder of Debian's Tesseract 5.
std::filesystem::path tesseractDataFolder(const char* tessdataPrefix);
inline constexpr const char* kDefaultTesseractData = "/usr/share/tesseract-ocr/5/tessdata";

struct InstalledLanguages {
    std::vector<std::string> installed;  // in the order asked
    std::vector<std::string> missing;    // in the order asked
};
// Splits `languages` by whether <language>.traineddata is in `folder`.
InstalledLanguages findInstalledLanguages(const std::filesystem::path& folder,
                                          const std::vector<std::string>& languages);

// "OCR data for chi_sim is not installed: apt-get install tesseract-ocr-chi-sim"
std::string missingOcrDataSentence(std::string_view language);

// `text` without the blanks that stand between two CJK characters (ideographs,
// kana, hangul); every other blank stays.
std::string withoutBlanksBetweenCjk(std::string_view text);

}  // namespace kernova
