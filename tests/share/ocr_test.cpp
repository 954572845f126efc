// "OCR & Splode" on the simulated device: the two requests byte for byte for
// each "ocrApiType", what the service's answers and the failures become on
// the panel, the JPEG quality lowered to fit the service's limit, and the
// server's "doOCR", whose words go onto the clipboard, and its region picker;
// the engine on this machine (a fake one here): which engine runs, and its
// answers handed over as the web's are; the language table and the data it
// needs.

#include <cstdint>
#include <functional>
#include <optional>
#include <tuple>
#include <utility>

#include "floating/region_picker.h"
#include "server/server_fixture.h"
#include "share/kernova_activity.h"
#include "share/ocr_engine.h"
#include "support/base64_categories.h"

namespace kernova::testing {
namespace {

constexpr const char* kProxy = "http://127.0.0.1:7/ocr";
constexpr const char* kService = "http://127.0.0.1:8/recognise?token=a+b";

// PNG as the device's codec writes it; JPEG as `jpegSize(quality)` bytes of a
// pattern whose base64 holds "+", "/" and "=".
class QualityCodec final : public ui::ImageCodec {
  public:
    explicit QualityCodec(const ui::ImageCodec& png) : png_(png) {}
    std::shared_ptr<const ui::Image> decode(const Bytes& bytes) const override {
        return png_.decode(bytes);
    }
    std::optional<Bytes> encode(const ui::Image& image, ui::ImageFormat format,
                                double quality) const override {
        if (format == ui::ImageFormat::png) return png_.encode(image, format);
        qualities.push_back(quality);
        static constexpr std::uint8_t kPattern[] = {0xFB, 0xEF, 0xBE, 0xFF, 0xFF, 0xFF};
        Bytes out(jpegSize(quality));
        for (std::size_t i = 0; i < out.size(); ++i)
            out[i] = kPattern[i % sizeof kPattern];
        return out;
    }
    std::function<std::size_t(double)> jpegSize = [](double) { return std::size_t{7}; };
    mutable std::vector<double> qualities;

  private:
    const ui::ImageCodec& png_;
};

class OcrTest : public ServerFixture {
  protected:
    OcrTest() {
        set("ocrProxy", Value(std::string(kProxy) + "/ "));
        app.context().log().setLevel(LogLevel::info);
        app.context().log().setSink(
            [this](LogLevel, std::string_view line) { logLines.emplace_back(line); });
    }

    // Runs the activity in the application, as `kernova ocr` does.
    void recognise() {
        KernovaActivity::Services services{&app.messageSender(), &codec, {}};
        auto activity = KernovaActivity::make(app.context(), services);
        activity->setImage(image);
        activity->performActivity([this] { ++finished; });
        device.advance(70);
    }
    // The one "notifySplode" the server received, as selection and image.
    using Splode = std::pair<std::string, std::string>;
    Splode splode() {
        std::vector<Splode> out;
        for (const auto& delivered : device.deliveredMessages()) {
            const Value& info = delivered.message.userInfo;
            if (delivered.message.name == "notifySplode")
                out.emplace_back(info["selection"].stringValue().value_or("(none)"),
                                 info["image"].stringValue().value_or(""));
        }
        return out.size() == 1 ? out[0] : Splode{std::to_string(out.size()) + " panels", ""};
    }
    std::string imageBase64() { return pngBase64(8, 8, 0xFF00FF00, Base64Lines::Width64); }

    QualityCodec codec{device.imageCodec()};
    std::shared_ptr<const ui::Image> image =
        ui::Image::fromPixels(ui::PixelBuffer{8, 8, std::vector<std::uint32_t>(64, 0xFF00FF00)});
    int finished = 0;
};

TEST_F(OcrTest, BothRequestsGoOutByteForByteForEachApiType) {
    set("APIKey", Value("k\"1"));
    set("SecretKey", Value("s 2"));
    set("languageType", Value("ENG"));
    for (int type : {0, 1, 2}) {
        SCOPED_TRACE(type);
        set("ocrApiType", Value(type));
        device.messageCenter().clearLog();
        const std::size_t before = app.http().requests().size();
        app.http().answer(kProxy, answer(std::string(" \n") + kService + "\r\n"));
        app.http().answer(kService, answer(R"({"words_result":[{"words":"A"},{"words":"B"}]})"));
        recognise();
        ASSERT_EQ(app.http().requests().size(), before + 2);
        const HttpRequest& proxy = app.http().requests()[before].request;
        const bool own = type == 1;
        EXPECT_EQ(proxy.method, own ? HttpMethod::post : HttpMethod::get);
        EXPECT_EQ(proxy.url, std::string(kProxy) + (own ? "/OcrApiOwn.php" : "/OcrApi.php"));
        EXPECT_EQ(proxy.body, own ? R"({"APIKey": "k"1", "SecretKey":"s 2"})" : "");
        EXPECT_TRUE(proxy.headers.empty());
        const HttpRequest& service = app.http().requests()[before + 1].request;
        EXPECT_EQ(service.method, HttpMethod::post);
        EXPECT_EQ(service.url, kService);
        EXPECT_EQ(service.timeout, 60);
        EXPECT_EQ(service.headers,
                  (HttpHeaders{{"Content-Type", "application/x-www-form-urlencoded"}}));
        // Seven bytes: "++++////+w==" form-escaped.
        EXPECT_EQ(service.body,
                  "detect_direction=true&language_type=ENG&image="
                  "%2B%2B%2B%2B%2F%2F%2F%2F%2Bw%3D%3D");
        ASSERT_GE(device.deliveredMessages().size(), 2u);
        EXPECT_EQ(device.deliveredMessages()[0].message.name, "showRunning");
        // Each line after one blank; the image as PNG in 64-character lines.
        EXPECT_EQ(splode(), Splode(" A B", imageBase64()));
        EXPECT_EQ(splode().second.find("\r\n"), 64u);
        EXPECT_EQ(finished, type + 1);
    }
    ASSERT_TRUE(theServer.panel() && theServer.panel()->isShown());
    expectNotInTheLog("k\"1");
}

TEST_F(OcrTest, AnswersAndFailuresBecomeThePanelsText) {
    struct Row {
        const char* what;
        std::optional<std::string> proxy;    // absent: cannot be reached
        std::optional<std::string> service;  // absent: cannot be reached
        std::string shown;
        bool withImage;
        double serviceDelay = 0;
    };
    const std::string proxyFailed = KernovaActivity::kProxyFailed;
    const std::string serviceFailed = KernovaActivity::kServiceFailed;
    const std::vector<Row> rows = {
        {"error", kService, R"({"error_code":110,"error_msg":"Access token invalid"})",
         "Access token invalid", true},
        {"lenient", kService,
         R"({"words_result":[{"words":"A"},{"words":12},{},"x",{"words":null}]})",
         " A 12 (null) <null>", true},
        {"array", kService, "[1,2]", "", true},
        {"not json", kService, "<html>", "", true},
        {"no words", kService, R"({"words_result":"x"})", "", true},
        {"proxy down", std::nullopt, std::nullopt, proxyFailed, false},
        {"proxy not a url", "Service unavailable", std::nullopt, serviceFailed, false},
        {"proxy ftp", "ftp://127.0.0.1/x", std::nullopt, serviceFailed, false},
        {"service down", kService, std::nullopt, serviceFailed, false},
        {"service too slow", kService, "{}", serviceFailed, false, 61},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        device.messageCenter().clearLog();
        if (row.proxy) app.http().answer(kProxy, answer(*row.proxy));
        if (row.service) app.http().answer(kService, answer(*row.service), row.serviceDelay);
        recognise();
        EXPECT_EQ(splode(), Splode(row.shown, row.withImage ? imageBase64() : ""));
        EXPECT_EQ(app.http().pendingCount(), 0u);
    }
    EXPECT_EQ(finished, static_cast<int>(rows.size()));

    // No proxy for the web engine: none set, or the setting is not an http(s) URL.
    set("ocrEngine", Value("web"));
    for (const char* setting : {"", "file:///etc/passwd"}) {
        set("ocrProxy", Value(setting));
        if (!KernovaActivity::make(app.context(), {})->proxyBaseUrl().empty())
            GTEST_SKIP() << "built with an OCR proxy";
        device.messageCenter().clearLog();
        const std::size_t before = app.http().requests().size();
        recognise();
        EXPECT_EQ(app.http().requests().size(), before);
        EXPECT_EQ(splode().first, proxyFailed);
    }
    for (const char* text : {"ftp://host/", "https:// host", "https://host:8443/base", ""}) {
        std::string error;
        EXPECT_EQ(parseSettingText(settings_key::kOcrProxy.key(), text, error).has_value(),
                  std::string_view(text).starts_with("https://h") || !*text)
            << text;
    }
}

TEST_F(OcrTest, TheJpegQualityStepsDownUntilItsBase64Fits) {
    // 400,002 bytes per tenth of quality: 0.7 is the first that fits in 4 MB.
    codec.jpegSize = [](double quality) { return std::size_t(quality * 10 + 0.5) * 400002; };
    app.http().answer(kProxy, answer(kService));
    app.http().answer(kService, answer("{}"));
    recognise();
    EXPECT_EQ(codec.qualities, (std::vector<double>{1.0, 0.9, 0.8, 0.7}));
    ASSERT_EQ(app.http().requests().size(), 2u);
    const std::string& body = app.http().requests()[1].request.body;
    // 2,800,014 bytes are 3,733,352 base64 characters, all "+" and "/", escaped.
    EXPECT_EQ(
        body.size(),
        std::string("detect_direction=true&language_type=CHN_ENG&image=").size() + 3733352 * 3);

    // Too large even at quality 0: the service is not asked.
    codec.jpegSize = [](double) { return std::size_t{4000000}; };
    device.messageCenter().clearLog();
    app.http().answer(kProxy, answer(kService));
    recognise();
    EXPECT_EQ(app.http().requests().size(), 3u);
    EXPECT_EQ(splode().first, KernovaActivity::kServiceFailed);
}

TEST_F(OcrTest, DoOcrPutsTheWordsOnTheClipboardWithoutAPanel) {
    auto doOcr = [&](Value info) {
        send("doOCR", info);
        for (auto it = theServer.recentMessages().rbegin(); it != theServer.recentMessages().rend();
             ++it)
            if (it->name == "doOCR") return it->outcome;
        return std::string();
    };
    EXPECT_EQ(doOcr(Value()), "ignored: no dictionary");
    EXPECT_EQ(doOcr(Value(Dictionary{{"image", Value("bm90IGFuIGltYWdl")}})),
              "refused: the image could not be read");
    EXPECT_TRUE(server.http().requests().empty());

    device.pasteboard().setString("before");
    server.http().answer(kProxy, answer(kService), 1);
    server.http().answer(kService, answer(R"({"words_result":[{"words":"secret"}]})"), 1);
    // The words on the clipboard are proven end to end (`kernova ocr --copy`).
    EXPECT_EQ(doOcr(Value(Dictionary{{"image", Value(imageBase64())}})),
              "recognising an image of 8x8 pixels");
    device.advance(2.1);
    EXPECT_EQ(device.pasteboard().string(), " secret");
    EXPECT_FALSE(theServer.panel());
    EXPECT_TRUE(theServer.flags().usingSplode) << "the server's own write raises nothing";
    expectNotInTheLog("secret");

    // A failure still opens the panel on its sentence; the clipboard stays.
    device.advance(1);
    doOcr(Value(Dictionary{{"image", Value(imageBase64())}}));
    device.advance(1);
    EXPECT_EQ(device.pasteboard().string(), " secret");
    ASSERT_TRUE(theServer.panel() && theServer.panel()->isShown());
    EXPECT_EQ(theServer.panel()->flowView()->getAllTextstring(), KernovaActivity::kProxyFailed);
}

// The region picker over a screen whose every pixel tells its place.
class RegionPickerTest : public OcrTest {
  protected:
    RegionPickerTest() {
        // Small enough that the whole monitor goes to the service.
        ui::Screen& screen = device.services().screen;
        screen.bounds = ui::Rect(0, 0, 300, 200);
        ui::PixelBuffer pixels{static_cast<int>(screen.bounds.width() * screen.scale),
                               static_cast<int>(screen.bounds.height() * screen.scale),
                               {}};
        for (int y = 0; y < pixels.height; ++y)
            for (int x = 0; x < pixels.width; ++x)
                pixels.argb.push_back(0xFF000000u | static_cast<std::uint32_t>(y) << 12 |
                                      static_cast<std::uint32_t>(x));
        host.setScreen(ui::Image::fromPixels(std::move(pixels), screen.scale));
    }
    void scriptRecognition() {
        server.http().answer(kProxy, answer(kService));
        server.http().answer(kService, answer(R"({"words_result":[{"words":"secret"}]})"));
    }
    std::string pickScreen() {
        scriptRecognition();
        send("doOCR", Value(Dictionary{{"screen", Value(true)}}));
        return theServer.recentMessages().back().outcome;
    }
    // Presses each key, Shift held for those marked; true for Shift.
    void keys(std::initializer_list<std::pair<ui::Key, bool>> presses) {
        for (auto [which, shift] : presses)
            EXPECT_TRUE(driver.key(ui::KeyEvent{which, {}, false, shift}));
    }
    // The region the panel shows with the words, as x, y, width, height in
    // pixels; the panel is closed after.
    std::vector<int> taken() {
        device.advance(1);
        const ui::Image* shown = theServer.panel() ? theServer.panel()->image().get() : nullptr;
        const ui::PixelBuffer* pixels = shown ? shown->pixels() : nullptr;
        if (!pixels || pixels->argb.empty()) return {};
        const std::uint32_t first = pixels->argb.front();
        const std::vector<int> region{static_cast<int>(first & 0xFFF),
                                      static_cast<int>(first >> 12 & 0xFFF), pixels->width,
                                      pixels->height};
        closePanel();
        device.advance(1);
        return region;
    }
};

// A drag over a window, Escape and a second request while picking are proven
// through kernovad in tests/desktop; here the rectangle's pixels.
TEST_F(RegionPickerTest, DragsAndKeysDrawTheRectangleAndEnterTakesIt) {
    using ui::Key;
    // A click draws nothing and keeps the picker; a drag, backwards, takes its rectangle.
    EXPECT_EQ(pickScreen(), "picking a region on monitor sim (600x400 pixels)");
    driver.tap({50, 50});
    ui::Window* key = server.application().keyWindow();
    EXPECT_TRUE(key && !key->isHidden() && host.grabbedWindow() == key) << "still picking";
    driver.pan({{110, 70}, {60, 40}, {10, 20}}, 0.3);
    EXPECT_FALSE(host.grabbedWindow());
    EXPECT_EQ(taken(), (std::vector<int>{20, 40, 200, 100}));

    // Enter with nothing drawn: the whole monitor.
    pickScreen();
    keys({{Key::enter, false}});
    EXPECT_EQ(taken(), (std::vector<int>{0, 0, 600, 400}));

    // Arrows start from the whole monitor and stay inside it.
    pickScreen();
    keys({{Key::left, true},
          {Key::left, true},
          {Key::up, true},
          {Key::left, false},
          {Key::right, false},
          {Key::down, false},
          {Key::down, false},
          {Key::enter, false}});
    EXPECT_EQ(taken(), (std::vector<int>{2, 2, 596, 398}));

    // During a drag they act on the rectangle being drawn: the release keeps that.
    pickScreen();
    const ui::TouchId finger = driver.touchDown({10, 10});
    driver.touchMove(finger, {30, 20});
    driver.touchMove(finger, {50, 40});
    keys({{Key::right, false}, {Key::down, true}});
    driver.touchUp(finger, {50, 40});
    EXPECT_EQ(taken(), (std::vector<int>{22, 20, 80, 62}));
}

TEST_F(RegionPickerTest, OnlyAScreenWithoutAnImageOpensThePicker) {
    // With an image the message is an ordinary "doOCR": the words go onto the clipboard.
    scriptRecognition();
    send("doOCR", Value(Dictionary{{"screen", Value(true)}, {"image", Value(imageBase64())}}));
    device.advance(1);
    EXPECT_FALSE(host.grabbedWindow());
    EXPECT_EQ(device.pasteboard().string(), " secret");
    EXPECT_FALSE(theServer.panel());

    host.setScreen(nullptr);
    EXPECT_EQ(pickScreen(), "refused: the screen cannot be copied");
    EXPECT_FALSE(host.grabbedWindow());
}

// Answers every recognition with `outcome` one second later, as a thread would.
class FakeEngine final : public OcrEngine {
  public:
    explicit FakeEngine(RunLoop& loop) : loop_(loop) {}
    ~FakeEngine() override { loop_.cancelAll(this); }
    std::unique_ptr<OcrTask> recognise(std::shared_ptr<const ui::Image> image,
                                       std::vector<std::string> languages,
                                       std::function<void(OcrOutcome)> done) override {
        EXPECT_TRUE(image);
        asked.push_back(languages);
        const TimerId id = loop_.after(1, this, [this, done] { done(outcome); });
        struct Task final : OcrTask {
            Task(RunLoop& l, TimerId t) : loop(l), timer(t) {}
            ~Task() override { loop.cancel(timer); }
            RunLoop& loop;
            TimerId timer;
        };
        return std::make_unique<Task>(loop_, id);
    }
    OcrOutcome outcome{OcrOutcome::Kind::lines, {"A", "B"}, {}};
    std::vector<std::vector<std::string>> asked;

  private:
    RunLoop& loop_;
};

TEST_F(OcrTest, TheEngineSettingAndTheProxyChooseWhereImagesAreRecognised) {
    FakeEngine fake(app.context().runLoop());
    app.context().setOcrEngine(&fake);
    const bool builtWithProxy = [&] {
        set("ocrProxy", Value(""));
        return !KernovaActivity::make(app.context(), {})->proxyBaseUrl().empty();
    }();
    using Row = std::tuple<const char*, const char*, bool>;  // engine (or unset), proxy, local
    for (auto [engine, proxy, local] :
         {Row{nullptr, kProxy, false}, Row{nullptr, "", !builtWithProxy},
          Row{"auto", "", !builtWithProxy}, Row{"nonsense", "", !builtWithProxy},
          Row{"web", "", false}, Row{"local", kProxy, true}}) {
        SCOPED_TRACE(std::string(engine ? engine : "(unset)") + " " + proxy);
        set("ocrEngine", engine ? Value(engine) : Value());
        set("ocrProxy", Value(proxy));
        EXPECT_EQ(KernovaActivity::make(app.context(), {})->usesLocalEngine(), local);
        const std::size_t requests = app.http().requests().size();
        const std::size_t asked = fake.asked.size();
        recognise();
        EXPECT_EQ(fake.asked.size(), asked + (local ? 1 : 0));
        EXPECT_EQ(app.http().requests().size() > requests, !local && *proxy);
    }
    std::string error;
    EXPECT_FALSE(parseSettingText(settings_key::kOcrEngine.key(), "tesseract", error).has_value());
}

TEST_F(OcrTest, TheEngineHereHandsItsAnswerOverAsTheWebDoes) {
    FakeEngine engine(app.context().runLoop());
    set("ocrEngine", Value("local"));
    // No engine at all: the empty result, as an answer without words.
    recognise();
    EXPECT_EQ(splode(), Splode("", imageBase64()));

    app.context().setOcrEngine(&engine);
    struct Row {
        OcrOutcome outcome;
        const char* languageType;
        std::vector<std::string> languages;
        std::string shown;
        bool withImage;
    };
    const std::vector<Row> rows = {
        {{OcrOutcome::Kind::lines, {"A", "B"}, {}}, "ENG", {"eng"}, " A B", true},
        {{OcrOutcome::Kind::lines, {"中文识别", "Tesseract 5"}, {}},
         "CHN_ENG",
         {"chi_sim", "eng"},
         " 中文识别 Tesseract 5",
         true},
        {{OcrOutcome::Kind::lines, {}, {}}, "RUS", {"rus"}, "", true},
        {{OcrOutcome::Kind::missingData, {}, "chi_sim"},
         "nonsense",
         {"chi_sim", "eng"},
         "OCR data for chi_sim is not installed: apt-get install tesseract-ocr-chi-sim",
         false},
        {{OcrOutcome::Kind::failure, {}, {}}, "JAP", {"jpn"}, "", true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.shown);
        device.messageCenter().clearLog();
        engine.outcome = row.outcome;
        set("languageType", Value(row.languageType));
        recognise();
        EXPECT_EQ(engine.asked.back(), row.languages);
        ASSERT_EQ(device.deliveredMessages().size(), 2u);
        EXPECT_EQ(device.deliveredMessages()[0].message.name, "showRunning");
        EXPECT_EQ(splode(), Splode(row.shown, row.withImage ? imageBase64() : ""));
    }
    EXPECT_EQ(finished, static_cast<int>(rows.size()) + 1);
    EXPECT_TRUE(app.http().requests().empty());
}

TEST(OcrLanguages, LanguageTypesDataFolderAndCjkBlanks) {
    const std::vector<std::pair<const char*, std::vector<std::string>>> table = {
        {"CHN_ENG", {"chi_sim", "eng"}},
        {"FRE", {"fra"}},
        {"GER", {"deu"}},
        {"eng", {"chi_sim", "eng"}},
    };
    for (const auto& [type, languages] : table)
        EXPECT_EQ(tesseractLanguages(type), languages) << type;

    // The data folder's contents are the engine's test in tests/desktop.
    EXPECT_EQ(tesseractDataFolder(nullptr), kDefaultTesseractData);
    EXPECT_EQ(tesseractDataFolder(""), kDefaultTesseractData);
    EXPECT_EQ(tesseractDataFolder("/data"), "/data");

    const std::vector<std::pair<std::string, std::string>> blanks = {
        {"中 文 识 别", "中文识别"},
        {"日本 語の テキスト", "日本語のテキスト"},
        {"한국어  문장", "한국어문장"},
        {"中文 OCR 识别 2 号", "中文 OCR 识别 2 号"},
        {"word  中 文, 与 a", "word  中文, 与 a"},
        {" 中 ", " 中 "},
        {"中 ÿ 文", "中 ÿ 文"},
    };
    for (const auto& [in, out] : blanks)
        EXPECT_EQ(withoutBlanksBetweenCjk(in), out) << in;
}

}  // namespace
}  // namespace kernova::testing
