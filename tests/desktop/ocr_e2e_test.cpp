// OCR end to end: `kernova ocr` against a loopback server that plays both the
// OCR proxy (it names the service) and the service (it checks the form and
// answers), the panel opening on the words or the failure sentences, --copy
// leaving the words on the CLIPBOARD after the command has gone, --screen
// recognising a region dragged over a window, Tesseract recognising without
// a proxy in the command and in kernovad, and kernovad renaming the desktop
// entry.
#include <QBuffer>
#include <QFont>
#include <QImage>
#include <QPainter>
#include <QUrl>

#include "e2e_fixture.h"
#include "loopback_http.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

constexpr const char* kWords = R"({"words_result":[{"words":"Hello"},{"words":"world"}]})";

class OcrEndToEnd : public PanelEndToEnd {
  protected:
    // The proxy names the service on the same server; the service answers
    // with `service` (set by each step).
    LoopbackHttpServer server{[this](const LoopbackRequest& request) {
        if (request.line.starts_with("GET /OcrApi.php "))
            return LoopbackAnswer{200, "text/plain", server.url("/ocr") + "\n"};
        return service;
    }};
    LoopbackAnswer service{200, "application/json", kWords};
    TempDir files;

    QString image(const char* name, int width, int height) {
        QImage picture(width, height, QImage::Format_RGB32);
        picture.fill(Qt::white);
        const QString path = QString::fromStdString((files / name).string());
        EXPECT_TRUE(picture.save(path));
        return path;
    }
    // The image the service was last sent, after checking the form.
    QImage sentImage() {
        if (server.requests().empty()) return {};
        const LoopbackRequest& post = server.requests().back();
        EXPECT_TRUE(post.line.starts_with("POST /ocr ")) << post.line;
        EXPECT_TRUE(post.head.contains("Content-Type: application/x-www-form-urlencoded"));
        const QByteArray prefix = "detect_direction=true&language_type=CHN_ENG&image=";
        EXPECT_TRUE(post.body.startsWith(prefix)) << post.body.left(80).toStdString();
        const QByteArray base64 =
            QUrl::fromPercentEncoding(post.body.mid(prefix.size())).toLatin1();
        return QImage::fromData(QByteArray::fromBase64(base64));
    }
    // Waits until a "doOCR" that kernovad received has an outcome that starts
    // with `outcome` (a region's outcome changes as the picker closes).
    bool waitForOcrOutcome(const QString& outcome) {
        return waitFor([&] {
            std::optional<QStringList> received = receivedMessages(desktop::sessionConnection());
            return received && !received->filter(QStringLiteral("doOCR")).filter(outcome).isEmpty();
        });
    }
    // Recognises `file` (through standard input with `piped`); the panel
    // opens on `expected`, and is closed again.
    void expectPanel(const QString& file, const std::string& expected, bool piped = false) {
        EXPECT_EQ(run(desktopCliPath(), {"ocr", piped ? "-" : file}, piped ? file : "").first, 0)
            << lastError_;
        ASSERT_TRUE(waitForShown(true)) << expected;
        EXPECT_EQ(shownText(), expected);
        ASSERT_TRUE(panelHasKeyboard());
        ASSERT_TRUE(xdotool({"key", "Escape"}));
        ASSERT_TRUE(waitForShown(false));
    }
};

// The answers and failures themselves are the simulated device's tests.
TEST_F(OcrEndToEnd, TheServiceGetsTheScaledImageAndThePanelItsAnswerOrTheFailure) {
    ASSERT_NE(server.port(), 0);
    ASSERT_TRUE(kernova({"set", "ocrProxy", server.url("/")}));
    expectPanel(image("large.png", 6000, 3000), " Hello world");
    ASSERT_EQ(server.requests().size(), 2u);
    EXPECT_EQ(sentImage().size(), QSize(4096, 2048));
    // The panel's request carried the picture.
    std::optional<QStringList> received = receivedMessages(desktop::sessionConnection());
    ASSERT_TRUE(received && !received->isEmpty());
    EXPECT_TRUE(received->filter(QStringLiteral("notifySplode (3 keys)")).size() == 1)
        << received->join('\n').toStdString();

    // From standard input, to a service that breaks the connection off in the
    // middle of its answer.
    service = {200, "", "HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n{\"words", 0, false, true};
    expectPanel(image("small.png", 200, 100),
                "Connecting to the OCR api failed, please try again or wait for the api to "
                "update!",
                true);
}

TEST_F(OcrEndToEnd, CopyLeavesTheWordsOnTheClipboardAfterTheCommandHasGone) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    ASSERT_TRUE(kernova({"set", "ocrProxy", server.url("/")}));
    ASSERT_TRUE(kernova({"ocr", "--copy", image("copy.jpg", 5000, 100)})) << lastError_;
    EXPECT_TRUE(waitFor([&] { return clipboard() == " Hello world"; })) << clipboard();
    EXPECT_FALSE((*state())["shown"].get<bool>());
    EXPECT_EQ(server.requests().size(), 2u);
    EXPECT_EQ(sentImage().size(), QSize(4096, 82));

    // An image on the clipboard is recognised, and replaced by its words.
    ASSERT_EQ(run(QStringLiteral("xclip"),
                  {"-selection", "clipboard", "-t", "image/png", image("clip.png", 200, 100)})
                  .first,
              0);
    service = {200, "application/json", R"({"words_result":[{"words":"Clipped"}]})"};
    ASSERT_TRUE(kernova({"ocr", "--copy", "--clipboard"})) << lastError_;
    EXPECT_TRUE(waitFor([&] { return clipboard() == " Clipped"; })) << clipboard();
}

TEST_F(OcrEndToEnd, ScreenSendsTheRegionDraggedOverAWindowAndEscapeCancels) {
    ASSERT_TRUE(kernova({"set", "ocrProxy", server.url("/")}));
    // Known content: the white test window, 400 by 300 pixels at 300, 200.
    ASSERT_FALSE(startTarget().isEmpty());

    // Escape: no request, no panel.
    ASSERT_TRUE(kernova({"ocr", "--screen"}));
    ASSERT_TRUE(waitForOcrOutcome(QStringLiteral("picking a region")));
    ASSERT_TRUE(panelHasKeyboard()) << "the overlay is up";
    // Over the whole monitor under the pointer (the left one), nothing drawn yet.
    const nlohmann::json picker = (*state())["regionPicker"];
    ASSERT_TRUE(picker.is_object()) << picker.dump();
    EXPECT_EQ(picker["x"].get<double>(), 0);
    EXPECT_TRUE(picker["rectangle"].is_null());
    ASSERT_TRUE(kernova({"ocr", "--screen"}));
    ASSERT_TRUE(waitForOcrOutcome(QStringLiteral("ignored: a region is being picked")));
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    ASSERT_TRUE(waitForOcrOutcome(QStringLiteral("region picking cancelled")));
    EXPECT_FALSE((*state())["shown"].get<bool>());
    EXPECT_TRUE((*state())["regionPicker"].is_null());
    EXPECT_TRUE(server.requests().empty());

    // A drag inside the window: the service gets its pixels, the panel the words.
    ASSERT_TRUE(kernova({"ocr", "--screen"}));
    ASSERT_TRUE(waitForOcrOutcome(QStringLiteral("picking a region")));
    ASSERT_TRUE(panelHasKeyboard());
    ASSERT_TRUE(
        xdotool({"mousemove", "--sync", "350", "250", "mousedown", "1", "mousemove", "--sync",
                 "420", "300", "mousemove", "--sync", "560", "400", "mouseup", "1"}));
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(shownText(), " Hello world");
    ASSERT_EQ(server.requests().size(), 2u);
    const QImage sent = sentImage();
    EXPECT_EQ(sent.size(), QSize(210, 150));
    EXPECT_GT(qGray(sent.pixel(105, 75)), 240) << "the window's white, undimmed";
}

TEST_F(OcrEndToEnd, WithoutAProxyTesseractRecognisesInTheCommandAndInKernovad) {
    QImage picture(900, 120, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    QFont font(QStringLiteral("Noto Sans CJK SC"));
    font.setPixelSize(56);
    painter.setFont(font);
    painter.drawText(30, 85, QStringLiteral("Hello offline world"));
    painter.end();
    const QString file = QString::fromStdString((files / "words.png").string());
    ASSERT_TRUE(picture.save(file));
    ASSERT_TRUE(kernova({"set", "languageType", "ENG"}));
    expectPanel(file, " Hello offline world");
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    ASSERT_TRUE(kernova({"ocr", "--copy", file})) << lastError_;
    EXPECT_TRUE(waitFor([&] { return clipboard() == " Hello offline world"; }, 30000))
        << clipboard();
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(OcrEndToEnd, KernovadKeepsTheRenamedEntryInTheUserApplicationsFolder) {
    env_.insert(QStringLiteral("XDG_DATA_HOME"), QString::fromStdString(files.path().string()));
    ASSERT_TRUE(kernova({"set", "ocrMenuName", "Lire le texte"}));
    ASSERT_TRUE(restartDaemon());
    const std::filesystem::path copy = files / "applications/fun.quorle.KernovaActivity.desktop";
    EXPECT_TRUE(waitFor([&] {
        return files.read("applications/fun.quorle.KernovaActivity.desktop")
                   .find("\nName=Lire le texte\n") != std::string::npos;
    }));
    ASSERT_TRUE(kernova({"set", "ocrMenuName", ""}));
    EXPECT_TRUE(waitFor([&] { return !std::filesystem::exists(copy); }));
}

}  // namespace
}  // namespace kernova::testing
