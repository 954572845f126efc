// The device end to end: windows at two levels, a button, a slide, a wheel
// scroll over a collection view of 10,000 items, and an animation, all driven
// through the server process's application in virtual time.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "sim/device.h"
#include "sim/driver.h"
#include "ui/collection_view.h"
#include "ui/control.h"
#include "ui/gestures.h"
#include "ui/label.h"
#include "ui/window.h"

namespace kernova::sim {
namespace {

constexpr std::int64_t kItems = 10000;
constexpr double kCell = 80;
constexpr double kGap = 10;
constexpr int kColumns = 4;

// A plain grid: kColumns columns of square cells.
class GridLayout final : public ui::IndexedCollectionViewLayout {
  public:
    void prepareLayout() override {
        attributes().clear();
        for (std::int64_t i = 0; i < kItems; ++i) {
            auto a = ui::LayoutAttributes::forCellWithIndexPath(ui::IndexPath{0, i});
            a.frame =
                ui::Rect(kGap + static_cast<double>(i % kColumns) * (kCell + kGap),
                         kGap + static_cast<double>(i / kColumns) * (kCell + kGap), kCell, kCell);
            attributes().push_back(a);
        }
        rebuildIndex();
    }
    ui::Size collectionViewContentSize() const override {
        double rows = static_cast<double>((kItems + kColumns - 1) / kColumns);
        return ui::Size{kGap + kColumns * (kCell + kGap), kGap + rows * (kCell + kGap)};
    }
};

// Counts the cells alive, so the test sees every one ever made and kept.
class CountedCell final : public ui::CollectionViewCell {
  public:
    explicit CountedCell(int& live) : live_(live) { ++live_; }
    ~CountedCell() override { --live_; }

  private:
    int& live_;
};

class Items final : public ui::CollectionViewDataSource {
  public:
    std::int64_t numberOfItemsInSection(ui::CollectionView&, std::int64_t) override {
        return kItems;
    }
    std::shared_ptr<ui::CollectionViewCell> cellForItemAtIndexPath(
        ui::CollectionView& view, const ui::IndexPath& indexPath) override {
        auto cell = view.dequeueReusableCellWithReuseIdentifier("cell", indexPath);
        cell->setTag(indexPath.item);
        return cell;
    }
};

class ScreenTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ui::Application& app = driver.application();
        lower = std::make_shared<ui::Window>(app, ui::Rect(0, 0, 375, 667));
        lower->makeKeyAndVisible();

        label = std::make_shared<ui::Label>(ui::Rect(20, 20, 200, 20));
        label->setText("Items");
        lower->addSubview(label);

        button = std::make_shared<ui::Button>(ui::Rect(20, 50, 100, 44));
        button->addTarget([this](ui::Control&) { ++buttonTaps; }, ui::kControlEventTouchUpInside);
        lower->addSubview(button);
        covered = std::make_shared<ui::Button>(ui::Rect(250, 50, 100, 44));
        covered->addTarget([this](ui::Control&) { ++coveredTaps; }, ui::kControlEventTouchUpInside);
        lower->addSubview(covered);

        slider = std::make_shared<ui::View>(ui::Rect(0, 100, 375, 80));
        auto pan = std::make_shared<ui::PanGestureRecognizer>();
        pan->addTarget([this](ui::GestureRecognizer& r) { panStates.push_back(r.state()); });
        slider->addGestureRecognizer(pan);
        lower->addSubview(slider);

        grid = std::make_shared<ui::CollectionView>(ui::Rect(0, 200, 375, 467),
                                                    std::make_shared<GridLayout>());
        grid->registerClass([this] { return std::make_shared<CountedCell>(liveCells); }, "cell");
        grid->setDataSource(&items);
        lower->addSubview(grid);

        // Above everything, over the right half of the top of the screen.
        upper = std::make_shared<ui::Window>(app, ui::Rect(200, 0, 175, 120));
        upper->setWindowLevel(ui::kWindowLevelAlert + 1);
        upper->setBackgroundColor(ui::Color::white(1));
        auto tap = std::make_shared<ui::TapGestureRecognizer>();
        tap->addTarget([this](ui::GestureRecognizer&) { ++upperTaps; });
        upper->addGestureRecognizer(tap);
        upper->setHidden(false);
        driver.runUntilIdle();
    }

    void expectNoSpareCells() {
        EXPECT_LE(static_cast<std::size_t>(liveCells),
                  grid->visibleCells().size() + grid->reusableCellCount());
    }

    Device device;
    Driver driver{device};
    Items items;
    int liveCells = 0;
    int buttonTaps = 0;
    int coveredTaps = 0;
    int upperTaps = 0;
    std::vector<ui::GestureState> panStates;
    std::shared_ptr<ui::Window> lower;
    std::shared_ptr<ui::Window> upper;
    std::shared_ptr<ui::Label> label;
    std::shared_ptr<ui::Button> button;
    std::shared_ptr<ui::Button> covered;
    std::shared_ptr<ui::View> slider;
    std::shared_ptr<ui::CollectionView> grid;
};

TEST_F(ScreenTest, TapReachesTheButtonButNotWhatTheUpperWindowCovers) {
    driver.tap({70, 72});
    EXPECT_EQ(buttonTaps, 1);
    driver.tap({300, 72});
    EXPECT_EQ(coveredTaps, 0);
    EXPECT_EQ(upperTaps, 1);
    // A tap on the label passes through it (labels take no touches) to the window.
    driver.tap({30, 30});
    EXPECT_EQ(buttonTaps, 1);
    expectNoSpareCells();
}

TEST_F(ScreenTest, SlideRunsThePanRecognizerThroughItsStates) {
    driver.pan({{20, 140}, {120, 140}, {180, 150}}, 0.3);
    ASSERT_GE(panStates.size(), 3u);
    EXPECT_EQ(panStates.front(), ui::GestureState::began);
    EXPECT_EQ(panStates[1], ui::GestureState::changed);
    EXPECT_EQ(panStates.back(), ui::GestureState::ended);
    // Steps of at most 4 points over 170 points: many changes, spread in time.
    EXPECT_GT(panStates.size(), 30u);
    EXPECT_NEAR(device.now(), 0.3, 1e-9);
    // A short wobble under the threshold never begins.
    panStates.clear();
    driver.pan({{20, 140}, {25, 142}}, 0.1);
    EXPECT_TRUE(panStates.empty());
}

TEST_F(ScreenTest, LongPressBeginsWhileHeldAndSwipeRecognizes) {
    auto press = std::make_shared<ui::LongPressGestureRecognizer>();
    std::vector<std::pair<ui::GestureState, double>> pressStates;
    press->addTarget(
        [&](ui::GestureRecognizer& r) { pressStates.emplace_back(r.state(), device.now()); });
    label->setUserInteractionEnabled(true);
    label->addGestureRecognizer(press);
    double start = device.now();
    driver.longPress({30, 30}, 0.8);
    ASSERT_EQ(pressStates.size(), 2u);
    EXPECT_EQ(pressStates[0].first, ui::GestureState::began);
    EXPECT_NEAR(pressStates[0].second - start, press->minimumPressDuration(), 1e-9);
    EXPECT_EQ(pressStates[1].first, ui::GestureState::ended);
    // Too short a press is only a tap.
    pressStates.clear();
    driver.tap({30, 30});
    EXPECT_TRUE(pressStates.empty());

    auto swipe = std::make_shared<ui::SwipeGestureRecognizer>();
    swipe->setDirection(ui::kSwipeDirectionLeft);
    int swipes = 0;
    swipe->addTarget([&](ui::GestureRecognizer&) { ++swipes; });
    slider->removeGestureRecognizer(slider->gestureRecognizers().front().get());
    slider->addGestureRecognizer(swipe);
    driver.swipe({300, 140}, Direction::right);
    EXPECT_EQ(swipes, 0);
    driver.swipe({300, 140}, Direction::left);
    EXPECT_EQ(swipes, 1);
}

TEST_F(ScreenTest, WheelScrollMovesTheOffsetAndChangesTheVisibleCells) {
    auto before = grid->indexPathsForVisibleItems();
    ASSERT_FALSE(before.empty());
    EXPECT_EQ(before.front().item, 0);
    expectNoSpareCells();
    EXPECT_LT(grid->visibleCells().size(), 40u);

    for (int i = 0; i < 50; ++i) {
        driver.wheel({100, 400}, 0, 900);
        expectNoSpareCells();
    }
    EXPECT_DOUBLE_EQ(grid->contentOffset().y, 45000);
    auto after = grid->indexPathsForVisibleItems();
    ASSERT_FALSE(after.empty());
    EXPECT_EQ(after.front().item, 45000 / 90 * kColumns);
    // Scrolling past the end stops at the last row.
    driver.wheel({100, 400}, 0, 1e9);
    EXPECT_DOUBLE_EQ(grid->contentOffset().y, grid->maximumContentOffset().y);
    EXPECT_EQ(grid->indexPathsForVisibleItems().back().item, kItems - 1);
    expectNoSpareCells();
    EXPECT_LT(liveCells, 60);
}

}  // namespace
}  // namespace kernova::sim
