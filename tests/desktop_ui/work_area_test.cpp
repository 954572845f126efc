// The work area of a monitor from the root window's hints: per-monitor GTK
// areas first, else the current desktop's _NET_WORKAREA cut to the monitor,
// else the whole monitor; device pixels turned into points. (Reading the
// hints from the root window is checked on Xvfb in x11_test.cpp.)
#include "desktop/ui/work_area.h"

#include <gtest/gtest.h>

#include <vector>

namespace kernova::desktop::testing {
namespace {

TEST(WorkArea, FromTheHintsOfTheRootWindow) {
    // Two monitors side by side, 1920 and 1280 pixels wide; a panel 30 pixels
    // high along the top of both on the second desktop.
    const ui::Rect left{0, 0, 1920, 1080}, right{1920, 0, 1280, 1024};
    WorkAreaHints hints;
    hints.currentDesktop = 1;
    hints.netWorkArea = {0, 0, 3200, 1080, 0, 30, 3200, 1050, 7};  // a partial quad is dropped
    EXPECT_EQ(workAreaInPixels(hints, right), ui::Rect(1920, 30, 1280, 994));
    hints.currentDesktop = 7;  // unknown: the first
    EXPECT_EQ(workAreaInPixels(hints, left), left);
    // GTK's areas win, the one overlapping the monitor most.
    hints.gtkWorkAreas = {0, 32, 1920, 1048, 1920, 0, 1280, 980};
    EXPECT_EQ(workAreaInPixels(hints, right), ui::Rect(1920, 0, 1280, 980));
    // Nothing published, nothing on the monitor or nothing left: the monitor.
    EXPECT_EQ(workAreaInPixels({}, left), left);
    EXPECT_EQ(workAreaInPixels({{}, {}, {2000, 0, 100, 100}}, {0, 0, 800, 600}),
              ui::Rect(0, 0, 800, 600));
    EXPECT_EQ(workAreaInPixels({{}, {}, {0, 0, 0, 0}}, {0, 0, 800, 600}), ui::Rect(0, 0, 800, 600));
    // Positions are signed: a monitor left of the origin.
    std::vector<std::uint32_t> west{static_cast<std::uint32_t>(-1280), 0, 1280, 1024};
    EXPECT_EQ(rectsFromCardinals(west).front(), ui::Rect(-1280, 0, 1280, 1024));
}

TEST(WorkArea, PixelsBecomePointsFromTheMonitorsOrigin) {
    // A monitor at 2 pixels per point right of a 1920-pixel one: 3840x2160
    // pixels at (1920, 0) are 1920x1080 points at (1920, 0).
    WorkAreaHints hints;
    hints.netWorkArea = {0, 60, 5760, 2100};
    EXPECT_EQ(workAreaInPoints(hints, {1920, 0, 1920, 1080}, 2.0), ui::Rect(1920, 30, 1920, 1050));
    EXPECT_EQ(workAreaInPoints({}, {0, 0, 800, 600}, 0.0), ui::Rect(0, 0, 800, 600));
}

}  // namespace
}  // namespace kernova::desktop::testing
