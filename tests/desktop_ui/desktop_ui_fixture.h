// A desktop process for toolkit tests: the desktop platform on Qt's offscreen
// plugin, driven by a virtual clock so that animations stand still.
#pragma once

#include <gtest/gtest.h>

#include <QColor>
#include <QImage>
#include <cmath>
#include <memory>

#include "base/context.h"
#include "base/virtual_run_loop.h"
#include "desktop/ui/desktop_platform.h"
#include "desktop/ui/painter.h"
#include "ui/application.h"
#include "ui/window.h"

namespace kernova::desktop::testing {

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
