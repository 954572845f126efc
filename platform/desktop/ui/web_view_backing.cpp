#include "desktop/ui/web_view_backing.h"

#include <dlfcn.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>
#include <QTimer>
#include <QtGlobal>
#include <cstdlib>
#include <functional>
#include <string>

#include "desktop/ui/overlay_widget.h"
#include "desktop/ui/qt_convert.h"
#include "desktop/ui/screen_behind.h"
#include "ui/window.h"

namespace kernova::desktop {

void prepareWebEngineEnvironment() {
    if (::geteuid() != 0) return;
    const char* current = std::getenv("QTWEBENGINE_CHROMIUM_FLAGS");
    std::string flags = current ? current : "";
    if (flags.find("--no-sandbox") != std::string::npos) return;
    flags = flags.empty() ? "--no-sandbox" : flags + " --no-sandbox";
    ::setenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.c_str(), 1);
}

std::vector<std::string> webEngineModuleCandidates() {
    std::vector<std::string> candidates;
    auto add = [&](const QString& dir) {
        if (dir.isEmpty()) return;
        std::string path =
            fromQString(QDir::cleanPath(dir + QLatin1Char('/') + kWebEngineModuleFile));
        if (std::find(candidates.begin(), candidates.end(), path) == candidates.end()) {
            candidates.push_back(path);
        }
    };
    if (QCoreApplication::instance()) {
        add(QCoreApplication::applicationDirPath() +
            QStringLiteral("/" KERNOVA_WEBENGINE_RELATIVE_DIR));
    }
    add(QStringLiteral(KERNOVA_WEBENGINE_INSTALL_DIR));
    add(QStringLiteral(KERNOVA_WEBENGINE_BUILD_DIR));
    return candidates;
}

MakeWebEngineViewFunction WebViewRegistry::engineFactory() {
    if (tried_) return factory_;
    tried_ = true;
    prepareWebEngineEnvironment();
    // The engine shares GL resources between its contexts; set now, not at
    // start, so that nothing of GL is made before a web view needs it (the
    // module then makes the shared context itself).
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    // The engine's view draws through Qt Quick, whose compiled shaders would
    // otherwise be kept in ~/.cache: nothing of the browser goes to disk.
    QCoreApplication::setAttribute(Qt::AA_DisableShaderDiskCache);
    for (const std::string& path : webEngineModuleCandidates()) {
        if (!QFileInfo::exists(QString::fromStdString(path))) continue;
        // Kept loaded: Qt's libraries do not support being unloaded.
        void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (!handle) {
            qWarning("kernova: cannot load the web engine module %s: %s", path.c_str(),
                     ::dlerror());
            continue;
        }
        factory_ =
            reinterpret_cast<MakeWebEngineViewFunction>(::dlsym(handle, kMakeWebEngineViewSymbol));
        if (factory_) return factory_;
        qWarning("kernova: %s is not a web engine module", path.c_str());
    }
    qWarning("kernova: no web engine module (%s): web views stay blank", kWebEngineModuleFile);
    return nullptr;
}

QtWebViewBacking::QtWebViewBacking(ui::WebView& view, std::shared_ptr<WebViewRegistry> registry)
    : view_(view), registry_(std::move(registry)) {
    registry_->add(this);
}

namespace {

// The page's own window while it is full screen: frameless, above the others,
// the engine view filling it. Escape, or the window manager closing it, asks
// the page to leave.
class FullScreenWindow final : public QWidget {
  public:
    explicit FullScreenWindow(std::function<void()> leave)
        : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
          leave_(std::move(leave)) {
        setObjectName(QStringLiteral("kernova-full-screen"));
        setWindowTitle(QStringLiteral("Kernova full screen"));
        setAttribute(Qt::WA_NoSystemBackground);
        setFocusPolicy(Qt::StrongFocus);
    }

  protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() != Qt::Key_Escape) return QWidget::keyPressEvent(event);
        event->accept();
        leave_();
    }
    void closeEvent(QCloseEvent* event) override {
        event->ignore();
        leave_();
    }
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        for (QWidget* child : findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
            child->setGeometry(rect());
    }

  private:
    std::function<void()> leave_;
};

}  // namespace

QtWebViewBacking::~QtWebViewBacking() {
    registry_->remove(this);
    if (fullScreenWindow_) {
        // The engine view is deleted with the engine below, not with the window.
        if (widget_) widget_->setParent(nullptr);
        delete fullScreenWindow_.data();
    }
    // A parent overlay may have deleted the widget, and the engine view with it.
    if (!widget_) static_cast<void>(engine_.release());
}

WebEngineView* QtWebViewBacking::engine() {
    if (engine_ && widget_) return engine_.get();
    if (engine_) static_cast<void>(engine_.release());  // deleted with its parent
    MakeWebEngineViewFunction make = registry_->engineFactory();
    if (!make) return nullptr;
    WebEngineSettings settings;
    settings.javaScriptEnabled = view_.configuration().javaScriptEnabled;
    settings.playbackRequiresUserGesture = !view_.configuration().allowsInlineMediaPlayback;
    ui::WebView& model = view_;
    WebEngineEvents events;
    events.committedURL = [&model](const std::string& url) { model.backingDidCommitURL(url); };
    events.finished = [&model](bool ok) {
        if (ok) {
            model.backingDidFinishNavigation();
        } else {
            model.backingDidFailNavigation("The page could not be loaded.");
        }
    };
    events.newWindow = [&model](const std::string& url) { model.backingRequestsNewWindow(url); };
    events.started = [&model] { model.backingDidStartNavigation(); };
    events.key = [this, &model](const QKeyEvent& event) {
        // The full-screen page has the keys; Escape leaves full screen.
        if (fullScreenWindow_) {
            if (event.key() != Qt::Key_Escape) return false;
            leaveFullScreen();
            return true;
        }
        std::optional<ui::KeyEvent> key = toKeyEvent(event.key(), event.text(), event.modifiers());
        ui::Window* window = model.window();
        return key && window && window->handleKey(*key);
    };
    events.findBarClosed = [&model] { model.backingDidHideFindBar(); };
    events.fullScreen = [this, &model](bool on) {
        leavingByPage_ = !on;
        const bool accepted = model.backingRequestsFullScreen(on);
        leavingByPage_ = false;
        return accepted;
    };
    engine_.reset(make(settings, std::move(events)));
    widget_ = engine_ ? engine_->widget() : nullptr;
    return engine_.get();
}

void QtWebViewBacking::load(const std::string& url) {
    if (WebEngineView* engine = this->engine()) {
        engine->load(url);
    } else {
        view_.backingDidFailNavigation("The page could not be loaded.");
    }
}

void QtWebViewBacking::stopLoading() {
    if (widget_) engine_->stop();
}

std::string QtWebViewBacking::selectedText() const {
    return widget_ ? engine_->selectedText() : std::string();
}

void QtWebViewBacking::goBack() {
    if (widget_) engine_->back();
}

void QtWebViewBacking::goForward() {
    if (widget_) engine_->forward();
}

void QtWebViewBacking::showFindBar() {
    if (widget_) engine_->showFindBar();
}

void QtWebViewBacking::hideFindBar() {
    if (widget_) engine_->hideFindBar();
}

void QtWebViewBacking::enterFullScreen(const ui::Rect& monitor) {
    if (!widget_ || fullScreenWindow_) return;
    const QRect area = toQt(monitor).toAlignedRect();
    QScreen* screen = screenShowing(area);
    auto* window = new FullScreenWindow([this] { leaveFullScreen(); });
    fullScreenWindow_ = window;
    if (screen) window->setScreen(screen);
    window->setGeometry(screen ? screen->geometry() : area);
    widget_->clearMask();
    widget_->setParent(window);
    widget_->setGeometry(window->rect());
    widget_->show();
    window->showFullScreen();
    // As in an overlay: the engine's GL makes the window again, which then
    // asks for the keyboard itself.
    QTimer::singleShot(0, window, [window, widget = widget_] {
        window->raise();
        window->activateWindow();
        if (widget) widget->setFocus(Qt::OtherFocusReason);
    });
}

void QtWebViewBacking::exitFullScreen() {
    if (!fullScreenWindow_) return;
    if (widget_) {
        widget_->hide();
        widget_->setParent(nullptr);
    }
    fullScreenWindow_->hide();
    fullScreenWindow_->deleteLater();
    fullScreenWindow_ = nullptr;
    // Placed in its overlay again, the page takes the keyboard again.
    focused_ = false;
    // Left for the toolkit's own reasons: the page is told.
    if (!leavingByPage_ && widget_) engine_->exitFullScreen();
}

void QtWebViewBacking::leaveFullScreen() {
    if (widget_) {
        engine_->exitFullScreen();
    } else {
        view_.backingRequestsFullScreen(false);
    }
}

namespace {

// The part of the engine view (of `size`) left to the page: the view's
// rounded rectangle less the toolkit views drawn above it.
QRegion pageRegion(const ui::WebView& view, const QSize& size) {
    const double radius = view.cornerRadius();
    QRegion region(0, 0, size.width(), size.height());
    if (radius > 0) {
        QPainterPath rounded;
        rounded.addRoundedRect(QRectF(0, 0, size.width(), size.height()), radius, radius);
        region = QRegion(rounded.toFillPolygon().toPolygon());
    }
    const ui::View* parent = view.superview();
    if (!parent) return region;
    bool above = false;
    const ui::Rect frame = view.frame();
    for (const auto& sibling : parent->subviews()) {
        if (sibling.get() == &view) {
            above = true;
            continue;
        }
        if (!above || sibling->isHidden() || sibling->alpha() <= 0) continue;
        const ui::Rect other = sibling->frame();
        region -= QRectF(other.origin.x - frame.origin.x, other.origin.y - frame.origin.y,
                         other.width(), other.height())
                      .toAlignedRect();
    }
    return region;
}

}  // namespace

void QtWebViewBacking::place(QWidget* overlay, const QRect& rect, bool visible) {
    if (!widget_ || fullScreenWindow_) return;
    if (!overlay) {
        widget_->hide();
        return;
    }
    if (widget_->parentWidget() != overlay) widget_->setParent(overlay);
    widget_->setGeometry(rect);
    const QRegion region = pageRegion(view_, rect.size());
    if (region != widget_->mask()) widget_->setMask(region);
    const bool shown = visible && !rect.isEmpty();
    widget_->setVisible(shown);
    if (shown && !focused_) {
        focused_ = true;
        // The engine draws with GL: Qt makes the overlay's X window again for
        // it, and the new window has to ask for the keyboard itself.
        QTimer::singleShot(0, widget_.data(), [widget = widget_] {
            if (!widget) return;
            widget->window()->activateWindow();
            widget->setFocus(Qt::OtherFocusReason);
        });
    }
}

void QtWebViewBacking::detachFrom(QWidget* overlay) {
    if (!widget_ || widget_->parentWidget() != overlay) return;
    widget_->hide();
    widget_->setParent(nullptr);
}

}  // namespace kernova::desktop
