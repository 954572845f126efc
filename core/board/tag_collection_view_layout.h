// The board's layout: tags in left-aligned lines (see layoutTagLines), every
// frame computed in one pass over the items. Frames are kept compactly (20
// bytes a tag: the tag's size and its line; x is summed again along the line
// when asked for, as the pass summed it) and made into layout attributes only
// when asked for; lines go down the board, so the cells in a rectangle are
// found by a binary search over the lines and scrolling a large board costs
// O(log n + visible).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "board/tag_flow_pass.h"
#include "ui/collection_layout.h"
#include "ui/collection_view.h"
#include "ui/flow_layout.h"

namespace kernova {

// What the layout asks its delegate (the board answers all of it): the four
// flow-layout answers for section 0, plus the line width.
class GTagLayoutDataProtocol : public ui::FlowLayoutDelegate {
  public:
    virtual double maxWidthOfLine_BookSplodeCollectionViewLayout() = 0;
    // Changes whenever the answers above may have changed (new items, new
    // sizes, a reload). A pass with the same revision, item count and metrics
    // as the last one (after a scroll or a pick) keeps the frames it has.
    virtual std::uint64_t tagLayoutRevision() const = 0;
    // The sizes of items 0 to n - 1 into `sizes` (resized to n), as
    // sizeForItemAtIndexPath answers them; a delegate that keeps its items at
    // hand answers all of them in one sweep.
    virtual void tagSizes(ui::CollectionView& collectionView, ui::CollectionViewLayout& layout,
                          std::int64_t n, std::vector<ui::Size>& sizes);
    // Changes whenever the sizes may have changed; a pass whose metrics alone
    // changed (a new width, new spacings) reuses the sizes it has. The
    // default is the layout revision.
    virtual std::uint64_t tagSizesRevision() const { return tagLayoutRevision(); }
};

// Moves the frame so that its x is the insets' left value; y and size stay.
void leftAlignFrameWithSectionInset(ui::LayoutAttributes& attributes,
                                    const ui::EdgeInsets& sectionInset);

class GTagCollectionViewLayout : public ui::CollectionViewLayout {
  public:
    // The delegate is not owned: the board owns the collection view that owns
    // this layout, and clears the link when it goes.
    GTagLayoutDataProtocol* delegate() const { return delegate_; }
    void setDelegate(GTagLayoutDataProtocol* delegate) { delegate_ = delegate; }
    // One attributes object per item, in item order, as the last pass made
    // them (made on each call: a board keeps its frames compactly).
    std::vector<ui::LayoutAttributes> arrayItemAtts() const;
    ui::Size contentSizeNeed() const { return contentSizeNeed_; }
    void setContentSizeNeed(ui::Size size) { contentSizeNeed_ = size; }
    ui::Rect boundsPrevious() const { return boundsPrevious_; }
    void setBoundsPrevious(const ui::Rect& bounds) { boundsPrevious_ = bounds; }

    // The full pass, unless nothing it depends on changed since the last one.
    // An empty board keeps the previous content size.
    void prepareLayout() override;
    // The whole list, whatever the rectangle.
    std::vector<ui::LayoutAttributes> layoutAttributesForElementsInRect(
        const ui::Rect& rect) const override;
    // What the collection view asks when it places cells: the lines that
    // may meet the rectangle are searched, in O(log n + k).
    std::vector<ui::LayoutAttributes> visibleAttributesInRect(const ui::Rect& rect) const override;
    std::optional<ui::LayoutAttributes> layoutAttributesForItemAtIndexPath(
        const ui::IndexPath& indexPath) const override;
    ui::Size collectionViewContentSize() const override { return contentSizeNeed_; }
    // YES exactly when the bounds differ from the last ones asked about (any of
    // the four values); always remembers the new bounds.
    bool shouldInvalidateLayoutForBoundsChange(const ui::Rect& newBounds) override;

    // Passes that computed frames (a pass with nothing changed reuses them).
    std::uint64_t passCount() const { return passes_; }
    // Of those, the passes that only laid out items appended since the last
    // one (same revision and metrics, more items): the frames already made
    // stay and the line pass resumes after them.
    std::uint64_t appendPassCount() const { return appendPasses_; }

  private:
    struct PassKey {
        const GTagLayoutDataProtocol* delegate = nullptr;
        std::uint64_t revision = 0;
        std::int64_t count = 0;
        ui::EdgeInsets insets;
        double lineSpacing = 0, interitemSpacing = 0, lineWidth = 0;
        friend bool operator==(const PassKey&, const PassKey&) = default;
    };

    GTagLayoutDataProtocol* delegate_ = nullptr;
    ui::Size contentSizeNeed_;
    ui::Rect boundsPrevious_;
    bool havePass_ = false;
    PassKey lastPass_;
    std::uint64_t passes_ = 0;
    std::uint64_t appendPasses_ = 0;
    // Calls fn(i, frame) for items from..to-1, made from what the pass kept
    // of them; `from` must be the first item of its line.
    template <class Fn>
    void forFrames(std::size_t from, std::size_t to, Fn&& fn) const;
    // The first item of item i's line.
    std::size_t lineStart(std::size_t i) const;
    static ui::LayoutAttributes attributes(std::size_t i, const ui::Rect& frame);

    // The line pass of the frames at hand, kept to resume it for appended
    // items, and the heights of the tags laid out so far (which bound where
    // a line can be).
    std::optional<TagLinePass> linePass_;
    double tallest_ = 0, shortest_ = 0;
    // Per laid-out item: its line, with kShortened set when it took the
    // usable width. Lines never go back up the list.
    static constexpr std::uint32_t kShortened = 1u << 31;
    std::vector<std::uint32_t> lines_;
    // The sizes of the last pass and their revision: a pass with the same
    // sizes reuses them, and a new list reuses their room.
    std::vector<ui::Size> sizes_;
    std::uint64_t sizesRevision_ = 0;
    bool haveSizes_ = false;
};

}  // namespace kernova
