// The left-aligned line pass of the tag board, free of any view: the frames of
// n tags from their sizes, the section insets, the two spacings and the line
// width. GTagCollectionViewLayout runs it on the board's answers; tools run it
// on plain lists of sizes.
#pragma once

#include <cstdint>
#include <optional>

#include "ui/geometry.h"

namespace kernova {

struct TagLineMetrics {
    ui::EdgeInsets insets;        // top T, left L, bottom B, right R
    double lineSpacing = 0;       // S, between lines
    double interitemSpacing = 0;  // G, between tags on a line
    double lineWidth = 0;         // W
};

// Calls emit(i, frame) for each item in order and returns the content size,
// absent when n <= 0. sizeAt(i) is asked twice per item (once ahead, to decide
// whether item i joins the current line) and must answer the same each time.
//
// A line's first tag keeps its width unless it could not fit the line with its
// margins, in which case it takes the usable width W - L - R. The next tag
// joins the line only when it fits with the gap and the right inset; no line
// is justified or centred. The content is 0 wide: the board scrolls vertically.
template <class SizeAt, class Emit>
std::optional<ui::Size> layoutTagLines(std::int64_t n, const TagLineMetrics& m, SizeAt&& sizeAt,
                                       Emit&& emit) {
    if (n <= 0) return std::nullopt;
    const double T = m.insets.top, L = m.insets.left, B = m.insets.bottom, R = m.insets.right;
    const double S = m.lineSpacing, G = m.interitemSpacing, W = m.lineWidth;
    const double usable = W - L - R;
    double row = 0, x = 0;
    std::int64_t onLine = 0;
    ui::Size content;
    for (std::int64_t i = 0; i < n; ++i) {
        const ui::Size size = sizeAt(i);
        const double w = size.width, h = size.height;
        const double y = T + row * h + row * S;
        ui::Rect frame;
        if (onLine == 0) {
            double width = w;
            if (w > W || L + w + G > W || L + w > W || L + w + R > W) width = usable;
            frame = ui::Rect(L, y, width, h);
            x = L + width;
        } else {
            frame = ui::Rect(x + G, y, w, h);
            x = x + G + w;
        }
        emit(i, frame);
        if (i + 1 < n) {
            const double w2 = sizeAt(i + 1).width;
            if (x + G <= W && x + R <= W && x + G + w2 <= W && x + G + w2 + R <= W) {
                ++onLine;
            } else {
                row += 1;
                x = 0;
                onLine = 0;
            }
        } else {
            content = ui::Size{0, y + h + B};
        }
    }
    return content;
}

}  // namespace kernova
