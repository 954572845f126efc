// The toolkit's stock flow layout: items in lines, left to right, lines top to
// bottom (vertical scrolling only). Sizes, insets and spacings come from the
// collection view's delegate when it answers FlowLayoutDelegate, else from the
// layout's own properties.
#pragma once

#include "ui/collection_layout.h"

namespace kernova::ui {

class FlowLayoutDelegate {
  public:
    virtual ~FlowLayoutDelegate() = default;
    virtual Size sizeForItemAtIndexPath(CollectionView& collectionView,
                                        CollectionViewLayout& layout,
                                        const IndexPath& indexPath) = 0;
    virtual EdgeInsets insetForSectionAtIndex(CollectionView& collectionView,
                                              CollectionViewLayout& layout,
                                              std::int64_t section) = 0;
    virtual double minimumLineSpacingForSectionAtIndex(CollectionView& collectionView,
                                                       CollectionViewLayout& layout,
                                                       std::int64_t section) = 0;
    virtual double minimumInteritemSpacingForSectionAtIndex(CollectionView& collectionView,
                                                            CollectionViewLayout& layout,
                                                            std::int64_t section) = 0;
};

// Its own frames are worked out when it is first asked for them after a
// preparation, so a subclass that places items itself (overriding
// prepareLayout, layoutAttributesForElementsInRect and
// collectionViewContentSize, and running this preparation first) costs nothing
// extra and asks the delegate for nothing.
class FlowLayout : public CollectionViewLayout {
  public:
    Size itemSize() const { return itemSize_; }
    void setItemSize(Size size) { itemSize_ = size; }
    double minimumLineSpacing() const { return lineSpacing_; }
    void setMinimumLineSpacing(double spacing) { lineSpacing_ = spacing; }
    double minimumInteritemSpacing() const { return interitemSpacing_; }
    void setMinimumInteritemSpacing(double spacing) { interitemSpacing_ = spacing; }
    EdgeInsets sectionInset() const { return sectionInset_; }
    void setSectionInset(EdgeInsets insets) { sectionInset_ = insets; }

    // Lines hold as many items as fit; the spare width of a line of several
    // items (but the last) is spread between them, and a lone item is centred.
    void prepareLayout() override { dirty_ = true; }
    std::vector<LayoutAttributes> layoutAttributesForElementsInRect(
        const Rect& rect) const override;
    std::optional<LayoutAttributes> layoutAttributesForItemAtIndexPath(
        const IndexPath& indexPath) const override;
    Size collectionViewContentSize() const override;
    // True when the width changes.
    bool shouldInvalidateLayoutForBoundsChange(const Rect& newBounds) override;

  private:
    void compute() const;

    Size itemSize_{50, 50};
    double lineSpacing_ = 10;
    double interitemSpacing_ = 10;
    EdgeInsets sectionInset_;
    double lastWidth_ = 0;
    // Worked out on demand from const queries.
    mutable bool dirty_ = true;
    mutable std::vector<LayoutAttributes> attributes_;
    mutable LayoutAttributesIndex index_;
    mutable Size contentSize_;
};

}  // namespace kernova::ui
