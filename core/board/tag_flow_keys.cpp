// The board under the keyboard: a ring on one tag, moved by the arrow keys;
// Space picks like a tap, Shift with an arrow extends the picks like a slide.
#include <cmath>
#include <limits>

#include "board/tag_flow_cell.h"
#include "board/tag_flow_view.h"

namespace kernova {

void GTagFlowView::setFocusedItem(std::optional<std::int64_t> item) {
    const auto count = static_cast<std::int64_t>(flowDatas().size());
    if (item && (*item < 0 || *item >= count)) item.reset();
    if (item == focused_) return;
    auto ring = [this](std::optional<std::int64_t> at, bool shown) {
        if (!at) return;
        auto* cell = dynamic_cast<GTagFlowCell*>(collectionView_->cellForItemAtIndexPath({0, *at}));
        if (cell) cell->setFocusRing(shown);
    };
    ring(focused_, false);
    focused_ = item;
    if (!focused_) return;
    scrollToItem(*focused_);
    ring(focused_, true);
}

void GTagFlowView::scrollToItem(std::int64_t item) {
    auto attributes = collectionView_->layoutAttributesForItemAtIndexPath({0, item});
    if (!attributes) return;
    const ui::Rect frame = attributes->frame;
    const ui::Rect shown = collectionView_->bounds();
    double dy = 0;
    if (frame.minY() < shown.minY()) dy = frame.minY() - shown.minY() - edgeInsets_.top;
    if (frame.maxY() > shown.maxY()) dy = frame.maxY() - shown.maxY() + edgeInsets_.bottom;
    if (dy != 0) collectionView_->scrollBy(0, dy);
    collectionView_->layoutIfNeeded();
}

std::optional<std::int64_t> GTagFlowView::itemInLine(std::int64_t from, int direction) const {
    auto frameOf = [this](std::int64_t i) {
        auto attributes = collectionView_->layoutAttributesForItemAtIndexPath({0, i});
        return attributes ? std::optional(attributes->frame) : std::nullopt;
    };
    const auto start = frameOf(from);
    if (!start) return std::nullopt;
    const double across = start->midX();
    const auto count = static_cast<std::int64_t>(flowDatas().size());
    std::optional<double> lineY;
    std::optional<std::int64_t> best;
    double bestDistance = std::numeric_limits<double>::infinity();
    // Tags are laid out in lines, in order: walk to the adjacent line and stop
    // where it ends.
    for (std::int64_t i = from + direction; i >= 0 && i < count; i += direction) {
        const auto frame = frameOf(i);
        if (!frame) continue;
        if (frame->origin.y == start->origin.y) continue;
        if (!lineY) lineY = frame->origin.y;
        if (frame->origin.y != *lineY) break;
        const double distance = std::abs(frame->midX() - across);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = i;
        }
    }
    return best;
}

void GTagFlowView::extendTo(std::int64_t item) {
    GTagFlowItem* tag = itemAt(item);
    if (!tag || !extendState_ || tag->isSelected() == *extendState_) return;
    tag->setIsSelected(*extendState_);
    addSelectLayout(flowDatas()[static_cast<std::size_t>(item)]);
    notifySelectedChanged();
}

bool GTagFlowView::handleKey(const ui::KeyEvent& event) {
    const auto count = static_cast<std::int64_t>(flowDatas().size());
    if (count == 0) return false;
    if (!event.shift) extendState_.reset();
    if (event.key == ui::Key::space) {
        if (!focused_) {
            setFocusedItem(0);
            return true;
        }
        didSelectItemAtIndexPath(*collectionView_, {0, *focused_});
        return true;
    }
    std::optional<std::int64_t> next;
    const std::int64_t at = focused_.value_or(-1);
    switch (event.key) {
        case ui::Key::left:
            next = focused_ ? std::max<std::int64_t>(at - 1, 0) : 0;
            break;
        case ui::Key::right:
            next = std::min(at + 1, count - 1);
            break;
        case ui::Key::up:
            next = focused_ ? itemInLine(at, -1).value_or(at) : 0;
            break;
        case ui::Key::down:
            next = focused_ ? itemInLine(at, +1).value_or(at) : 0;
            break;
        default:
            return false;
    }
    if (event.shift) {
        if (!extendState_ && focused_) {
            // The run starts on the tag the keyboard is on, as a slide does.
            GTagFlowItem* first = itemAt(*focused_);
            extendState_ = first && !first->isSelected();
            extendTo(*focused_);
        }
        if (!extendState_) {
            GTagFlowItem* first = itemAt(*next);
            extendState_ = first && !first->isSelected();
        }
        extendTo(*next);
    }
    setFocusedItem(next);
    return true;
}

}  // namespace kernova
