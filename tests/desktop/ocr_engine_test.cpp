// Tesseract as kernovad and `kernova ocr` run it, on text rendered here with
// Noto CJK: the words found, CJK lines without blanks, the data folder with
// part or none of a language set's data, and one started Tesseract kept per
// language set until a minute unused (virtual time; each recognition runs on
// the loop instead of a thread).
#include <gtest/gtest.h>

#include <QFont>
#include <QImage>
#include <QPainter>
#include <QStringList>
#include <filesystem>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/text.h"
#include "base/virtual_run_loop.h"
#include "desktop/ocr/tesseract_engine.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

// `lines` black on white, 48-pixel Noto Sans CJK SC.
std::shared_ptr<const ui::Image> rendered(const QStringList& lines) {
    QImage image(1000, 90 * static_cast<int>(lines.size()) + 60,
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    QFont font(QStringLiteral("Noto Sans CJK SC"));
    font.setPixelSize(48);
    painter.setFont(font);
    painter.setPen(Qt::black);
    for (int i = 0; i < lines.size(); ++i)
        painter.drawText(40, 90 + 90 * i, lines[i]);
    painter.end();
    ui::PixelBuffer pixels{image.width(), image.height(), {}};
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(image.constScanLine(y));
        pixels.argb.insert(pixels.argb.end(), row, row + image.width());
    }
    return ui::Image::fromPixels(std::move(pixels));
}

// Whether a blank in `line` stands between two CJK ideographs.
bool blankBetweenIdeographs(const std::string& line) {
    std::vector<char32_t> chars;
    for (std::size_t i = 0, length = 0; i < line.size(); i += length)
        chars.push_back(decodeUtf8At(line, i, &length));
    auto ideograph = [](char32_t c) { return c >= 0x4E00 && c <= 0x9FFF; };
    for (std::size_t i = 1; i + 1 < chars.size(); ++i)
        if (chars[i] == ' ' && ideograph(chars[i - 1]) && ideograph(chars[i + 1])) return true;
    return false;
}

class TesseractEngineTest : public ::testing::Test {
  protected:
    OcrOutcome recognise(const std::shared_ptr<const ui::Image>& image,
                         std::vector<std::string> languages) {
        std::optional<OcrOutcome> outcome;
        auto task = engine.recognise(image, std::move(languages),
                                     [&](OcrOutcome o) { outcome = std::move(o); });
        EXPECT_FALSE(outcome) << "answered inside the call";
        clock.runUntilIdle();
        EXPECT_TRUE(outcome);
        return outcome.value_or(OcrOutcome{});
    }
    static int wordsFound(const OcrOutcome& outcome, const std::vector<std::string>& words) {
        std::string text;
        for (const std::string& line : outcome.lines)
            text += line + "\n";
        int found = 0;
        for (const std::string& word : words)
            found += text.find(word) != std::string::npos ? 1 : 0;
        return found;
    }

    VirtualClock clock;
    VirtualRunLoop loop{clock};
    Logger log;
    std::vector<std::string> logLines;
    std::string dataPrefix;  // TESSDATA_PREFIX; empty: unset
    desktop::TesseractEngine engine{
        loop, log, [this](WorkerStep step) { return startLoopJob(loop, std::move(step)); },
        [this](const char* name) -> std::optional<std::string> {
            if (std::string(name) != "TESSDATA_PREFIX" || dataPrefix.empty()) return std::nullopt;
            return dataPrefix;
        }};
    void SetUp() override {
        log.setLevel(LogLevel::info);
        log.setSink([this](LogLevel, std::string_view line) { logLines.emplace_back(line); });
    }
};

// English words through the command and kernovad are the end-to-end tests'.
TEST_F(TesseractEngineTest, FindsChineseWordsAndKeepsOneTesseractPerLanguageSet) {
    const std::vector<std::string> chinese = {"天气", "朋友", "学校", "电脑", "音乐"};
    OcrOutcome outcome = recognise(rendered({"今天 天气 很好", "朋友 在 学校", "电脑 和 音乐"}),
                                   tesseractLanguages("CHN_ENG"));
    ASSERT_EQ(outcome.kind, OcrOutcome::Kind::lines);
    EXPECT_GE(wordsFound(outcome, chinese), 4) << ::testing::PrintToString(outcome.lines);
    for (const std::string& line : outcome.lines)
        EXPECT_FALSE(blankBetweenIdeographs(line)) << line;
    EXPECT_EQ(engine.keptReaders(), 1u);
    EXPECT_EQ(recognise(rendered({"planet"}), {"eng"}).kind, OcrOutcome::Kind::lines);
    EXPECT_EQ(engine.keptReaders(), 2u);

    // The English one, used again 30 s later, is kept 60 s from then.
    clock.advance(30);
    recognise(rendered({"planet"}), {"eng"});
    clock.advance(31);
    EXPECT_EQ(engine.keptReaders(), 1u);
    clock.advance(30);
    EXPECT_EQ(engine.keptReaders(), 0u);
}

TEST_F(TesseractEngineTest, RecognisesWithTheDataThereIsAndNamesWhatIsMissing) {
    TempDir data;
    dataPrefix = data.path().string();
    // No data at all: the first language of the set is named.
    OcrOutcome outcome = recognise(rendered({"garden"}), tesseractLanguages("CHN_ENG"));
    EXPECT_EQ(outcome.kind, OcrOutcome::Kind::missingData);
    EXPECT_EQ(outcome.missingLanguage, "chi_sim");
    EXPECT_EQ(engine.keptReaders(), 0u);

    std::filesystem::create_symlink(
        std::filesystem::path(kDefaultTesseractData) / "eng.traineddata", data / "eng.traineddata");
    outcome = recognise(rendered({"garden silver window"}), tesseractLanguages("CHN_ENG"));
    ASSERT_EQ(outcome.kind, OcrOutcome::Kind::lines);
    EXPECT_GE(wordsFound(outcome, {"garden", "silver", "window"}), 2);
    bool logged = false;
    for (const std::string& line : logLines)
        logged = logged || line.find("no OCR data for chi_sim") != std::string::npos;
    EXPECT_TRUE(logged);
    for (const std::string& line : logLines)
        EXPECT_EQ(line.find("garden"), std::string::npos) << "recognised text in the log";

    // No pixels: a failure, answered later all the same.
    outcome = recognise(ui::Image::fromPaths({10, 10}, {}), {"eng"});
    EXPECT_EQ(outcome.kind, OcrOutcome::Kind::failure);
}

}  // namespace
}  // namespace kernova::testing
