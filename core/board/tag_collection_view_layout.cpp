#include "board/tag_collection_view_layout.h"

#include <algorithm>
#include <limits>

#include "board/tag_flow_pass.h"

namespace kernova {

void leftAlignFrameWithSectionInset(ui::LayoutAttributes& attributes,
                                    const ui::EdgeInsets& sectionInset) {
    attributes.frame.origin.x = sectionInset.left;
}

void GTagLayoutDataProtocol::tagSizes(ui::CollectionView& collectionView,
                                      ui::CollectionViewLayout& layout, std::int64_t n,
                                      std::vector<ui::Size>& sizes) {
    sizes.resize(static_cast<std::size_t>(std::max<std::int64_t>(n, 0)));
    for (std::int64_t i = 0; i < n; ++i)
        sizes[static_cast<std::size_t>(i)] =
            sizeForItemAtIndexPath(collectionView, layout, ui::IndexPath{0, i});
}

void GTagCollectionViewLayout::prepareLayout() {
    ui::IndexedCollectionViewLayout::prepareLayout();
    ui::CollectionView* view = collectionView();
    if (!view) return;
    delegate_ = dynamic_cast<GTagLayoutDataProtocol*>(view->delegate());
    ui::CollectionViewDataSource* source = view->dataSource();
    std::int64_t n = source ? source->numberOfItemsInSection(*view, 0) : 0;
    if (!delegate_) n = 0;
    PassKey key{delegate_, 0, n, {}, 0, 0, 0};
    if (delegate_) {
        key.revision = delegate_->tagLayoutRevision();
        key.insets = delegate_->insetForSectionAtIndex(*view, *this, 0);
        key.lineSpacing = delegate_->minimumLineSpacingForSectionAtIndex(*view, *this, 0);
        key.interitemSpacing = delegate_->minimumInteritemSpacingForSectionAtIndex(*view, *this, 0);
        key.lineWidth = delegate_->maxWidthOfLine_BookSplodeCollectionViewLayout();
    }
    // Invalidated with nothing changed that the frames depend on (a scroll, a
    // pick that redraws a cell; the line width is the board's, not the
    // collection view's): the frames this pass would compute are there.
    if (havePass_ && key == lastPass_) return;
    // Items appended and nothing else changed: the pass resumes after the
    // frames it made.
    PassKey grown = key;
    grown.count = lastPass_.count;
    const bool append = havePass_ && delegate_ && linePass_ && grown == lastPass_ &&
                        key.count > lastPass_.count && haveSizes_ &&
                        sizes_.size() == static_cast<std::size_t>(lastPass_.count);
    havePass_ = true;
    lastPass_ = key;
    ++passes_;

    auto& list = attributes();
    TagLineMetrics metrics{key.insets, key.lineSpacing, key.interitemSpacing, key.lineWidth};
    if (append) {
        ++appendPasses_;
        const auto from = sizes_.size();
        sizes_.resize(static_cast<std::size_t>(n));
        for (std::size_t i = from; i < sizes_.size(); ++i)
            sizes_[i] = delegate_->sizeForItemAtIndexPath(
                *view, *this, ui::IndexPath{0, static_cast<std::int64_t>(i)});
        sizesRevision_ = delegate_->tagSizesRevision();
        linePass_->extend(n);
    } else {
        // The list keeps its room from pass to pass: a new one would be fresh
        // pages to fault in on every pass of a large board.
        list.clear();
        list.reserve(static_cast<std::size_t>(n > 0 ? n : 0));
        if (delegate_) {
            const std::uint64_t sizesRevision = delegate_->tagSizesRevision();
            if (!haveSizes_ || sizesRevision != sizesRevision_ ||
                sizes_.size() != static_cast<std::size_t>(std::max<std::int64_t>(n, 0))) {
                delegate_->tagSizes(*view, *this, n, sizes_);
                sizesRevision_ = sizesRevision;
                haveSizes_ = true;
            }
        }
        linePass_.emplace(n, metrics);
        tallest_ = 0;
        lastTop_ = -std::numeric_limits<double>::infinity();
        ordered_ = true;
    }
    auto sizeAt = [&](std::int64_t item) { return sizes_[static_cast<std::size_t>(item)]; };
    // Lines go down the board, so the list is in top-edge order as made,
    // unless tags of one line differ in height.
    auto emit = [&](std::int64_t item, const ui::Rect& frame) {
        auto attributes = ui::LayoutAttributes::forCellWithIndexPath(ui::IndexPath{0, item});
        attributes.frame = frame;
        attributes.setSize(frame.size);
        list.push_back(attributes);
        tallest_ = std::max(tallest_, frame.height());
        ordered_ = ordered_ && frame.minY() >= lastTop_;
        lastTop_ = frame.minY();
    };
    if (n > 0) {
        linePass_->run(n, sizeAt, emit);
        if (linePass_->contentSize()) contentSizeNeed_ = *linePass_->contentSize();
    }
    if (ordered_)
        rebuildOrderedIndex(tallest_);
    else
        rebuildIndex();
}

std::vector<ui::LayoutAttributes> GTagCollectionViewLayout::layoutAttributesForElementsInRect(
    const ui::Rect& rect) const {
    (void)rect;
    return attributes();
}

std::vector<ui::LayoutAttributes> GTagCollectionViewLayout::visibleAttributesInRect(
    const ui::Rect& rect) const {
    std::vector<ui::LayoutAttributes> visible;
    for (auto& attributes :
         ui::IndexedCollectionViewLayout::layoutAttributesForElementsInRect(rect)) {
        if (!attributes.hidden && attributes.frame.intersects(rect))
            visible.push_back(std::move(attributes));
    }
    return visible;
}

bool GTagCollectionViewLayout::shouldInvalidateLayoutForBoundsChange(const ui::Rect& newBounds) {
    const bool changed = !(newBounds == boundsPrevious_);
    boundsPrevious_ = newBounds;
    return changed;
}

}  // namespace kernova
