// Translation from the panel. The target language is the first of the
// languages file, or picked each time ("languageSelect"); then the web page
// style opens the translation page in the panel's browser, and the alert
// style hides the panel, shows the running indicator and sends a request
// whose answer the server shows as "alertTrans".
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "base/http.h"
#include "panel/action_sheet.h"
#include "panel/tag_flow_container.h"
#include "server/settings.h"
#include "translate/engines.h"
#include "ui/application.h"
#include "ui/web_view.h"

namespace kernova {
namespace {

using translate::AnswerBody;
using translate::Engine;

// An integer setting as it stands in the file: 0 when absent.
std::int64_t storedInteger(const SettingsSnapshot& settings, Setting<std::int64_t> key) {
    return settings.stored(key).integerValue();
}

// A URL template as it stands in the file, or the built-in one.
std::string storedTemplate(const SettingsSnapshot& settings, Setting<std::string> key) {
    if (std::optional<std::string> text = settings.stored(key).stringValue()) return *text;
    return std::string(key.key().defaultString.value_or(""));
}

AnswerBody bodyOf(const HttpResult& result) {
    if (const auto* response = std::get_if<HttpResponse>(&result)) return response->data;
    return std::nullopt;
}

void sendResult(MessageSender& sender, const std::optional<std::string>& result) {
    sender.sendMessageName(
        "alertTrans",
        Value(Dictionary{{"transResult", Value(translate::resultForDialog(result))}}));
}

// Sends one request of the alert style, kept in `slot`; Baidu's busy answer
// sends it again at once, every other answer goes to the server.
void sendAlertRequest(Context& context, MessageSender& sender, std::unique_ptr<HttpTask>& slot,
                      Engine engine, const std::string& url) {
    slot = context.http().send(
        httpGet(url), [&context, &sender, &slot, engine, url](HttpResult result) {
            const AnswerBody body = bodyOf(result);
            switch (engine) {
                case Engine::google:
                    sendResult(sender, translate::googleResult(body));
                    break;
                case Engine::youdao:
                    sendResult(sender, translate::youdaoResult(body));
                    break;
                case Engine::baidu: {
                    translate::BaiduOutcome outcome = translate::baiduResult(body);
                    if (outcome.again) {
                        context.log().info("translate", "the service is busy: asked again");
                        sendAlertRequest(context, sender, slot, engine, url);
                        return;
                    }
                    sendResult(sender, outcome.result);
                    break;
                }
            }
            slot.reset();
        });
}

// A URL the web view can load: a scheme, then printable ASCII only.
bool isLoadableUrl(std::string_view url) {
    const std::size_t colon = url.find(':');
    if (colon == 0 || colon == std::string_view::npos) return false;
    for (std::size_t i = 0; i < url.size(); ++i) {
        const auto c = static_cast<unsigned char>(url[i]);
        if (c <= 0x20 || c >= 0x7F) return false;
        const bool schemeChar =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
            (i > 0 && ((c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'));
        if (i < colon && !schemeChar) return false;
    }
    return true;
}

}  // namespace

bool GTagFlowContainer::isChinese(const std::string& text) {
    return translate::isChinese(text);
}

void GTagFlowContainer::translateText(const std::string& text) {
    if (text.empty()) return;
    Context& context = application_.context();
    const SettingsSnapshot settings = readSettings(context);
    const std::int64_t style = storedInteger(settings, settings_key::kTranslateStyle);
    std::vector<std::string> languages =
        translate::readLanguages(context.paths().preferences / translate::kLanguagesFileName);
    if (storedInteger(settings, settings_key::kLanguageSelect) != 0) {
        // The sheet does not keep the panel: a panel closed meanwhile translates nothing.
        std::weak_ptr<GTagFlowContainer> weak =
            std::static_pointer_cast<GTagFlowContainer>(shared_from_this());
        showActionSheet(application_, sheetMonitor(), std::string(translate::kPickerTitle),
                        languages, "Cancel", [weak, style, languages, text](std::size_t index) {
                            auto self = weak.lock();
                            if (self && index < languages.size())
                                self->translateByStyle(style, languages[index], text);
                        });
        return;
    }
    translateByStyle(
        style, languages.empty() ? std::string(translate::kDefaultLanguage) : languages.front(),
        text);
}

void GTagFlowContainer::translateByStyle(std::int64_t style, const std::string& language,
                                         const std::string& text) {
    Context& context = application_.context();
    const SettingsSnapshot settings = readSettings(context);
    const translate::Endpoints endpoints =
        translate::Endpoints::fromEnvironment(services_.environment);
    if (style == 0) {
        prepareBrowser();
        const std::string url = endpoints.redirect(translate::webPageURL(
            storedTemplate(settings, settings_key::kTranslationService), language, text));
        context.log().info("translate", "page of " + std::to_string(url.size()) + " bytes");
        // A template that makes no URL loads nothing.
        if (isLoadableUrl(url) && webView_) webView_->loadRequest(url);
        return;
    }
    auto self = shared_from_this();
    hide();
    services_.sender.sendMessageName("showRunning", Value(Dictionary{}));
    const std::string urlTemplate = storedTemplate(settings, settings_key::kTranslationAlert);
    const Engine engine = translate::engineForTemplate(urlTemplate);
    context.log().info("translate", "alert of " + std::to_string(text.size()) + " bytes");
    if (engine == Engine::baidu) {
        baiduTrans(translate::baiduCode(language), text);
        return;
    }
    sendAlertRequest(context, services_.sender, translationSlot(), engine,
                     endpoints.redirect(translate::alertURL(urlTemplate, language, text)));
}

void GTagFlowContainer::baiduTrans(const std::string& language, const std::string& text) {
    const translate::Endpoints endpoints =
        translate::Endpoints::fromEnvironment(services_.environment);
    sendAlertRequest(application_.context(), services_.sender, translationSlot(), Engine::baidu,
                     translate::baiduURL(endpoints.baiduEndpoint(), language, text,
                                         translate::builtInBaiduAccount()));
}

void GTagFlowContainer::alertTrans(const std::optional<std::string>& result) {
    sendResult(services_.sender, result);
}

std::unique_ptr<HttpTask>& GTagFlowContainer::translationSlot() {
    return services_.translation != nullptr ? *services_.translation : ownTranslation_;
}

}  // namespace kernova
