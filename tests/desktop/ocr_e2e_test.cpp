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

    // Runs `kernova` with the event loop turning, so that the server answers;
    // standard input from `input` when given.
    std::pair<int, std::string> kernova(const QStringList& args, const QString& input = {}) {
        QProcess process;
        process.setProcessEnvironment(env_);
        if (!input.isEmpty()) process.setStandardInputFile(input);
        process.start(desktopCliPath(), args);
        if (!waitFor([&] { return process.state() == QProcess::NotRunning; }, 20000)) {
            process.kill();
            process.waitForFinished();
            return {-1, "did not finish"};
        }
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                process.readAllStandardError().toStdString()};
    }
    QString image(const char* name, int width, int height) {
        QImage picture(width, height, QImage::Format_RGB32);
        picture.fill(Qt::white);
        const QString path = QString::fromStdString((files / name).string());
        EXPECT_TRUE(picture.save(path));
        return path;
    }
    // The size of the image the service was last sent, after checking the form.
    QSize sentImageSize() {
        if (server.requests().empty()) return {};
        const LoopbackRequest& post = server.requests().back();
        EXPECT_TRUE(post.line.starts_with("POST /ocr ")) << post.line;
        EXPECT_TRUE(post.head.contains("Content-Type: application/x-www-form-urlencoded"));
        const QByteArray prefix = "detect_direction=true&language_type=CHN_ENG&image=";
        EXPECT_TRUE(post.body.startsWith(prefix)) << post.body.left(80).toStdString();
        const QByteArray base64 =
            QUrl::fromPercentEncoding(post.body.mid(prefix.size())).toLatin1();
        return QImage::fromData(QByteArray::fromBase64(base64)).size();
    }
    // Waits until a "doOCR" that kernovad received has an outcome that starts
    // with `outcome` (a region's outcome changes as the picker closes).
    bool waitForOcrOutcome(const QString& outcome) {
        return waitFor([&] {
            std::optional<QStringList> received = receivedMessages(desktop::sessionConnection());
            return received && !received->filter(QStringLiteral("doOCR")).filter(outcome).isEmpty();
        });
    }
    std::string shownText() {
        std::string text;
        auto s = state();
        if (s)
            for (const std::string& tag : texts((*s)["tags"]))
                text += tag;
        return text;
    }
    // Recognises `file` (through standard input with `piped`); the panel
    // opens on `expected`, and is closed again.
    void expectPanel(const QString& file, const std::string& expected, bool piped = false) {
        auto [status, err] = piped ? kernova({"ocr", "-"}, file) : kernova({"ocr", file});
        EXPECT_EQ(status, 0) << err;
        ASSERT_TRUE(waitForShown(true)) << expected;
        EXPECT_EQ(shownText(), expected);
        ASSERT_TRUE(panelHasKeyboard());
        ASSERT_TRUE(xdotool({"key", "Escape"}));
        ASSERT_TRUE(waitForShown(false));
    }
};

TEST_F(OcrEndToEnd, TheServiceGetsTheScaledImageAndThePanelItsAnswerOrTheFailure) {
    ASSERT_NE(server.port(), 0);
    ASSERT_EQ(run(desktopCliPath(), {"set", "ocrProxy", server.url("/")}).first, 0);
    const QString large = image("large.png", 6000, 3000);
    expectPanel(large, " Hello world");
    ASSERT_EQ(server.requests().size(), 2u);
    EXPECT_EQ(sentImageSize(), QSize(4096, 2048));
    // The panel's request carried the picture.
    std::optional<QStringList> received = receivedMessages(desktop::sessionConnection());
    ASSERT_TRUE(received && !received->isEmpty());
    EXPECT_TRUE(received->filter(QStringLiteral("notifySplode (3 keys)")).size() == 1)
        << received->join('\n').toStdString();

    const QString small = image("small.png", 200, 100);
    service = {200, "application/json",
               R"({"error_code":216201,"error_msg":"image format error"})"};
    expectPanel(small, "image format error", true);
    // A service that breaks the connection off in the middle of its answer.
    service = {200, "", "HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n{\"words", 0, false, true};
    expectPanel(small,
                "Connecting to the OCR api failed, please try again or wait for the api to "
                "update!");
    // An answer that is not JSON is an empty result: the panel has no text to show.
    service = {200, "text/html", "<html>busy</html>"};
    EXPECT_EQ(kernova({"ocr", small}).first, 0);
    EXPECT_TRUE(waitFor([&] {
        std::optional<QStringList> last = receivedMessages(desktop::sessionConnection());
        return last && last->back().startsWith(QStringLiteral("notifySplode"));
    }));
    EXPECT_FALSE((*state())["shown"].get<bool>());

    // No proxy listening.
    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost));
    const QString nowhere = QStringLiteral("http://127.0.0.1:%1/").arg(closed.serverPort());
    closed.close();
    ASSERT_EQ(run(desktopCliPath(), {"set", "ocrProxy", nowhere}).first, 0);
    expectPanel(small, "连接OCR api失败，请重试或等待api更新！");
}

TEST_F(OcrEndToEnd, CopyLeavesTheWordsOnTheClipboardAfterTheCommandHasGone) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    ASSERT_EQ(run(desktopCliPath(), {"set", "ocrProxy", server.url("/")}).first, 0);
    const QString file = image("copy.jpg", 5000, 100);
    auto [status, err] = kernova({"ocr", "--copy", file});
    ASSERT_EQ(status, 0) << err;
    EXPECT_TRUE(waitFor([&] { return clipboard() == " Hello world"; })) << clipboard();
    EXPECT_FALSE((*state())["shown"].get<bool>());
    EXPECT_EQ(server.requests().size(), 2u);
    EXPECT_EQ(sentImageSize(), QSize(4096, 82));

    // An image on the clipboard is recognised, and replaced by its words.
    ASSERT_EQ(run(QStringLiteral("xclip"),
                  {"-selection", "clipboard", "-t", "image/png", image("clip.png", 200, 100)})
                  .first,
              0);
    service = {200, "application/json", R"({"words_result":[{"words":"Clipped"}]})"};
    auto [fromClipboard, clipboardErr] = kernova({"ocr", "--copy", "--clipboard"});
    ASSERT_EQ(fromClipboard, 0) << clipboardErr;
    EXPECT_TRUE(waitFor([&] { return clipboard() == " Clipped"; })) << clipboard();
}

TEST_F(OcrEndToEnd, ScreenSendsTheRegionDraggedOverAWindowAndEscapeCancels) {
    ASSERT_EQ(run(desktopCliPath(), {"set", "ocrProxy", server.url("/")}).first, 0);
    // Known content: the white test window, 400 by 300 pixels at 300, 200.
    QProcess target;
    target.setProcessEnvironment(env_);
    target.start(QStringLiteral(KERNOVA_CLICK_TARGET_PATH), {});
    ASSERT_TRUE(waitFor([&] { return target.canReadLine(); }));
    const QString window = QString::fromUtf8(target.readLine()).trimmed().section(' ', 1);
    ASSERT_TRUE(xdotool({"windowmove", "--sync", window, "300", "200"}));
    ASSERT_TRUE(xdotool({"windowactivate", "--sync", window}));

    // Escape: no request, no panel.
    ASSERT_EQ(kernova({"ocr", "--screen"}).first, 0);
    ASSERT_TRUE(waitForOcrOutcome(QStringLiteral("picking a region")));
    ASSERT_TRUE(panelHasKeyboard()) << "the overlay is up";
    // Over the whole monitor under the pointer (the left one), nothing drawn yet.
    const nlohmann::json picker = (*state())["regionPicker"];
    ASSERT_TRUE(picker.is_object()) << picker.dump();
    EXPECT_EQ(picker["x"].get<double>(), 0);
    EXPECT_TRUE(picker["rectangle"].is_null());
    ASSERT_EQ(kernova({"ocr", "--screen"}).first, 0);
    ASSERT_TRUE(waitForOcrOutcome(QStringLiteral("ignored: a region is being picked")));
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    ASSERT_TRUE(waitForOcrOutcome(QStringLiteral("region picking cancelled")));
    EXPECT_FALSE((*state())["shown"].get<bool>());
    EXPECT_TRUE((*state())["regionPicker"].is_null());
    EXPECT_TRUE(server.requests().empty());

    // A drag inside the window: the service gets its pixels, the panel the words.
    ASSERT_EQ(kernova({"ocr", "--screen"}).first, 0);
    ASSERT_TRUE(waitForOcrOutcome(QStringLiteral("picking a region")));
    ASSERT_TRUE(panelHasKeyboard());
    ASSERT_TRUE(
        xdotool({"mousemove", "--sync", "350", "250", "mousedown", "1", "mousemove", "--sync",
                 "420", "300", "mousemove", "--sync", "560", "400", "mouseup", "1"}));
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(shownText(), " Hello world");
    ASSERT_EQ(server.requests().size(), 2u);
    EXPECT_EQ(sentImageSize(), QSize(210, 150));
    const QByteArray prefix = "detect_direction=true&language_type=CHN_ENG&image=";
    const QImage sent = QImage::fromData(QByteArray::fromBase64(
        QUrl::fromPercentEncoding(server.requests().back().body.mid(prefix.size())).toLatin1()));
    EXPECT_GT(qGray(sent.pixel(105, 75)), 240) << "the window's white, undimmed";
    target.closeWriteChannel();
    target.waitForFinished();
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
    ASSERT_EQ(run(desktopCliPath(), {"set", "languageType", "ENG"}).first, 0);

    auto [status, err] = kernova({"ocr", file});
    EXPECT_EQ(status, 0) << err;
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(shownText(), " Hello offline world");
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    ASSERT_TRUE(waitForShown(false));

    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    std::tie(status, err) = kernova({"ocr", "--copy", file});
    ASSERT_EQ(status, 0) << err;
    EXPECT_TRUE(waitFor([&] { return clipboard() == " Hello offline world"; }, 30000))
        << clipboard();
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(OcrEndToEnd, KernovadKeepsTheRenamedEntryInTheUserApplicationsFolder) {
    ASSERT_EQ(daemon_->terminate(), 0);
    env_.insert(QStringLiteral("XDG_DATA_HOME"), QString::fromStdString(files.path().string()));
    ASSERT_EQ(run(desktopCliPath(), {"set", "ocrMenuName", "Lire le texte"}).first, 0);
    daemon_ = std::make_unique<KernovadProcess>(env_);
    ASSERT_TRUE(daemon_->started());
    const std::filesystem::path copy = files / "applications/fun.quorle.KernovaActivity.desktop";
    EXPECT_TRUE(waitFor([&] {
        return files.read("applications/fun.quorle.KernovaActivity.desktop")
                   .find("\nName=Lire le texte\n") != std::string::npos;
    }));
    ASSERT_EQ(run(desktopCliPath(), {"set", "ocrMenuName", ""}).first, 0);
    EXPECT_TRUE(waitFor([&] { return !std::filesystem::exists(copy); }));
}

}  // namespace
}  // namespace kernova::testing
