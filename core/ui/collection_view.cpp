#include "ui/collection_view.h"

#include <cmath>
#include <set>

namespace kernova::ui {

CollectionViewCell::CollectionViewCell(Rect frame)
    : View(frame), contentView_(std::make_shared<View>(Rect(Point{}, frame.size))) {
    addSubview(contentView_);
}

void CollectionViewCell::applyLayoutAttributes(const LayoutAttributes& attributes) {
    setFrame(attributes.frame);
    setAlpha(attributes.alpha);
    setHidden(attributes.hidden);
}

void CollectionViewCell::layoutSubviews() {
    contentView_->setFrame(bounds());
}

CollectionView::CollectionView(Rect frame, std::shared_ptr<CollectionViewLayout> layout)
    : ScrollView(frame), layout_(std::move(layout)) {
    if (layout_) layout_->collectionView_ = this;
}

CollectionView::~CollectionView() {
    if (layout_ && layout_->collectionView_ == this) layout_->collectionView_ = nullptr;
}

void CollectionView::setDataSource(CollectionViewDataSource* dataSource) {
    dataSource_ = dataSource;
    reloadData();
}

void CollectionView::setDelegate(CollectionViewDelegate* delegate) {
    delegate_ = delegate;
    setScrollDelegate(delegate);
    if (layout_) layout_->invalidateLayout();
}

void CollectionView::setCollectionViewLayout(std::shared_ptr<CollectionViewLayout> layout) {
    if (!layout) return;
    if (layout_ && layout_->collectionView_ == this) layout_->collectionView_ = nullptr;
    layout_ = std::move(layout);
    layout_->collectionView_ = this;
    layout_->invalidateLayout();
}

void CollectionView::registerClass(CellFactory factory, const std::string& reuseIdentifier) {
    factories_[reuseIdentifier] = std::move(factory);
}

std::shared_ptr<CollectionViewCell> CollectionView::dequeueReusableCellWithReuseIdentifier(
    const std::string& reuseIdentifier, const IndexPath& indexPath) {
    (void)indexPath;
    auto& queue = reusable_[reuseIdentifier];
    if (!queue.empty()) {
        auto cell = std::move(queue.back());
        queue.pop_back();
        cell->prepareForReuse();
        return cell;
    }
    auto factory = factories_.find(reuseIdentifier);
    if (factory == factories_.end() || !factory->second) return nullptr;
    auto cell = factory->second();
    if (cell) cell->reuseIdentifier_ = reuseIdentifier;
    return cell;
}

void CollectionView::enqueue(const IndexPath& indexPath) {
    auto it = visible_.find(indexPath);
    if (it == visible_.end()) return;
    auto cell = std::move(it->second);
    visible_.erase(it);
    if (delegate_) delegate_->didEndDisplayingCell(*this, *cell, indexPath);
    cell->removeFromSuperview();
    reusable_[cell->reuseIdentifier_].push_back(std::move(cell));
}

void CollectionView::reloadData() {
    std::vector<IndexPath> shown;
    for (auto& [ip, cell] : visible_)
        shown.push_back(ip);
    for (auto& ip : shown)
        enqueue(ip);
    if (layout_) layout_->invalidateLayout();
    setNeedsLayout();
}

void CollectionView::reloadItemsAtIndexPaths(const std::vector<IndexPath>& indexPaths) {
    for (const auto& ip : indexPaths)
        enqueue(ip);
    if (layout_) layout_->invalidateLayout();
    setNeedsLayout();
    layoutIfNeeded();
}

void CollectionView::performBatchUpdates(const std::function<void()>& updates,
                                         const std::function<void(bool)>& completion) {
    if (updates) updates();
    if (layout_) layout_->invalidateLayout();
    setNeedsLayout();
    layoutIfNeeded();
    if (completion) completion(true);
}

std::int64_t CollectionView::numberOfSections() {
    return dataSource_ ? std::max<std::int64_t>(0, dataSource_->numberOfSections(*this)) : 0;
}

std::int64_t CollectionView::numberOfItemsInSection(std::int64_t section) {
    if (!dataSource_ || section < 0 || section >= numberOfSections()) return 0;
    return std::max<std::int64_t>(0, dataSource_->numberOfItemsInSection(*this, section));
}

void CollectionView::prepareIfNeeded() {
    if (!layout_ || !layout_->invalid_) return;
    layout_->invalid_ = false;
    layout_->prepareLayout();
    setContentSize(layout_->collectionViewContentSize());
}

void CollectionView::realiseCell(const LayoutAttributes& attributes) {
    auto cell = dataSource_->cellForItemAtIndexPath(*this, attributes.indexPath);
    if (!cell) return;
    cell->applyLayoutAttributes(attributes);
    if (delegate_) delegate_->willDisplayCell(*this, *cell, attributes.indexPath);
    addSubview(cell);
    visible_[attributes.indexPath] = std::move(cell);
}

void CollectionView::layoutSubviews() {
    prepareIfNeeded();
    if (!layout_ || !dataSource_) {
        std::vector<IndexPath> shown;
        for (auto& [ip, cell] : visible_)
            shown.push_back(ip);
        for (auto& ip : shown)
            enqueue(ip);
        return;
    }
    auto wanted = layout_->visibleAttributesInRect(bounds());
    std::set<IndexPath> keep;
    for (const auto& attributes : wanted)
        keep.insert(attributes.indexPath);
    std::vector<IndexPath> leaving;
    for (auto& [ip, cell] : visible_) {
        if (!keep.count(ip)) leaving.push_back(ip);
    }
    for (auto& ip : leaving)
        enqueue(ip);
    for (const auto& attributes : wanted) {
        auto it = visible_.find(attributes.indexPath);
        if (it != visible_.end())
            it->second->setFrame(attributes.frame);
        else
            realiseCell(attributes);
    }
}

void CollectionView::setBounds(const Rect& bounds) {
    if (bounds == this->bounds()) return;
    if (layout_ && layout_->shouldInvalidateLayoutForBoundsChange(bounds)) {
        layout_->invalidateLayout();
    }
    ScrollView::setBounds(bounds);
    setNeedsLayout();
}

void CollectionView::setFrame(const Rect& frame) {
    Rect next(bounds().origin, frame.size);
    if (!(next == bounds()) && layout_ && layout_->shouldInvalidateLayoutForBoundsChange(next)) {
        layout_->invalidateLayout();
    }
    ScrollView::setFrame(frame);
}

std::optional<IndexPath> CollectionView::indexPathForItemAtPoint(Point point) const {
    if (!layout_ || !std::isfinite(point.x) || !std::isfinite(point.y)) return std::nullopt;
    Rect probe(point.x, point.y, 1e-6, 1e-6);
    for (const auto& attributes : layout_->visibleAttributesInRect(probe)) {
        if (attributes.frame.contains(point)) return attributes.indexPath;
    }
    return std::nullopt;
}

std::optional<IndexPath> CollectionView::indexPathForCell(const CollectionViewCell* cell) const {
    for (const auto& [ip, shown] : visible_) {
        if (shown.get() == cell) return ip;
    }
    return std::nullopt;
}

CollectionViewCell* CollectionView::cellForItemAtIndexPath(const IndexPath& indexPath) const {
    auto it = visible_.find(indexPath);
    return it == visible_.end() ? nullptr : it->second.get();
}

std::vector<CollectionViewCell*> CollectionView::visibleCells() const {
    std::vector<CollectionViewCell*> cells;
    for (const auto& [ip, cell] : visible_)
        cells.push_back(cell.get());
    return cells;
}

std::vector<IndexPath> CollectionView::indexPathsForVisibleItems() const {
    std::vector<IndexPath> paths;
    for (const auto& [ip, cell] : visible_)
        paths.push_back(ip);
    return paths;
}

std::optional<LayoutAttributes> CollectionView::layoutAttributesForItemAtIndexPath(
    const IndexPath& ip) const {
    return layout_ ? layout_->layoutAttributesForItemAtIndexPath(ip) : std::nullopt;
}

std::size_t CollectionView::reusableCellCount() const {
    std::size_t n = 0;
    for (const auto& [id, queue] : reusable_)
        n += queue.size();
    return n;
}

void CollectionView::touchesBegan(const Touch& touch) {
    pressed_ = indexPathForItemAtPoint(touch.locationInView(this));
    pressLocation_ = touch.screenLocation;
    if (pressed_) {
        if (auto* cell = cellForItemAtIndexPath(*pressed_)) cell->setHighlighted(true);
    }
}

void CollectionView::touchesMoved(const Touch& touch) {
    if (!pressed_) return;
    double moved = std::hypot(touch.screenLocation.x - pressLocation_.x,
                              touch.screenLocation.y - pressLocation_.y);
    if (moved > kTapMovement) touchesCancelled(touch);
}

void CollectionView::touchesEnded(const Touch& touch) {
    if (!pressed_) return;
    IndexPath ip = *pressed_;
    touchesCancelled(touch);
    if (indexPathForItemAtPoint(touch.locationInView(this)) != ip) return;
    if (delegate_ && delegate_->shouldSelectItemAtIndexPath(*this, ip)) {
        delegate_->didSelectItemAtIndexPath(*this, ip);
    }
}

void CollectionView::touchesCancelled(const Touch& touch) {
    (void)touch;
    if (pressed_) {
        if (auto* cell = cellForItemAtIndexPath(*pressed_)) cell->setHighlighted(false);
    }
    pressed_.reset();
}

}  // namespace kernova::ui
