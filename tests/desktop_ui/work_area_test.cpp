// The work area of a monitor from the root window's hints: per-monitor GTK
// areas first, else the current desktop's _NET_WORKAREA cut to the monitor,
// else the whole monitor; device pixels turned into points.
#include "desktop/ui/work_area.h"

#include <gtest/gtest.h>

#include <vector>

namespace kernova::desktop::testing {
namespace {

TEST(WorkArea, QuadsBecomeRectanglesAndAPartialQuadIsDropped) {
    std::vector<std::uint32_t> values{0, 30, 1920, 1050, 1920, 0, 1280};
    EXPECT_EQ(rectsFromCardinals(values), (std::vector<ui::Rect>{ui::Rect(0, 30, 1920, 1050)}));
    // Positions are signed: a monitor left of the origin.
    std::vector<std::uint32_t> left{static_cast<std::uint32_t>(-1280), 0, 1280, 1024};
    EXPECT_EQ(rectsFromCardinals(left).front(), ui::Rect(-1280, 0, 1280, 1024));
    EXPECT_TRUE(rectsFromCardinals({}).empty());
}

TEST(WorkArea, TheCurrentDesktopsAreaIsCutToTheMonitor) {
    // Two monitors side by side; a panel 30 pixels high along the top of both.
    WorkAreaHints hints;
    hints.currentDesktop = 1;
    hints.netWorkArea = {0, 0, 3200, 1080, 0, 30, 3200, 1050};
    EXPECT_EQ(workAreaInPixels(hints, {0, 0, 1920, 1080}), ui::Rect(0, 30, 1920, 1050));
    EXPECT_EQ(workAreaInPixels(hints, {1920, 0, 1280, 1024}), ui::Rect(1920, 30, 1280, 994));
    // Unknown or missing desktop: the first one.
    hints.currentDesktop.reset();
    EXPECT_EQ(workAreaInPixels(hints, {0, 0, 1920, 1080}), ui::Rect(0, 0, 1920, 1080));
    hints.currentDesktop = 7;
    EXPECT_EQ(workAreaInPixels(hints, {0, 0, 1920, 1080}), ui::Rect(0, 0, 1920, 1080));
}

TEST(WorkArea, GtkAreasWinAndTheOneOverlappingMostIsTaken) {
    WorkAreaHints hints;
    hints.netWorkArea = {0, 0, 3200, 1080};
    hints.gtkWorkAreas = {0, 32, 1920, 1048, 1920, 0, 1280, 980};
    EXPECT_EQ(workAreaInPixels(hints, {0, 0, 1920, 1080}), ui::Rect(0, 32, 1920, 1048));
    EXPECT_EQ(workAreaInPixels(hints, {1920, 0, 1280, 1024}), ui::Rect(1920, 0, 1280, 980));
}

TEST(WorkArea, NothingPublishedOrNothingLeftGivesTheWholeMonitor) {
    WorkAreaHints none;
    EXPECT_EQ(workAreaInPixels(none, {0, 0, 800, 600}), ui::Rect(0, 0, 800, 600));
    WorkAreaHints elsewhere;
    elsewhere.netWorkArea = {2000, 0, 100, 100};
    EXPECT_EQ(workAreaInPixels(elsewhere, {0, 0, 800, 600}), ui::Rect(0, 0, 800, 600));
    WorkAreaHints empty;
    empty.netWorkArea = {0, 0, 0, 0};
    EXPECT_EQ(workAreaInPixels(empty, {0, 0, 800, 600}), ui::Rect(0, 0, 800, 600));
}

TEST(WorkArea, PixelsBecomePointsFromTheMonitorsOrigin) {
    // A monitor at 2 pixels per point right of a 1920-pixel one: 3840x2160
    // pixels at (1920, 0) are 1920x1080 points at (1920, 0).
    WorkAreaHints hints;
    hints.netWorkArea = {0, 60, 5760, 2100};
    EXPECT_EQ(workAreaInPoints(hints, {1920, 0, 1920, 1080}, 2.0), ui::Rect(1920, 30, 1920, 1050));
    EXPECT_EQ(workAreaInPoints(hints, {0, 0, 1920, 1080}, 1.0), ui::Rect(0, 60, 1920, 1020));
    EXPECT_EQ(workAreaInPoints({}, {0, 0, 800, 600}, 0.0), ui::Rect(0, 0, 800, 600));
}

}  // namespace
}  // namespace kernova::desktop::testing
