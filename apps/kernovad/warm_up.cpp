#include "kernovad/warm_up.h"

#include <fontconfig/fontconfig.h>
#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QImage>
#include <memory>

namespace kernova::daemon {
namespace {

// Latin and Han: the Han text loads ICU's dictionary for Chinese and Japanese
// words, and Qt's fallback fonts for ideographs.
constexpr const char16_t* kSample = u"Warm 把文字拆成词";

void warmWordBreaking(const std::string& locale) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> words(
        icu::BreakIterator::createWordInstance(icu::Locale(locale.c_str()), status));
    if (U_FAILURE(status) || !words) return;
    words->setText(icu::UnicodeString(kSample));
    while (words->next() != icu::BreakIterator::DONE) {
    }
}

void warmFontsNow() {
    QFontDatabase::families();
    const QImage device(1, 1, QImage::Format_ARGB32_Premultiplied);
    const QFontMetricsF metrics(QFontDatabase::systemFont(QFontDatabase::GeneralFont), &device);
    (void)metrics.horizontalAdvance(QString::fromUtf16(kSample));
}

}  // namespace

StartupWarmUp::StartupWarmUp(std::string locale)
    : early_([locale = std::move(locale)] {
          FcInit();
          warmWordBreaking(locale);
      }) {}

StartupWarmUp::~StartupWarmUp() {
    if (early_.joinable()) early_.join();
}

std::jthread StartupWarmUp::warmFonts() {
    // Qt fills its font database from fontconfig: the early thread first.
    if (early_.joinable()) early_.join();
    return std::jthread(warmFontsNow);
}

}  // namespace kernova::daemon
