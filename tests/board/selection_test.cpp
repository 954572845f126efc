// Selecting tags by tapping and sliding, and the text the selection makes.
#include <gtest/gtest.h>

#include "board_fixture.h"

namespace kernova::testing {
namespace {

using SelectionTest = BoardTest;

std::vector<std::string> words(std::size_t n) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < n; ++i)
        texts.push_back("w" + std::to_string(i));
    return texts;
}

TEST_F(SelectionTest, TapsNumberTagsInTheOrderTheyWereSelected) {
    show(words(10));
    std::vector<bool> changes;
    board->setSelectedChangedBlock([&](bool has) { changes.push_back(has); });
    driver.tap(on(5));
    driver.tap(on(2));
    driver.tap(on(9));
    EXPECT_EQ(indexes(), (std::vector<std::int64_t>{0, 0, 2, 0, 0, 1, 0, 0, 0, 3}));
    ASSERT_EQ(board->selectItems().size(), 3u);
    EXPECT_EQ(board->selectItems()[0], board->flowDatas()[5]);
    EXPECT_EQ(*board->getNewTextOrderByAdding(true), "w5w2w9");
    EXPECT_EQ(*board->getNewTextOrderByAdding(false), "w2w5w9");
    EXPECT_EQ(*board->getNewTextstring(), "w2w5w9");
    EXPECT_EQ(board->filterAllSelectTitles(), (std::vector<std::string>{"w2", "w5", "w9"}));

    // Tapping 5 again takes it out; the others close the gap.
    driver.tap(on(5));
    EXPECT_FALSE(board->flowDatas()[5]->isSelected());
    EXPECT_EQ(indexes(), (std::vector<std::int64_t>{0, 0, 1, 0, 0, 0, 0, 0, 0, 2}));
    EXPECT_EQ(changes, (std::vector<bool>{true, true, true, true}));
    driver.tap(on(2));
    driver.tap(on(9));
    EXPECT_EQ(changes.back(), false);
    EXPECT_FALSE(board->getNewTextstring());
}

TEST_F(SelectionTest, SelectAllAndInverseNumberInBoardOrder) {
    show(words(5));
    std::vector<bool> changes;
    board->setSelectedChangedBlock([&](bool has) { changes.push_back(has); });
    driver.tap(on(3));
    driver.tap(on(1));
    board->selectAll();
    EXPECT_EQ(indexes(), (std::vector<std::int64_t>{1, 2, 3, 4, 5}));
    EXPECT_EQ(*board->getNewTextOrderByAdding(true), "w0w1w2w3w4");
    board->inverse();
    EXPECT_EQ(selection(), (std::vector<bool>{0, 0, 0, 0, 0}));
    EXPECT_TRUE(board->selectItems().empty());
    driver.tap(on(2));
    board->inverse();
    EXPECT_EQ(indexes(), (std::vector<std::int64_t>{1, 2, 0, 3, 4}));
    EXPECT_EQ(*board->getNewTextOrderByAdding(true), "w0w1w3w4");
    EXPECT_EQ(changes, (std::vector<bool>{true, true, true, false, true, true}));
    // The shown cells follow.
    const auto& look = *board->flowDatas()[0]->appearance();
    EXPECT_EQ(cellOf(0)->tagLabel()->backgroundColor(), look.selectBackgroundColor);
    EXPECT_EQ(cellOf(2)->tagLabel()->backgroundColor(), look.backgroundColor);

    // A pick list given from outside is numbered in its own order.
    board->setSelectItems({board->flowDatas()[4], board->flowDatas()[0]});
    EXPECT_EQ(indexes(), (std::vector<std::int64_t>{2, 0, 0, 0, 1}));
}

TEST_F(SelectionTest, TapPlaysTheHapticOnlyWhenSwitchedOn) {
    show(words(3));
    auto& sounds = server.services().haptic().sounds();
    driver.tap(on(0));
    EXPECT_TRUE(sounds.empty());
    setSetting("vibrateSwitch", true);
    driver.tap(on(1));
    setSetting("vibrate", 1520);
    driver.tap(on(2));
    EXPECT_EQ(sounds, (std::vector<std::uint32_t>{1519, 1520}));
}

TEST_F(SelectionTest, SpaceRuleJoinsWordsWithOneSpaceCountingPlacesInTheSourceList) {
    show({"Hello", " ", "world", "again"});
    for (int i : {0, 2, 3})
        driver.tap(on(i));
    EXPECT_EQ(*board->getNewTextstring(), "Helloworldagain");
    setSetting("spaceCompletion", true);
    EXPECT_EQ(*board->getNewTextstring(), "Hello world again");
    // A selected " " next to a word adds no second space.
    driver.tap(on(1));
    EXPECT_EQ(*board->getNewTextstring(), "Hello world again");
    EXPECT_EQ(*board->getNewTextOrderByAdding(true), "Hello world again ");

    board->setSelectItems({});
    show({"one", "two", "abc"});
    driver.tap(on(2));
    EXPECT_EQ(*board->getNewTextstring(), " abc");
    // In selection order abc is first, so no space leads.
    EXPECT_EQ(*board->getNewTextOrderByAdding(true), "abc");
}

TEST_F(SelectionTest, AllTextAndUnselectedTitles) {
    EXPECT_FALSE(board->getAllTextstring());
    show({"a", "b", "c"});
    EXPECT_EQ(*board->getAllTextstring(), "abc");
    driver.tap(on(1));
    EXPECT_EQ(board->filterNoSelectTitles(), (std::vector<std::string>{"a", "c"}));
    EXPECT_TRUE(board->filterAllSelectTitlesOrderByAdding(true).empty());
}

TEST_F(SelectionTest, SlideForwardSelectsEveryTagItCrosses) {
    showUniform(10);
    std::vector<bool> changes;
    board->setSelectedChangedBlock([&](bool has) { changes.push_back(has); });
    slide({on(0, 0.1), on(0, 0.9), on(1), on(2), on(3)});
    EXPECT_EQ(selection(), (std::vector<bool>{1, 1, 1, 1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(indexes(), (std::vector<std::int64_t>{1, 2, 3, 4, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(changes, (std::vector<bool>{true}));
    EXPECT_TRUE(board->indexPaths().empty());
    EXPECT_FALSE(board->beginIndexPath());
    EXPECT_EQ(board->recognizerState(), GTagFlowView::kSlideNone);
    EXPECT_EQ(board->lastIndexPath(), (ui::IndexPath{0, 3}));
}

TEST_F(SelectionTest, SlidingBackByOneUnpicksBothCellsAndASlideFromAPickedTagClears) {
    showUniform(10);
    slide({on(0, 0.1), on(0, 0.9), on(1), on(2), on(3), on(2)});
    EXPECT_EQ(selection(), (std::vector<bool>{1, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    slide({on(1, 0.1), on(1, 0.9), on(2), on(3)});
    EXPECT_EQ(selection(), (std::vector<bool>{1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(SelectionTest, AJumpSweepsEveryTagInBetween) {
    showUniform(10);
    slide({on(2, 0.1), on(2, 0.9), on(7)});
    EXPECT_EQ(selection(), (std::vector<bool>{0, 0, 1, 1, 1, 1, 1, 1, 0, 0}));
    // Backwards as well: from the selected 7 down to 3 in one move clears 3..7.
    slide({on(7, 0.9), on(7, 0.1), on(3)});
    EXPECT_EQ(selection(), (std::vector<bool>{0, 0, 1, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(SelectionTest, SlideStartingBetweenTagsAnchorsOnTheFirstTagReached) {
    showUniform(10);
    ui::Rect f0 = frameOf(0), f1 = frameOf(1);
    auto* cv = board->collectionView().get();
    // Down in the top inset, over the gap between tags 0 and 1, then onto 1 and 2.
    ui::Point above = cv->convertPointToScreen({f0.midX(), 4});
    ui::Point gap = cv->convertPointToScreen({(f0.maxX() + f1.minX()) / 2, f0.midY()});
    slide({above, gap, on(1), on(2)});
    EXPECT_EQ(selection(), (std::vector<bool>{0, 1, 1, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(SelectionTest, HeightCallbackReportsWhenTheContentDiffersFromTheBoard) {
    std::vector<std::pair<double, double>> calls;
    board->setHeightChangedBlock(
        [&](double view, double content) { calls.emplace_back(view, content); });
    showUniform(3);
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back(), (std::pair<double, double>{kBoardHeight, 45 + 15}));

    // With the stock flow layout the content is as wide as the board; make it
    // exactly as high too, and the callback stays quiet.
    board->configCustomLayout(std::make_shared<ui::FlowLayout>());
    board->setFrame(ui::Rect(0, 0, kBoardWidth, 60));
    calls.clear();
    board->reloadDatas();
    settle();
    EXPECT_EQ(board->collectionView()->contentSize(), (ui::Size{kBoardWidth, 60}));
    ASSERT_NE(cellOf(2), nullptr);
    EXPECT_TRUE(calls.empty());
}

TEST_F(SelectionTest, TapsOutsideTheTagsAndSlidesOffTheBoardChangeNothing) {
    showUniform(3);
    driver.tap(board->convertPointToScreen({300, 500}));
    slide({board->convertPointToScreen({300, 500}), board->convertPointToScreen({200, 520})});
    EXPECT_EQ(selection(), (std::vector<bool>{0, 0, 0}));
    board->didSelectItemAtIndexPath(*board->collectionView(), {0, 3});
    EXPECT_TRUE(board->selectItems().empty());
}

}  // namespace
}  // namespace kernova::testing
