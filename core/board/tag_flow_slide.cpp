// Slide selection: the first cell a slide reaches (its anchor) decides the
// state the slide gives to the cells it sweeps; going back over swept cells
// inverts them again, the anchor included at the moment the slide reverses.
#include <algorithm>
#include <cstdlib>

#include "board/tag_flow_view.h"
#include "support/safe_array.h"

namespace kernova {

namespace {

bool contains(const std::vector<ui::IndexPath>& list, const std::optional<ui::IndexPath>& path) {
    return path && std::find(list.begin(), list.end(), *path) != list.end();
}

}  // namespace

void GTagFlowView::panRecognizer(ui::GestureRecognizer& recognizer) {
    std::optional<ui::IndexPath> current =
        collectionView_->indexPathForItemAtPoint(recognizer.locationInView(collectionView_.get()));
    switch (recognizer.state()) {
        case ui::GestureState::began:
            slideBegan(current);
            break;
        case ui::GestureState::changed:
            slideChanged(current);
            break;
        case ui::GestureState::ended:
        case ui::GestureState::cancelled:
            slideEnded();
            break;
        default:
            break;
    }
}

void GTagFlowView::startSlideOn(const ui::IndexPath& cell) {
    const GTagFlowItemRef& item = selection_.items()[static_cast<std::size_t>(cell.item)];
    indexPaths_.push_back(cell);
    if (item) item->setIsSelected(beginSelectState_);
    addSelectLayout(item);
    performReload({cell});
    lastIndexPath_ = cell;
}

void GTagFlowView::slideBegan(const std::optional<ui::IndexPath>& current) {
    indexPaths_.clear();
    beginIndexPath_ = current;
    if (!inRange(current)) return;
    GTagFlowItem* item = itemAt(current->item);
    beginSelectState_ = !(item && item->isSelected());
    startSlideOn(*current);
}

bool GTagFlowView::anchorLateStart(const std::optional<ui::IndexPath>& current) {
    beginIndexPath_ = current;
    GTagFlowItem* item = current ? itemAt(current->item) : nullptr;
    beginSelectState_ = !(item && item->isSelected());
    if (contains(indexPaths_, current)) return false;
    if (inRange(current)) startSlideOn(*current);
    return true;
}

void GTagFlowView::slideChanged(const std::optional<ui::IndexPath>& current) {
    if (!beginIndexPath_ && anchorLateStart(current)) return;
    if (!inRange(current)) return;
    // A missing last cell reads as item 0, as a message to nil answers.
    const std::int64_t lastItem = lastIndexPath_ ? lastIndexPath_->item : 0;
    if (lastItem == current->item) return;
    lastIndexPath_ = current;
    const ui::IndexPath anchor = *beginIndexPath_;
    recognizerState_ = anchor.item < current->item ? kSlideForward : kSlideBackward;
    if (lastRecognizerState_ == kSlideNone) lastRecognizerState_ = recognizerState_;
    if (lastRecognizerState_ != recognizerState_) {
        lastRecognizerState_ = recognizerState_;
        sweep(anchor);
    }
    const std::int64_t distance = std::llabs(current->item - anchor.item);
    if (distance == 1) {
        sweep(*current);
    } else if (distance >= 2) {
        const std::int64_t step = recognizerState_ == kSlideForward ? 1 : -1;
        for (std::int64_t k = 1; k <= distance; ++k)
            sweep(ui::IndexPath{0, anchor.item + step * k});
    }
    beginIndexPath_ = current;
    const std::vector<ui::IndexPath> swept = indexPaths_;
    performReload(swept);
}

void GTagFlowView::slideEnded() {
    notifySelectedChanged();
    indexPaths_.clear();
    beginIndexPath_.reset();
    recognizerState_ = kSlideNone;
    lastRecognizerState_ = kSlideNone;
}

void GTagFlowView::sweep(const ui::IndexPath& cell) {
    GTagFlowItemRef item;
    if (cell.item >= 0) {
        if (const GTagFlowItemRef* found =
                objectAtIndexSafely(selection_.items(), static_cast<std::size_t>(cell.item)))
            item = *found;
    }
    if (contains(indexPaths_, cell)) {
        if (item) item->setIsSelected(!item->isSelected());
    } else {
        indexPaths_.push_back(cell);
        if (item) item->setIsSelected(beginSelectState_);
    }
    addSelectLayout(item);
}

}  // namespace kernova
