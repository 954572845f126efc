#include <gtest/gtest.h>

#include "ui/activity.h"
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

TEST_F(ModelTest, AlertActionsDismissThenRunTheirHandler) {
    auto alert = AlertController::alertControllerWithTitle("Edit", "", AlertControllerStyle::alert);
    std::vector<std::string> events;
    alert->addTextFieldWithConfigurationHandler([](TextField& field) {
        field.setText("old");
        field.becomeFirstResponder();
    });
    alert->addAction(AlertAction::actionWithTitle(
        "OK", AlertActionStyle::destructive,
        [&](AlertAction&) { events.push_back("ok:" + alert->textFields()[0]->text()); }));
    alert->addAction(AlertAction::actionWithTitle(
        "Cancel", AlertActionStyle::cancel, [&](AlertAction&) { events.push_back("cancel"); }));
    bool presented = false;
    root->presentViewController(alert, true, [&] { presented = true; });
    ASSERT_EQ(p.presenter.shown.size(), 1u);
    EXPECT_EQ(p.presenter.shown[0], alert);
    EXPECT_EQ(root->presentedViewController(), alert.get());
    EXPECT_FALSE(presented);
    p.clock.runUntilIdle();
    EXPECT_TRUE(presented);
    ASSERT_EQ(alert->textFields().size(), 1u);
    EXPECT_TRUE(alert->textFields()[0]->isFirstResponder());
    alert->textFields()[0]->setText("new");  // the user edits the field
    EXPECT_TRUE(alert->tapAction(0));
    EXPECT_EQ(events, std::vector<std::string>{"ok:new"});
    EXPECT_EQ(root->presentedViewController(), nullptr);
    EXPECT_EQ(p.presenter.dismissed, std::vector<ViewController*>{alert.get()});
    EXPECT_FALSE(alert->tapAction(7));
}

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
    root->presentViewController(first, false);
    bool called = false;
    root->presentViewController(second, false, [&] { called = true; });
    p.clock.runUntilIdle();
    EXPECT_FALSE(called);
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

struct Ocr : Activity {
    int performed = 0;
    std::shared_ptr<const Image> image;
    std::string activityType() const override { return "fun.quorle.KernovaActivity"; }
    std::string activityTitle() const override { return "OCR & Splode"; }
    bool canPerformWithActivityItems(const std::vector<ActivityItem>& items) const override {
        for (auto& i : items) {
            if (i.kind() == ActivityItem::Kind::image) return true;
        }
        return false;
    }
    void prepareWithActivityItems(const std::vector<ActivityItem>& items) override {
        for (auto& i : items) {
            if (i.kind() == ActivityItem::Kind::image) {
                image = i.imageValue();
                break;
            }
        }
    }
    void performActivity() override { ++performed; }
};

TEST_F(ModelTest, ShareSheetActivitiesAndCompletion) {
    auto ocr = std::make_shared<Ocr>();
    p.app.setActivityViewControllerHook([&](std::vector<std::shared_ptr<Activity>> list) {
        list.push_back(ocr);
        return list;
    });
    auto picture = Image::fromPaths(Size{10, 10}, {});
    auto sheet = ActivityViewController::initWithActivityItems(
        p.app, {ActivityItem::text("hello"), ActivityItem::image(picture)}, {});
    ASSERT_EQ(sheet->applicationActivities().size(), 1u);
    sheet->setExcludedActivityTypes({kActivityTypePrint});
    std::vector<std::pair<std::string, bool>> results;
    sheet->setCompletionWithItemsHandler(
        [&](const std::string& type, bool completed) { results.emplace_back(type, completed); });
    root->presentViewController(sheet, true);
    EXPECT_FALSE(sheet->chooseActivity(kActivityTypePrint));
    EXPECT_TRUE(sheet->chooseActivity("fun.quorle.KernovaActivity"));
    EXPECT_EQ(ocr->performed, 1);
    EXPECT_EQ(ocr->image, picture);
    EXPECT_TRUE(results.empty());  // until the activity says it finished
    ocr->activityDidFinish(true);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0], std::make_pair(std::string("fun.quorle.KernovaActivity"), true));
    EXPECT_EQ(root->presentedViewController(), nullptr);

    auto textOnly =
        ActivityViewController::initWithActivityItems(p.app, {ActivityItem::text("hello")}, {});
    EXPECT_TRUE(textOnly->availableApplicationActivities().empty());
    bool cancelled = false;
    textOnly->setCompletionWithItemsHandler(
        [&](const std::string& type, bool completed) { cancelled = type.empty() && !completed; });
    textOnly->cancel();
    EXPECT_TRUE(cancelled);
}

TEST(SmallViews, IndicatorAndImageView) {
    ActivityIndicatorView spinner(ActivityIndicatorStyle::gray);
    EXPECT_TRUE(spinner.isHidden());
    spinner.startAnimating();
    EXPECT_FALSE(spinner.isHidden());
    spinner.stopAnimating();
    EXPECT_TRUE(spinner.isHidden());
    spinner.setHidesWhenStopped(false);
    EXPECT_FALSE(spinner.isHidden());

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
