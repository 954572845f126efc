#include "board/tag_selection.h"

#include <algorithm>

namespace kernova {

namespace {

// The item's place in `picks`, found through its number when that is current
// (a pick's number is its place + 1), else by a search; picks.size() when absent.
std::size_t placeOf(const std::vector<GTagFlowItemRef>& picks, const GTagFlowItemRef& item) {
    const std::int64_t number = item->index();
    if (number > 0 && static_cast<std::size_t>(number) <= picks.size() &&
        picks[static_cast<std::size_t>(number - 1)] == item)
        return static_cast<std::size_t>(number - 1);
    if (number == 0) return picks.size();
    return static_cast<std::size_t>(std::find(picks.begin(), picks.end(), item) - picks.begin());
}

}  // namespace

void GTagSelection::setPicks(std::vector<GTagFlowItemRef> picks) {
    for (const auto& old : picks_) {
        if (old) old->setIndex(0);
    }
    picks_ = std::move(picks);
    Changed ignored;
    renumberFrom(0, ignored);
}

void GTagSelection::renumberFrom(std::size_t from, Changed& changed) {
    for (std::size_t i = from; i < picks_.size(); ++i) {
        GTagFlowItem* pick = picks_[i].get();
        const auto number = static_cast<std::int64_t>(i + 1);
        if (!pick || pick->index() == number) continue;
        pick->setIndex(number);
        changed.push_back(*pick);
    }
}

GTagSelection::Changed GTagSelection::sync(const GTagFlowItemRef& item) {
    Changed changed;
    if (!item) return changed;
    const std::size_t place = placeOf(picks_, item);
    const bool listed = place < picks_.size();
    if (!item->isSelected() && listed) {
        picks_.erase(picks_.begin() + static_cast<std::ptrdiff_t>(place));
        item->setIndex(0);
        changed.push_back(*item);
        renumberFrom(place, changed);
    } else if (item->isSelected() && !listed) {
        picks_.push_back(item);
        item->setIndex(static_cast<std::int64_t>(picks_.size()));
        changed.push_back(*item);
    } else {
        // The state did not change the list; the item is still redrawn.
        changed.push_back(*item);
    }
    return changed;
}

GTagSelection::Changed GTagSelection::repick() {
    Changed changed;
    for (const auto& old : picks_) {
        if (old) old->setIndex(0);
    }
    picks_.clear();
    for (const auto& item : items_) {
        if (!item) continue;
        if (item->isSelected()) {
            picks_.push_back(item);
            item->setIndex(static_cast<std::int64_t>(picks_.size()));
        }
        changed.push_back(*item);
    }
    return changed;
}

void GTagSelection::appendItems(std::vector<GTagFlowItemRef> items) {
    const bool allPicked = !items_.empty() && picks_.size() == items_.size();
    // A quarter more room at a time: little is left unused, and slice after
    // slice the list is copied a bounded number of times.
    const std::size_t need = items_.size() + items.size();
    if (need > items_.capacity())
        items_.reserve(std::max(need, items_.capacity() + items_.capacity() / 4));
    for (auto& item : items) {
        if (allPicked && item) {
            item->setIsSelected(true);
            picks_.push_back(item);
            item->setIndex(static_cast<std::int64_t>(picks_.size()));
        }
        items_.push_back(std::move(item));
    }
}

GTagSelection::Changed GTagSelection::selectAll() {
    for (const auto& item : items_) {
        if (item) item->setIsSelected(true);
    }
    return repick();
}

GTagSelection::Changed GTagSelection::inverse() {
    for (const auto& item : items_) {
        if (item) item->setIsSelected(!item->isSelected());
    }
    return repick();
}

std::optional<std::string> GTagSelection::text(bool byPickOrder, bool spaceCompletion) const {
    const std::vector<GTagFlowItemRef>& source = byPickOrder ? picks_ : items_;
    // One pass over the tags' compact text places, copying the bytes straight
    // from the stores' buffers. The result grows geometrically, which costs
    // less than a first pass to count its length would on a large board.
    std::string result;
    std::string_view previous;
    bool first = true;
    for (std::size_t i = 0; i < source.size(); ++i) {
        const GTagFlowItem* item = source[i].get();
        if (!item || !item->isSelected()) continue;
        const std::string_view text = item->textView();
        const bool glued = !spaceCompletion || i == 0 || text == " " || (!first && previous == " ");
        if (!glued) result += ' ';
        result += text;
        previous = text;
        first = false;
    }
    if (first) return std::nullopt;
    return result;
}

std::optional<std::string> GTagSelection::allText() const {
    if (items_.empty()) return std::nullopt;
    std::string result;
    for (const GTagFlowItemRef& item : items_) {
        if (item) result += item->textView();
    }
    return result;
}

std::vector<std::string> GTagSelection::pickedTexts() const {
    std::vector<std::string> texts;
    for (const auto& item : items_) {
        if (item && item->isSelected()) texts.push_back(item->text());
    }
    return texts;
}

std::vector<std::string> GTagSelection::unpickedTexts(bool byPickOrder) const {
    std::vector<std::string> texts;
    for (const auto& item : byPickOrder ? picks_ : items_) {
        if (item && !item->isSelected()) texts.push_back(item->text());
    }
    return texts;
}

}  // namespace kernova
