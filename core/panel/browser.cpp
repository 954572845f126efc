// The panel's browser: the Search action, browser mode (the rounded web view
// over the backdrop, the close caption under it, the activity indicator and
// the open-in-browser button), the web view's page events, links that ask for
// a new window, the page's full-screen player, and the keys while the browser
// shows.
#include "base/desktop_entries.h"
#include "board/tag_flow_cell.h"
#include "panel/tag_flow_container.h"
#include "server/settings.h"
#include "support/escaping.h"
#include "support/template_slots.h"
#include "ui/animation.h"
#include "ui/application.h"

namespace kernova {

// The web view's delegates: page events drive the activity indicator, and a
// page's new window loads in place.
class BrowserDelegate final : public ui::WebViewNavigationDelegate, public ui::WebViewUIDelegate {
  public:
    BrowserDelegate(GTagFlowContainer& panel, Context& context)
        : panel_(panel), context_(context) {}

    void didStartProvisionalNavigation(ui::WebView&) override {
        // The blank page loaded on hiding is not worth a spinner.
        if (panel_.isShown()) panel_.animateActivity();
    }
    void didFinishNavigation(ui::WebView&) override { stop(); }
    void didFailNavigation(ui::WebView&, const std::string&) override { stop(); }

    std::shared_ptr<ui::WebView> createWebViewWithConfiguration(
        ui::WebView& webView, const ui::WebViewConfiguration&,
        const ui::NavigationAction& action) override {
        const std::string& url = action.requestURL;
        if (url.find("https://") != std::string::npos || url.find("http://") != std::string::npos)
            webView.loadRequest(url);
        return nullptr;
    }

    // The page's player takes the panel's monitor: the panel parks (its
    // overlay goes, so nothing of it takes a click) and comes back, page and
    // tags as they were, when the player leaves.
    bool webViewFullScreenRequested(ui::WebView& webView, bool on) override {
        NotificationCenter& notices = context_.notifications();
        Logger& log = context_.log();
        if (on) {
            if (!panel_.isShown()) {
                log.info("panel", "full screen refused: the panel is not shown");
                return false;
            }
            webView.enterFullScreen(panel_.keyWindow()->frame());
            notices.post(kHideNotification);
            log.info("panel", "the page went full screen");
            return true;
        }
        webView.exitFullScreen();
        if (panel_.state() == GTagFlowContainer::State::parked) {
            notices.post(kNotifyReloadNotification);
            log.info("panel", "the page left full screen");
        }
        return true;
    }

  private:
    void stop() {
        if (const auto& indicator = panel_.activityIndicatorView()) indicator->stopAnimating();
    }

    GTagFlowContainer& panel_;
    Context& context_;
};

std::string GTagFlowContainer::searchURL(const std::string& searchTemplate,
                                         const std::string& text) {
    const std::string escaped = searchTermEscape(text);
    std::string url;
    std::size_t from = 0;
    for (std::size_t at; (at = searchTemplate.find("%s", from)) != std::string::npos; from = at + 2)
        url.append(searchTemplate, from, at - from).append(escaped);
    url.append(searchTemplate, from);
    return url;
}

void GTagFlowContainer::searchText(const std::string& text) {
    if (text.empty()) return;
    prepareBrowser();
    const SettingsSnapshot settings = readSettings(application_.context());
    std::string searchTemplate = settings.get(settings_key::kSearchEngine);
    if (settings.get(settings_key::kTemplateSlots)) {
        // Slots first: their escaped values hold no "%s" for the next step.
        std::vector<std::string> picks;
        for (const GTagFlowItemRef& item : flowView_->selection().picks())
            picks.push_back(item->text());
        searchTemplate = fillTemplateSlots(searchTemplate, picks, text, searchTermEscape);
    }
    const std::string url = searchURL(searchTemplate, text);
    application_.context().log().info("panel", "search: " + std::to_string(text.size()) +
                                                   " bytes, URL of " + std::to_string(url.size()) +
                                                   " bytes");
    webView_->loadRequest(url);
}

std::shared_ptr<const ui::Image> GTagFlowContainer::browserIcon() const {
    const ui::ImageCodec& codec = application_.platform().imageCodec;
    if (const EnvironmentLookup& env = services_.environment) {
        const DesktopEntries entries = DesktopEntries::load(env);
        if (const DesktopEntry* browser = entries.defaultFor("x-scheme-handler/https", env)) {
            const std::filesystem::path file = DesktopEntries::iconFile(browser->icon, env);
            if (!file.empty())
                if (auto image = codec.imageWithContentsOfFile(file)) return image;
        }
    }
    return codec.imageWithContentsOfFile(application_.context().paths().bundle / kBrowserImageName);
}

void GTagFlowContainer::prepareBrowser() {
    if (webView_) return;
    const double W = bounds().width();
    const double H = bounds().height();

    // The board, buttons, tips and lines go; the backdrop stays.
    for (const auto& view :
         std::vector<std::shared_ptr<ui::View>>(subviews().begin(), subviews().end()))
        if (view != menuBackgroundView_) view->removeFromSuperview();
    application_.runLoop().cancel(headerTimer_);
    headerTimer_ = 0;
    focusedButton_.reset();

    topPadding_ = kBrowserTopPadding;
    webViewConfig_ = ui::WebViewConfiguration{true, true};
    const double margin = topPadding_ + 20;
    const ui::Rect webFrame(0, margin, W, std::max(0.0, H - 2 * margin));
    webView_ = std::make_shared<ui::WebView>(application_, webFrame, webViewConfig_);
    browserDelegate_ = std::make_shared<BrowserDelegate>(*this, application_.context());
    webView_->setNavigationDelegate(browserDelegate_.get());
    webView_->setUIDelegate(browserDelegate_.get());
    webView_->setCornerRadius(kBrowserCornerRadius);
    webView_->setClipsToBounds(true);
    webView_->setAllowsBackForwardNavigationGestures(true);
    addSubview(webView_);

    openUrlBtn_->setImage(browserIcon());
    openUrlBtn_->addTarget([this](ui::Control&) { openUrl(); }, ui::kControlEventTouchUpInside);
    openUrlBtn_->setFrame(ui::Rect(W - 40, (H - 40) / 2, 40, 40));
    openUrlBtn_->setHidden(false);
    addSubview(openUrlBtn_);

    closeLabel_ = std::make_shared<ui::Label>(ui::Rect(0, H - topPadding_, W, topPadding_));
    closeLabel_->setTextAlignment(ui::TextAlignment::center);
    // Taps on the caption reach the backdrop, which closes the panel.
    closeLabel_->setUserInteractionEnabled(false);
    closeLabel_->setText(kCloseCaption);
    closeLabel_->setFont(ui::Font::systemFont(kCloseCaptionFontSize));
    bool white = false;
    switch (readSettings(application_.context()).get(settings_key::kBackground)) {
        case 0:
            break;
        case 1:
            white = true;
            break;
        default:
            white = application_.platform().appearance.isDarkMode();
            break;
    }
    closeLabel_->setTextColor(white ? ui::Color::white(1.0) : ui::Color::black());
    addSubview(closeLabel_);

    activityIndicatorView_ =
        std::make_shared<ui::ActivityIndicatorView>(ui::ActivityIndicatorStyle::gray);
    // Centred in the strip above the page: the engine's view covers what the
    // panel paints beneath it.
    const ui::Size spinner = activityIndicatorView_->bounds().size;
    activityIndicatorView_->setFrame(ui::Rect((W - spinner.width) / 2,
                                              (webFrame.origin.y - spinner.height) / 2,
                                              spinner.width, spinner.height));
    activityIndicatorView_->setHidesWhenStopped(true);
    activityIndicatorView_->setUserInteractionEnabled(false);
    addSubview(activityIndicatorView_);
    animateActivity();

    if (alpha() != 1.0) {
        setAlpha(0);
        application_.animator().animate(kBrowserFadeSeconds, [this, webFrame] {
            setAlpha(1.0);
            webView_->setFrame(webFrame);
        });
    }
}

void GTagFlowContainer::animateActivity() {
    if (activityIndicatorView_) activityIndicatorView_->startAnimating();
}

void GTagFlowContainer::openUrl() {
    auto self = shared_from_this();
    vibrateSplode();
    // Hiding blanks the page: its URL is taken first.
    const std::string url = webView_ ? webView_->URL() : std::string();
    hide();
    if (url.empty()) return;
    services_.sender.sendMessageName("openUrl", Value(Dictionary{{"schemeToOpen", Value(url)}}));
}

bool GTagFlowContainer::closesBrowser(ui::Point at) const {
    const bool onButton = !openUrlBtn_->isHidden() && openUrlBtn_->frame().contains(at);
    return !webView_->frame().contains(at) && !onButton;
}

bool GTagFlowContainer::browserKey(const ui::KeyEvent& event) {
    if (event.key == ui::Key::escape) {
        if (webView_->isFindBarShown()) {
            webView_->hideFindBar();
        } else {
            hide();
        }
        return true;
    }
    if (event.control && (event.text == "l" || event.key == ui::Key::enter)) {
        openUrl();
        return true;
    }
    if (event.control && event.text == "f") {
        webView_->showFindBar();
        return true;
    }
    if (event.alt && (event.key == ui::Key::left || event.key == ui::Key::right)) {
        if (event.key == ui::Key::left) {
            webView_->goBack();
        } else {
            webView_->goForward();
        }
        return true;
    }
    return false;
}

}  // namespace kernova
