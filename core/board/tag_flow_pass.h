// The left-aligned line pass of the tag board, free of any view: the frames of
// n tags from their sizes, the section insets, the two spacings and the line
// width. GTagCollectionViewLayout runs it on the board's answers; tools run it
// on plain lists of sizes.
#pragma once

#include <cstdint>
#include <optional>
#include <type_traits>

#include "ui/geometry.h"

namespace kernova {

struct TagLineMetrics {
    ui::EdgeInsets insets;        // top T, left L, bottom B, right R
    double lineSpacing = 0;       // S, between lines
    double interitemSpacing = 0;  // G, between tags on a line
    double lineWidth = 0;         // W
};

// Where the pass put a tag, for a caller that keeps frames compactly: its
// line (0 for the first) and whether it was shortened to the usable width.
struct TagPlace {
    double line = 0;
    bool shortened = false;
};

// The pass below, resumable: each run() lays out at most `budget` more items,
// so a caller can lay out a huge board in slices between events and show the
// first screenful as soon as its lines are done. It keeps a few numbers of
// state and nothing per item.
class TagLinePass {
  public:
    TagLinePass(std::int64_t n, const TagLineMetrics& metrics) : n_(n), m_(metrics) {}

    // Lays out the next `budget` items (fewer at the end); true once every
    // item is laid out. sizeAt and report as for layoutTagLines.
    template <class SizeAt, class Emit>
    bool run(std::int64_t budget, SizeAt&& sizeAt, Emit&& report);

    bool finished() const { return next_ >= n_; }
    // The item count grows to n (a smaller n changes nothing): the items
    // appended are laid out by the next runs after the ones already done,
    // which keep their frames, exactly as a pass over all n would.
    void extend(std::int64_t n);
    std::int64_t count() const { return n_; }
    // Items laid out so far.
    std::int64_t done() const { return next_; }
    // The bottom of the last item laid out so far (0 before the first): the
    // lines above it are final.
    double laidBottom() const { return laidBottom_; }
    // The content size once finished; absent before, and for n <= 0.
    const std::optional<ui::Size>& contentSize() const { return content_; }

  private:
    std::int64_t n_;
    TagLineMetrics m_;
    std::int64_t next_ = 0;
    double row_ = 0, x_ = 0;
    std::int64_t onLine_ = 0;
    double laidBottom_ = 0;
    std::optional<ui::Size> content_;
    // The last item laid out was the last of a shorter list: whether the
    // next one joins its line is still to be decided.
    bool decidePending_ = false;
};

inline void TagLinePass::extend(std::int64_t n) {
    if (n <= n_) return;
    if (next_ > 0 && next_ >= n_) decidePending_ = true;
    n_ = n;
    content_.reset();
}

// Calls report(i, frame) (or report(i, frame, place) when report takes a
// TagPlace) for each item in order and returns the content size,
// absent when n <= 0. sizeAt(i) is asked twice per item (once ahead, to decide
// whether item i joins the current line) and must answer the same each time.
//
// A line's first tag keeps its width unless it could not fit the line with its
// margins, in which case it takes the usable width W - L - R. The next tag
// joins the line only when it fits with the gap and the right inset; no line
// is justified or centred. The content is 0 wide: the board scrolls vertically.
template <class SizeAt, class Emit>
std::optional<ui::Size> layoutTagLines(std::int64_t n, const TagLineMetrics& m, SizeAt&& sizeAt,
                                       Emit&& report) {
    if (n <= 0) return std::nullopt;
    TagLinePass pass(n, m);
    pass.run(n, sizeAt, report);
    return pass.contentSize();
}

template <class SizeAt, class Emit>
bool TagLinePass::run(std::int64_t budget, SizeAt&& sizeAt, Emit&& report) {
    const double T = m_.insets.top, L = m_.insets.left, B = m_.insets.bottom, R = m_.insets.right;
    const double S = m_.lineSpacing, G = m_.interitemSpacing, W = m_.lineWidth;
    const double usable = W - L - R;
    // The state is worked on in locals (which report cannot reach) and stored
    // back at the end of the slice.
    const std::int64_t n = n_;
    std::int64_t i = next_;
    double row = row_, x = x_, bottom = laidBottom_;
    std::int64_t onLine = onLine_;
    const std::int64_t end = budget < n - i ? i + budget : n;
    auto decide = [&](std::int64_t nextItem) {
        const double w2 = sizeAt(nextItem).width;
        if (x + G <= W && x + R <= W && x + G + w2 <= W && x + G + w2 + R <= W) {
            ++onLine;
        } else {
            row += 1;
            x = 0;
            onLine = 0;
        }
    };
    if (decidePending_ && i < end) {
        decidePending_ = false;
        decide(i);
    }
    for (; i < end; ++i) {
        const ui::Size size = sizeAt(i);
        const double w = size.width, h = size.height;
        const double y = T + row * h + row * S;
        ui::Rect frame;
        bool shortened = false;
        if (onLine == 0) {
            double width = w;
            shortened = w > W || L + w + G > W || L + w > W || L + w + R > W;
            if (shortened) width = usable;
            frame = ui::Rect(L, y, width, h);
            x = L + width;
        } else {
            frame = ui::Rect(x + G, y, w, h);
            x = x + G + w;
        }
        if constexpr (std::is_invocable_v<Emit&, std::int64_t, const ui::Rect&, TagPlace>)
            report(i, frame, TagPlace{row, shortened});
        else
            report(i, frame);
        bottom = y + h;
        if (i + 1 < n) {
            decide(i + 1);
        } else {
            content_ = ui::Size{0, y + h + B};
        }
    }
    if (i > next_) next_ = i;
    row_ = row;
    x_ = x;
    onLine_ = onLine;
    laidBottom_ = bottom;
    return finished();
}

}  // namespace kernova
