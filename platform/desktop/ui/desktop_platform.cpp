#include "desktop/ui/desktop_platform.h"

#include <QApplication>
#include <QGuiApplication>
#include <QObject>
#include <QScreen>

#include "desktop/ui/accessibility.h"
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "base/context.h"
#include "desktop/ui/presenter.h"
#include "ui/web_view.h"

namespace kernova::desktop {

namespace {

// Where no dialogs can be shown: presentations are kept, as if on screen,
// until the model dismisses them.
class RecordingPresenter final : public ui::Presenter {
  public:
    explicit RecordingPresenter(const Logger& log) : log_(log) {}
    void present(const std::shared_ptr<ui::ViewController>& controller,
                 ui::Window* window) override {
        (void)window;
        log_.info("presenter", "no widgets: the presentation is not shown");
        if (controller) shown_.push_back(controller);
    }
    void dismiss(ui::ViewController& controller) override {
        std::erase_if(shown_, [&](const auto& c) { return c.get() == &controller; });
    }

  private:
    const Logger& log_;
    std::vector<std::shared_ptr<ui::ViewController>> shown_;
};

#if defined(__GLIBC__)
constexpr int kLargeBlockBytes = 1 << 20;
#endif

bool runsWidgets() {
    return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
}

// Sounds only where someone can hear them.
bool canSound(const QString& platform) {
    return platform != "offscreen" && platform != "minimal";
}

}  // namespace

void prepareDesktopProcess() {
#if defined(__GLIBC__)
    // Large blocks (full-screen images: backing stores, screen copies,
    // canvases) get pages of their own, given back when freed. By default the
    // allocator raises this threshold after the first such block is freed and
    // then serves the next ones from the heap, whose pages it keeps: each
    // board closed would leave megabytes behind.
    ::mallopt(M_MMAP_THRESHOLD, kLargeBlockBytes);
#endif
    // Nothing of GL is set up at start (Qt::AA_ShareOpenGLContexts would make
    // the application create a GL context, mapping the GL driver, before any
    // window needs one): the web engine, loaded later, makes its own contexts.
    prepareWebEngineEnvironment();
}

DesktopPlatform::DesktopPlatform(Context& context, DesktopPlatformOptions options)
    : qtPlatform_(QGuiApplication::platformName()),
      widgets_(runsWidgets()),
      pasteboard_(context),
      haptic_(options.clickSound && canSound(qtPlatform_), &context.log()),
      keyboard_(makeKeyboard(qtPlatform_, &context.log())),
      receiver_(std::make_unique<QObject>()) {
    if (widgets_) {
        auto presenter = std::make_unique<QtPresenter>(pasteboard_);
        presenter->setLog(&context.log());
        presenter_ = std::move(presenter);
    } else {
        presenter_ = std::make_unique<RecordingPresenter>(context.log());
    }
    updateScreen();
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        QObject::connect(screen, &QScreen::geometryChanged, receiver_.get(),
                         [this] { updateScreen(); });
    }
    ui::WebViewBackingFactory factory;
    if (widgets_) {
        factory = [registry = webViews_](ui::WebView& view) -> std::unique_ptr<ui::WebViewBacking> {
            return std::make_unique<QtWebViewBacking>(view, registry);
        };
    }
    platform_ = std::unique_ptr<ui::Platform>(
        new ui::Platform{measurer_, codec_, pasteboard_, *presenter_, std::move(factory), haptic_,
                         *keyboard_, appearance_, urlOpener_, screen_});
}

DesktopPlatform::~DesktopPlatform() = default;

QtPresenter* DesktopPlatform::dialogPresenter() const {
    return dynamic_cast<QtPresenter*>(presenter_.get());
}

void DesktopPlatform::updateScreen() {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) return;
    QRect geometry = screen->geometry();
    screen_.bounds = ui::Rect(0, 0, geometry.width(), geometry.height());
    screen_.scale = screen->devicePixelRatio();
}

std::unique_ptr<OverlayWindowHost> DesktopPlatform::makeWindowHost(
    ui::Application& application) const {
    installOverlayAccessibility();
    return std::make_unique<OverlayWindowHost>(application, webViews_, dialogPresenter());
}

std::unique_ptr<DesktopPlatform> makeDesktopPlatform(Context& context,
                                                     DesktopPlatformOptions options) {
    return std::make_unique<DesktopPlatform>(context, options);
}

}  // namespace kernova::desktop
