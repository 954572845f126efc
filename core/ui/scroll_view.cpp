#include "ui/scroll_view.h"

#include <algorithm>
#include <cmath>

namespace kernova::ui {

void ScrollView::setContentOffset(Point offset) {
    Rect b = bounds();
    b.origin = offset;
    setBounds(b);
}

Point ScrollView::minimumContentOffset() const {
    return Point{-contentInset_.left, -contentInset_.top};
}

Point ScrollView::maximumContentOffset() const {
    Point low = minimumContentOffset();
    Rect b = bounds();
    double x = contentSize_.width + contentInset_.right - b.width();
    double y = contentSize_.height + contentInset_.bottom - b.height();
    return Point{std::max(low.x, x), std::max(low.y, y)};
}

bool ScrollView::scrollBy(double dx, double dy) {
    if (!std::isfinite(dx) || !std::isfinite(dy)) return false;
    Point low = minimumContentOffset();
    Point high = maximumContentOffset();
    Point now = contentOffset();
    Point next{std::clamp(now.x + dx, low.x, high.x), std::clamp(now.y + dy, low.y, high.y)};
    if (next == now) return false;
    setContentOffset(next);
    return true;
}

void ScrollView::setBounds(const Rect& bounds) {
    bool moved = !(bounds.origin == this->bounds().origin);
    View::setBounds(bounds);
    if (moved) didScroll();
}

void ScrollView::didScroll() {
    if (scrollDelegate_) scrollDelegate_->scrollViewDidScroll(*this);
}

}  // namespace kernova::ui
