#include "ui/web_view.h"

#include "ui/application.h"

namespace kernova::ui {

WebView::WebView(Application& application, Rect frame, WebViewConfiguration configuration)
    : View(frame), configuration_(configuration) {
    if (const auto& factory = application.platform().webViewBackingFactory) {
        backing_ = factory(*this);
    }
}

WebView::~WebView() = default;

void WebView::loadRequest(const std::string& url) {
    url_ = url;
    loading_ = true;
    if (backing_) backing_->load(url);
}

void WebView::stopLoading() {
    loading_ = false;
    if (backing_) backing_->stopLoading();
}

std::string WebView::selectedText() const {
    return backing_ ? backing_->selectedText() : "";
}

void WebView::goBack() {
    if (backing_) backing_->goBack();
}

void WebView::goForward() {
    if (backing_) backing_->goForward();
}

void WebView::showFindBar() {
    findBarShown_ = true;
    if (backing_) backing_->showFindBar();
}

void WebView::hideFindBar() {
    if (!findBarShown_) return;
    findBarShown_ = false;
    if (backing_) backing_->hideFindBar();
}

void WebView::enterFullScreen(const Rect& monitor) {
    if (fullScreen_) return;
    fullScreen_ = true;
    if (backing_) backing_->enterFullScreen(monitor);
}

void WebView::exitFullScreen() {
    if (!fullScreen_) return;
    fullScreen_ = false;
    if (backing_) backing_->exitFullScreen();
}

bool WebView::backingRequestsFullScreen(bool on) {
    if (on == fullScreen_) return true;
    const bool accepted = uiDelegate_ && uiDelegate_->webViewFullScreenRequested(*this, on);
    if (on) return accepted && fullScreen_;
    exitFullScreen();
    return true;
}

void WebView::backingDidStartNavigation() {
    loading_ = true;
    if (navigationDelegate_) navigationDelegate_->didStartProvisionalNavigation(*this);
}

void WebView::backingDidFinishNavigation() {
    loading_ = false;
    if (navigationDelegate_) navigationDelegate_->didFinishNavigation(*this);
}

void WebView::backingDidFailNavigation(const std::string& error) {
    loading_ = false;
    if (navigationDelegate_) navigationDelegate_->didFailNavigation(*this, error);
}

std::shared_ptr<WebView> WebView::backingRequestsNewWindow(const std::string& url) {
    if (!uiDelegate_) return nullptr;
    NavigationAction action{url, true};
    auto created = uiDelegate_->createWebViewWithConfiguration(*this, configuration_, action);
    if (created) created->loadRequest(url);
    return created;
}

}  // namespace kernova::ui
