// The tag board: a collection view of tag cells in left-aligned lines, the
// list of tags and the list of selected tags (in the order they were
// selected). Tags are selected by tapping one or by sliding a finger across a
// run of them; the selection turns into text for the panel's actions.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "board/tag_collection_view_layout.h"
#include "board/tag_flow_item.h"
#include "board/tag_flow_pass.h"
#include "board/tag_selection.h"
#include "ui/application.h"
#include "ui/collection_view.h"
#include "ui/gestures.h"

namespace kernova {

inline constexpr const char* kTagFlowCellIdentifier = "GTagFlowCell";

class GTagFlowView : public ui::View,
                     public ui::CollectionViewDataSource,
                     public ui::CollectionViewDelegate,
                     public GTagLayoutDataProtocol {
  public:
    // Slide directions of recognizerState and lastRecognizerState.
    static constexpr std::uint64_t kSlideNone = 0;
    static constexpr std::uint64_t kSlideBackward = 1;
    static constexpr std::uint64_t kSlideForward = 2;
    // The defaults of a new board.
    static constexpr double kDefaultLineSpacing = 10.0;
    static constexpr double kDefaultInteritemSpacing = 4.0;
    static constexpr ui::EdgeInsets kDefaultEdgeInsets{15.0, 10.0, 15.0, 10.0};
    // The line pass's metrics of a new board `width` wide.
    static constexpr TagLineMetrics defaultLineMetrics(double width) {
        return {kDefaultEdgeInsets, kDefaultLineSpacing, kDefaultInteritemSpacing, width};
    }

    using HeightChangedBlock = std::function<void(double viewHeight, double contentHeight)>;
    using SelectedChangedBlock = std::function<void(bool hasSelection)>;

    // initWithFrame: the board with its defaults (reads "orderCopy" now).
    static std::shared_ptr<GTagFlowView> initWithFrame(ui::Application& application,
                                                       const ui::Rect& frame);
    GTagFlowView(ui::Application& application, const ui::Rect& frame);
    ~GTagFlowView() override;

    // Layout.
    void configTagCollectionViewLayout();
    void configCustomLayout(std::shared_ptr<ui::CollectionViewLayout> layout);
    void layoutSubviews() override;

    // Data. The tags and what is picked live in the selection model.
    const GTagSelection& selection() const { return selection_; }
    const std::vector<GTagFlowItemRef>& flowDatas() const { return selection_.items(); }
    // Stores the tags (no reload); their text and size changes are watched
    // from now on and lay the board out again.
    void setFlowDatas(std::vector<GTagFlowItemRef> items);
    // Adds tags after the ones the board has (the later slices of a large
    // text) and lays out only them on the next pass: the frames already made
    // stay. They come picked while every tag before them is (select all).
    void appendFlowDatas(std::vector<GTagFlowItemRef> items);
    const std::vector<GTagFlowItemRef>& selectItems() const { return selection_.picks(); }
    // Replaces the pick list; the picks are renumbered in the order given.
    void setSelectItems(std::vector<GTagFlowItemRef> items) {
        selection_.setPicks(std::move(items));
    }
    void reloadDatas();
    void performReload(const std::vector<ui::IndexPath>& indexPaths);
    // Brings the pick list and the numbers in line with the item's
    // isSelected and redraws the shown cells whose tag changed; the layout
    // is not touched, so a pick costs what it changes.
    void addSelectLayout(const GTagFlowItemRef& item);
    // Every tag picked in board order / every tag's state flipped; the shown
    // cells are redrawn and selectedChangedBlock is told.
    void selectAll();
    void inverse();

    // Text of the selection.
    std::optional<std::string> getNewTextstring() const { return getNewTextOrderByAdding(false); }
    std::optional<std::string> getNewTextOrderByAdding(bool byAdding) const;
    std::optional<std::string> getAllTextstring() const;
    std::vector<std::string> filterAllSelectTitles() const;
    std::vector<std::string> filterAllSelectTitlesOrderByAdding(bool byAdding) const;
    std::vector<std::string> filterNoSelectTitles() const {
        return filterAllSelectTitlesOrderByAdding(false);
    }

    // Cell effects.
    void hiddenAllVisibleCells();
    void showCellsWithAnimation();
    // from + (a uniform 32-bit random value modulo (too + 1)): with (1, 4), 1 to 5.
    std::int64_t getRandomNumber(std::int64_t from, std::int64_t too);
    void seedRandomNumbers(std::uint32_t seed) { random_.seed(seed); }

    // Properties.
    bool supportSlideSelection() const { return supportSlideSelection_; }
    // YES attaches a new pan recognizer (again on every call); NO detaches nothing.
    void setSupportSlideSelection(bool support);
    bool orderCopy() const { return orderCopy_; }
    void setOrderCopy(bool orderCopy) { orderCopy_ = orderCopy; }
    bool beginSelectState() const { return beginSelectState_; }
    void setBeginSelectState(bool state) { beginSelectState_ = state; }
    const std::shared_ptr<ui::CollectionView>& collectionView() const { return collectionView_; }
    double lineSpacing() const { return lineSpacing_; }
    void setLineSpacing(double spacing);
    double interitemSpacing() const { return interitemSpacing_; }
    void setInteritemSpacing(double spacing);
    ui::EdgeInsets edgeInsets() const { return edgeInsets_; }
    void setEdgeInsets(ui::EdgeInsets insets);
    const HeightChangedBlock& heightChangedBlock() const { return heightChangedBlock_; }
    void setHeightChangedBlock(HeightChangedBlock block) { heightChangedBlock_ = std::move(block); }
    const SelectedChangedBlock& selectedChangedBlock() const { return selectedChangedBlock_; }
    void setSelectedChangedBlock(SelectedChangedBlock block) {
        selectedChangedBlock_ = std::move(block);
    }
    const std::shared_ptr<ui::PanGestureRecognizer>& panRecognizer() const {
        return panRecognizer_;
    }

    // Slide state.
    const std::vector<ui::IndexPath>& indexPaths() const { return indexPaths_; }
    const std::optional<ui::IndexPath>& beginIndexPath() const { return beginIndexPath_; }
    const std::optional<ui::IndexPath>& lastIndexPath() const { return lastIndexPath_; }
    std::uint64_t recognizerState() const { return recognizerState_; }
    std::uint64_t lastRecognizerState() const { return lastRecognizerState_; }
    // The slide-selection action.
    void panRecognizer(ui::GestureRecognizer& recognizer);

    // The keyboard. It rests on one tag at a time, marked by a ring: the
    // arrow keys move it (up and down to the nearest tag of the line above or
    // below) and scroll it into view, Space picks or unpicks it like a tap,
    // and Shift with an arrow extends the picks like a slide: every tag it
    // moves onto takes the state the first one took. True when the key was
    // the board's.
    std::optional<std::int64_t> focusedItem() const { return focused_; }
    void setFocusedItem(std::optional<std::int64_t> item);
    bool handleKey(const ui::KeyEvent& event);

    // Data source.
    std::int64_t numberOfSections(ui::CollectionView& collectionView) override;
    std::int64_t numberOfItemsInSection(ui::CollectionView& collectionView,
                                        std::int64_t section) override;
    std::shared_ptr<ui::CollectionViewCell> cellForItemAtIndexPath(
        ui::CollectionView& collectionView, const ui::IndexPath& indexPath) override;
    // Delegate: a tap.
    void didSelectItemAtIndexPath(ui::CollectionView& collectionView,
                                  const ui::IndexPath& indexPath) override;
    // Flow-layout and tag-layout delegate.
    ui::Size sizeForItemAtIndexPath(ui::CollectionView& collectionView,
                                    ui::CollectionViewLayout& layout,
                                    const ui::IndexPath& indexPath) override;
    ui::EdgeInsets insetForSectionAtIndex(ui::CollectionView& collectionView,
                                          ui::CollectionViewLayout& layout,
                                          std::int64_t section) override;
    double minimumLineSpacingForSectionAtIndex(ui::CollectionView& collectionView,
                                               ui::CollectionViewLayout& layout,
                                               std::int64_t section) override;
    double minimumInteritemSpacingForSectionAtIndex(ui::CollectionView& collectionView,
                                                    ui::CollectionViewLayout& layout,
                                                    std::int64_t section) override;
    double maxWidthOfLine_BookSplodeCollectionViewLayout() override { return frame().size.width; }
    void tagSizes(ui::CollectionView& collectionView, ui::CollectionViewLayout& layout,
                  std::int64_t n, std::vector<ui::Size>& sizes) override;
    std::uint64_t tagSizesRevision() const override { return itemsRevision_ + changes_->changes(); }
    std::uint64_t tagLayoutRevision() const override { return revision_ + changes_->changes(); }

  private:
    // Changes of the tags' texts and sizes are told to this board.
    void watchChanges(const std::vector<GTagFlowItemRef>& items);
    GTagFlowItem* itemAt(std::int64_t item) const;
    bool inRange(const std::optional<ui::IndexPath>& indexPath) const;
    void playTapHaptic();
    void notifySelectedChanged();
    // Draws again the shown cells whose tag is among `changed`.
    void redrawCells(const GTagSelection::Changed& changed);
    // Gives `cell` its state in the slide; returns it.
    ui::IndexPath sweep(const ui::IndexPath& cell);
    void slideBegan(const std::optional<ui::IndexPath>& current);
    void slideChanged(const std::optional<ui::IndexPath>& current);
    void slideEnded();
    // True when the event is fully handled by anchoring a slide that began off
    // any tag.
    bool anchorLateStart(const std::optional<ui::IndexPath>& current);
    void startSlideOn(const ui::IndexPath& cell);
    // The tag of the next line (direction +1) or the previous one (-1) nearest
    // to `from` across; absent at the first or last line.
    std::optional<std::int64_t> itemInLine(std::int64_t from, int direction) const;
    void scrollToItem(std::int64_t item);
    void extendTo(std::int64_t item);

    ui::Application& application_;
    bool supportSlideSelection_ = false;
    bool orderCopy_ = false;
    bool beginSelectState_ = false;
    std::shared_ptr<ui::CollectionView> collectionView_;
    double lineSpacing_ = 0;
    double interitemSpacing_ = 0;
    GTagSelection selection_;
    std::shared_ptr<GTagChangeSink> changes_ = std::make_shared<GTagChangeSink>();
    HeightChangedBlock heightChangedBlock_;
    SelectedChangedBlock selectedChangedBlock_;
    std::shared_ptr<ui::PanGestureRecognizer> panRecognizer_;
    std::vector<ui::IndexPath> indexPaths_;
    std::unordered_set<std::int64_t> sweptItems_;  // the items of indexPaths_
    std::optional<ui::IndexPath> beginIndexPath_;
    std::optional<ui::IndexPath> lastIndexPath_;
    std::uint64_t recognizerState_ = kSlideNone;
    std::uint64_t lastRecognizerState_ = kSlideNone;
    std::optional<std::int64_t> focused_;
    // While Shift is held: the state the tags the keyboard moves onto take.
    std::optional<bool> extendState_;
    ui::EdgeInsets edgeInsets_;
    std::uint64_t revision_ = 1;
    // Bumped when the list of items changes or is reloaded.
    std::uint64_t itemsRevision_ = 1;
    std::mt19937 random_{std::random_device{}()};
};

}  // namespace kernova
