// A desktop process for toolkit tests: the desktop platform on Qt's offscreen
// plugin, driven by a virtual clock so that animations stand still.
#pragma once

#include <gtest/gtest.h>

#include <QColor>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QImage>
#include <cmath>
#include <functional>
#include <memory>

#include "base/context.h"
#include "base/virtual_run_loop.h"
#include "desktop/ui/desktop_platform.h"
#include "desktop/ui/painter.h"
#include "ui/application.h"
#include "ui/control.h"
#include "ui/window.h"

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

class DesktopUiTest : public ::testing::Test {
  protected:
    std::shared_ptr<ui::Window> makeWindow(ui::Rect frame = {0, 0, 100, 100}) {
        auto window = std::make_shared<ui::Window>(app, frame);
        window->makeKeyAndVisible();
        return window;
    }
    QImage render(ui::Window& window, double scale = 1.0) {
        return renderWindow(window, window.frame().size, scale);
    }
    // The colour at (x, y) points of an image rendered at `scale`.
    static QColor at(const QImage& image, double x, double y, double scale = 1.0) {
        return image.pixelColor(static_cast<int>(std::floor(x * scale)),
                                static_cast<int>(std::floor(y * scale)));
    }

    // A button in `parent` that counts its touch-up-insides in `taps`.
    static std::shared_ptr<ui::Button> addButton(ui::View& parent, ui::Rect frame, int& taps) {
        auto button = std::make_shared<ui::Button>(frame);
        button->addTarget([&taps](ui::Control&) { ++taps; }, ui::kControlEventTouchUpInside);
        parent.addSubview(button);
        return button;
    }
    // Counts in `escapes` the Escape keys that reach `window`.
    static void countEscapes(ui::Window& window, int& escapes) {
        window.setKeyHandler([&escapes](const ui::KeyEvent& key) {
            escapes += key.key == ui::Key::escape;
            return true;
        });
    }

    VirtualClock clock;
    VirtualRunLoop loop{clock};
    InProcessSystemNotifications system;
    Context context{loop, system, Paths{}};
    std::unique_ptr<DesktopPlatform> desktop = makeDesktopPlatform(context);
    ui::Application app{context, desktop->platform()};
};

// Colours compared channel by channel within `tolerance` (antialiasing, rounding).
inline ::testing::AssertionResult near(const QColor& actual, const QColor& expected,
                                       int tolerance = 3) {
    auto close = [&](int a, int b) { return std::abs(a - b) <= tolerance; };
    if (close(actual.red(), expected.red()) && close(actual.green(), expected.green()) &&
        close(actual.blue(), expected.blue()) && close(actual.alpha(), expected.alpha())) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "rgba(" << actual.red() << "," << actual.green() << "," << actual.blue() << ","
           << actual.alpha() << ") vs rgba(" << expected.red() << "," << expected.green() << ","
           << expected.blue() << "," << expected.alpha() << ")";
}

}  // namespace kernova::desktop::testing
