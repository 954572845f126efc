#include "desktop/ui/web_view_backing.h"

#include <unistd.h>

#include <QWebEnginePage>
#include <QWebEngineSettings>
#include <QWebEngineView>
#include <cstdlib>
#include <string>

#include "desktop/ui/qt_convert.h"

namespace kernova::desktop {

namespace {

// Pages asking for a new window get a hidden view; its first URL goes to the
// toolkit's delegate, which may make a web view of its own to load it.
class EngineView final : public QWebEngineView {
  public:
    explicit EngineView(ui::WebView& model) : model_(model) {}

  protected:
    QWebEngineView* createWindow(QWebEnginePage::WebWindowType type) override {
        (void)type;
        auto* popup = new QWebEngineView(this);
        popup->hide();
        ui::WebView& model = model_;
        QObject::connect(popup, &QWebEngineView::urlChanged, popup,
                         [popup, &model](const QUrl& url) {
                             if (url.isEmpty()) return;
                             model.backingRequestsNewWindow(fromQString(url.toString()));
                             popup->deleteLater();
                         });
        return popup;
    }

  private:
    ui::WebView& model_;
};

}  // namespace

void prepareWebEngineEnvironment() {
    if (::geteuid() != 0) return;
    const char* current = std::getenv("QTWEBENGINE_CHROMIUM_FLAGS");
    std::string flags = current ? current : "";
    if (flags.find("--no-sandbox") != std::string::npos) return;
    flags = flags.empty() ? "--no-sandbox" : flags + " --no-sandbox";
    ::setenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.c_str(), 1);
}

QtWebViewBacking::QtWebViewBacking(ui::WebView& view, std::shared_ptr<WebViewRegistry> registry)
    : view_(view), registry_(std::move(registry)) {
    registry_->add(this);
}

QtWebViewBacking::~QtWebViewBacking() {
    registry_->remove(this);
    delete engine_.data();
}

QWebEngineView* QtWebViewBacking::engine() {
    if (engine_) return engine_;
    prepareWebEngineEnvironment();
    auto* engine = new EngineView(view_);
    engine->hide();
    engine->settings()->setAttribute(QWebEngineSettings::JavascriptEnabled,
                                     view_.configuration().javaScriptEnabled);
    engine->settings()->setAttribute(QWebEngineSettings::PlaybackRequiresUserGesture,
                                     !view_.configuration().allowsInlineMediaPlayback);
    ui::WebView& model = view_;
    QObject::connect(engine, &QWebEngineView::urlChanged, engine, [&model](const QUrl& url) {
        model.backingDidCommitURL(fromQString(url.toString()));
    });
    QObject::connect(engine, &QWebEngineView::loadFinished, engine, [&model](bool ok) {
        if (ok) {
            model.backingDidFinishNavigation();
        } else {
            model.backingDidFailNavigation("The page could not be loaded.");
        }
    });
    engine_ = engine;
    return engine;
}

void QtWebViewBacking::load(const std::string& url) {
    engine()->load(QUrl(toQString(url)));
}

void QtWebViewBacking::stopLoading() {
    if (engine_) engine_->stop();
}

std::string QtWebViewBacking::selectedText() const {
    return engine_ ? fromQString(engine_->selectedText()) : std::string();
}

void QtWebViewBacking::place(QWidget* overlay, const QRect& rect, bool visible) {
    if (!engine_) return;
    if (!overlay) {
        engine_->hide();
        return;
    }
    if (engine_->parentWidget() != overlay) engine_->setParent(overlay);
    engine_->setGeometry(rect);
    engine_->setVisible(visible && !rect.isEmpty());
}

void QtWebViewBacking::detachFrom(QWidget* overlay) {
    if (!engine_ || engine_->parentWidget() != overlay) return;
    engine_->hide();
    engine_->setParent(nullptr);
}

}  // namespace kernova::desktop
