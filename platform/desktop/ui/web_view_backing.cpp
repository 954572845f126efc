#include "desktop/ui/web_view_backing.h"

#include <dlfcn.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QtGlobal>
#include <cstdlib>
#include <string>

#include "desktop/ui/qt_convert.h"

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

QtWebViewBacking::~QtWebViewBacking() {
    registry_->remove(this);
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

void QtWebViewBacking::place(QWidget* overlay, const QRect& rect, bool visible) {
    if (!widget_) return;
    if (!overlay) {
        widget_->hide();
        return;
    }
    if (widget_->parentWidget() != overlay) widget_->setParent(overlay);
    widget_->setGeometry(rect);
    widget_->setVisible(visible && !rect.isEmpty());
}

void QtWebViewBacking::detachFrom(QWidget* overlay) {
    if (!widget_ || widget_->parentWidget() != overlay) return;
    widget_->hide();
    widget_->setParent(nullptr);
}

}  // namespace kernova::desktop
