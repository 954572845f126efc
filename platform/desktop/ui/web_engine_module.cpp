// The web engine module: engine views on QtWebEngine behind the interface of
// web_engine.h. Only this file includes QtWebEngine; it is built as a module
// that the desktop loads on first use.
#include <QWebEnginePage>
#include <QWebEngineSettings>
#include <QWebEngineView>
#include <string>
#include <type_traits>

#include "desktop/ui/web_engine.h"

// The engine's own set-up (its shared GL context), which it runs before the
// application starts when a program links it; a module loaded later runs it
// itself, on the main thread, before the first engine view.
namespace QtWebEngineCore {
void initialize();
}

namespace kernova::desktop {
namespace {

QString toQ(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string fromQ(const QString& text) {
    return text.toStdString();
}

class EngineView final : public QWebEngineView, public WebEngineView {
  public:
    EngineView(const WebEngineSettings& settings, WebEngineEvents events)
        : events_(std::move(events)) {
        hide();
        QWebEngineView::settings()->setAttribute(QWebEngineSettings::JavascriptEnabled,
                                                 settings.javaScriptEnabled);
        QWebEngineView::settings()->setAttribute(QWebEngineSettings::PlaybackRequiresUserGesture,
                                                 settings.playbackRequiresUserGesture);
        QObject::connect(this, &QWebEngineView::urlChanged, this, [this](const QUrl& url) {
            if (events_.committedURL) events_.committedURL(fromQ(url.toString()));
        });
        QObject::connect(this, &QWebEngineView::loadFinished, this, [this](bool ok) {
            if (events_.finished) events_.finished(ok);
        });
    }

    QWidget* widget() override { return this; }
    void load(const std::string& url) override { QWebEngineView::load(QUrl(toQ(url))); }
    void stop() override { QWebEngineView::stop(); }
    std::string selectedText() const override { return fromQ(QWebEngineView::selectedText()); }

  protected:
    // Pages asking for a new window get a hidden view; its first URL goes to
    // the toolkit, which may make a web view of its own to load it.
    QWebEngineView* createWindow(QWebEnginePage::WebWindowType type) override {
        (void)type;
        auto* popup = new QWebEngineView(this);
        popup->hide();
        QObject::connect(popup, &QWebEngineView::urlChanged, popup, [this, popup](const QUrl& url) {
            if (url.isEmpty()) return;
            if (events_.newWindow) events_.newWindow(fromQ(url.toString()));
            popup->deleteLater();
        });
        return popup;
    }

  private:
    WebEngineEvents events_;
};

}  // namespace
}  // namespace kernova::desktop

extern "C" __attribute__((visibility("default"))) kernova::desktop::WebEngineView*
kernova_make_web_engine_view(const kernova::desktop::WebEngineSettings& settings,
                             kernova::desktop::WebEngineEvents events) {
    static const bool initialized = [] {
        QtWebEngineCore::initialize();
        return true;
    }();
    (void)initialized;
    return new kernova::desktop::EngineView(settings, std::move(events));
}

static_assert(std::is_same_v<decltype(&kernova_make_web_engine_view),
                             kernova::desktop::MakeWebEngineViewFunction>);
