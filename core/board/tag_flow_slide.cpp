// Slide selection: the first cell a slide reaches (its anchor) decides the
// state the slide gives to the cells it sweeps; going back over swept cells
// inverts them again, the anchor included at the moment the slide reverses.
// A move costs the cells it sweeps, however long the slide already is.
#include <algorithm>
#include <cstdlib>

#include "board/tag_flow_view.h"
#include "support/safe_array.h"

namespace kernova {

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
    sweptItems_.insert(cell.item);
    if (item) item->setIsSelected(beginSelectState_);
    addSelectLayout(item);
    performReload({cell});
    lastIndexPath_ = cell;
}

void GTagFlowView::slideBegan(const std::optional<ui::IndexPath>& current) {
    indexPaths_.clear();
    sweptItems_.clear();
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
    if (current && sweptItems_.count(current->item) != 0) return false;
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
    std::vector<ui::IndexPath> touched;
    if (lastRecognizerState_ != recognizerState_) {
        lastRecognizerState_ = recognizerState_;
        touched.push_back(sweep(anchor));
    }
    const std::int64_t distance = std::llabs(current->item - anchor.item);
    if (distance == 1) {
        touched.push_back(sweep(*current));
    } else if (distance >= 2) {
        const std::int64_t step = recognizerState_ == kSlideForward ? 1 : -1;
        for (std::int64_t k = 1; k <= distance; ++k)
            touched.push_back(sweep(ui::IndexPath{0, anchor.item + step * k}));
    }
    beginIndexPath_ = current;
    performReload(touched);
}

void GTagFlowView::slideEnded() {
    notifySelectedChanged();
    indexPaths_.clear();
    sweptItems_.clear();
    beginIndexPath_.reset();
    recognizerState_ = kSlideNone;
    lastRecognizerState_ = kSlideNone;
}

ui::IndexPath GTagFlowView::sweep(const ui::IndexPath& cell) {
    GTagFlowItemRef item;
    if (cell.item >= 0) {
        if (const GTagFlowItemRef* found =
                objectAtIndexSafely(selection_.items(), static_cast<std::size_t>(cell.item)))
            item = *found;
    }
    if (sweptItems_.count(cell.item) != 0) {
        if (item) item->setIsSelected(!item->isSelected());
    } else {
        indexPaths_.push_back(cell);
        sweptItems_.insert(cell.item);
        if (item) item->setIsSelected(beginSelectState_);
    }
    addSelectLayout(item);
    return cell;
}

}  // namespace kernova
