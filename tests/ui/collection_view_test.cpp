#include "ui/collection_view.h"

#include <gtest/gtest.h>

#include "ui/flow_layout.h"
#include "ui_fixture.h"

namespace kernova::ui {
namespace {

struct TagCell : CollectionViewCell {
    std::string text;
};

struct Board : CollectionViewDataSource, CollectionViewDelegate {
    std::int64_t items = 0;
    std::int64_t numberOfItemsInSection(CollectionView&, std::int64_t) override { return items; }
    std::shared_ptr<CollectionViewCell> cellForItemAtIndexPath(CollectionView& cv,
                                                               const IndexPath& ip) override {
        auto cell = cv.dequeueReusableCellWithReuseIdentifier("Tag", ip);
        auto* tag = dynamic_cast<TagCell*>(cell.get());
        tag->text = "item " + std::to_string(ip.item);
        return cell;
    }
};

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

// Cell reuse, scrolling and taps on a collection view are checked through the
// board (tests/board), which lays out its own way.
TEST(FlowLayout, ReloadAndBatchUpdatesAskTheDataSourceAgain) {
    testing::Process p;
    SizedBoard board;
    auto cv = laidOut(std::make_shared<FlowLayout>(), Rect(0, 0, 200, 300), board, 8);
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
    board.items = 2;
    cv->reloadData();
    cv->layoutIfNeeded();
    EXPECT_EQ(cv->visibleCells().size(), 2u);
    EXPECT_EQ(cv->cellForItemAtIndexPath(IndexPath{0, 3}), nullptr);
}

}  // namespace
}  // namespace kernova::ui
