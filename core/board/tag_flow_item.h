// Tags of the board: one GTagFlowItem per tag (text, selection state, place in
// the selection order, measured size) and the GTagFlowAppearance that says how
// tags are drawn, selected or not. Appearances may be shared by many items;
// tags live in a GTagFlowStore, a few dozen bytes each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
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

class GTagFlowItemRef;
class GTagFlowStore;

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

namespace tag_storage {

// A tag is 32 bytes in three lists, so that walking the texts (or the
// sizes) reads only what it needs: its text's place, its size, and its marks.
// The text is `length` bytes at `offset` in the store's buffer; the two top
// bits of `lengthAndFlags` are the selected and orderCopy states.
struct TextSpan {
    std::uint32_t offset = 0;
    std::uint32_t lengthAndFlags = 0;

    static constexpr std::uint32_t kSelected = 1u << 31;
    static constexpr std::uint32_t kOrderCopy = 1u << 30;
    static constexpr std::uint32_t kLengthMask = kOrderCopy - 1;
    std::uint32_t length() const { return lengthAndFlags & kLengthMask; }
    bool flag(std::uint32_t bit) const { return (lengthAndFlags & bit) != 0; }
    void setFlag(std::uint32_t bit, bool on) {
        lengthAndFlags = on ? (lengthAndFlags | bit) : (lengthAndFlags & ~bit);
    }
};
// The place in the pick order, and the appearance's place in the table (0: none).
struct Marks {
    std::int32_t index = 0;
    std::uint32_t look = 0;
};

// What a GTagFlowStore and its tags share; only tag_flow_item.cpp changes it.
struct Storage {
    explicit Storage(const ui::TextMeasurer& m) : measurer(&m) { looks.emplace_back(); }

    // Grows a list by a quarter at a time: the room left unused stays under
    // a fifth of the list, and appending is still linear overall.
    template <class List>
    static void roomFor(List& list, std::size_t more);
    // Appends the text to the buffer; its offset.
    std::uint32_t storeText(std::string_view text);
    void setText(TextSpan& span, std::string_view text);
    std::uint32_t lookSlot(const GTagFlowAppearanceRef& look);
    std::uint32_t add(std::string_view text, const GTagFlowAppearanceRef& look);
    std::string_view textOf(const TextSpan& span) const {
        return std::string_view(buffer.data() + span.offset, span.length());
    }
    void release() {
        if (--refs == 0) delete this;
    }

    std::vector<TextSpan> spans;
    std::vector<ui::Size> sizes;
    std::vector<Marks> marks;
    std::string buffer;
    // Appearances by place; the first is none. A deque: references handed out
    // stay valid as it grows.
    std::deque<GTagFlowAppearanceRef> looks;
    std::unordered_map<const GTagFlowAppearance*, std::uint32_t> lookSlots;
    const GTagFlowAppearance* lastLook = nullptr;
    std::uint32_t lastSlot = 0;
    const ui::TextMeasurer* measurer;
    std::shared_ptr<GTagChangeSink> sink;
    // The stores and tag references that keep this alive; one thread only.
    std::size_t refs = 0;
};

}  // namespace tag_storage

// One tag. Tags live side by side in a store (GTagFlowStore): a record of a
// few numbers each, their texts in one shared buffer and their appearances in
// a small table, so that a board of many tags makes no allocation per tag.
// A GTagFlowItem names one tag of a store; copies name the same tag, and two
// are equal when they do. GTagFlowItemRef keeps the store alive.
class GTagFlowItem {
  public:
    static GTagFlowItemRef tagFlowItemWithText(const Context& context,
                                               const ui::TextMeasurer& measurer, std::string text);
    // The text is set first, then the appearance (a null one is ignored).
    static GTagFlowItemRef tagFlowItemWithText(const Context& context,
                                               const ui::TextMeasurer& measurer, std::string text,
                                               GTagFlowAppearanceRef appearance);
    // One item per segment, from its text only, all in one new store. With
    // an appearance every item shares it; with null they share one default
    // appearance (the settings are read once).
    static std::vector<GTagFlowItemRef> factoryFolwLayoutWithItems(
        const Context& context, const ui::TextMeasurer& measurer,
        std::span<const GSplodeItem> items, const GTagFlowAppearanceRef& appearance);

    bool orderCopy() const { return span().flag(tag_storage::TextSpan::kOrderCopy); }
    void setOrderCopy(bool orderCopy) {
        span().setFlag(tag_storage::TextSpan::kOrderCopy, orderCopy);
    }
    bool isSelected() const { return span().flag(tag_storage::TextSpan::kSelected); }
    void setIsSelected(bool selected) {
        span().setFlag(tag_storage::TextSpan::kSelected, selected);
    }
    // A copy of the text; textView() reads it in place, valid until the next
    // text is stored in the same store.
    std::string text() const { return std::string(textView()); }
    std::string_view textView() const { return storage_->textOf(span()); }
    // Stores the text and measures it again; tells the change sink.
    void setText(std::string_view text);
    // 1-based place in the board's selection list, 0 when not selected.
    std::int64_t index() const { return marks().index; }
    void setIndex(std::int64_t index);
    // Null only for a tag given none (GTagFlowStore::add with null).
    const GTagFlowAppearanceRef& appearance() const { return storage_->looks[marks().look]; }
    // Null is ignored; otherwise stores it and measures again.
    void setAppearance(GTagFlowAppearanceRef appearance);
    ui::Size itemSize() const { return storage_->sizes[slot_]; }
    // Tells the change sink when the size differs.
    void setItemSize(ui::Size size);

    // Where changes of text and size are reported: one sink for all the tags
    // of a store (the board sets it when it takes them; the last board to
    // take tags of a store wins). Null: nowhere.
    void setChangeSink(std::shared_ptr<GTagChangeSink> sink);

    // Measures the text on one unbounded line; an empty text or a missing
    // appearance leaves itemSize as it is.
    void calculateItemSize();

    // Both tags live in the same store (and so report to the same sink).
    bool sharesStore(const GTagFlowItem& other) const { return storage_ == other.storage_; }

    friend bool operator==(const GTagFlowItem&, const GTagFlowItem&) = default;

  private:
    friend class GTagFlowItemRef;
    friend class GTagFlowStore;
    GTagFlowItem() = default;
    GTagFlowItem(tag_storage::Storage* storage, std::uint32_t slot)
        : storage_(storage), slot_(slot) {}
    tag_storage::TextSpan& span() const { return storage_->spans[slot_]; }
    tag_storage::Marks& marks() const { return storage_->marks[slot_]; }

    tag_storage::Storage* storage_ = nullptr;
    std::uint32_t slot_ = 0;
};

// A tag held: keeps its store alive, and is used like a pointer to the tag
// (`ref->text()`, `*ref`, `get()`, null when it holds none). Tags and their
// stores belong to the run loop's thread, like everything on the board.
class GTagFlowItemRef {
  public:
    GTagFlowItemRef() noexcept = default;
    GTagFlowItemRef(std::nullptr_t) noexcept {}  // NOLINT: null, as for a pointer
    GTagFlowItemRef(const GTagFlowItemRef& other) noexcept;
    GTagFlowItemRef(GTagFlowItemRef&& other) noexcept;
    GTagFlowItemRef& operator=(const GTagFlowItemRef& other) noexcept;
    GTagFlowItemRef& operator=(GTagFlowItemRef&& other) noexcept;
    ~GTagFlowItemRef();

    GTagFlowItem* operator->() const noexcept { return &item_; }
    GTagFlowItem& operator*() const noexcept { return item_; }
    GTagFlowItem* get() const noexcept { return item_.storage_ ? &item_ : nullptr; }
    explicit operator bool() const noexcept { return item_.storage_ != nullptr; }

    friend bool operator==(const GTagFlowItemRef& a, const GTagFlowItemRef& b) {
        return a.item_ == b.item_;
    }
    friend bool operator==(const GTagFlowItemRef& a, std::nullptr_t) { return !a; }

  private:
    friend class GTagFlowStore;
    explicit GTagFlowItemRef(GTagFlowItem item) noexcept;  // takes a new reference

    mutable GTagFlowItem item_;
};

// Where tags are made: each add() appends one record (32 bytes) and the text
// to the store's buffer. Copies of a store share it; the store lives as long
// as a copy or one of its tags does.
class GTagFlowStore {
  public:
    // The measurer must outlive the store's tags.
    explicit GTagFlowStore(const ui::TextMeasurer& measurer);
    GTagFlowStore(const GTagFlowStore& other) noexcept;
    GTagFlowStore& operator=(const GTagFlowStore& other) noexcept;
    ~GTagFlowStore();

    // A new tag (orderCopy YES, not selected) with the text measured in the
    // appearance; with null it has none and its size stays (0, 0).
    GTagFlowItemRef add(std::string_view text, const GTagFlowAppearanceRef& appearance);
    // Room for this many more tags and text bytes.
    void reserve(std::size_t tags, std::size_t textBytes);
    std::size_t size() const;
    // Bytes of text stored (texts replaced by longer ones stay counted).
    std::size_t textBytes() const;

  private:
    tag_storage::Storage* storage_;
};

}  // namespace kernova
