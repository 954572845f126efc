#include "sim/sim_services.h"

#include <algorithm>
#include <cctype>

#include "sim/device.h"
#include "ui/application.h"

namespace kernova::sim {

void SimPresenter::present(const std::shared_ptr<ui::ViewController>& controller,
                           ui::Window* window) {
    if (!controller) return;
    Presentation p{controller, window, loop_.now()};
    presented_.push_back(p);
    history_.push_back(std::move(p));
}

void SimPresenter::dismiss(ui::ViewController& controller) {
    auto it = std::find_if(presented_.begin(), presented_.end(), [&](const Presentation& p) {
        return p.controller.get() == &controller;
    });
    if (it == presented_.end()) return;
    ++dismissCount_;
    // Keep the controller alive until the caller is done with it.
    std::shared_ptr<ui::ViewController> keep = it->controller;
    presented_.erase(it);
    loop_.post([keep] {});
}

void SimKeyboard::insertText(const std::string& text) {
    if (focused_) inserted_.push_back(text);
}

void SimKeyboard::dismiss() {
    ++dismissCount_;
    focused_ = false;
    state_ = 0;
}

namespace {

// The scheme of `url` in lower case; empty when it has none.
std::string schemeOf(const std::string& url) {
    auto colon = url.find(':');
    if (colon == std::string::npos || colon == 0) return {};
    std::string scheme = url.substr(0, colon);
    for (char& c : scheme) {
        bool ok = std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.';
        if (!ok) return {};
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return scheme;
}

}  // namespace

bool SimUrlOpener::canOpenURL(const std::string& url) const {
    std::string scheme = schemeOf(url);
    return !scheme.empty() && schemes_.count(scheme) != 0;
}

bool SimUrlOpener::openURL(const std::string& url) {
    bool ok = canOpenURL(url);
    (ok ? opened_ : refused_).push_back(url);
    return ok;
}

SimWebViewBacking::SimWebViewBacking(ui::WebView& view, std::shared_ptr<Registry> registry)
    : view_(view), registry_(std::move(registry)) {
    registry_->push_back(this);
}

SimWebViewBacking::~SimWebViewBacking() {
    std::erase(*registry_, this);
}

void SimWebViewBacking::load(const std::string& url) {
    loads_.push_back(url);
    view_.backingDidCommitURL(url);
}

ProcessServices::ProcessServices(SimProcess& process)
    : process_(process),
      presenter_(process.runLoop()),
      platform_{process.device().textMeasurer(),
                process.device().imageCodec(),
                process.device().pasteboard(),
                presenter_,
                [registry = webViews_](ui::WebView& view) -> std::unique_ptr<ui::WebViewBacking> {
                    return std::make_unique<SimWebViewBacking>(view, registry);
                },
                haptic_,
                process.device().services().keyboard,
                process.device().services().appearance,
                urlOpener_,
                process.device().services().screen} {}

ProcessServices::~ProcessServices() = default;

std::shared_ptr<ui::Application> ProcessServices::makeApplication() {
    auto app = std::make_shared<ui::Application>(process_.context(), platform_,
                                                 process_.bundleIdentifier());
    app->setFrontmostApplication(process_.device().frontmostApplication(),
                                 ui::Orientation::portrait);
    return app;
}

}  // namespace kernova::sim
