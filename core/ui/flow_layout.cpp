#include "ui/flow_layout.h"

#include <algorithm>

#include "ui/collection_view.h"

namespace kernova::ui {

namespace {
struct SectionMetrics {
    EdgeInsets inset;
    double lineSpacing;
    double interitemSpacing;
};
}  // namespace

void FlowLayout::compute() const {
    if (!dirty_) return;
    dirty_ = false;
    auto& list = attributes_;
    list.clear();
    contentSize_ = Size{};
    CollectionView* view = collectionView();
    if (!view) {
        index_.clear();
        return;
    }
    auto* delegate = dynamic_cast<FlowLayoutDelegate*>(view->delegate());
    auto& self = const_cast<FlowLayout&>(*this);  // the delegate takes the layout as it is
    double width = view->bounds().width();
    double y = 0;
    for (std::int64_t section = 0; section < view->numberOfSections(); ++section) {
        SectionMetrics m{sectionInset_, lineSpacing_, interitemSpacing_};
        if (delegate) {
            m.inset = delegate->insetForSectionAtIndex(*view, self, section);
            m.lineSpacing = delegate->minimumLineSpacingForSectionAtIndex(*view, self, section);
            m.interitemSpacing =
                delegate->minimumInteritemSpacingForSectionAtIndex(*view, self, section);
        }
        double usable = width - m.inset.left - m.inset.right;
        y += m.inset.top;
        std::int64_t count = view->numberOfItemsInSection(section);
        std::vector<LayoutAttributes> line;
        double lineWidth = 0, lineHeight = 0;
        auto flushLine = [&](bool last) {
            if (line.empty()) return;
            double spare = usable - lineWidth;
            double gap = m.interitemSpacing;
            double x = m.inset.left;
            if (line.size() == 1)
                x += std::max(0.0, spare) / 2;
            else if (!last)
                gap += std::max(0.0, spare) / static_cast<double>(line.size() - 1);
            for (auto& a : line) {
                a.frame.origin = Point{x, y + (lineHeight - a.frame.height()) / 2};
                x += a.frame.width() + gap;
                list.push_back(a);
            }
            y += lineHeight;
            line.clear();
            lineWidth = lineHeight = 0;
        };
        for (std::int64_t item = 0; item < count; ++item) {
            IndexPath ip{section, item};
            Size size = delegate ? delegate->sizeForItemAtIndexPath(*view, self, ip) : itemSize_;
            size.width = std::min(size.width, std::max(0.0, usable));
            double needed = line.empty() ? size.width : lineWidth + m.interitemSpacing + size.width;
            if (!line.empty() && needed > usable) {
                flushLine(false);
                y += m.lineSpacing;
                needed = size.width;
            }
            auto a = LayoutAttributes::forCellWithIndexPath(ip);
            a.frame.size = size;
            line.push_back(a);
            lineWidth = needed;
            lineHeight = std::max(lineHeight, size.height);
        }
        flushLine(true);
        y += m.inset.bottom;
    }
    contentSize_ = Size{width, y};
    index_.rebuild(attributes_);
}

std::vector<LayoutAttributes> FlowLayout::layoutAttributesForElementsInRect(
    const Rect& rect) const {
    compute();
    std::vector<LayoutAttributes> found;
    for (std::size_t position : index_.positionsInRect(rect))
        found.push_back(attributes_[position]);
    return found;
}

std::optional<LayoutAttributes> FlowLayout::layoutAttributesForItemAtIndexPath(
    const IndexPath& indexPath) const {
    compute();
    for (const auto& attributes : attributes_) {
        if (attributes.indexPath == indexPath) return attributes;
    }
    return std::nullopt;
}

Size FlowLayout::collectionViewContentSize() const {
    compute();
    return contentSize_;
}

bool FlowLayout::shouldInvalidateLayoutForBoundsChange(const Rect& newBounds) {
    bool changed = newBounds.width() != lastWidth_;
    lastWidth_ = newBounds.width();
    return changed;
}

}  // namespace kernova::ui
