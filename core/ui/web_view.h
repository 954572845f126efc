// The web view as a model: what it was asked to load, and the delegate calls
// that its engine (the platform's WebViewBacking) reports back.
#pragma once

#include <memory>
#include <string>

#include "ui/platform.h"
#include "ui/view.h"

namespace kernova::ui {

class Application;
class WebView;

struct WebViewConfiguration {
    bool allowsInlineMediaPlayback = false;
    bool javaScriptEnabled = true;
};

struct NavigationAction {
    std::string requestURL;
    bool targetsNewWindow = false;
};

class WebViewNavigationDelegate {
  public:
    virtual ~WebViewNavigationDelegate() = default;
    // A page started loading (a load asked for, or a link followed in the page).
    virtual void didStartProvisionalNavigation(WebView& webView) { (void)webView; }
    virtual void didFinishNavigation(WebView& webView) { (void)webView; }
    virtual void didFailNavigation(WebView& webView, const std::string& error) {
        (void)webView, (void)error;
    }
};

class WebViewUIDelegate {
  public:
    virtual ~WebViewUIDelegate() = default;
    // A page asks for a new window; a returned view loads it, null drops it.
    virtual std::shared_ptr<WebView> createWebViewWithConfiguration(
        WebView& webView, const WebViewConfiguration& configuration,
        const NavigationAction& action) {
        (void)webView, (void)configuration, (void)action;
        return nullptr;
    }
    // A page asks to show itself full screen (`on`, a video's full-screen
    // button) or to leave it. Entering happens only when the delegate answers
    // true, having moved the page there (WebView::enterFullScreen); leaving is
    // never refused: the page is back in the view when the call returns.
    virtual bool webViewFullScreenRequested(WebView& webView, bool on) {
        (void)webView, (void)on;
        return false;
    }
};

// The engine behind one web view, made by the platform's factory.
class WebViewBacking {
  public:
    virtual ~WebViewBacking() = default;
    virtual void load(const std::string& url) = 0;
    virtual void stopLoading() = 0;
    // The text selected in the page; empty when none.
    virtual std::string selectedText() const = 0;
    // The page's history; nothing happens at either end.
    virtual void goBack() {}
    virtual void goForward() {}
    // The one-line find field over the page's top edge.
    virtual void showFindBar() {}
    virtual void hideFindBar() {}
    // Moves the page into a full-screen window of its own on the monitor that
    // shows most of `monitor` (screen points), above every other window and
    // with the keyboard, where Escape asks the page to leave; and back.
    virtual void enterFullScreen(const Rect& monitor) { (void)monitor; }
    virtual void exitFullScreen() {}
};

class WebView : public View {
  public:
    WebView(Application& application, Rect frame, WebViewConfiguration configuration);
    ~WebView() override;

    const WebViewConfiguration& configuration() const { return configuration_; }
    // Starts loading `url` (the URL changes at once).
    void loadRequest(const std::string& url);
    void stopLoading();
    const std::string& URL() const { return url_; }
    bool isLoading() const { return loading_; }
    std::string selectedText() const;
    void goBack();
    void goForward();
    // The find field: shown until hidden here or closed by the user.
    void showFindBar();
    void hideFindBar();
    bool isFindBarShown() const { return findBarShown_; }
    // The page in a full-screen window of its own covering `monitor` (screen
    // points), or back in the view.
    void enterFullScreen(const Rect& monitor);
    void exitFullScreen();
    bool isFullScreen() const { return fullScreen_; }

    bool allowsBackForwardNavigationGestures() const { return backForwardGestures_; }
    void setAllowsBackForwardNavigationGestures(bool allows) { backForwardGestures_ = allows; }

    // Not owned.
    WebViewNavigationDelegate* navigationDelegate() const { return navigationDelegate_; }
    void setNavigationDelegate(WebViewNavigationDelegate* d) { navigationDelegate_ = d; }
    WebViewUIDelegate* UIDelegate() const { return uiDelegate_; }
    void setUIDelegate(WebViewUIDelegate* d) { uiDelegate_ = d; }

    WebViewBacking* backing() const { return backing_.get(); }

    // Called by the backing.
    void backingDidCommitURL(const std::string& url) { url_ = url; }
    void backingDidStartNavigation();
    void backingDidHideFindBar() { findBarShown_ = false; }
    void backingDidFinishNavigation();
    void backingDidFailNavigation(const std::string& error);
    // A page asked to open `url` in a new window; answers the created view.
    std::shared_ptr<WebView> backingRequestsNewWindow(const std::string& url);
    // A page asks to enter or leave full screen; answers whether it may.
    bool backingRequestsFullScreen(bool on);

  private:
    WebViewConfiguration configuration_;
    std::unique_ptr<WebViewBacking> backing_;
    std::string url_;
    bool loading_ = false;
    bool backForwardGestures_ = false;
    bool findBarShown_ = false;
    bool fullScreen_ = false;
    WebViewNavigationDelegate* navigationDelegate_ = nullptr;
    WebViewUIDelegate* uiDelegate_ = nullptr;
};

}  // namespace kernova::ui
