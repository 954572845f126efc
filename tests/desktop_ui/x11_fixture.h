// What the tests on a real X server share: waits on Qt's event loop with a
// deadline, the fixture with an overlay window host, and X11 queries.
#pragma once

#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QRect>
#include <QWidget>
#include <QWindow>
#include <cstdlib>
#include <functional>
#include <memory>

#include "desktop_ui/desktop_ui_fixture.h"

namespace kernova::desktop::testing {

// Runs Qt's event loop until `done` holds or `milliseconds` pass.
inline bool waitFor(const std::function<bool()>& done, int milliseconds = 5000) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > milliseconds) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

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

// Where the X server shows `widget`'s window: its position on the root
// window and its size, in device pixels.
inline QRect serverGeometry(const QWidget& widget) {
    xcb_connection_t* connection = x11Connection();
    auto window = static_cast<xcb_window_t>(widget.winId());
    auto* where = xcb_translate_coordinates_reply(
        connection, xcb_translate_coordinates(connection, window, rootWindow(), 0, 0), nullptr);
    auto* size = xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr);
    QRect rect;
    if (where && size) rect = QRect(where->dst_x, where->dst_y, size->width, size->height);
    std::free(where);
    std::free(size);
    return rect;
}

class X11Test : public DesktopUiTest {
  protected:
    void SetUp() override {
        if (std::getenv("KERNOVA_NO_X11")) GTEST_SKIP() << "Xvfb is not available";
        host = desktop->makeWindowHost(app);
    }

    std::unique_ptr<OverlayWindowHost> host;
};

}  // namespace kernova::desktop::testing
