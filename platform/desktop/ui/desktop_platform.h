// The toolkit's platform on the Qt desktop: every service of ui::Platform,
// chosen at run time for the Qt platform plugin in use (xcb, wayland,
// offscreen), with fallbacks where a service is unavailable.
//
// In a process:
//   kernova::desktop::prepareDesktopProcess();          // before QApplication
//   QApplication qt(argc, argv);
//   auto desktop = kernova::desktop::makeDesktopPlatform(context);
//   ui::Application app(context, desktop->platform());
//   auto host = desktop->makeWindowHost(app);
//   host->start();                                      // windows follow the model
#pragma once

#include <QString>
#include <memory>

#include "base/context.h"
#include "desktop/ui/desktop_services.h"
#include "desktop/ui/overlay_window_host.h"
#include "desktop/ui/qt_image_codec.h"
#include "desktop/ui/qt_text_measurer.h"
#include "desktop/ui/web_view_backing.h"
#include "ui/application.h"
#include "ui/platform.h"

class QObject;

namespace kernova::desktop {

class QtPresenter;

struct DesktopPlatformOptions {
    // The tap and show sounds play (when the core asks for them, as the
    // settings say); false keeps the process silent.
    bool clickSound = true;
};

// Sets what Qt and its web engine read at start-up (the engine's sandbox as
// root) and has large blocks of memory given back when freed; no GL is set
// up. Call before the QApplication is made.
void prepareDesktopProcess();

class DesktopPlatform {
  public:
    // Needs the Qt application (a QApplication for dialogs and web views; with a
    // bare QGuiApplication presentations are only recorded and web views have
    // no engine).
    DesktopPlatform(Context& context, DesktopPlatformOptions options);
    ~DesktopPlatform();
    DesktopPlatform(const DesktopPlatform&) = delete;
    DesktopPlatform& operator=(const DesktopPlatform&) = delete;

    const ui::Platform& platform() const { return *platform_; }
    // The Qt platform plugin in use ("xcb", "wayland", "offscreen", ...).
    const QString& qtPlatformName() const { return qtPlatform_; }
    // True when dialogs and web views can be shown (a QApplication runs).
    bool hasWidgets() const { return widgets_; }

    DesktopPasteboard& pasteboard() { return pasteboard_; }
    ui::Presenter& presenter() { return *presenter_; }
    // The dialog presenter; null without widgets.
    QtPresenter* dialogPresenter() const;
    DesktopHaptic& haptic() { return haptic_; }
    // An X11Keyboard on xcb, a CommandKeyboard elsewhere.
    ui::Keyboard& keyboard() { return *keyboard_; }
    const ui::Screen& screen() const { return screen_; }
    const std::shared_ptr<WebViewRegistry>& webViews() const { return webViews_; }

    // A host that shows `application`'s windows and places this platform's web views.
    std::unique_ptr<OverlayWindowHost> makeWindowHost(ui::Application& application) const;

  private:
    void updateScreen();

    QString qtPlatform_;
    bool widgets_ = false;
    ui::Screen screen_;
    QtTextMeasurer measurer_;
    QtImageCodec codec_;
    DesktopPasteboard pasteboard_;
    std::unique_ptr<ui::Presenter> presenter_;
    DesktopHaptic haptic_;
    std::unique_ptr<ui::Keyboard> keyboard_;
    PaletteAppearance appearance_;
    DesktopUrlOpener urlOpener_;
    std::shared_ptr<WebViewRegistry> webViews_ = std::make_shared<WebViewRegistry>();
    std::unique_ptr<QObject> receiver_;  // scopes the screen connections
    std::unique_ptr<ui::Platform> platform_;
};

std::unique_ptr<DesktopPlatform> makeDesktopPlatform(Context& context,
                                                     DesktopPlatformOptions options = {});

}  // namespace kernova::desktop
