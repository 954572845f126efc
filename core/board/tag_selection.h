// What the user picked on a board: the tags in board order, the picked ones in
// the order they were picked, and each picked tag's 1-based place in that
// order (its `index`). The board, the action bar, history, URL templates and
// translation read the selection through this model.
//
// Every change costs the tags it touches: a pick or an unpick renumbers only
// the picks after it, select all and inverse touch each tag once, and the
// text of a selection is assembled in one linear pass.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "board/tag_flow_item.h"

namespace kernova {

class GTagSelection {
  public:
    // Tags whose selected state or number changed, for redrawing.
    using Changed = std::vector<GTagFlowItem>;

    // All tags, in board order. Replacing them keeps the pick list as it is
    // (the board replaces both when it shows a new text).
    const std::vector<GTagFlowItemRef>& items() const { return items_; }
    void setItems(std::vector<GTagFlowItemRef> items) { items_ = std::move(items); }
    // Tags that arrive after the first ones of a large text go after them.
    // While every tag before them is picked (select all), they come picked
    // too, numbered after the picks: select all stands for the whole text.
    void appendItems(std::vector<GTagFlowItemRef> items);

    // The picked tags, in the order they were picked.
    const std::vector<GTagFlowItemRef>& picks() const { return picks_; }
    // Replaces the pick list: the old picks lose their numbers, the new ones
    // are numbered 1, 2, 3... in the order given.
    void setPicks(std::vector<GTagFlowItemRef> picks);

    // Brings the pick list and the numbers in line with the item's own
    // isSelected: a newly selected item is appended, a newly unselected one is
    // taken out and the picks after it close the gap. A null item changes
    // nothing but still clears stale numbers of tags no longer picked.
    Changed sync(const GTagFlowItemRef& item);
    // Every tag picked, in board order.
    Changed selectAll();
    // Every tag's state flipped; the newly picked ones in board order.
    Changed inverse();

    // The picked texts joined in board order (byPickOrder false) or in pick
    // order; absent when nothing is picked. With spaceCompletion one space
    // goes before every picked text but the source list's first, unless that
    // text or the previous picked one is a single space.
    std::optional<std::string> text(bool byPickOrder, bool spaceCompletion) const;
    // Every tag's text, joined with nothing between; absent for no tags.
    std::optional<std::string> allText() const;
    // Texts of the picked tags in board order.
    std::vector<std::string> pickedTexts() const;
    // Texts of the tags not selected, from the board (byPickOrder false) or
    // from the pick list.
    std::vector<std::string> unpickedTexts(bool byPickOrder) const;

  private:
    // Renumbers picks from `from` on, noting the tags whose number changed.
    void renumberFrom(std::size_t from, Changed& changed);
    // Rebuilds the pick list from the items' states, in board order.
    Changed repick();

    std::vector<GTagFlowItemRef> items_;
    std::vector<GTagFlowItemRef> picks_;
};

}  // namespace kernova
