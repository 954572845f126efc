// Tags and their look, and the left-aligned line layout of the board.
#include <gtest/gtest.h>

#include "board/tag_flow_pass.h"
#include "board_fixture.h"

namespace kernova::testing {
namespace {

using ui::Rect;
using ui::Size;

using ItemTest = BoardTest;

double textWidth(const ui::TextMeasurer& m, const std::string& text, double fontSize) {
    return m.boundingSize(text, ui::Font::systemFont(fontSize)).width;
}

TEST_F(ItemTest, FontSizeComesFromTheSettingsFileAtCreation) {
    setSetting("fontSize", 17);
    auto tag = item("abc");
    EXPECT_EQ(tag->appearance()->textFont, ui::Font::systemFont(17));
    EXPECT_EQ(tag->itemSize().height, 35);
    EXPECT_DOUBLE_EQ(tag->itemSize().width, textWidth(measurer, "abc", 17) + 18);
    EXPECT_EQ(item("two\nlines")->itemSize().height, 35);

    setSetting("fontSize", 0);
    EXPECT_EQ(item("abc")->itemSize().height, 30);
    setSetting("fontSize", "not a number");
    EXPECT_EQ(GTagFlowAppearance::create(context)->itemHeight, 30);

    // Sizes outside the key's range are clamped: never a negative height, never
    // a tag too big to show.
    setSetting("fontSize", -30);
    EXPECT_EQ(item("abc")->itemSize().height, 6 + 18);
    EXPECT_GT(item("abc")->itemSize().width, 18);
    setSetting("fontSize", std::int64_t{1} << 40);
    EXPECT_EQ(item("abc")->itemSize().height, 96 + 18);
}

// An empty edit keeps the size of the last measured text: the editor's test.
TEST_F(ItemTest, MeasuresTextWithPaddingAndKeepsFractions) {
    EXPECT_NE(item("abc")->itemSize().width, std::floor(item("abc")->itemSize().width));
    EXPECT_EQ(item("")->itemSize(), (Size{0, 0}));
}

TEST_F(ItemTest, AppearanceChangesMeasureAgainButNullIsIgnored) {
    auto tag = item("abc");
    auto old = tag->appearance();
    Size before = tag->itemSize();
    tag->setAppearance(nullptr);
    EXPECT_EQ(tag->appearance(), old);
    EXPECT_EQ(tag->itemSize(), before);

    auto look = GTagFlowAppearance::create(context);
    look->itemHeight = 0;  // then the tag is as high as its text
    tag->setAppearance(look);
    EXPECT_DOUBLE_EQ(tag->itemSize().height, measurer.boundingSize("abc", *look->textFont).height);
    tag->setText("a\nb");
    EXPECT_DOUBLE_EQ(tag->itemSize().height,
                     2 * measurer.boundingSize("a", *look->textFont).height);

    look->textFont = ui::Font::systemFont(20);
    auto big = GTagFlowItem::tagFlowItemWithText(context, measurer, "abc", look);
    EXPECT_DOUBLE_EQ(big->itemSize().width, textWidth(measurer, "abc", 20) + 18);
}

TEST_F(ItemTest, FactorySharesTheGivenAppearanceOrOneDefault) {
    std::vector<GSplodeItem> segments{{"Hello", false}, {",", true}, {"world", false}};
    auto look = GTagFlowAppearance::create(context);
    auto shared = GTagFlowItem::factoryFolwLayoutWithItems(context, measurer, segments, look);
    ASSERT_EQ(shared.size(), 3u);
    EXPECT_EQ(shared[2]->appearance(), look);
    auto own = GTagFlowItem::factoryFolwLayoutWithItems(context, measurer, segments, nullptr);
    ASSERT_NE(own[0]->appearance(), nullptr);
    EXPECT_EQ(own[0]->appearance(), own[2]->appearance());
}

TEST_F(ItemTest, TagsOfOneStoreKeepTheirOwnTextsAndOutliveTheStore) {
    auto look = GTagFlowAppearance::create(context);
    std::vector<GTagFlowItemRef> tags;
    {
        GTagFlowStore store(measurer);
        for (const char* text : {"alpha", "beta", "gamma"})
            tags.push_back(store.add(text, look));
        EXPECT_EQ(store.size(), 3u);
    }
    // Shorter and longer edits leave the neighbours as they were.
    tags[1]->setText("b");
    tags[0]->setText("a much longer alpha");
    EXPECT_EQ(tags[0]->text(), "a much longer alpha");
    EXPECT_EQ(tags[1]->text(), "b");
    EXPECT_EQ(tags[2]->text(), "gamma");
    EXPECT_DOUBLE_EQ(tags[1]->itemSize().width, textWidth(measurer, "b", 12) + 18);
    EXPECT_EQ(tags[2]->appearance(), look);
    tags[1]->setText(tags[0]->textView());  // a text of the same store, longer
    EXPECT_EQ(tags[1]->text(), "a much longer alpha");

    // The store lives while a tag of it does.
    GTagFlowItemRef last = tags[2];
    tags.clear();
    EXPECT_EQ(last->text(), "gamma");
}

using LayoutTest = BoardTest;

TEST_F(LayoutTest, WideTagsAreShortenedToTheLine) {
    showUniform(1, 400);
    EXPECT_EQ(frameOf(0), Rect(10, 15, 355, 30));
    // Exactly the usable width stays whole; wider than that (up to W) is cut.
    showUniform(2, 355);
    EXPECT_EQ(frameOf(0), Rect(10, 15, 355, 30));
    EXPECT_EQ(frameOf(1), Rect(10, 55, 355, 30));
    showUniform(1, 360);
    EXPECT_EQ(frameOf(0), Rect(10, 15, 355, 30));
}

TEST_F(LayoutTest, LinesStartAtTheLeftInsetWithExactGaps) {
    showUniform(12, 60);  // five 60-point tags fit a line: 10 + 5 * 60 + 4 * 4 + 10 <= 375
    for (std::int64_t i = 0; i < 12; ++i) {
        std::int64_t line = i / 5, column = i % 5;
        EXPECT_EQ(frameOf(i), Rect(10 + static_cast<double>(column) * 64,
                                   15 + static_cast<double>(line) * 40, 60, 30))
            << i;
    }
    // k lines: T + (k - 1) * (h + S) + h + B.
    EXPECT_EQ(board->collectionView()->contentSize(), (Size{0, 15 + 2 * 40 + 30 + 15}));
    // Every cell is on screen with the frame the layout gave it.
    ASSERT_NE(cellOf(11), nullptr);
    EXPECT_EQ(cellOf(11)->frame(), frameOf(11));
    EXPECT_EQ(cellOf(11)->tagLabel()->frame(), Rect(0, 0, 60, 30));

    // Tags of one line differing in height put tops out of order: every tag
    // is still found under the finger.
    for (std::size_t i = 0; i < 12; ++i)
        board->flowDatas()[i]->setItemSize({60, i % 2 == 0 ? 30.0 : 28.0});
    settle();
    EXPECT_LT(frameOf(7).minY(), frameOf(6).minY());
    for (std::int64_t i = 0; i < 12; ++i) {
        Rect f = frameOf(i);
        EXPECT_EQ(board->collectionView()->indexPathForItemAtPoint({f.midX(), f.midY()}),
                  (ui::IndexPath{0, i}))
            << i;
    }
}

TEST_F(LayoutTest, AnEmptyBoardKeepsThePreviousContentSize) {
    showUniform(6, 60);
    Size before = board->collectionView()->contentSize();
    showItems({});
    EXPECT_EQ(board->collectionView()->contentSize(), before);
    EXPECT_TRUE(tagLayout().arrayItemAtts().empty());
    EXPECT_EQ(tagLayout().contentSizeNeed(), before);
}

TEST_F(LayoutTest, LeftAlignMovesAFrameToTheInset) {
    ui::LayoutAttributes a = ui::LayoutAttributes::forCellWithIndexPath({0, 3});
    a.frame = Rect(50, 60, 70, 30);
    leftAlignFrameWithSectionInset(a, GTagFlowView::kDefaultEdgeInsets);
    EXPECT_EQ(a.frame, Rect(10, 60, 70, 30));
}

TEST_F(LayoutTest, CellsInARectangleAreTheFramesThatMeetItWhateverTheHeights) {
    // Widths that leave lines ragged, some wider than a line, and heights
    // that differ within a line.
    std::vector<GTagFlowItemRef> items;
    std::vector<Size> sizes;
    for (std::int64_t i = 0; i < 400; ++i) {
        items.push_back(item("t"));
        sizes.push_back(Size{7.3 + static_cast<double>((i * 53) % 420), i % 7 == 3 ? 44.5 : 30});
        items.back()->setItemSize(sizes.back());
    }
    showItems(std::move(items));
    std::vector<Rect> expected;
    layoutTagLines(
        400, GTagFlowView::defaultLineMetrics(kBoardWidth),
        [&](std::int64_t i) { return sizes[static_cast<std::size_t>(i)]; },
        [&](std::int64_t, const Rect& f) { expected.push_back(f); });
    auto& layout = *board->collectionView()->collectionViewLayout();
    const std::vector<ui::LayoutAttributes> all = layout.layoutAttributesForElementsInRect({});
    ASSERT_EQ(all.size(), expected.size());
    for (std::size_t i = 0; i < all.size(); ++i)
        EXPECT_EQ(all[i].frame, expected[i]) << i;

    const double bottom = board->collectionView()->contentSize().height;
    for (double top = -50; top < bottom + 50; top += 37.25) {
        const Rect rect(100, top, 120, 61);
        std::vector<std::int64_t> found, meeting;
        for (const auto& a : layout.visibleAttributesInRect(rect))
            found.push_back(a.indexPath.item);
        for (std::size_t i = 0; i < expected.size(); ++i)
            if (expected[i].intersects(rect)) meeting.push_back(static_cast<std::int64_t>(i));
        EXPECT_EQ(found, meeting) << top;
    }
    EXPECT_FALSE(layout.layoutAttributesForItemAtIndexPath({0, 400}));
}

TEST(TagLinePass, AsksEachSizeTwiceAndNothingForNoItems) {
    TagLineMetrics m{GTagFlowView::kDefaultEdgeInsets, 10, 4, 375};
    int asked = 0;
    auto sizeAt = [&](std::int64_t) {
        ++asked;
        return Size{50, 30};
    };
    std::vector<Rect> frames;
    auto emit = [&](std::int64_t, const Rect& f) { frames.push_back(f); };
    EXPECT_FALSE(layoutTagLines(0, m, sizeAt, emit));
    EXPECT_FALSE(layoutTagLines(-3, m, sizeAt, emit));
    auto content = layoutTagLines(4, m, sizeAt, emit);
    ASSERT_TRUE(content);
    EXPECT_EQ(asked, 7);  // each item once, plus each next item once ahead
    EXPECT_EQ(frames.size(), 4u);
    EXPECT_EQ(*content, (Size{0, 60}));
}

TEST_F(LayoutTest, AppendedTagsKeepTheFramesMadeAndLayOutOnlyThemselves) {
    auto makeItems = [&](std::size_t from, std::size_t to) {
        std::vector<GTagFlowItemRef> items;
        for (std::size_t i = from; i < to; ++i)
            items.push_back(item(std::string(1 + (i * 7) % 13, 'w')));
        return items;
    };
    showItems(makeItems(0, 40));
    GTagCollectionViewLayout* layout = &tagLayout();
    const std::uint64_t passes = layout->passCount();
    const std::vector<Rect> first = laidOutFrames();
    // Every tag picked: the tags that arrive come picked too, numbered after.
    board->selectAll();
    for (std::size_t from = 40; from < 400; from += 90) {
        board->appendFlowDatas(makeItems(from, from + 90));
        settle();
    }
    EXPECT_EQ(layout->passCount(), passes + 4);
    EXPECT_EQ(layout->appendPassCount(), 4u);
    const std::vector<Rect> appended = laidOutFrames();
    EXPECT_EQ(std::vector<Rect>(appended.begin(), appended.begin() + 40), first);
    EXPECT_EQ(board->selectItems().size(), 400u);
    EXPECT_EQ(board->flowDatas()[399]->index(), 400);
    const ui::Size grownContent = layout->contentSizeNeed();

    // The same tags given at once: the same frames and content.
    showItems(makeItems(0, 400));
    EXPECT_EQ(laidOutFrames(), appended);
    EXPECT_EQ(layout->contentSizeNeed(), grownContent);
    EXPECT_EQ(layout->appendPassCount(), 4u);

    // Once a tag is unpicked, arriving tags come unpicked.
    board->setSelectItems({});
    board->selectAll();
    auto& first0 = board->flowDatas()[0];
    first0->setIsSelected(false);
    board->addSelectLayout(first0);
    board->appendFlowDatas(makeItems(400, 410));
    settle();
    EXPECT_EQ(board->selectItems().size(), 399u);
    EXPECT_FALSE(board->flowDatas()[405]->isSelected());
}

}  // namespace
}  // namespace kernova::testing
