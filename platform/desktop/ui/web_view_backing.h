// Web views on QtWebEngine. The engine view is made on first use (so nothing
// starts the web engine until a page loads) and lives as a child of the overlay
// of the toolkit window that holds the web view, kept at the view's frame.
#pragma once

#include <QPointer>
#include <QWebEngineView>
#include <memory>
#include <string>
#include <vector>

#include "ui/web_view.h"

class QWidget;

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

    ui::WebView& view() { return view_; }
    // Puts the engine view (when there is one) in `overlay` at `rect` (overlay
    // coordinates), shown or hidden; a null overlay hides it.
    void place(QWidget* overlay, const QRect& rect, bool visible);
    // Takes the engine view out of `overlay` before the overlay goes away.
    void detachFrom(QWidget* overlay);
    bool hasEngine() const { return engine_ != nullptr; }

  private:
    QWebEngineView* engine();

    ui::WebView& view_;
    std::shared_ptr<WebViewRegistry> registry_;
    QPointer<QWebEngineView> engine_;
};

// The live backings of one process, for the window host to place.
class WebViewRegistry {
  public:
    void add(QtWebViewBacking* backing) { backings_.push_back(backing); }
    void remove(QtWebViewBacking* backing) { std::erase(backings_, backing); }
    const std::vector<QtWebViewBacking*>& backings() const { return backings_; }

  private:
    std::vector<QtWebViewBacking*> backings_;
};

// The engine runs as root only without its sandbox; sets that up when needed.
// Call before the first engine view is made (makeDesktopPlatform does).
void prepareWebEngineEnvironment();

}  // namespace kernova::desktop
