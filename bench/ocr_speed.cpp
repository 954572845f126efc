// The engine here on one image, for bench/ocr_speed.sh:
//   kernova-bench-ocr render OUT.png       a 1920 × 1080 page of Chinese and English text
//   kernova-bench-ocr cold IMAGE LANGS     one recognition in this process, engine start included
//   kernova-bench-ocr warm IMAGE LANGS N   wall and CPU seconds per image over N more with
//                                          the engine kept
// Each recognition runs as kernovad runs it (TesseractEngine, the module
// loaded on first use), here on the calling thread.
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QString>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/virtual_run_loop.h"
#include "desktop/ocr/tesseract_engine.h"

namespace {

using namespace kernova;

int render(const char* out) {
    QImage image(1920, 1080, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    QFont font(QStringLiteral("Noto Sans CJK SC"));
    font.setPixelSize(30);
    painter.setFont(font);
    painter.setPen(Qt::black);
    const QString lines[] = {
        QStringLiteral("Kernova splits a selected text into word tags on a floating panel."),
        QStringLiteral("选中或复制任意文字，Kernova 会把它拆分成词语标签。"),
        QStringLiteral("Pick tags by tapping or sliding across them, then copy or search."),
        QStringLiteral("识别图片中的文字，然后在面板上打开识别出的词语。"),
        QStringLiteral("The engine on this machine works offline, without any proxy."),
        QStringLiteral("今天天气很好，我们和朋友一起去学校听音乐。"),
    };
    int y = 70;
    for (std::size_t i = 0; y < 1060; ++i, y += 56)
        painter.drawText(60, y, lines[i % std::size(lines)]);
    painter.end();
    return image.save(QString::fromLocal8Bit(out), "PNG") ? 0 : 1;
}

std::shared_ptr<const ui::Image> load(const char* path) {
    QImage image(QString::fromLocal8Bit(path));
    if (image.isNull()) return nullptr;
    image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    ui::PixelBuffer pixels{image.width(), image.height(), {}};
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(image.constScanLine(y));
        pixels.argb.insert(pixels.argb.end(), row, row + image.width());
    }
    return ui::Image::fromPixels(std::move(pixels));
}

std::vector<std::string> split(const std::string& languages) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (std::size_t plus; (plus = languages.find('+', start)) != std::string::npos;
         start = plus + 1)
        out.push_back(languages.substr(start, plus - start));
    out.push_back(languages.substr(start));
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QGuiApplication app(argc, argv);
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "render" && argc == 3) return render(argv[2]);
    if ((mode != "cold" || argc != 4) && (mode != "warm" || argc != 5)) {
        std::fprintf(stderr,
                     "usage: kernova-bench-ocr render OUT.png | cold IMAGE LANGS | "
                     "warm IMAGE LANGS N\n");
        return 2;
    }
    const auto image = load(argv[2]);
    if (!image) return 1;
    VirtualClock clock;
    VirtualRunLoop loop(clock);
    Logger log;
    desktop::TesseractEngine engine(
        loop, log, [&](WorkerStep step) { return startLoopJob(loop, std::move(step)); });
    std::size_t lines = 0;
    auto once = [&] {
        bool ok = false;
        auto task = engine.recognise(image, split(argv[3]), [&](OcrOutcome outcome) {
            ok = outcome.kind == OcrOutcome::Kind::lines;
            lines = outcome.lines.size();
        });
        clock.runUntilIdle();
        return ok;
    };
    if (!once()) return 1;
    if (mode == "cold") {
        std::printf("%zu lines\n", lines);
        return 0;
    }
    const int n = std::max(1, std::atoi(argv[4]));
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t cpuStart = std::clock();
    for (int i = 0; i < n; ++i)
        if (!once()) return 1;
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    const double cpu = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
    std::printf("%.3f %.3f\n", took.count() / n, cpu / n);
    return 0;
}
