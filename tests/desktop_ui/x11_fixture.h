// What the tests on a real X server share: waits on Qt's event loop with a
// deadline, the fixture with an overlay window host, and X11 queries.
#pragma once

#include <xcb/xcb.h>

#include <QDialog>
#include <QGuiApplication>
#include <QProcess>
#include <QRect>
#include <QScreen>
#include <QStandardPaths>
#include <QWidget>
#include <QWindow>
#include <cstdlib>
#include <functional>
#include <memory>

#include "desktop/ui/presenter.h"
#include "desktop_ui/desktop_ui_fixture.h"
#include "ui/alert.h"

namespace kernova::desktop::testing {

inline bool exposed(const QWidget* widget) {
    return widget && widget->windowHandle() && widget->windowHandle()->isExposed();
}

inline xcb_connection_t* x11Connection() {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

inline xcb_window_t rootWindow() {
    return xcb_setup_roots_iterator(xcb_get_setup(x11Connection())).data->root;
}

// True when the pixel at (x, y) on the desktop shows `colour` on `screen`
// (the primary screen when null).
inline bool screenShows(int x, int y, const QColor& colour, QScreen* screen = nullptr) {
    if (!screen) screen = QGuiApplication::primaryScreen();
    const QPoint origin = screen->geometry().topLeft();
    QImage pixel = screen->grabWindow(0, x - origin.x(), y - origin.y(), 1, 1).toImage();
    return !pixel.isNull() && near(pixel.pixelColor(0, 0), colour);
}

// A shown window of one colour (a CSS colour) at `geometry`; frameless unless
// it is to be managed as an ordinary window.
inline std::unique_ptr<QWidget> solidWindow(QRect geometry, const QString& colour,
                                            bool frameless = true) {
    auto widget =
        std::make_unique<QWidget>(nullptr, frameless ? Qt::FramelessWindowHint : Qt::Widget);
    widget->setStyleSheet(QStringLiteral("background: ") + colour);
    widget->setGeometry(geometry);
    widget->show();
    return widget;
}

class X11Test : public DesktopUiTest {
  protected:
    void SetUp() override {
        if (std::getenv("KERNOVA_NO_X11")) GTEST_SKIP() << "Xvfb is not available";
        host = desktop->makeWindowHost(app);
    }

    static bool hasXdotool() { return !QStandardPaths::findExecutable("xdotool").isEmpty(); }
    static int xdotool(const QStringList& args) { return QProcess::execute("xdotool", args); }
    // A click that the X server delivers, at (x, y) on the root window.
    static int click(int x, int y) {
        return xdotool(
            {"mousemove", "--sync", QString::number(x), QString::number(y), "click", "1"});
    }
    // Waits until `window`'s overlay is exposed and returns it (null when it is not).
    OverlayWidget* exposedOverlay(const ui::Window& window) {
        return waitFor([&] { return exposed(host->widgetFor(window)); }) ? host->widgetFor(window)
                                                                         : nullptr;
    }
    // An alert titled `title` presented by `root`; its dialog once shown, else null.
    QDialog* showAlert(ui::ViewController& root, const std::string& title,
                       std::function<void(ui::AlertAction&)> onAction = nullptr) {
        auto alert = ui::AlertController::alertControllerWithTitle(title, std::nullopt,
                                                                   ui::AlertControllerStyle::alert);
        if (onAction) {
            alert->addAction(ui::AlertAction::actionWithTitle(
                "OK", ui::AlertActionStyle::defaultStyle, std::move(onAction)));
        }
        root.presentViewController(alert, true);
        QDialog* dialog = desktop->dialogPresenter()->dialogFor(*alert);
        return dialog && waitFor([&] { return exposed(dialog); }) ? dialog : nullptr;
    }

    std::unique_ptr<OverlayWindowHost> host;
};

}  // namespace kernova::desktop::testing
