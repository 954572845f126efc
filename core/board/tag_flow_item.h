// Tags of the board: one GTagFlowItem per tag (text, selection state, place in
// the selection order, measured size) and the GTagFlowAppearance that says how
// tags are drawn, selected or not. Appearances may be shared by many items.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/context.h"
#include "segment/splode_box.h"
#include "ui/color.h"
#include "ui/font.h"
#include "ui/geometry.h"
#include "ui/text_measurer.h"

namespace kernova {

// The look of tags. Fields a caller may clear (the selected colours and the
// font) are optional: a cleared one leaves a reused cell's previous value.
class GTagFlowAppearance {
  public:
    // Room around the text: tags are this much wider than their text, and
    // itemHeight is the font size plus this.
    static constexpr double kTextPadding = 18.0;

    // A new appearance with the defaults; reads "fontSize" from the settings
    // file now (once per appearance, never cached): 12 when missing or 0, and
    // kept within the key's range.
    static std::shared_ptr<GTagFlowAppearance> create(const Context& context);
    explicit GTagFlowAppearance(std::int64_t fontSize);

    ui::Color textColor = ui::Color::rgb255(71, 71, 71);
    ui::Color backgroundColor = ui::Color::white(1.0);
    std::optional<ui::Color> selectBackgroundColor = ui::Color::rgb255(74, 150, 247);
    std::optional<ui::Color> selectTextColor = ui::Color{252.0 / 255.0, 253.0 / 255.0, 1.0, 1.0};
    double borderWidth = 0.0;
    // Red, but with a zero border width no border shows until a caller sets one.
    ui::Color borderColor = ui::Color{1, 0, 0, 1};
    ui::Color selectBorderColor = ui::Color::black();
    std::optional<ui::Font> textFont;
    double cornerRadius = 4.0;
    double itemHeight = 0.0;
};

using GTagFlowAppearanceRef = std::shared_ptr<GTagFlowAppearance>;

class GTagFlowItem;
using GTagFlowItemRef = std::shared_ptr<GTagFlowItem>;

// Told whenever a tag's text or size changes: the board that shows the tags
// counts the changes into its layout revision and lays out again.
class GTagChangeSink {
  public:
    std::uint64_t changes() const { return changes_; }
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }
    void note() {
        ++changes_;
        if (onChange_) onChange_();
    }

  private:
    std::uint64_t changes_ = 0;
    std::function<void()> onChange_;
};

class GTagFlowItem {
  public:
    // init: a new default appearance (measuring nothing yet, as there is no
    // text) and orderCopy YES. The measurer must outlive the item.
    GTagFlowItem(const Context& context, const ui::TextMeasurer& measurer);
    // The same with the appearance given (null: a default one of the given
    // font size), so that building many items reads the settings once.
    GTagFlowItem(const ui::TextMeasurer& measurer, GTagFlowAppearanceRef appearance);

    static GTagFlowItemRef tagFlowItemWithText(const Context& context,
                                               const ui::TextMeasurer& measurer, std::string text);
    // The text is set first, then the appearance (a null one is ignored).
    static GTagFlowItemRef tagFlowItemWithText(const Context& context,
                                               const ui::TextMeasurer& measurer, std::string text,
                                               GTagFlowAppearanceRef appearance);
    // One item per segment, from its text only; with an appearance every item
    // shares it, with null each keeps a default one of its own.
    static std::vector<GTagFlowItemRef> factoryFolwLayoutWithItems(
        const Context& context, const ui::TextMeasurer& measurer,
        std::span<const GSplodeItem> items, const GTagFlowAppearanceRef& appearance);

    bool orderCopy() const { return orderCopy_; }
    void setOrderCopy(bool orderCopy) { orderCopy_ = orderCopy; }
    bool isSelected() const { return isSelected_; }
    void setIsSelected(bool selected) { isSelected_ = selected; }
    const std::string& text() const { return text_; }
    // Stores the text and measures it again; tells the change sink.
    void setText(std::string text);
    // 1-based place in the board's selection list, 0 when not selected.
    std::int64_t index() const { return index_; }
    void setIndex(std::int64_t index) { index_ = index; }
    const GTagFlowAppearanceRef& appearance() const { return appearance_; }
    // Null is ignored; otherwise stores it and measures again.
    void setAppearance(GTagFlowAppearanceRef appearance);
    ui::Size itemSize() const { return itemSize_; }
    // Tells the change sink when the size differs.
    void setItemSize(ui::Size size);

    // Where changes of text and size are reported (the board sets it when it
    // takes the item; the last board to take it wins). Null: nowhere.
    void setChangeSink(std::shared_ptr<GTagChangeSink> sink) { sink_ = std::move(sink); }

    // Measures the text on one unbounded line; an empty text or a missing
    // appearance leaves itemSize as it is.
    void calculateItemSize();

  private:
    bool orderCopy_ = false;
    bool isSelected_ = false;
    std::string text_;
    std::int64_t index_ = 0;
    GTagFlowAppearanceRef appearance_;
    ui::Size itemSize_;
    const ui::TextMeasurer* measurer_;
    std::shared_ptr<GTagChangeSink> sink_;
};

}  // namespace kernova
