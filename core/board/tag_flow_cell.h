// The cell that draws one tag: a centred label filling the cell, drawn with the
// item's appearance in its selected or unselected state, with a small badge
// (the tag's place in the selection order) in the label's top-left corner. A
// long press edits the tag's text in an alert.
#pragma once

#include <memory>

#include "board/tag_flow_item.h"
#include "ui/application.h"
#include "ui/collection_view.h"
#include "ui/gestures.h"
#include "ui/label.h"

namespace kernova {

// Posted (process-local) when the editor opens: the panel steps aside.
inline constexpr const char* kHideNotification = "fun.quorle.kernova.hide";
// Posted when the editor closes, either way: the panel comes back and reloads.
inline constexpr const char* kNotifyReloadNotification = "fun.quorle.kernova.notifyReload";

class GTagFlowCell : public ui::CollectionViewCell {
  public:
    static constexpr double kBadgeSize = 10.0;
    static constexpr double kBadgeFontSize = 7.0;
    static constexpr double kBadgeCornerRadius = 4.0;
    static constexpr double kLabelFontSize = 12.0;

    // initWithFrame: the label, the hidden badge and the long-press recognizer.
    explicit GTagFlowCell(ui::Application& application, const ui::Rect& frame = {});

    const std::shared_ptr<ui::Label>& tagLabel() const { return tagLabel_; }
    void setTagLabel(std::shared_ptr<ui::Label> label) { tagLabel_ = std::move(label); }
    const GTagFlowItemRef& flowLayout() const { return flowLayout_; }
    void setFlowLayout(GTagFlowItemRef item) { flowLayout_ = std::move(item); }

    // Stores the item and draws it.
    void configFlowLayout(GTagFlowItemRef item);
    // Edits the tag in place; acts on the Began state only.
    void longPress(ui::GestureRecognizer& recognizer);

    void layoutSubviews() override;
    // A tag reads as its text, selected when picked; its label is its own.
    ui::AccessibilityRole accessibilityRole() const override { return ui::AccessibilityRole::cell; }
    std::string accessibilityLabel() const override;
    bool isAccessibilitySelected() const override;
    // The ring that marks the tag the keyboard is on.
    void setFocusRing(bool shown);
    bool hasFocusRing() const { return focusRing_ && !focusRing_->isHidden(); }

  private:
    void drawUnselected(const GTagFlowItem& item, const GTagFlowAppearance& look);
    void drawSelected(const GTagFlowItem& item, const GTagFlowAppearance& look);
    void playHaptic();
    void presentEditor();

    ui::Application& application_;
    std::shared_ptr<ui::Label> tagLabel_;
    std::shared_ptr<ui::View> focusRing_;
    GTagFlowItemRef flowLayout_;
};

}  // namespace kernova
