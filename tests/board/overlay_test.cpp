// The board alone on a window, as `kernova render` paints it: it fills the
// window, fits its content when no height is given, makes cells only for what
// a capped window shows, and takes empty or broken text.
#include <gtest/gtest.h>

#include "panel/board_overlay.h"
#include "sim/device.h"

namespace kernova::testing {
namespace {

class OverlayTest : public ::testing::Test {
  protected:
    sim::Device device;
    ui::Application& app = device.server().application();

    void settle() {
        device.runUntilIdle();
        app.layoutIfNeeded();
    }
};

TEST_F(OverlayTest, FillsTheWindowAndFitsTheContentWhenNoHeightIsGiven) {
    auto fixed = BoardOverlay::show(app, "one two", ui::Rect(0, 0, 300, 200));
    EXPECT_EQ(fixed->board().frame(), ui::Rect(0, 0, 300, 200));

    auto fitted =
        BoardOverlay::show(app, "one two three four five six seven eight", ui::Rect(0, 0, 120, 0));
    settle();
    const auto tags = fitted->tagStates();
    EXPECT_DOUBLE_EQ(fitted->window().frame().size.height,
                     tags.back().frame.maxY() + GTagFlowView::kDefaultEdgeInsets.bottom);
    EXPECT_GT(tags.back().frame.origin.y, tags.front().frame.origin.y);

    // A limit on the fitted height: only the tags inside the window get cells.
    std::string many;
    for (int i = 0; i < 2000; ++i)
        many += "w ";
    auto capped = BoardOverlay::show(app, many, ui::Rect(0, 0, 50, 0), 4000);
    settle();
    EXPECT_EQ(capped->window().frame().size.height, 4000);
    auto& cells = *capped->board().collectionView();
    EXPECT_GT(cells.contentSize().height, 4000 * 10);
    EXPECT_GT(cells.visibleCells().size(), 50u);
    EXPECT_LT(cells.visibleCells().size(), 200u);
}

TEST_F(OverlayTest, EmptyAndInvalidTextStillMakeABoard) {
    auto empty = BoardOverlay::show(app, "", ui::Rect(0, 0, 200, 0));
    settle();
    EXPECT_TRUE(empty->tagStates().empty());
    EXPECT_GE(empty->window().frame().size.height, 1.0);
    empty->close();
    EXPECT_TRUE(empty->window().isHidden());
    auto broken = BoardOverlay::show(app, std::string("ok \xff\xfe end"), ui::Rect(0, 0, 200, 0));
    EXPECT_FALSE(broken->tagStates().empty());
}

}  // namespace
}  // namespace kernova::testing
