#include "ui/collection_layout.h"

#include <algorithm>
#include <limits>

#include "ui/collection_view.h"

namespace kernova::ui {

void LayoutAttributesIndex::rebuild(const std::vector<LayoutAttributes>& attributes) {
    entries_.clear();
    inPlace_ = nullptr;
    tallest_ = 0;
    bool ordered = true;
    double lastTop = -std::numeric_limits<double>::infinity();
    for (const LayoutAttributes& a : attributes) {
        const double top = a.frame.minY();
        ordered = ordered && top >= lastTop;
        lastTop = top;
        tallest_ = std::max(tallest_, a.frame.height());
    }
    if (ordered) {
        inPlace_ = &attributes;
        return;
    }
    entries_.reserve(attributes.size());
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        const Rect& f = attributes[i].frame;
        entries_.push_back(Entry{f.minY(), f.maxY(), f.minX(), f.maxX(), i});
    }
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const Entry& a, const Entry& b) { return a.minY < b.minY; });
}

void LayoutAttributesIndex::clear() {
    entries_.clear();
    inPlace_ = nullptr;
    tallest_ = 0;
}

std::vector<std::size_t> LayoutAttributesIndex::positionsInRect(const Rect& rect) const {
    std::vector<std::size_t> found;
    if (rect.isEmpty()) return found;
    // Any entry reaching into the rectangle starts at most `tallest_` above it.
    const double from = rect.minY() - tallest_;
    auto take = [&](double minY, double maxY, double minX, double maxX, std::size_t position) {
        const bool empty = maxY == minY || maxX == minX;
        if (empty || maxY <= rect.minY()) return;
        if (minX < rect.maxX() && rect.minX() < maxX) found.push_back(position);
    };
    if (inPlace_) {
        const auto& list = *inPlace_;
        auto it = std::lower_bound(list.begin(), list.end(), from,
                                   [](const auto& a, double y) { return a.frame.minY() < y; });
        for (; it != list.end() && it->frame.minY() < rect.maxY(); ++it) {
            const Rect& f = it->frame;
            take(f.minY(), f.maxY(), f.minX(), f.maxX(),
                 static_cast<std::size_t>(it - list.begin()));
        }
        return found;  // already in item order
    }
    auto it = std::lower_bound(entries_.begin(), entries_.end(), from,
                               [](const Entry& e, double y) { return e.minY < y; });
    for (; it != entries_.end() && it->minY < rect.maxY(); ++it)
        take(it->minY, it->maxY, it->minX, it->maxX, it->position);
    std::sort(found.begin(), found.end());
    return found;
}

std::optional<LayoutAttributes> CollectionViewLayout::layoutAttributesForItemAtIndexPath(
    const IndexPath& indexPath) const {
    double big = std::numeric_limits<double>::max() / 4;
    Rect all(-big, -big, 2 * big, 2 * big);
    for (auto& attributes : layoutAttributesForElementsInRect(all)) {
        if (attributes.indexPath == indexPath) return attributes;
    }
    return std::nullopt;
}

bool CollectionViewLayout::shouldInvalidateLayoutForBoundsChange(const Rect& newBounds) {
    (void)newBounds;
    return false;
}

void CollectionViewLayout::invalidateLayout() {
    invalid_ = true;
    if (collectionView_) collectionView_->setNeedsLayout();
}

std::vector<LayoutAttributes> CollectionViewLayout::visibleAttributesInRect(
    const Rect& rect) const {
    auto all = layoutAttributesForElementsInRect(rect);
    std::vector<LayoutAttributes> visible;
    for (auto& attributes : all) {
        if (!attributes.hidden && attributes.frame.intersects(rect)) visible.push_back(attributes);
    }
    return visible;
}

}  // namespace kernova::ui
