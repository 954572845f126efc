#include "board/tag_flow_view.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "board/tag_flow_cell.h"
#include "server/settings.h"
#include "support/safe_array.h"
#include "ui/animation.h"
#include "ui/flow_layout.h"

namespace kernova {

std::shared_ptr<GTagFlowView> GTagFlowView::initWithFrame(ui::Application& application,
                                                          const ui::Rect& frame) {
    return std::make_shared<GTagFlowView>(application, frame);
}

GTagFlowView::GTagFlowView(ui::Application& application, const ui::Rect& frame)
    : ui::View(frame), application_(application) {
    lineSpacing_ = kDefaultLineSpacing;
    interitemSpacing_ = kDefaultInteritemSpacing;
    setSupportSlideSelection(true);
    edgeInsets_ = kDefaultEdgeInsets;
    // A plain flow layout until configTagCollectionViewLayout replaces it.
    collectionView_ =
        std::make_shared<ui::CollectionView>(frame, std::make_shared<ui::FlowLayout>());
    collectionView_->setDataSource(this);
    collectionView_->setDelegate(this);
    collectionView_->setBackgroundColor(ui::Color::clear());
    collectionView_->registerClass(
        [&application] { return std::make_shared<GTagFlowCell>(application); },
        kTagFlowCellIdentifier);
    addSubview(collectionView_);
    // A tag whose text or size changes is laid out again on the next pass.
    changes_->setOnChange([this] {
        if (const auto& layout = collectionView_->collectionViewLayout())
            layout->invalidateLayout();
    });
    orderCopy_ = readSettings(application_.context()).get(settings_key::kOrderCopy);
}

GTagFlowView::~GTagFlowView() {
    changes_->setOnChange(nullptr);
    // The collection view or its layout may outlive the board in someone
    // else's hands; neither may keep pointing here.
    if (auto* layout = dynamic_cast<GTagCollectionViewLayout*>(
            collectionView_->collectionViewLayout().get())) {
        if (layout->delegate() == this) layout->setDelegate(nullptr);
    }
    collectionView_->setDelegate(nullptr);
    collectionView_->setDataSource(nullptr);
}

void GTagFlowView::configTagCollectionViewLayout() {
    auto layout = std::make_shared<GTagCollectionViewLayout>();
    layout->setDelegate(this);
    configCustomLayout(layout);
}

void GTagFlowView::configCustomLayout(std::shared_ptr<ui::CollectionViewLayout> layout) {
    if (!layout) return;
    ++revision_;
    collectionView_->setCollectionViewLayout(std::move(layout));
}

void GTagFlowView::layoutSubviews() {
    ui::View::layoutSubviews();
    collectionView_->setFrame(bounds());
}

void GTagFlowView::setSupportSlideSelection(bool support) {
    supportSlideSelection_ = support;
    if (!support) return;
    panRecognizer_ = std::make_shared<ui::PanGestureRecognizer>();
    panRecognizer_->addTarget([this](ui::GestureRecognizer& r) { panRecognizer(r); });
    panRecognizer_->setDelaysTouchesBegan(true);
    addGestureRecognizer(panRecognizer_);
}

void GTagFlowView::setLineSpacing(double spacing) {
    lineSpacing_ = spacing;
    ++revision_;
}

void GTagFlowView::setInteritemSpacing(double spacing) {
    interitemSpacing_ = spacing;
    ++revision_;
}

void GTagFlowView::setEdgeInsets(ui::EdgeInsets insets) {
    edgeInsets_ = insets;
    ++revision_;
}

void GTagFlowView::watchChanges(const std::vector<GTagFlowItemRef>& items) {
    // The sink is the store's: once per run of tags from one store.
    const GTagFlowItem* last = nullptr;
    for (const auto& item : items) {
        if (!item || (last && item->sharesStore(*last))) continue;
        item->setChangeSink(changes_);
        last = item.get();
    }
}

void GTagFlowView::setFlowDatas(std::vector<GTagFlowItemRef> items) {
    watchChanges(items);
    selection_.setItems(std::move(items));
    ++revision_;
    ++itemsRevision_;
}

void GTagFlowView::appendFlowDatas(std::vector<GTagFlowItemRef> items) {
    if (items.empty()) return;
    watchChanges(items);
    for (const auto& item : items) {
        if (item) item->setOrderCopy(orderCopy_);
    }
    selection_.appendItems(std::move(items));
    // The revisions stay: the layout sees more items and nothing else
    // changed. The cells shown stay as they are.
    if (const auto& layout = collectionView_->collectionViewLayout()) layout->invalidateLayout();
    collectionView_->setNeedsLayout();
}

void GTagFlowView::reloadDatas() {
    for (const auto& item : selection_.items()) {
        if (item) item->setOrderCopy(orderCopy_);
    }
    ++revision_;
    ++itemsRevision_;
    collectionView_->reloadData();
}

void GTagFlowView::performReload(const std::vector<ui::IndexPath>& indexPaths) {
    ui::Animator& animator = application_.animator();
    animator.performWithActionsDisabled([&] {
        animator.performWithoutAnimation([&] {
            collectionView_->performBatchUpdates(
                [&] { collectionView_->reloadItemsAtIndexPaths(indexPaths); }, nullptr);
        });
    });
}

void GTagFlowView::addSelectLayout(const GTagFlowItemRef& item) {
    redrawCells(selection_.sync(item));
}

void GTagFlowView::selectAll() {
    redrawCells(selection_.selectAll());
    notifySelectedChanged();
}

void GTagFlowView::inverse() {
    redrawCells(selection_.inverse());
    notifySelectedChanged();
}

void GTagFlowView::redrawCells(const GTagSelection::Changed& changed) {
    if (changed.empty()) return;
    // A few changes are looked up; after many (select all) every shown cell
    // is drawn again, which costs no more than the lookups would.
    constexpr std::size_t kLookedUp = 16;
    const bool all = changed.size() > kLookedUp;
    for (ui::CollectionViewCell* shown : collectionView_->visibleCells()) {
        auto* cell = dynamic_cast<GTagFlowCell*>(shown);
        if (!cell || !cell->flowLayout()) continue;
        const GTagFlowItem& item = *cell->flowLayout();
        if (all || std::find(changed.begin(), changed.end(), item) != changed.end())
            cell->configFlowLayout(cell->flowLayout());
    }
}

std::optional<std::string> GTagFlowView::getNewTextOrderByAdding(bool byAdding) const {
    const bool spaceCompletion =
        readSettings(application_.context()).get(settings_key::kSpaceCompletion);
    return selection_.text(byAdding, spaceCompletion);
}

std::optional<std::string> GTagFlowView::getAllTextstring() const {
    return selection_.allText();
}

std::vector<std::string> GTagFlowView::filterAllSelectTitles() const {
    return selection_.pickedTexts();
}

std::vector<std::string> GTagFlowView::filterAllSelectTitlesOrderByAdding(bool byAdding) const {
    return selection_.unpickedTexts(byAdding);
}

void GTagFlowView::hiddenAllVisibleCells() {
    for (ui::CollectionViewCell* cell : collectionView_->visibleCells())
        cell->setAlpha(0);
}

void GTagFlowView::showCellsWithAnimation() {
    for (ui::CollectionViewCell* cell : collectionView_->visibleCells()) {
        auto seconds = static_cast<double>(getRandomNumber(1, 4));
        application_.animator().animate(seconds, [cell] { cell->setAlpha(1.0); });
    }
}

std::int64_t GTagFlowView::getRandomNumber(std::int64_t from, std::int64_t too) {
    const auto value = static_cast<std::int64_t>(random_());
    // A modulus of 0 has no answer; the offset is then 0.
    if (too == -1) return from;
    const std::int64_t modulus = too == std::numeric_limits<std::int64_t>::max() ? too : too + 1;
    const auto offset = static_cast<std::uint64_t>(value % modulus);
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(from) + offset);
}

std::int64_t GTagFlowView::numberOfSections(ui::CollectionView& collectionView) {
    (void)collectionView;
    return 1;
}

std::int64_t GTagFlowView::numberOfItemsInSection(ui::CollectionView& collectionView,
                                                  std::int64_t section) {
    (void)collectionView, (void)section;
    return static_cast<std::int64_t>(selection_.items().size());
}

std::shared_ptr<ui::CollectionViewCell> GTagFlowView::cellForItemAtIndexPath(
    ui::CollectionView& collectionView, const ui::IndexPath& indexPath) {
    auto cell =
        collectionView.dequeueReusableCellWithReuseIdentifier(kTagFlowCellIdentifier, indexPath);
    const auto& items = selection_.items();
    const auto count = static_cast<std::int64_t>(items.size());
    if (auto* tagCell = dynamic_cast<GTagFlowCell*>(cell.get());
        tagCell && indexPath.item < count) {
        if (itemAt(indexPath.item))
            tagCell->configFlowLayout(items[static_cast<std::size_t>(indexPath.item)]);
        tagCell->setFocusRing(focused_ == indexPath.item);
    }
    if (indexPath.item == count - 1) {
        ui::Size board = bounds().size;
        ui::Size content = collectionView.contentSize();
        bool differs = board.width != content.width || board.height != content.height;
        if (differs && heightChangedBlock_) heightChangedBlock_(board.height, content.height);
    }
    return cell;
}

void GTagFlowView::didSelectItemAtIndexPath(ui::CollectionView& collectionView,
                                            const ui::IndexPath& indexPath) {
    (void)collectionView;
    if (!inRange(indexPath)) return;
    playTapHaptic();
    const GTagFlowItemRef& item = selection_.items()[static_cast<std::size_t>(indexPath.item)];
    if (item) item->setIsSelected(!item->isSelected());
    addSelectLayout(item);
    notifySelectedChanged();
    performReload({indexPath});
}

ui::Size GTagFlowView::sizeForItemAtIndexPath(ui::CollectionView& collectionView,
                                              ui::CollectionViewLayout& layout,
                                              const ui::IndexPath& indexPath) {
    (void)collectionView, (void)layout;
    GTagFlowItem* item = itemAt(indexPath.item);
    return item ? item->itemSize() : ui::Size{};
}

void GTagFlowView::tagSizes(ui::CollectionView& collectionView, ui::CollectionViewLayout& layout,
                            std::int64_t n, std::vector<ui::Size>& sizes) {
    (void)collectionView, (void)layout;
    const auto& items = selection_.items();
    sizes.resize(static_cast<std::size_t>(std::max<std::int64_t>(n, 0)));
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const GTagFlowItem* item = i < items.size() ? items[i].get() : nullptr;
        sizes[i] = item ? item->itemSize() : ui::Size{};
    }
}

ui::EdgeInsets GTagFlowView::insetForSectionAtIndex(ui::CollectionView& collectionView,
                                                    ui::CollectionViewLayout& layout,
                                                    std::int64_t section) {
    (void)collectionView, (void)layout, (void)section;
    return edgeInsets_;
}

double GTagFlowView::minimumLineSpacingForSectionAtIndex(ui::CollectionView& collectionView,
                                                         ui::CollectionViewLayout& layout,
                                                         std::int64_t section) {
    (void)collectionView, (void)layout, (void)section;
    return lineSpacing_;
}

double GTagFlowView::minimumInteritemSpacingForSectionAtIndex(ui::CollectionView& collectionView,
                                                              ui::CollectionViewLayout& layout,
                                                              std::int64_t section) {
    (void)collectionView, (void)layout, (void)section;
    return interitemSpacing_;
}

GTagFlowItem* GTagFlowView::itemAt(std::int64_t item) const {
    if (item < 0) return nullptr;
    const GTagFlowItemRef* found =
        objectAtIndexSafely(selection_.items(), static_cast<std::size_t>(item));
    return found ? found->get() : nullptr;
}

bool GTagFlowView::inRange(const std::optional<ui::IndexPath>& indexPath) const {
    return indexPath && indexPath->item >= 0 &&
           indexPath->item < static_cast<std::int64_t>(selection_.items().size());
}

void GTagFlowView::playTapHaptic() {
    SettingsSnapshot settings = readSettings(application_.context());
    if (!settings.get(settings_key::kVibrateSwitch)) return;
    application_.platform().haptic.playSystemSound(
        static_cast<std::uint32_t>(settings.get(settings_key::kVibrate)));
}

void GTagFlowView::notifySelectedChanged() {
    if (selectedChangedBlock_) selectedChangedBlock_(!selection_.picks().empty());
}

}  // namespace kernova
