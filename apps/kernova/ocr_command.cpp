#include "kernova/ocr_command.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <cstdlib>
#include <ostream>

#include "base/context.h"
#include "base/paths.h"
#include "desktop/curl_http_client.h"
#include "desktop/dbus_messaging.h"
#include "desktop/desktop_paths.h"
#include "desktop/ocr/tesseract_engine.h"
#include "desktop/qt_run_loop.h"
#include "desktop/ui/ocr_image.h"
#include "desktop/ui/qt_image_codec.h"
#include "kernova/bus_client.h"
#include "kernova/cli.h"
#include "share/kernova_activity.h"

namespace kernova::cli {
namespace {

constexpr Option kOcrOptions[] = {{"--copy"}, {"--clipboard"}, {"--screen"}};

// The most read from standard input: more than a 100-megapixel PNG needs.
constexpr std::size_t kMaxImageInputBytes = std::size_t{256} << 20;
// The most base64 the image of "doOCR" takes on the bus.
constexpr qsizetype kMaxBusImageBase64 = qsizetype{8} << 20;

bool hasEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

// The clipboard's image: its encoded data when the owner offers a format Qt
// reads (checked like a file), else the image Qt makes of it.
desktop::OcrImage imageOnClipboard() {
    QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* data = clipboard != nullptr ? clipboard->mimeData() : nullptr;
    if (data == nullptr) return {{}, {}, "cannot be read"};
    for (const QString& format : data->formats()) {
        if (!format.startsWith(QLatin1String("image/"))) continue;
        desktop::OcrImage image = desktop::readOcrImage(data->data(format));
        if (image.ok()) return image;
    }
    if (data->hasImage()) {
        QImage image = qvariant_cast<QImage>(data->imageData());
        if (!image.isNull()) return {desktop::scaledForOcr(image), image.size(), {}};
    }
    return {{}, {}, "no image on it"};
}

// Reads the clipboard on the session's display, with a Qt application of its
// own that is gone again when this returns.
desktop::OcrImage readClipboardImage() {
    if (QCoreApplication::instance() != nullptr) {
        if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr)
            return imageOnClipboard();
        return {{}, {}, "no display connection in this process"};
    }
    const bool fallback = !hasEnvironment("QT_QPA_PLATFORM");
    if (fallback) {
        if (!hasEnvironment("DISPLAY")) return {{}, {}, "no display (DISPLAY is not set)"};
        ::setenv("QT_QPA_PLATFORM", "xcb;offscreen", 1);
    }
    int argc = 1;
    char arg0[] = "kernova";
    char* argv[] = {arg0, nullptr};
    QGuiApplication app(argc, argv);
    if (fallback && QGuiApplication::platformName() == QLatin1String("offscreen"))
        return {{}, {}, "cannot connect to the display " + std::string(std::getenv("DISPLAY"))};
    return imageOnClipboard();
}

desktop::OcrImage readImage(const OcrOptions& options, std::istream& in) {
    switch (options.source) {
        case OcrOptions::Source::clipboard:
            return readClipboardImage();
        case OcrOptions::Source::standardInput: {
            std::optional<std::string> bytes = readLimited(in, kMaxImageInputBytes);
            if (!bytes) return {{}, {}, "more than 256 MiB"};
            return desktop::readOcrImage(
                QByteArray(bytes->data(), static_cast<qsizetype>(bytes->size())));
        }
        case OcrOptions::Source::file:
        case OcrOptions::Source::screen:
            break;
    }
    QFile file(QString::fromStdString(options.file));
    if (!file.open(QIODevice::ReadOnly))
        return {{}, {}, "cannot open it: " + file.errorString().toStdString()};
    return desktop::readOcrImage(file);
}

// The image for "doOCR": PNG, or JPEG of lower and lower quality while its
// base64 would be larger than the bus should carry.
QByteArray busImageBase64(const ui::Image& image, const desktop::QtImageCodec& codec) {
    QByteArray base64;
    for (int step = 0; step <= 10; ++step) {
        std::optional<Bytes> encoded =
            step == 0 ? codec.encode(image, ui::ImageFormat::png)
                      : codec.encode(image, ui::ImageFormat::jpeg, 1.0 - 0.1 * (step - 1));
        if (!encoded) continue;
        base64 = QByteArray(reinterpret_cast<const char*>(encoded->data()),
                            static_cast<qsizetype>(encoded->size()))
                     .toBase64();
        if (base64.size() <= kMaxBusImageBase64) break;
    }
    return base64;
}

// Runs the recognition here: the words go to kernovad as "notifySplode".
int recognise(std::shared_ptr<const ui::Image> image, std::ostream& err) {
    int argc = 1;
    char arg0[] = "kernova";
    char* argv[] = {arg0, nullptr};
    std::optional<QCoreApplication> app;
    if (QCoreApplication::instance() == nullptr) app.emplace(argc, argv);

    desktop::DBusMessageSender sender(desktop::sessionConnection());
    if (!openMessageCenter(sender, "kernova ocr", err)) return 1;
    const EnvironmentLookup env = processEnvironment();
    desktop::QtRunLoop runLoop;
    InProcessSystemNotifications notifications;
    Context context(
        runLoop, notifications,
        Paths{preferencesDirectory(env), bundleDirectory(env, desktop::dataDirectory())});
    context.log().setProgram("kernova");
    context.log().configure(env);
    desktop::CurlHttpClient http(runLoop, context.log());
    context.setHttp(&http);
    desktop::TesseractEngine engine(runLoop, context.log(), startThreadJob, env);
    context.setOcrEngine(&engine);
    desktop::QtImageCodec codec;

    std::shared_ptr<KernovaActivity> activity =
        KernovaActivity::make(context, {&sender, &codec, [](const std::string&) {}});
    activity->setImage(std::move(image));
    QEventLoop loop;
    bool finished = false;
    activity->performActivity([&] {
        finished = true;
        loop.quit();
    });
    if (!finished) loop.exec();
    activity.reset();
    if (!sender.flush()) {
        err << "kernova ocr: the session bus went away while sending\n";
        return 1;
    }
    return 0;
}

}  // namespace

OcrParse parseOcrArguments(std::span<const std::string> args) {
    ArgumentsParse parsed = parseArguments(args, kOcrOptions);
    if (!parsed.arguments) return {std::nullopt, parsed.error};
    const Arguments& a = *parsed.arguments;
    OcrOptions options;
    options.help = a.help;
    options.copy = a.has("--copy");
    if (options.help) return {options, {}};
    if (a.has("--screen")) {
        if (a.has("--clipboard") || !a.operands.empty() || options.copy)
            return {std::nullopt, "--screen takes no FILE, --clipboard or --copy"};
        options.source = OcrOptions::Source::screen;
        return {options, {}};
    }
    if (a.has("--clipboard")) {
        if (!a.operands.empty()) return {std::nullopt, "--clipboard takes no FILE"};
        options.source = OcrOptions::Source::clipboard;
        return {options, {}};
    }
    if (a.operands.empty()) return {std::nullopt, "missing FILE, - or --clipboard"};
    if (a.operands[0] == "-") {
        options.source = OcrOptions::Source::standardInput;
    } else {
        options.file = a.operands[0];
    }
    options.ignored.assign(a.operands.begin() + 1, a.operands.end());
    return {options, {}};
}

int runOcr(std::span<const std::string> args, std::istream& in, std::ostream& out,
           std::ostream& err) {
    OcrParse parse = parseOcrArguments(args);
    if (auto status = endsBeforeRunning(parse, "ocr", kOcrUsage, kOcrHelp, out, err))
        return *status;
    const OcrOptions& options = *parse.options;
    for (const std::string& file : options.ignored)
        err << "kernova ocr: one image at a time; " << file << " is ignored\n";
    // kernovad copies the screen and lets the user pick the region.
    if (options.source == OcrOptions::Source::screen)
        return deliverMessage("doOCR", Value(Dictionary{{"screen", Value(true)}}), err);

    desktop::OcrImage loaded = readImage(options, in);
    if (!loaded.ok()) {
        const std::string source = options.source == OcrOptions::Source::file ? options.file
                                   : options.source == OcrOptions::Source::clipboard
                                       ? "the clipboard"
                                       : "standard input";
        err << "kernova ocr: " << source << ": " << loaded.error << '\n';
        return 1;
    }
    std::shared_ptr<const ui::Image> image = desktop::fromQImage(loaded.image);
    if (!options.copy) return recognise(std::move(image), err);

    // kernovad recognises the image itself and keeps the clipboard.
    const desktop::QtImageCodec codec;
    const QByteArray base64 = busImageBase64(*image, codec);
    if (base64.isEmpty()) {
        err << "kernova ocr: the image cannot be encoded\n";
        return 1;
    }
    return deliverMessage("doOCR", Value(Dictionary{{"image", Value(base64.toStdString())}}), err);
}

}  // namespace kernova::cli
