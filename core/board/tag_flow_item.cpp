#include "board/tag_flow_item.h"

#include <utility>

#include "server/settings.h"

namespace kernova {

namespace {
// The measurer is asked for the text's bounding box on one line of unbounded
// width; the font falls back to the platform's default when cleared.
constexpr double kFallbackFontSize = 12.0;
}  // namespace

GTagFlowAppearance::GTagFlowAppearance(std::int64_t fontSize)
    : textFont(ui::Font::systemFont(static_cast<double>(fontSize))),
      itemHeight(static_cast<double>(fontSize + static_cast<std::int64_t>(kTextPadding))) {}

std::shared_ptr<GTagFlowAppearance> GTagFlowAppearance::create(const Context& context) {
    // The table keeps the size in a range that gives visible, finite tags.
    return std::make_shared<GTagFlowAppearance>(readSettings(context).get(settings_key::kFontSize));
}

GTagFlowItem::GTagFlowItem(const Context& context, const ui::TextMeasurer& measurer)
    : GTagFlowItem(measurer, GTagFlowAppearance::create(context)) {}

GTagFlowItem::GTagFlowItem(const ui::TextMeasurer& measurer, GTagFlowAppearanceRef appearance)
    : measurer_(&measurer) {
    setAppearance(std::move(appearance));
    setOrderCopy(true);
}

GTagFlowItemRef GTagFlowItem::tagFlowItemWithText(const Context& context,
                                                  const ui::TextMeasurer& measurer,
                                                  std::string text) {
    auto item = std::make_shared<GTagFlowItem>(context, measurer);
    item->setText(std::move(text));
    return item;
}

GTagFlowItemRef GTagFlowItem::tagFlowItemWithText(const Context& context,
                                                  const ui::TextMeasurer& measurer,
                                                  std::string text,
                                                  GTagFlowAppearanceRef appearance) {
    auto item = std::make_shared<GTagFlowItem>(context, measurer);
    item->setText(std::move(text));
    item->setAppearance(std::move(appearance));
    return item;
}

std::vector<GTagFlowItemRef> GTagFlowItem::factoryFolwLayoutWithItems(
    const Context& context, const ui::TextMeasurer& measurer, std::span<const GSplodeItem> items,
    const GTagFlowAppearanceRef& appearance) {
    std::vector<GTagFlowItemRef> result;
    result.reserve(items.size());
    // The settings are read once for the whole list: with no shared appearance
    // each item gets a default one of its own, all of the same font size.
    const std::shared_ptr<const GTagFlowAppearance> defaults =
        appearance ? nullptr : GTagFlowAppearance::create(context);
    for (const GSplodeItem& source : items) {
        auto look = appearance ? appearance : std::make_shared<GTagFlowAppearance>(*defaults);
        auto item = std::make_shared<GTagFlowItem>(measurer, std::move(look));
        item->setText(source.text);
        result.push_back(std::move(item));
    }
    return result;
}

void GTagFlowItem::setText(std::string text) {
    text_ = std::move(text);
    calculateItemSize();
    if (sink_) sink_->note();
}

void GTagFlowItem::setItemSize(ui::Size size) {
    if (size == itemSize_) return;
    itemSize_ = size;
    if (sink_) sink_->note();
}

void GTagFlowItem::setAppearance(GTagFlowAppearanceRef appearance) {
    if (!appearance) return;
    appearance_ = std::move(appearance);
    calculateItemSize();
}

void GTagFlowItem::calculateItemSize() {
    if (text_.empty()) return;
    if (!appearance_) return;
    ui::Font font = appearance_->textFont.value_or(ui::Font::systemFont(kFallbackFontSize));
    ui::Size measured = measurer_->boundingSize(text_, font);
    double height = measured.height;
    if (appearance_->itemHeight > 0.0) height = appearance_->itemHeight;
    setItemSize(ui::Size{measured.width + GTagFlowAppearance::kTextPadding, height});
}

}  // namespace kernova
