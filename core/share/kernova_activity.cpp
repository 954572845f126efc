#include "share/kernova_activity.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "base/text.h"
#include "server/settings.h"
#include "support/base64_categories.h"
#include "support/escaping.h"
#include "support/json_format.h"

#ifndef KERNOVA_OCR_PROXY
#define KERNOVA_OCR_PROXY ""
#endif

namespace kernova {
namespace {

using Json = nlohmann::json;

constexpr const char* kLog = "ocr";

// The service's answer as text: its "error_msg" when it reports an
// "error_code", else each "words" of "words_result" after one blank; any
// other answer gives the empty text.
struct Recognised {
    std::string text;
    std::size_t lines = 0;
    bool serviceError = false;
};

Recognised readAnswer(const std::string& body) {
    Recognised out;
    Json json = Json::parse(body, nullptr, false);
    if (json.is_discarded() || !json.is_object()) return out;
    if (jsonMember(json, "error_code") != nullptr) {
        out.serviceError = true;
        appendJsonFormatted(out.text, jsonMember(json, "error_msg"));
        return out;
    }
    const Json* words = jsonMember(json, "words_result");
    if (words == nullptr || !words->is_array()) return out;
    for (const Json& line : *words) {
        if (!line.is_object()) continue;
        out.text += ' ';
        appendJsonFormatted(out.text, jsonMember(line, "words"));
        ++out.lines;
    }
    return out;
}

std::size_t base64Length(std::size_t bytes) {
    return (bytes + 2) / 3 * 4;
}

std::string withoutTrailingSlashes(std::string url) {
    while (url.ends_with('/'))
        url.pop_back();
    return url;
}

}  // namespace

std::shared_ptr<KernovaActivity> KernovaActivity::make(Context& context, Services services) {
    return std::shared_ptr<KernovaActivity>(new KernovaActivity(context, std::move(services)));
}

KernovaActivity::KernovaActivity(Context& context, Services services)
    : context_(context), services_(std::move(services)) {}

KernovaActivity::~KernovaActivity() {
    context_.runLoop().cancelAll(this);
}

std::string KernovaActivity::activityTypeString() {
    return "fun.quorle.KernovaActivity";
}

std::string KernovaActivity::activityTitle() const {
    return readSettings(context_).get(settings_key::kOcrMenuName);
}

std::string KernovaActivity::proxyBaseUrl() const {
    const std::string setting =
        trimWhitespaceAndNewlines(readSettings(context_).get(settings_key::kOcrProxy));
    if (isHttpUrl(setting)) return withoutTrailingSlashes(setting);
    const std::string built = KERNOVA_OCR_PROXY;
    if (isHttpUrl(built)) return withoutTrailingSlashes(built);
    return {};
}

bool KernovaActivity::usesLocalEngine() const {
    const std::string engine = readSettings(context_).get(settings_key::kOcrEngine);
    if (engine == "local") return true;
    if (engine == "web") return false;
    return proxyBaseUrl().empty();
}

void KernovaActivity::performActivity(std::function<void()> finished) {
    cancel();
    finished_ = std::move(finished);
    self_ = shared_from_this();
    if (!image_) {
        context_.log().info(kLog, "no image: nothing recognised");
        context_.runLoop().after(0, this, [this] { finish(); });
        return;
    }
    if (services_.sender) services_.sender->sendMessageName("showRunning", Value(Dictionary{}));
    if (usesLocalEngine()) {
        recogniseHere();
        return;
    }

    const SettingsSnapshot settings = readSettings(context_);
    const std::string base = proxyBaseUrl();
    if (base.empty()) {
        context_.log().info(kLog, "no OCR proxy is set (\"ocrProxy\" or the build's)");
        context_.runLoop().after(0, this, [this] {
            deliver(kProxyFailed, true);
            finish();
        });
        return;
    }
    HttpRequest request;
    if (settings.get(settings_key::kOcrApiType) == 1) {
        // The user's own keys, inserted as they are.
        request =
            httpPost(base + "/OcrApiOwn.php",
                     "{\"APIKey\": \"" + settings.get(settings_key::kApiKey) +
                         "\", \"SecretKey\":\"" + settings.get(settings_key::kSecretKey) + "\"}");
    } else {
        request = httpGet(base + "/OcrApi.php");
    }
    std::weak_ptr<KernovaActivity> weak = self_;
    task_ = context_.http().send(std::move(request), [weak](HttpResult result) {
        auto self = weak.lock();
        if (!self) return;
        self->task_.reset();
        if (const auto* error = std::get_if<HttpError>(&result)) {
            self->context_.log().info(
                kLog, "the OCR proxy failed: " + std::string(httpErrorKindName(error->kind)));
            self->deliver(kProxyFailed, true);
            self->finish();
            return;
        }
        self->performOcr(std::get<HttpResponse>(result).data);
    });
}

void KernovaActivity::performOcr(const std::string& url) {
    if (!self_) self_ = shared_from_this();
    const std::string target = isValidUtf8(url) ? trimWhitespaceAndNewlines(url) : std::string();
    if (!isHttpUrl(target)) {
        context_.log().info(
            kLog, "the OCR proxy's answer (" + std::to_string(url.size()) + " bytes) is not a URL");
        deliver(kServiceFailed, true);
        finish();
        return;
    }
    std::optional<std::string> image = jpegBase64();
    if (!image) {
        deliver(kServiceFailed, true);
        finish();
        return;
    }
    const std::string language = readSettings(context_).get(settings_key::kLanguageType);
    HttpRequest request = httpPost(
        target,
        "detect_direction=true&language_type=" + language + "&image=" + urlEncodeStr(*image),
        {{"Content-Type", "application/x-www-form-urlencoded"}});
    request.timeout = kServiceTimeout;
    std::weak_ptr<KernovaActivity> weak = self_;
    task_ = context_.http().send(
        std::move(request), [weak, host = httpHost(target)](HttpResult result) {
            auto self = weak.lock();
            if (!self) return;
            self->task_.reset();
            if (const auto* error = std::get_if<HttpError>(&result)) {
                self->context_.log().info(kLog, "the OCR service at " + host + " failed: " +
                                                    std::string(httpErrorKindName(error->kind)));
                self->deliver(kServiceFailed, true);
                self->finish();
                return;
            }
            const auto& response = std::get<HttpResponse>(result);
            Recognised answer = readAnswer(response.data);
            self->context_.log().info(
                kLog, "the OCR service at " + host + " answered status " +
                          std::to_string(response.status) + ": " +
                          (answer.serviceError
                               ? "an error of " + std::to_string(answer.text.size()) + " bytes"
                               : std::to_string(answer.lines) + " lines, " +
                                     std::to_string(answer.text.size()) + " bytes"));
            self->deliver(answer.text, false);
            self->finish();
        });
}

void KernovaActivity::recogniseHere() {
    OcrEngine* engine = context_.ocrEngine();
    if (engine == nullptr) {
        context_.log().info(kLog, "no OCR engine on this machine: nothing recognised");
        context_.runLoop().after(0, this, [this] {
            deliver({}, false);
            finish();
        });
        return;
    }
    std::vector<std::string> languages =
        tesseractLanguages(readSettings(context_).get(settings_key::kLanguageType));
    std::weak_ptr<KernovaActivity> weak = self_;
    ocrTask_ = engine->recognise(image_, std::move(languages), [weak](OcrOutcome outcome) {
        auto self = weak.lock();
        if (!self) return;
        Logger& log = self->context_.log();
        switch (outcome.kind) {
            case OcrOutcome::Kind::lines: {
                std::string text;
                for (const std::string& line : outcome.lines)
                    text += ' ' + line;
                log.info(kLog, "recognised here: " + std::to_string(outcome.lines.size()) +
                                   " lines, " + std::to_string(text.size()) + " bytes");
                self->deliver(text, false);
                break;
            }
            case OcrOutcome::Kind::missingData:
                log.info(kLog, "no OCR data installed for " + outcome.missingLanguage);
                self->deliver(missingOcrDataSentence(outcome.missingLanguage), true);
                break;
            case OcrOutcome::Kind::failure:
                log.info(kLog, "the engine here failed: nothing recognised");
                self->deliver({}, false);
                break;
        }
        self->finish();
    });
}

void KernovaActivity::cancel() {
    task_.reset();
    ocrTask_.reset();
    finished_ = {};
    context_.runLoop().cancelAll(this);
    auto keep = std::move(self_);
}

void KernovaActivity::deliver(const std::string& selection, bool failure) {
    if (copyFlag_ && !failure) {
        if (services_.setPasteboardString) services_.setPasteboardString(selection);
        context_.log().info(
            kLog, "result of " + std::to_string(selection.size()) + " bytes put on the clipboard");
        return;
    }
    Dictionary info{{"callFromResponder", Value(true)}, {"selection", Value(selection)}};
    if (!failure && image_ && services_.codec) {
        if (std::optional<Bytes> png = services_.codec->encode(*image_, ui::ImageFormat::png))
            info["image"] = Value(platformBase64Encode(*png, Base64Lines::Width64));
    }
    if (services_.sender) services_.sender->sendMessageName("notifySplode", Value(std::move(info)));
}

void KernovaActivity::finish() {
    task_.reset();
    ocrTask_.reset();
    auto done = std::move(finished_);
    finished_ = {};
    auto keep = std::move(self_);
    if (done) done();
}

std::optional<std::string> KernovaActivity::jpegBase64() const {
    if (!image_ || !services_.codec) return std::nullopt;
    for (int step = 10; step >= 0; --step) {
        const double quality = step / 10.0;
        std::optional<Bytes> jpeg =
            services_.codec->encode(*image_, ui::ImageFormat::jpeg, quality);
        if (!jpeg || jpeg->empty()) {
            context_.log().info(kLog, "the image could not be encoded as JPEG");
            return std::nullopt;
        }
        if (base64Length(jpeg->size()) <= kMaxImageBase64Bytes) {
            if (step < 10)
                context_.log().info(kLog, "JPEG quality lowered to " + std::to_string(step) +
                                              "/10 to fit the service's limit");
            return platformBase64Encode(*jpeg, Base64Lines::None);
        }
    }
    context_.log().info(kLog, "the image is too large for the service even at JPEG quality 0");
    return std::nullopt;
}

}  // namespace kernova
