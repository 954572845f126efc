#include "ui/collection_view.h"

#include <gtest/gtest.h>

#include "ui/flow_layout.h"
#include "ui_fixture.h"

namespace kernova::ui {
namespace {

// Rows of four 50x20 items, 10 points apart; the layout counts its work.
class GridLayout : public IndexedCollectionViewLayout {
  public:
    std::int64_t count = 0;
    int prepares = 0;
    void prepareLayout() override {
        ++prepares;
        attributes().clear();
        for (std::int64_t i = 0; i < count; ++i) {
            auto a = LayoutAttributes::forCellWithIndexPath(IndexPath{0, i});
            a.frame =
                Rect(static_cast<double>(i % 4) * 50, static_cast<double>(i / 4) * 30, 50, 20);
            attributes().push_back(a);
        }
        rebuildIndex();
    }
    Size collectionViewContentSize() const override {
        return Size{200, static_cast<double>((count + 3) / 4) * 30};
    }
};

struct TagCell : CollectionViewCell {
    std::string text;
};

struct Board : CollectionViewDataSource, CollectionViewDelegate {
    std::int64_t items = 0;
    std::vector<std::int64_t> selected;
    int created = 0;
    std::int64_t numberOfItemsInSection(CollectionView&, std::int64_t) override { return items; }
    std::shared_ptr<CollectionViewCell> cellForItemAtIndexPath(CollectionView& cv,
                                                               const IndexPath& ip) override {
        auto cell = cv.dequeueReusableCellWithReuseIdentifier("Tag", ip);
        auto* tag = dynamic_cast<TagCell*>(cell.get());
        tag->text = "item " + std::to_string(ip.item);
        return cell;
    }
    void didSelectItemAtIndexPath(CollectionView&, const IndexPath& ip) override {
        selected.push_back(ip.item);
    }
};

struct CollectionTest : ::testing::Test {
    testing::Process p;
    std::shared_ptr<Window> window = p.window();
    std::shared_ptr<GridLayout> layout = std::make_shared<GridLayout>();
    std::shared_ptr<CollectionView> cv =
        std::make_shared<CollectionView>(Rect(0, 0, 200, 100), layout);
    Board board;

    void SetUp() override {
        cv->registerClass(
            [this] {
                ++board.created;
                return std::make_shared<TagCell>();
            },
            "Tag");
        cv->setDataSource(&board);
        cv->setDelegate(&board);
        window->addSubview(cv);
    }
    void show(std::int64_t n) {
        board.items = layout->count = n;
        cv->reloadData();
        p.clock.runUntilIdle();
    }
};

TEST_F(CollectionTest, RealisesOnlyVisibleCellsAndReusesThem) {
    show(10000);
    // 100 points tall: rows at 0, 30, 60, 90 intersect.
    EXPECT_EQ(cv->visibleCells().size(), 16u);
    EXPECT_EQ(cv->contentSize().height, 2500 * 30);
    std::size_t most = 0;
    for (int step = 0; step < 200; ++step) {
        p.app.handleScroll(ScrollEvent{Point{10, 10}, 0, 37});
        p.clock.runUntilIdle();
        most = std::max(most, cv->visibleCells().size() + cv->reusableCellCount());
        EXPECT_LE(cv->visibleCells().size(), 20u);
    }
    EXPECT_LE(board.created, 24);
    EXPECT_LE(most, 24u);
    EXPECT_EQ(layout->prepares, 1);  // scrolling does not prepare again
    auto first = cv->indexPathsForVisibleItems().front();
    EXPECT_EQ(first.item, 988);  // offset 7400: row 247 is the first that reaches in
}

TEST_F(CollectionTest, TapSelectsTheItemUnderTheFinger) {
    show(40);
    p.tap(60, 35);  // second row, second column
    EXPECT_EQ(board.selected, std::vector<std::int64_t>{5});
    p.tap(60, 25);  // the gap between rows
    EXPECT_EQ(board.selected.size(), 1u);
    p.drag(3, Point{60, 35}, Point{60, 80});  // a drag is not a tap
    EXPECT_EQ(board.selected.size(), 1u);
    p.app.handleScroll(ScrollEvent{Point{10, 10}, 0, 30});
    p.clock.runUntilIdle();
    p.tap(60, 35);  // content moved by one row
    EXPECT_EQ(board.selected.back(), 9);
    EXPECT_EQ(cv->indexPathForItemAtPoint(Point{160, 95}), (IndexPath{0, 15}));
    EXPECT_FALSE(cv->indexPathForItemAtPoint(Point{1e9, 1e9}).has_value());
}

TEST_F(CollectionTest, ReloadAndBatchUpdatesAskTheDataSourceAgain) {
    show(8);
    auto* cell = dynamic_cast<TagCell*>(cv->cellForItemAtIndexPath(IndexPath{0, 3}));
    ASSERT_NE(cell, nullptr);
    cell->text = "stale";
    bool completed = false;
    cv->performBatchUpdates(
        [&] {
            cv->reloadItemsAtIndexPaths({IndexPath{0, 3}});
        },
        [&](bool f) { completed = f; });
    EXPECT_TRUE(completed);
    auto* again = dynamic_cast<TagCell*>(cv->cellForItemAtIndexPath(IndexPath{0, 3}));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->text, "item 3");
    show(2);
    EXPECT_EQ(cv->visibleCells().size(), 2u);
    EXPECT_EQ(cv->cellForItemAtIndexPath(IndexPath{0, 3}), nullptr);
}

TEST(LayoutIndex, AnswersRectanglesLikeAFullScan) {
    std::vector<LayoutAttributes> list;
    for (int i = 0; i < 500; ++i) {
        auto a = LayoutAttributes::forCellWithIndexPath(IndexPath{0, i});
        a.frame = Rect((i * 37) % 300, (i * 53) % 1000, 10 + i % 40, 5 + (i * 7) % 60);
        list.push_back(a);
    }
    LayoutAttributesIndex index;
    index.rebuild(list);
    for (int q = 0; q < 50; ++q) {
        Rect rect((q * 13) % 250, (q * 71) % 900, 80, 120);
        std::vector<std::size_t> scan;
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (list[i].frame.intersects(rect)) scan.push_back(i);
        }
        EXPECT_EQ(index.positionsInRect(rect), scan);
    }
}

// A collection view laid out by `layout` with `items` from `board`.
std::shared_ptr<CollectionView> laidOut(std::shared_ptr<CollectionViewLayout> layout, Rect frame,
                                        Board& board, std::int64_t items) {
    auto cv = std::make_shared<CollectionView>(frame, std::move(layout));
    board.items = items;
    cv->registerClass([] { return std::make_shared<TagCell>(); }, "Tag");
    cv->setDataSource(&board);
    cv->setDelegate(&board);
    cv->layoutIfNeeded();
    return cv;
}

struct SizedBoard : Board, FlowLayoutDelegate {
    Size sizeForItemAtIndexPath(CollectionView&, CollectionViewLayout&,
                                const IndexPath& ip) override {
        return Size{ip.item == 2 ? 500.0 : 60.0, 20};
    }
    EdgeInsets insetForSectionAtIndex(CollectionView&, CollectionViewLayout&,
                                      std::int64_t) override {
        return EdgeInsets{5, 10, 5, 10};
    }
    double minimumLineSpacingForSectionAtIndex(CollectionView&, CollectionViewLayout&,
                                               std::int64_t) override {
        return 4;
    }
    double minimumInteritemSpacingForSectionAtIndex(CollectionView&, CollectionViewLayout&,
                                                    std::int64_t) override {
        return 4;
    }
};

TEST(FlowLayout, LinesFromTheDelegatesSizes) {
    testing::Process p;
    auto flow = std::make_shared<FlowLayout>();
    SizedBoard board;
    auto cv = laidOut(flow, Rect(0, 0, 200, 300), board, 3);
    auto a0 = flow->layoutAttributesForItemAtIndexPath(IndexPath{0, 0});
    auto a1 = flow->layoutAttributesForItemAtIndexPath(IndexPath{0, 1});
    auto a2 = flow->layoutAttributesForItemAtIndexPath(IndexPath{0, 2});
    ASSERT_TRUE(a0 && a1 && a2);
    EXPECT_EQ(a0->frame, Rect(10, 5, 60, 20));
    EXPECT_EQ(a1->frame.origin.y, 5);  // spread to the right edge
    EXPECT_EQ(a1->frame.maxX(), 190);
    EXPECT_EQ(a2->frame, Rect(10, 29, 180, 20));  // too wide: shortened, own line
    EXPECT_EQ(flow->collectionViewContentSize(), (Size{200, 54}));
}

// Places items itself on top of the stock flow layout, answering every
// rectangle with the whole list, as a hand-written layout may.
class OwnListLayout : public FlowLayout {
  public:
    std::vector<LayoutAttributes> list;
    void prepareLayout() override {
        FlowLayout::prepareLayout();
        list.clear();
        for (std::int64_t i = 0; i < 6; ++i) {
            auto a = LayoutAttributes::forCellWithIndexPath(IndexPath{0, i});
            a.frame = Rect(0, static_cast<double>(i) * 40, 100, 30);
            list.push_back(a);
        }
    }
    std::vector<LayoutAttributes> layoutAttributesForElementsInRect(const Rect&) const override {
        return list;
    }
    Size collectionViewContentSize() const override { return Size{0, 240}; }
};

struct CountingBoard : SizedBoard {
    int sizeQuestions = 0;
    Size sizeForItemAtIndexPath(CollectionView& cv, CollectionViewLayout& l,
                                const IndexPath& ip) override {
        ++sizeQuestions;
        return SizedBoard::sizeForItemAtIndexPath(cv, l, ip);
    }
};

TEST(FlowLayout, SubclassWithItsOwnListGetsItsFramesAndNoExtraWork) {
    testing::Process p;
    CountingBoard board;
    auto cv = laidOut(std::make_shared<OwnListLayout>(), Rect(0, 0, 100, 100), board, 6);
    EXPECT_EQ(cv->visibleCells().size(), 3u);  // rows at 0, 40 and 80
    ASSERT_NE(cv->cellForItemAtIndexPath(IndexPath{0, 2}), nullptr);
    EXPECT_EQ(cv->cellForItemAtIndexPath(IndexPath{0, 2})->frame(), Rect(0, 80, 100, 30));
    EXPECT_EQ(cv->contentSize(), (Size{0, 240}));
    EXPECT_EQ(board.sizeQuestions, 0);
    EXPECT_EQ(cv->indexPathForItemAtPoint(Point{50, 45}), (IndexPath{0, 1}));
}

}  // namespace
}  // namespace kernova::ui
