// OCR on the desktop without a display: the images read for recognition, and the "OCR & Splode"
// desktop entry with kernovad's renamed copy of it.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>
#include <QProcess>
#include <QStandardPaths>

#include "base/context.h"
#include "desktop/qt_run_loop.h"
#include "desktop/ui/ocr_image.h"
#include "desktop_support.h"
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

TEST(OcrEntry, TheEntryAndItsRenamedCopyAreValidAndTheCopyFollowsTheSetting) {
    if (QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate")).isEmpty())
        GTEST_SKIP() << "needs desktop-file-validate (desktop-file-utils)";
    auto validate = [](const std::filesystem::path& file) {
        QProcess validator;
        validator.start(QStringLiteral("desktop-file-validate"),
                        {QString::fromStdString(file.string())});
        validator.waitForFinished(20000);
        return validator.exitCode() == 0 && validator.readAllStandardOutput().trimmed().isEmpty();
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
