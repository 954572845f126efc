#include "board/tag_flow_item.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>

#include "server/settings.h"

namespace kernova {

namespace {
// The measurer is asked for the text's bounding box on one line of unbounded
// width; the font falls back to the platform's default when cleared.
constexpr double kFallbackFontSize = 12.0;
}  // namespace

namespace tag_storage {

template <class List>
void Storage::roomFor(List& list, std::size_t more) {
    const std::size_t need = list.size() + more;
    if (need <= list.capacity()) return;
    list.reserve(std::max(need, list.capacity() + list.capacity() / 4 + 16));
}

std::uint32_t Storage::storeText(std::string_view text) {
    if (text.size() > TextSpan::kLengthMask ||
        text.size() > std::numeric_limits<std::uint32_t>::max() - buffer.size())
        throw std::length_error("tag text too large");
    roomFor(buffer, text.size());
    const auto offset = static_cast<std::uint32_t>(buffer.size());
    buffer.append(text);
    return offset;
}

void Storage::setText(TextSpan& span, std::string_view text) {
    // The text of another tag of this store is copied out first: the buffer
    // may move as it grows.
    const char* begin = buffer.data();
    if (!text.empty() && std::greater_equal<>{}(text.data(), begin) &&
        std::less<>{}(text.data(), begin + buffer.size())) {
        const std::string copy(text);
        setText(span, copy);
        return;
    }
    // A text no longer than the one it replaces takes its place.
    if (text.size() <= span.length()) {
        std::copy(text.begin(), text.end(), buffer.begin() + span.offset);
    } else {
        span.offset = storeText(text);
    }
    span.lengthAndFlags =
        (span.lengthAndFlags & ~TextSpan::kLengthMask) | static_cast<std::uint32_t>(text.size());
}

std::uint32_t Storage::lookSlot(const GTagFlowAppearanceRef& look) {
    if (!look) return 0;
    if (look.get() == lastLook) return lastSlot;
    auto [at, added] = lookSlots.try_emplace(look.get(), static_cast<std::uint32_t>(looks.size()));
    if (added) looks.push_back(look);
    lastLook = look.get();
    lastSlot = at->second;
    return lastSlot;
}

std::uint32_t Storage::add(std::string_view text, const GTagFlowAppearanceRef& look) {
    if (spans.size() >= std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("too many tags");
    TextSpan span;
    span.offset = storeText(text);
    span.lengthAndFlags = static_cast<std::uint32_t>(text.size()) | TextSpan::kOrderCopy;
    const Marks mark{0, lookSlot(look)};
    roomFor(spans, 1);
    roomFor(sizes, 1);
    roomFor(marks, 1);
    spans.push_back(span);
    sizes.push_back(ui::Size{});
    marks.push_back(mark);
    return static_cast<std::uint32_t>(spans.size() - 1);
}

}  // namespace tag_storage

namespace {

// The size of the tag's text on one unbounded line, with the padding; absent
// for an empty text or no appearance.
std::optional<ui::Size> measure(const tag_storage::Storage& storage, std::uint32_t slot) {
    const std::string_view text = storage.textOf(storage.spans[slot]);
    if (text.empty()) return std::nullopt;
    const GTagFlowAppearanceRef& look = storage.looks[storage.marks[slot].look];
    if (!look) return std::nullopt;
    ui::Font font = look->textFont.value_or(ui::Font::systemFont(kFallbackFontSize));
    ui::Size measured = storage.measurer->boundingSize(text, font);
    double height = measured.height;
    if (look->itemHeight > 0.0) height = look->itemHeight;
    return ui::Size{measured.width + GTagFlowAppearance::kTextPadding, height};
}

}  // namespace

GTagFlowAppearance::GTagFlowAppearance(std::int64_t fontSize)
    : textFont(ui::Font::systemFont(static_cast<double>(fontSize))),
      itemHeight(static_cast<double>(fontSize + static_cast<std::int64_t>(kTextPadding))) {}

std::shared_ptr<GTagFlowAppearance> GTagFlowAppearance::create(const Context& context) {
    // The table keeps the size in a range that gives visible, finite tags.
    return std::make_shared<GTagFlowAppearance>(readSettings(context).get(settings_key::kFontSize));
}

// References.

GTagFlowItemRef::GTagFlowItemRef(GTagFlowItem item) noexcept : item_(item) {
    if (item_.storage_) ++item_.storage_->refs;
}

GTagFlowItemRef::GTagFlowItemRef(const GTagFlowItemRef& other) noexcept : item_(other.item_) {
    if (item_.storage_) ++item_.storage_->refs;
}

GTagFlowItemRef::GTagFlowItemRef(GTagFlowItemRef&& other) noexcept : item_(other.item_) {
    other.item_ = GTagFlowItem();
}

GTagFlowItemRef& GTagFlowItemRef::operator=(const GTagFlowItemRef& other) noexcept {
    if (other.item_.storage_) ++other.item_.storage_->refs;
    if (item_.storage_) item_.storage_->release();
    item_ = other.item_;
    return *this;
}

GTagFlowItemRef& GTagFlowItemRef::operator=(GTagFlowItemRef&& other) noexcept {
    if (this == &other) return *this;
    if (item_.storage_) item_.storage_->release();
    item_ = other.item_;
    other.item_ = GTagFlowItem();
    return *this;
}

GTagFlowItemRef::~GTagFlowItemRef() {
    if (item_.storage_) item_.storage_->release();
}

// Stores.

GTagFlowStore::GTagFlowStore(const ui::TextMeasurer& measurer)
    : storage_(new tag_storage::Storage(measurer)) {
    storage_->refs = 1;
}

GTagFlowStore::GTagFlowStore(const GTagFlowStore& other) noexcept : storage_(other.storage_) {
    ++storage_->refs;
}

GTagFlowStore& GTagFlowStore::operator=(const GTagFlowStore& other) noexcept {
    ++other.storage_->refs;
    storage_->release();
    storage_ = other.storage_;
    return *this;
}

GTagFlowStore::~GTagFlowStore() {
    storage_->release();
}

GTagFlowItemRef GTagFlowStore::add(std::string_view text, const GTagFlowAppearanceRef& appearance) {
    const std::uint32_t slot = storage_->add(text, appearance);
    // Measured quietly: a new tag is no change to a board that shows others.
    if (auto size = measure(*storage_, slot)) storage_->sizes[slot] = *size;
    return GTagFlowItemRef(GTagFlowItem(storage_, slot));
}

void GTagFlowStore::reserve(std::size_t tags, std::size_t textBytes) {
    storage_->spans.reserve(storage_->spans.size() + tags);
    storage_->sizes.reserve(storage_->sizes.size() + tags);
    storage_->marks.reserve(storage_->marks.size() + tags);
    storage_->buffer.reserve(storage_->buffer.size() + textBytes);
}

std::size_t GTagFlowStore::size() const {
    return storage_->spans.size();
}

std::size_t GTagFlowStore::textBytes() const {
    return storage_->buffer.size();
}

// Items.

GTagFlowItemRef GTagFlowItem::tagFlowItemWithText(const Context& context,
                                                  const ui::TextMeasurer& measurer,
                                                  std::string text) {
    GTagFlowStore store(measurer);
    return store.add(text, GTagFlowAppearance::create(context));
}

GTagFlowItemRef GTagFlowItem::tagFlowItemWithText(const Context& context,
                                                  const ui::TextMeasurer& measurer,
                                                  std::string text,
                                                  GTagFlowAppearanceRef appearance) {
    GTagFlowItemRef item = tagFlowItemWithText(context, measurer, std::move(text));
    item->setAppearance(std::move(appearance));
    return item;
}

std::vector<GTagFlowItemRef> GTagFlowItem::factoryFolwLayoutWithItems(
    const Context& context, const ui::TextMeasurer& measurer, std::span<const GSplodeItem> items,
    const GTagFlowAppearanceRef& appearance) {
    std::vector<GTagFlowItemRef> result;
    result.reserve(items.size());
    if (items.empty()) return result;
    const GTagFlowAppearanceRef look =
        appearance ? appearance : GTagFlowAppearance::create(context);
    GTagFlowStore store(measurer);
    std::size_t bytes = 0;
    for (const GSplodeItem& source : items)
        bytes += source.text.size();
    store.reserve(items.size(), bytes);
    for (const GSplodeItem& source : items)
        result.push_back(store.add(source.text, look));
    return result;
}

void GTagFlowItem::setText(std::string_view text) {
    storage_->setText(span(), text);
    calculateItemSize();
    if (storage_->sink) storage_->sink->note();
}

void GTagFlowItem::setIndex(std::int64_t index) {
    // Places are counted in tags, which a store numbers in 32 bits.
    marks().index = static_cast<std::int32_t>(std::clamp<std::int64_t>(
        index, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

void GTagFlowItem::setAppearance(GTagFlowAppearanceRef appearance) {
    if (!appearance) return;
    marks().look = storage_->lookSlot(appearance);
    calculateItemSize();
}

void GTagFlowItem::setItemSize(ui::Size size) {
    ui::Size& stored = storage_->sizes[slot_];
    if (size == stored) return;
    stored = size;
    if (storage_->sink) storage_->sink->note();
}

void GTagFlowItem::setChangeSink(std::shared_ptr<GTagChangeSink> sink) {
    storage_->sink = std::move(sink);
}

void GTagFlowItem::calculateItemSize() {
    if (auto size = measure(*storage_, slot_)) setItemSize(*size);
}

}  // namespace kernova
