// The floating button: its geometry from the settings, one button at a time,
// its timers, and what a tap and a long press open.

#include <algorithm>

#include "floating/splode_button.h"
#include "server_fixture.h"

namespace kernova::testing {
namespace {

GSplodeButton::Geometry geometry(Dictionary settings, ui::Size screen = {375, 667}) {
    return GSplodeButton::geometryFor(SettingsSnapshot(Value(std::move(settings))), screen);
}

TEST(FloatingButtonGeometry, EdgesSizesAndShifts) {
    // No settings: 65 points from the left, centred, resting on the edge.
    auto left = geometry({});
    EXPECT_EQ(left.start, ui::Rect(-65, 301, 65, 65));
    EXPECT_EQ(left.start.origin.x + left.offsetX, 0);
    EXPECT_EQ(left.offsetY, 0);

    auto bottom = geometry({{"popButton", Value(std::int64_t{1})},
                            {"buttonSize", Value(std::int64_t{50})},
                            {"edgeDistance", Value(std::int64_t{10})},
                            {"verticalPosition", Value(std::int64_t{40})}});
    EXPECT_EQ(bottom.start, ui::Rect(162.5, 667, 50, 50)) << "the vertical shift is ignored";
    EXPECT_EQ(bottom.offsetX, 0);
    EXPECT_EQ(bottom.start.origin.y + bottom.offsetY, 607);

    auto right = geometry({{"popButton", Value(std::int64_t{2})},
                           {"horizontalPosition", Value(std::int64_t{100})},
                           {"verticalPosition", Value(std::int64_t{-20})},
                           {"edgeDistance", Value(std::int64_t{5})}},
                          {1280, 700});
    EXPECT_EQ(right.start, ui::Rect(1280, 297.5, 65, 65)) << "the horizontal shift is ignored";
    EXPECT_EQ(right.offsetX, -70);

    // Any other edge is the left one; sizes are clamped to the key's range.
    auto other = geometry({{"popButton", Value(std::int64_t{7})},
                           {"buttonSize", Value(std::int64_t{5})},
                           {"edgeDistance", Value(std::int64_t{3})}});
    EXPECT_EQ(other.start, ui::Rect(-20, 323.5, 20, 20));
    EXPECT_EQ(other.offsetX, 23);
}

class FloatingButtonTest : public ServerFixture {
  protected:
    std::vector<ui::Rect> buttons() { return reportScreen(server.application()).floatingButtons; }
    void popButton() {
        app.messageSender().sendMessageName("popButton");
        device.runUntilIdle();
    }
    ui::Point restingCentre() {
        popButton();
        device.advance(GSplodeButton::kSlideSeconds);
        const auto shown = buttons();
        EXPECT_EQ(shown.size(), 1u);
        if (shown.empty()) return {};
        return {shown[0].origin.x + shown[0].size.width / 2,
                shown[0].origin.y + shown[0].size.height / 2};
    }
    std::size_t received(const std::string& name) {
        const auto& records = theServer.recentMessages();
        return static_cast<std::size_t>(std::count_if(
            records.begin(), records.end(), [&](const auto& r) { return r.name == name; }));
    }
};

TEST_F(FloatingButtonTest, SlidesInRestsAndGoesLeavingNothingRunning) {
    popButton();
    device.advance(GSplodeButton::kSlideSeconds);
    EXPECT_EQ(buttons(), std::vector<ui::Rect>{ui::Rect(0, 301, 65, 65)});

    // A second request 1 s later shows no second button.
    device.advance(0.5);
    popButton();
    EXPECT_EQ(buttons().size(), 1u);
    EXPECT_EQ(server.application().windows().size(), 1u);

    device.advance(1.5);  // 2.5 s after the first: sliding out
    ASSERT_EQ(buttons().size(), 1u);
    device.advance(GSplodeButton::kSlideSeconds);
    EXPECT_TRUE(buttons().empty());
    EXPECT_TRUE(server.application().windows().empty());
    EXPECT_FALSE(theServer.flags().showing);
    device.advance(1);  // the second request's flag timer
    EXPECT_EQ(device.clock().pendingCount(), 0u) << "no timer left once the button has gone";

    // Not in an enabled application: no button.
    driver.setFrontmostApplication("org.example.Other");
    popButton();
    EXPECT_TRUE(buttons().empty());
}

// A tap on copied text opening the panel is proven end to end.
TEST_F(FloatingButtonTest, ATapOnAnEmptyClipboardSendsNothingAndLeavesNoTimer) {
    driver.tap(restingCentre());
    device.runUntilIdle();
    EXPECT_TRUE(buttons().empty()) << "a tap takes the button away at once";
    EXPECT_EQ(received("notifySplode"), 0u);
    EXPECT_EQ(theServer.panel(), nullptr);
    device.advance(2.1);  // past the flag's timer and the slide-out the button had planned
    EXPECT_EQ(device.clock().pendingCount(), 0u) << "its timers went with it";
}

TEST_F(FloatingButtonTest, ALongPressOpensThePanelAndRunsTheOperationEvenOnAnEmptyClipboard) {
    set("longPress", Value("shareText:"));
    driver.longPress(restingCentre(), 0.6);
    device.runUntilIdle();
    EXPECT_TRUE(buttons().empty());
    ASSERT_NE(theServer.panel(), nullptr);
    EXPECT_TRUE(reportPanel(*theServer.panel()).tags.empty());
    EXPECT_EQ(received("notifySplode"), 0u) << "the tap's action does not run as well";
    EXPECT_EQ(received("shareText"), 1u) << "the operation ran on the empty text";
    EXPECT_TRUE(toasts().empty()) << "no no-text notice";
    theServer.panel()->hide();
    device.advance(3);

    // A name that is not a panel operation: the panel opens, nothing runs.
    set("longPress", Value("deleteEverything:"));
    driver.writeClipboard(app, "two words");
    driver.longPress(restingCentre(), 0.6);
    device.runUntilIdle();
    ASSERT_TRUE(theServer.panel() && theServer.panel()->isShown());
    EXPECT_EQ(reportPanel(*theServer.panel()).tags.size(), 3u);
    EXPECT_EQ(received("shareText"), 1u);
}

}  // namespace
}  // namespace kernova::testing
