#include "share/ocr_engine.h"

#include <system_error>

#include "base/text.h"

namespace kernova {
namespace {

struct LanguageRow {
    std::string_view type;
    std::vector<std::string> languages;
};

const std::vector<LanguageRow>& languageTable() {
    static const std::vector<LanguageRow> table = {
        {"CHN_ENG", {"chi_sim", "eng"}},
        {"ENG", {"eng"}},
        {"JAP", {"jpn"}},
        {"KOR", {"kor"}},
        {"FRE", {"fra"}},
        {"GER", {"deu"}},
        {"ITA", {"ita"}},
        {"SPA", {"spa"}},
        {"POR", {"por"}},
        {"RUS", {"rus"}},
    };
    return table;
}

bool isCjk(char32_t c) {
    return (c >= 0x1100 && c <= 0x11FF)        // Hangul Jamo
           || (c >= 0x2E80 && c <= 0x2FDF)     // CJK and Kangxi radicals
           || (c >= 0x3005 && c <= 0x3007)     // 々 〆 〇
           || (c >= 0x3021 && c <= 0x3029)     // Hangzhou numerals
           || (c >= 0x3040 && c <= 0x30FF)     // hiragana, katakana
           || (c >= 0x3130 && c <= 0x318F)     // Hangul compatibility Jamo
           || (c >= 0x31F0 && c <= 0x31FF)     // katakana extensions
           || (c >= 0x3400 && c <= 0x4DBF)     // extension A
           || (c >= 0x4E00 && c <= 0x9FFF)     // unified ideographs
           || (c >= 0xA960 && c <= 0xA97F)     // Hangul Jamo extended A
           || (c >= 0xAC00 && c <= 0xD7FF)     // Hangul syllables, Jamo extended B
           || (c >= 0xF900 && c <= 0xFAFF)     // compatibility ideographs
           || (c >= 0xFF66 && c <= 0xFFDC)     // half-width katakana and hangul
           || (c >= 0x20000 && c <= 0x3134F);  // extensions B to G
}

}  // namespace

std::vector<std::string> tesseractLanguages(std::string_view languageType) {
    for (const LanguageRow& row : languageTable())
        if (row.type == languageType) return row.languages;
    return languageTable().front().languages;
}

std::filesystem::path tesseractDataFolder(const char* tessdataPrefix) {
    if (tessdataPrefix != nullptr && *tessdataPrefix != '\0') return tessdataPrefix;
    return kDefaultTesseractData;
}

InstalledLanguages findInstalledLanguages(const std::filesystem::path& folder,
                                          const std::vector<std::string>& languages) {
    InstalledLanguages out;
    for (const std::string& language : languages) {
        std::error_code error;
        const bool present =
            std::filesystem::is_regular_file(folder / (language + ".traineddata"), error);
        (present ? out.installed : out.missing).push_back(language);
    }
    return out;
}

std::string missingOcrDataSentence(std::string_view language) {
    std::string package(language);
    for (char& c : package)
        if (c == '_') c = '-';
    return "OCR data for " + std::string(language) +
           " is not installed: apt-get install tesseract-ocr-" + package;
}

std::string withoutBlanksBetweenCjk(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    char32_t before = 0;  // the last character other than a blank
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] != ' ') {
            std::size_t length = 0;
            before = decodeUtf8At(text, i, &length);
            out.append(text.substr(i, length));
            i += length;
            continue;
        }
        std::size_t end = text.find_first_not_of(' ', i);
        if (end == std::string_view::npos) end = text.size();
        std::size_t length = 0;
        const bool between =
            end < text.size() && isCjk(before) && isCjk(decodeUtf8At(text, end, &length));
        if (!between) out.append(text.substr(i, end - i));
        i = end;
    }
    return out;
}

}  // namespace kernova
