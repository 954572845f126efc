// A view whose bounds origin (the content offset) moves over a larger content.
// Only wheel and scroll events move it, clamped to the content; a drag never
// scrolls (the board uses drags for slide selection).
#pragma once

#include "ui/view.h"

namespace kernova::ui {

class ScrollView;

class ScrollViewDelegate {
  public:
    virtual ~ScrollViewDelegate() = default;
    virtual void scrollViewDidScroll(ScrollView& scrollView) { (void)scrollView; }
};

class ScrollView : public View {
  public:
    explicit ScrollView(Rect frame = {}) : View(frame) {}

    Size contentSize() const { return contentSize_; }
    void setContentSize(Size size) { contentSize_ = size; }
    Point contentOffset() const { return bounds().origin; }
    // Sets the offset as given (not clamped), as the toolkit does.
    void setContentOffset(Point offset);
    EdgeInsets contentInset() const { return contentInset_; }
    void setContentInset(EdgeInsets insets) { contentInset_ = insets; }

    bool showsHorizontalScrollIndicator() const { return showsHorizontal_; }
    void setShowsHorizontalScrollIndicator(bool shows) { showsHorizontal_ = shows; }
    bool showsVerticalScrollIndicator() const { return showsVertical_; }
    void setShowsVerticalScrollIndicator(bool shows) { showsVertical_ = shows; }
    bool bounces() const { return bounces_; }
    void setBounces(bool bounces) { bounces_ = bounces; }
    bool alwaysBounceVertical() const { return alwaysBounceVertical_; }
    void setAlwaysBounceVertical(bool bounce) { alwaysBounceVertical_ = bounce; }
    bool isScrollEnabled() const { return scrollEnabled_; }
    void setScrollEnabled(bool enabled) { scrollEnabled_ = enabled; }

    ScrollViewDelegate* scrollDelegate() const { return scrollDelegate_; }
    void setScrollDelegate(ScrollViewDelegate* delegate) { scrollDelegate_ = delegate; }

    // The offsets the content may take: from -inset to content + inset - bounds.
    Point minimumContentOffset() const;
    Point maximumContentOffset() const;
    // Moves the offset by (dx, dy) within the allowed range; false when it could
    // not move at all in that direction (so an outer scroll view may take it).
    bool scrollBy(double dx, double dy);

    void setBounds(const Rect& bounds) override;

  protected:
    virtual void didScroll();

  private:
    Size contentSize_;
    EdgeInsets contentInset_;
    bool showsHorizontal_ = true;
    bool showsVertical_ = true;
    bool bounces_ = true;
    bool alwaysBounceVertical_ = false;
    bool scrollEnabled_ = true;
    ScrollViewDelegate* scrollDelegate_ = nullptr;
};

}  // namespace kernova::ui
