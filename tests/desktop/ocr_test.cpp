// OCR on the desktop without a display: the images `kernova ocr` reads or
// refuses, its arguments, and the "OCR & Splode" desktop entry with kernovad's
// renamed copy of it.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>
#include <QStandardPaths>
#include <sstream>

#include "base/context.h"
#include "desktop/qt_run_loop.h"
#include "desktop/ui/ocr_image.h"
#include "desktop_support.h"
#include "kernova/ocr_command.h"
#include "kernovad/ocr_entry.h"
#include "server/settings.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

QByteArray encoded(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format)) << format;
    return bytes;
}

QImage filled(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    return image;
}

struct OcrRun {
    int status;
    std::string err;
};

OcrRun runOcrWith(std::vector<std::string> args, const std::string& input = {}) {
    std::istringstream in(input);
    std::ostringstream out, err;
    int status = cli::runOcr(args, in, out, err);
    return {status, err.str()};
}

TEST(OcrImages, EveryFormatIsReadAndLargeOnesAreScaledToTheLongestSideLimit) {
    for (const char* format : {"png", "jpeg", "webp", "bmp", "tiff"}) {
        desktop::OcrImage image = desktop::readOcrImage(encoded(filled(300, 200), format));
        ASSERT_TRUE(image.ok()) << format << ": " << image.error;
        EXPECT_EQ(image.image.size(), QSize(300, 200)) << format;
    }
    // Qt writes no GIF: a 2 x 1 one of our own, the first frame of an animation.
    const QByteArray gif = QByteArray::fromHex(
        "47494638396102000100800000000000ffffff21f90408000000002c0000000002000100000202440a003b");
    desktop::OcrImage first = desktop::readOcrImage(gif);
    ASSERT_TRUE(first.ok()) << first.error;
    EXPECT_EQ(first.image.size(), QSize(2, 1));

    // PNG is scaled after decoding, JPEG while decoding; a tall one keeps its
    // proportions too.
    EXPECT_EQ(desktop::readOcrImage(encoded(filled(5000, 2000), "png")).image.size(),
              QSize(4096, 1638));
    EXPECT_EQ(desktop::readOcrImage(encoded(filled(3000, 6000), "jpeg")).image.size(),
              QSize(2048, 4096));
}

TEST(OcrCommand, BadImagesAndArgumentsAreRefusedWithTheirStatus) {
    TempDir dir;
    const QByteArray png = encoded(filled(400, 300), "png");
    const QByteArray jpeg = encoded(filled(400, 300), "jpeg");
    const QByteArray bmp = encoded(filled(400, 300), "bmp");
    // A JPEG whose header names 20000 x 20000 pixels: refused before decoding.
    QByteArray huge = jpeg;
    const qsizetype frame = huge.indexOf("\xff\xc0");
    ASSERT_GT(frame, 0);
    for (qsizetype at : {frame + 5, frame + 7}) {
        huge[at] = static_cast<char>(20000 >> 8);
        huge[at + 1] = static_cast<char>(20000 & 0xff);
    }
    const std::pair<std::string, std::string> bad[] = {
        {dir.write("empty.png", "").string(), "it is empty (0 bytes)"},
        {dir.write("cut.png", png.left(png.size() / 2).toStdString()).string(), "damaged"},
        {dir.write("cut.jpg", jpeg.left(jpeg.size() / 2).toStdString()).string(), "damaged"},
        {dir.write("cut.bmp", bmp.left(bmp.size() / 2).toStdString()).string(), "damaged"},
        {dir.write("notes.png", "Just some notes, not a picture.\n").string(), "not an image"},
        {dir.write("huge.jpg", huge.toStdString()).string(), "20000 x 20000 pixels"},
        {(dir / "missing.png").string(), "cannot open it"},
        {dir.path().string(), "cannot open it"},
    };
    for (const auto& [file, reason] : bad) {
        OcrRun run = runOcrWith({file});
        EXPECT_EQ(run.status, 1) << file;
        EXPECT_NE(run.err.find("kernova ocr: " + file + ": "), std::string::npos) << run.err;
        EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
    }
    // Standard input the same way; the files after the first are named as ignored.
    OcrRun piped = runOcrWith({"-", "b.png", "c.png"}, "GIF89a");
    EXPECT_EQ(piped.status, 1);
    EXPECT_NE(piped.err.find("b.png is ignored"), std::string::npos) << piped.err;
    EXPECT_NE(piped.err.find("c.png is ignored"), std::string::npos) << piped.err;
    EXPECT_NE(piped.err.find("standard input: "), std::string::npos) << piped.err;

    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{},
                                               {"--copy"},
                                               {"--clipboard", "a.png"},
                                               {"--frobnicate", "a.png"},
                                               {"--screen", "a.png"},
                                               {"--screen", "--copy"},
                                               {"--screen", "--clipboard"}}) {
        OcrRun run = runOcrWith(args);
        EXPECT_EQ(run.status, 2) << run.err;
        EXPECT_NE(run.err.find("usage: kernova ocr"), std::string::npos) << run.err;
    }
}

TEST(OcrEntry, TheEntryAndItsRenamedCopyAreValidAndTheCopyFollowsTheSetting) {
    if (QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate")).isEmpty())
        GTEST_SKIP() << "needs desktop-file-validate (desktop-file-utils)";
    auto validate = [](const std::filesystem::path& file) {
        ProgramRun run = runProgram(QStringLiteral("desktop-file-validate"),
                                    {QString::fromStdString(file.string())});
        return run.status == 0 && run.out.empty();
    };
    const std::filesystem::path installed = KERNOVA_OCR_ENTRY_PATH;
    ASSERT_TRUE(validate(installed));

    TempDir dir;
    desktop::QtRunLoop runLoop;
    InProcessSystemNotifications notifications;
    Context context(runLoop, notifications, Paths{dir / "prefs", dir / "bundle"});
    const std::filesystem::path copy = dir / "applications" / daemon::kOcrEntryFileName;
    auto setName = [&](const char* name) {
        ASSERT_TRUE(writeSetting(context, *findSettingKey("ocrMenuName"), Value(name)).ok);
    };
    setName("Texte \\ reconnu\n ");
    daemon::OcrEntryName entry(context, installed, dir / "applications");
    ASSERT_TRUE(std::filesystem::exists(copy));
    const std::string text = dir.read("applications/fun.quorle.KernovaActivity.desktop");
    EXPECT_NE(text.find("\nName=Texte \\\\ reconnu  \n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nExec=kernova ocr %f\n"), std::string::npos) << text;
    EXPECT_TRUE(validate(copy));

    // The notification renames it at once; a change of the folder alone too.
    setName(" 识字");
    notifications.post(kReloadPreferencesNotification);
    EXPECT_NE(dir.read("applications/fun.quorle.KernovaActivity.desktop").find("\nName=\\s识字\n"),
              std::string::npos);
    setName("");
    EXPECT_TRUE(waitFor([&] { return !std::filesystem::exists(copy); }));
    // A file the user put there is theirs.
    dir.write("applications/fun.quorle.KernovaActivity.desktop", "[Desktop Entry]\n");
    entry.update();
    EXPECT_TRUE(std::filesystem::exists(copy));
}

}  // namespace
}  // namespace kernova::testing
