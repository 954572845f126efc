#include <gtest/gtest.h>

#include "ui/alert.h"
#include "ui/image_view.h"
#include "ui_fixture.h"

namespace kernova::ui {
namespace {

struct ModelTest : ::testing::Test {
    testing::Process p;
    std::shared_ptr<Window> window = std::make_shared<Window>(p.app, p.screen.bounds);
    std::shared_ptr<ViewController> root = std::make_shared<ViewController>();
    void SetUp() override {
        window->setRootViewController(root);
        window->makeKeyAndVisible();
    }
};

// An alert's text field and actions are checked through the board's tag
// editor (tests/board/cell_test.cpp).
TEST_F(ModelTest, EscapePicksTheCancelAction) {
    auto sheet = AlertController::alertControllerWithTitle(
        "Please select target language code to translate.", std::nullopt,
        AlertControllerStyle::actionSheet);
    int cancels = 0;
    sheet->addAction(AlertAction::actionWithTitle("en", AlertActionStyle::defaultStyle));
    sheet->addAction(AlertAction::actionWithTitle("Cancel", AlertActionStyle::cancel,
                                                  [&](AlertAction&) { ++cancels; }));
    sheet->addTextFieldWithConfigurationHandler(nullptr);  // sheets hold no fields
    EXPECT_TRUE(sheet->textFields().empty());
    root->presentViewController(sheet, true);
    EXPECT_TRUE(p.app.handleKey(KeyEvent{Key::escape, ""}));
    EXPECT_EQ(cancels, 1);
    EXPECT_EQ(root->presentedViewController(), nullptr);
}

TEST_F(ModelTest, PresentingTwiceOrWithoutAWindowIsIgnored) {
    auto first = AlertController::alertControllerWithTitle("A", "", AlertControllerStyle::alert);
    auto second = AlertController::alertControllerWithTitle("B", "", AlertControllerStyle::alert);
    bool firstShown = false, called = false;
    root->presentViewController(first, false, [&] { firstShown = true; });
    root->presentViewController(second, false, [&] { called = true; });
    EXPECT_FALSE(firstShown);  // on the next turn
    p.clock.runUntilIdle();
    EXPECT_TRUE(firstShown);
    EXPECT_FALSE(called);
    EXPECT_FALSE(first->tapAction(7));
    EXPECT_EQ(p.presenter.shown.size(), 1u);
    auto loose = std::make_shared<ViewController>();
    loose->presentViewController(second, false);
    EXPECT_EQ(p.presenter.shown.size(), 1u);
    // Presented controllers can present in turn, and dismissing the lower one
    // takes both away.
    first->presentViewController(second, false);
    EXPECT_EQ(p.presenter.shown.size(), 2u);
    root->dismissViewControllerAnimated(false);
    EXPECT_EQ(p.presenter.dismissed.size(), 2u);
    EXPECT_EQ(first->presentedViewController(), nullptr);
}

// The share sheet's model is checked through the server's sheet
// (tests/server/share_test.cpp) and its dialog (tests/desktop_ui).

TEST(ImageView, FitsItsImageAndPixelsMustMatchTheirSize) {
    ImageView view(Rect(0, 0, 100, 50));
    view.setImage(Image::fromPaths(Size{20, 20}, {}));
    view.setContentMode(ContentMode::scaleAspectFit);
    EXPECT_EQ(view.imageRect(), Rect(25, 0, 50, 50));
    EXPECT_EQ(Image::fromPixels(PixelBuffer{2, 2, {1, 2, 3}}), nullptr);  // wrong pixel count
    auto image = Image::fromPixels(PixelBuffer{4, 2, std::vector<std::uint32_t>(8)}, 2);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->size(), (Size{2, 1}));
}

}  // namespace
}  // namespace kernova::ui
