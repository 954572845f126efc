#include "board/tag_collection_view_layout.h"

#include <algorithm>
#include <cmath>
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

namespace {

// Grows a list by a quarter at a time (see GTagSelection::appendItems).
template <class List>
void roomFor(List& list, std::size_t size) {
    if (size > list.capacity()) list.reserve(std::max(size, list.capacity() + list.capacity() / 4));
}

}  // namespace

void GTagCollectionViewLayout::prepareLayout() {
    ui::CollectionViewLayout::prepareLayout();
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

    const auto count = static_cast<std::size_t>(n > 0 ? n : 0);
    TagLineMetrics metrics{key.insets, key.lineSpacing, key.interitemSpacing, key.lineWidth};
    if (append) {
        ++appendPasses_;
        const auto from = sizes_.size();
        roomFor(sizes_, count);
        sizes_.resize(count);
        for (std::size_t i = from; i < sizes_.size(); ++i)
            sizes_[i] = delegate_->sizeForItemAtIndexPath(
                *view, *this, ui::IndexPath{0, static_cast<std::int64_t>(i)});
        sizesRevision_ = delegate_->tagSizesRevision();
        linePass_->extend(n);
        roomFor(lines_, count);
    } else {
        // The lists keep their room from pass to pass: new ones would be
        // fresh pages to fault in on every pass of a large board.
        lines_.clear();
        lines_.reserve(count);
        if (delegate_) {
            const std::uint64_t sizesRevision = delegate_->tagSizesRevision();
            if (!haveSizes_ || sizesRevision != sizesRevision_ || sizes_.size() != count) {
                delegate_->tagSizes(*view, *this, n, sizes_);
                sizesRevision_ = sizesRevision;
                haveSizes_ = true;
            }
        }
        linePass_.emplace(n, metrics);
        tallest_ = 0;
        shortest_ = 0;
    }
    auto sizeAt = [&](std::int64_t item) { return sizes_[static_cast<std::size_t>(item)]; };
    auto emit = [&](std::int64_t, const ui::Rect& frame, TagPlace place) {
        const double height = frame.size.height;
        if (lines_.empty()) tallest_ = shortest_ = height;
        tallest_ = std::max(tallest_, height);
        shortest_ = std::min(shortest_, height);
        const auto line = static_cast<std::uint32_t>(
            std::min<double>(place.line, static_cast<double>(kShortened - 1)));
        lines_.push_back(place.shortened ? line | kShortened : line);
    };
    if (n > 0) {
        linePass_->run(n, sizeAt, emit);
        if (linePass_->contentSize()) contentSizeNeed_ = *linePass_->contentSize();
    }
}

std::size_t GTagCollectionViewLayout::lineStart(std::size_t i) const {
    const std::uint32_t line = lines_[i] & ~kShortened;
    while (i > 0 && (lines_[i - 1] & ~kShortened) == line)
        --i;
    return i;
}

template <class Fn>
void GTagCollectionViewLayout::forFrames(std::size_t from, std::size_t to, Fn&& fn) const {
    // The line pass's arithmetic, in its order, on the numbers it had: the
    // same frames to the last bit.
    const ui::EdgeInsets& insets = lastPass_.insets;
    const double G = lastPass_.interitemSpacing, S = lastPass_.lineSpacing;
    const double usable = lastPass_.lineWidth - insets.left - insets.right;
    double x = 0;
    for (std::size_t i = from; i < to; ++i) {
        const ui::Size size = sizes_[i];
        const std::uint32_t entry = lines_[i];
        const double line = static_cast<double>(entry & ~kShortened);
        const double y = insets.top + line * size.height + line * S;
        ui::Rect frame;
        if (i == from || (lines_[i - 1] & ~kShortened) != (entry & ~kShortened)) {
            const double width = (entry & kShortened) != 0 ? usable : size.width;
            frame = ui::Rect(insets.left, y, width, size.height);
            x = insets.left + width;
        } else {
            frame = ui::Rect(x + G, y, size.width, size.height);
            x = x + G + size.width;
        }
        fn(i, frame);
    }
}

ui::LayoutAttributes GTagCollectionViewLayout::attributes(std::size_t i, const ui::Rect& frame) {
    auto attributes =
        ui::LayoutAttributes::forCellWithIndexPath(ui::IndexPath{0, static_cast<std::int64_t>(i)});
    attributes.frame = frame;
    return attributes;
}

std::vector<ui::LayoutAttributes> GTagCollectionViewLayout::arrayItemAtts() const {
    std::vector<ui::LayoutAttributes> list;
    list.reserve(lines_.size());
    forFrames(0, lines_.size(),
              [&](std::size_t i, const ui::Rect& frame) { list.push_back(attributes(i, frame)); });
    return list;
}

std::vector<ui::LayoutAttributes> GTagCollectionViewLayout::layoutAttributesForElementsInRect(
    const ui::Rect& rect) const {
    (void)rect;
    return arrayItemAtts();
}

std::optional<ui::LayoutAttributes> GTagCollectionViewLayout::layoutAttributesForItemAtIndexPath(
    const ui::IndexPath& indexPath) const {
    if (indexPath.section != 0 || indexPath.item < 0 ||
        static_cast<std::size_t>(indexPath.item) >= lines_.size())
        return std::nullopt;
    const auto item = static_cast<std::size_t>(indexPath.item);
    std::optional<ui::LayoutAttributes> found;
    forFrames(lineStart(item), item + 1, [&](std::size_t i, const ui::Rect& frame) {
        if (i == item) found = attributes(i, frame);
    });
    return found;
}

std::vector<ui::LayoutAttributes> GTagCollectionViewLayout::visibleAttributesInRect(
    const ui::Rect& rect) const {
    std::vector<ui::LayoutAttributes> visible;
    if (lines_.empty() || rect.isEmpty()) return visible;
    // Line r lies between T + r (h + S) and that plus h for the heights h at
    // hand, so the lines that may meet the rectangle are a range.
    const double T = lastPass_.insets.top, S = lastPass_.lineSpacing;
    const double lastLine = static_cast<double>(kShortened - 1);
    double from = 0, to = lastLine;
    if (tallest_ + S > 0) from = std::floor((rect.minY() - T - tallest_) / (tallest_ + S)) - 1;
    if (shortest_ + S > 0) to = std::ceil((rect.maxY() - T) / (shortest_ + S)) + 1;
    if (!(to >= 0) || !(from <= lastLine)) return visible;
    const auto first = static_cast<std::uint32_t>(std::max(from, 0.0));
    const auto last = static_cast<std::uint32_t>(std::min(to, lastLine));
    auto lineOf = [](std::uint32_t entry) { return entry & ~kShortened; };
    auto begin = std::partition_point(lines_.begin(), lines_.end(),
                                      [&](std::uint32_t e) { return lineOf(e) < first; });
    auto end = std::partition_point(begin, lines_.end(),
                                    [&](std::uint32_t e) { return lineOf(e) <= last; });
    forFrames(static_cast<std::size_t>(begin - lines_.begin()),
              static_cast<std::size_t>(end - lines_.begin()),
              [&](std::size_t i, const ui::Rect& frame) {
                  if (frame.intersects(rect)) visible.push_back(attributes(i, frame));
              });
    return visible;
}

bool GTagCollectionViewLayout::shouldInvalidateLayoutForBoundsChange(const ui::Rect& newBounds) {
    const bool changed = !(newBounds == boundsPrevious_);
    boundsPrevious_ = newBounds;
    return changed;
}

}  // namespace kernova
