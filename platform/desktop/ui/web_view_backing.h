// Web views on QtWebEngine. The engine comes from its own module, loaded on
// first use (see web_engine.h), so nothing maps or starts the web engine until
// a page loads. The engine view lives as a child of the overlay of the toolkit
// window that holds the web view, kept at the view's frame; while the page is
// full screen, in a frameless full-screen window of its own instead.
#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>
#include <string>
#include <vector>

#include "desktop/ui/web_engine.h"
#include "ui/web_view.h"

namespace kernova::desktop {

class WebViewRegistry;

class QtWebViewBacking final : public ui::WebViewBacking {
  public:
    QtWebViewBacking(ui::WebView& view, std::shared_ptr<WebViewRegistry> registry);
    ~QtWebViewBacking() override;
    QtWebViewBacking(const QtWebViewBacking&) = delete;
    QtWebViewBacking& operator=(const QtWebViewBacking&) = delete;

    void load(const std::string& url) override;
    void stopLoading() override;
    std::string selectedText() const override;
    void goBack() override;
    void goForward() override;
    void showFindBar() override;
    void hideFindBar() override;
    // The engine view into a frameless window that fills the monitor, above
    // the others and with the keyboard (Escape or closing it asks the page to
    // leave); back out of it, hidden until placed again.
    void enterFullScreen(const ui::Rect& monitor) override;
    void exitFullScreen() override;

    ui::WebView& view() { return view_; }
    // Puts the engine view (when there is one) in `overlay` at `rect` (overlay
    // coordinates), shown or hidden; a null overlay hides it. The view's
    // rounded corners and the toolkit views above it (the overlay paints them)
    // are cut out of the engine view; shown for the first time, it takes the
    // keyboard, whose keys go to the toolkit window first.
    void place(QWidget* overlay, const QRect& rect, bool visible);
    // Takes the engine view out of `overlay` before the overlay goes away.
    // Neither moves an engine view that is full screen.
    void detachFrom(QWidget* overlay);
    bool hasEngine() const { return widget_ != nullptr; }
    // The full-screen window while there is one.
    QWidget* fullScreenWindow() const { return fullScreenWindow_.data(); }

  private:
    // The engine view, made on first use; null when the module cannot be loaded.
    WebEngineView* engine();
    // Asks the page to leave full screen.
    void leaveFullScreen();

    ui::WebView& view_;
    std::shared_ptr<WebViewRegistry> registry_;
    std::unique_ptr<WebEngineView> engine_;
    QPointer<QWidget> widget_;  // the engine's widget while it lives
    QPointer<QWidget> fullScreenWindow_;
    bool leavingByPage_ = false;  // the page itself is leaving full screen
    bool focused_ = false;
};

// Where the web engine module is looked for, in order: next to the program's
// installed layout (<bindir>/../<libdir>/kernova), the install prefix, and the
// build tree.
std::vector<std::string> webEngineModuleCandidates();

// The live backings of one process, for the window host to place, and the
// web engine module once loaded.
class WebViewRegistry {
  public:
    void add(QtWebViewBacking* backing) { backings_.push_back(backing); }
    void remove(QtWebViewBacking* backing) { std::erase(backings_, backing); }
    const std::vector<QtWebViewBacking*>& backings() const { return backings_; }

    // Loads the module on the first call (once: a failure is not retried);
    // null, with a warning logged, when it cannot be loaded. The module stays
    // loaded for the life of the process.
    MakeWebEngineViewFunction engineFactory();
    bool engineModuleLoaded() const { return factory_ != nullptr; }

  private:
    std::vector<QtWebViewBacking*> backings_;
    MakeWebEngineViewFunction factory_ = nullptr;
    bool tried_ = false;
};

// The engine runs as root only without its sandbox; sets that up when needed.
// Called before the module is loaded.
void prepareWebEngineEnvironment();

}  // namespace kernova::desktop
