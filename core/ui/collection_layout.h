// Layouts for the collection view: an abstract layout object the collection
// view asks for frames and content size, and an index that answers rectangle
// queries over many items without walking them all.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <vector>

#include "ui/geometry.h"

namespace kernova::ui {

class CollectionView;

struct IndexPath {
    std::int64_t section = 0;
    std::int64_t item = 0;

    static IndexPath indexPathForItem(std::int64_t item, std::int64_t section) {
        return IndexPath{section, item};
    }
    friend auto operator<=>(const IndexPath&, const IndexPath&) = default;
};

struct LayoutAttributes {
    IndexPath indexPath;
    Rect frame;
    double alpha = 1.0;
    bool hidden = false;
    int zIndex = 0;

    static LayoutAttributes forCellWithIndexPath(IndexPath indexPath) {
        LayoutAttributes attributes;
        attributes.indexPath = indexPath;
        return attributes;
    }
    Size size() const { return frame.size; }
    void setSize(Size size) { frame.size = size; }
};

// Rectangle queries over a list of attributes in O(log n + k): entries are kept
// sorted by their top edge, and a query looks back at most the tallest item's
// height above the rectangle. A list already in top-edge order (lines of items,
// as most layouts make) is searched in place, with nothing copied or sorted.
class LayoutAttributesIndex {
  public:
    // The list must stay as it is until the next rebuild or clear.
    void rebuild(const std::vector<LayoutAttributes>& attributes);
    void clear();
    // Positions (into the list given to rebuild) of the attributes whose frames
    // intersect `rect`, in item order.
    std::vector<std::size_t> positionsInRect(const Rect& rect) const;

  private:
    struct Entry {
        double minY;
        double maxY;
        double minX;
        double maxX;
        std::size_t position;
    };
    std::vector<Entry> entries_;  // sorted by minY; empty when searching in place
    const std::vector<LayoutAttributes>* inPlace_ = nullptr;
    double tallest_ = 0;
};

class CollectionViewLayout {
  public:
    virtual ~CollectionViewLayout() = default;

    // The collection view using this layout, null before it is installed.
    CollectionView* collectionView() const { return collectionView_; }

    // Runs once before the collection view next needs frames after invalidation.
    virtual void prepareLayout() {}
    // Attributes of (at least) the elements that intersect `rect`; a layout may
    // answer more than that.
    virtual std::vector<LayoutAttributes> layoutAttributesForElementsInRect(
        const Rect& rect) const = 0;
    // The default searches layoutAttributesForElementsInRect of the whole content.
    virtual std::optional<LayoutAttributes> layoutAttributesForItemAtIndexPath(
        const IndexPath& indexPath) const;
    virtual Size collectionViewContentSize() const = 0;
    // Asked on every bounds change (scrolling included); true makes the
    // collection view invalidate the layout. The default answers false.
    virtual bool shouldInvalidateLayoutForBoundsChange(const Rect& newBounds);
    // The next layout pass of the collection view prepares the layout again.
    void invalidateLayout();
    bool isInvalid() const { return invalid_; }

    // What the collection view asks on every pass: the attributes whose frames
    // intersect `rect`, in item order. The default filters what
    // layoutAttributesForElementsInRect answers, so it is as fast as that is: a
    // layout of many items answers rectangles from a LayoutAttributesIndex (as
    // FlowLayout does), or overrides this query with one.
    virtual std::vector<LayoutAttributes> visibleAttributesInRect(const Rect& rect) const;

  private:
    friend class CollectionView;
    CollectionView* collectionView_ = nullptr;
    bool invalid_ = true;
};

}  // namespace kernova::ui
