// The web engine module: engine views on QtWebEngine behind the interface of
// web_engine.h. Only this file includes QtWebEngine; it is built as a module
// that the desktop loads on first use.
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPointer>
#include <QWebEngineFullScreenRequest>
#include <QWebEngineNewWindowRequest>
#include <QWebEnginePage>
#include <QWebEngineProfile>
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

constexpr int kFindBarHeight = 30;
constexpr int kFindBarMargin = 6;
constexpr int kFindBarWidth = 280;

QString toQ(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string fromQ(const QString& text) {
    return text.toStdString();
}

// The process's one profile: off the record (no storage name), so nothing of
// a page (history, cache, cookies, local storage) is written to disk. Made
// with the first engine view and kept for the life of the process, as pages
// must not outlive their profile.
QWebEngineProfile* privateProfile() {
    static QWebEngineProfile* profile = [] {
        auto* made = new QWebEngineProfile();
        made->setHttpCacheType(QWebEngineProfile::MemoryHttpCache);
        made->setPersistentCookiesPolicy(QWebEngineProfile::NoPersistentCookies);
        made->setSpellCheckEnabled(false);
        return made;
    }();
    return profile;
}

// The find field: Enter and Shift+Enter find, Escape closes.
class FindField final : public QLineEdit {
  public:
    FindField(QWidget* parent, std::function<void(bool backward)> find, std::function<void()> close)
        : QLineEdit(parent), find_(std::move(find)), close_(std::move(close)) {
        setObjectName(QStringLiteral("kernova-find"));
        setPlaceholderText(QStringLiteral("Find in page"));
        setClearButtonEnabled(true);
        connect(this, &QLineEdit::textEdited, this, [this] { find_(false); });
    }

  protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
            find_(event->modifiers().testFlag(Qt::ShiftModifier));
            event->accept();
            return;
        }
        if (event->key() == Qt::Key_Escape) {
            close_();
            event->accept();
            return;
        }
        QLineEdit::keyPressEvent(event);
    }

  private:
    std::function<void(bool)> find_;
    std::function<void()> close_;
};

class EngineView final : public QWebEngineView, public WebEngineView {
  public:
    EngineView(const WebEngineSettings& settings, WebEngineEvents events)
        : events_(std::move(events)) {
        hide();
        setPage(new QWebEnginePage(privateProfile(), this));
        // The page's input goes to widgets the engine makes inside this view:
        // keys and the mouse's side buttons are looked at before they arrive.
        qApp->installEventFilter(this);
        QWebEngineSettings* own = page()->settings();
        own->setAttribute(QWebEngineSettings::JavascriptEnabled, settings.javaScriptEnabled);
        own->setAttribute(QWebEngineSettings::PlaybackRequiresUserGesture,
                          settings.playbackRequiresUserGesture);
        // A video's full-screen button: the toolkit decides where the page goes.
        own->setAttribute(QWebEngineSettings::FullScreenSupportEnabled, true);
        QObject::connect(page(), &QWebEnginePage::fullScreenRequested, this,
                         [this](QWebEngineFullScreenRequest request) {
                             if (events_.fullScreen && events_.fullScreen(request.toggleOn())) {
                                 request.accept();
                             } else {
                                 request.reject();
                             }
                         });
        QObject::connect(this, &QWebEngineView::urlChanged, this, [this](const QUrl& url) {
            if (events_.committedURL) events_.committedURL(fromQ(url.toString(QUrl::FullyEncoded)));
        });
        QObject::connect(this, &QWebEngineView::loadStarted, this, [this] {
            if (events_.started) events_.started();
        });
        QObject::connect(this, &QWebEngineView::loadFinished, this, [this](bool ok) {
            if (events_.finished) events_.finished(ok);
        });
        // No second view is made: the toolkit decides what becomes of the URL.
        QObject::connect(
            page(), &QWebEnginePage::newWindowRequested, this,
            [this](QWebEngineNewWindowRequest& request) {
                if (events_.newWindow)
                    events_.newWindow(fromQ(request.requestedUrl().toString(QUrl::FullyEncoded)));
            });
    }

    QWidget* widget() override { return this; }
    void load(const std::string& url) override { QWebEngineView::load(QUrl(toQ(url))); }
    void stop() override { QWebEngineView::stop(); }
    std::string selectedText() const override { return fromQ(QWebEngineView::selectedText()); }
    void back() override { QWebEngineView::back(); }
    void forward() override { QWebEngineView::forward(); }

    void showFindBar() override {
        if (!find_) {
            find_ = new FindField(
                this, [this](bool backward) { find(backward); },
                [this] {
                    hideFindBar();
                    if (events_.findBarClosed) events_.findBarClosed();
                });
        }
        placeFindBar();
        find_->show();
        find_->raise();
        find_->setFocus(Qt::ShortcutFocusReason);
        find_->selectAll();
    }

    void hideFindBar() override {
        if (!find_ || find_->isHidden()) return;
        find_->hide();
        page()->findText(QString());
        setFocus(Qt::OtherFocusReason);
    }

    void exitFullScreen() override { triggerPageAction(QWebEnginePage::ExitFullScreen); }

  protected:
    QWebEngineView* createWindow(QWebEnginePage::WebWindowType type) override {
        (void)type;
        return nullptr;
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        const QEvent::Type type = event->type();
        if (type != QEvent::KeyPress && type != QEvent::MouseButtonPress &&
            type != QEvent::MouseButtonRelease)
            return false;
        auto* target = qobject_cast<QWidget*>(watched);
        if (!target || (target != this && !isAncestorOf(target)) ||
            (find_ && (target == find_ || find_->isAncestorOf(target))))
            return false;
        switch (type) {
            case QEvent::KeyPress: {
                if (!events_.key) break;
                QPointer<QObject> alive(watched);
                const bool taken = events_.key(*static_cast<QKeyEvent*>(event));
                if (taken || !alive) return true;
                break;
            }
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonRelease: {
                const Qt::MouseButton button = static_cast<QMouseEvent*>(event)->button();
                if (button != Qt::BackButton && button != Qt::ForwardButton) break;
                if (event->type() == QEvent::MouseButtonRelease) {
                    if (button == Qt::BackButton) {
                        back();
                    } else {
                        forward();
                    }
                }
                return true;
            }
            default:
                break;
        }
        return false;
    }

    void resizeEvent(QResizeEvent* event) override {
        QWebEngineView::resizeEvent(event);
        if (find_) placeFindBar();
    }

  private:
    void placeFindBar() {
        const int width = std::min(kFindBarWidth, std::max(0, this->width() - 2 * kFindBarMargin));
        find_->setGeometry(this->width() - width - kFindBarMargin, kFindBarMargin, width,
                           kFindBarHeight);
    }

    void find(bool backward) {
        if (!find_) return;
        page()->findText(find_->text(),
                         backward ? QWebEnginePage::FindBackward : QWebEnginePage::FindFlags());
    }

    WebEngineEvents events_;
    QPointer<FindField> find_;
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
