// The view tree: frames in points, ordered subviews (later ones on top), hit
// testing, layout passes, touch delivery along the responder chain, and the
// presentation transitions that block animations record for the painter.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "ui/color.h"
#include "ui/geometry.h"

namespace kernova::ui {

class View;
class Window;
class GestureRecognizer;

using TouchId = std::int64_t;

// What a view is to a screen reader.
enum class AccessibilityRole { none, button, staticText, cell };

// Values as the toolkit numbers them (UITouchPhase).
enum class TouchPhase { began = 0, moved = 1, stationary = 2, ended = 3, cancelled = 4 };

// One finger at one moment, as views and recognizers receive it.
struct Touch {
    TouchId id = 0;
    TouchPhase phase = TouchPhase::began;
    Point screenLocation;      // in screen coordinates
    double timestamp = 0;      // seconds on the run loop's clock
    Window* window = nullptr;  // the window the touch began in

    // The location in `view`'s coordinates (screen coordinates for null).
    Point locationInView(const View* view) const;
};

// The model properties that block animations can move.
enum class AnimatableProperty { frame, bounds, alpha, backgroundColor };
using AnimatableValue = std::variant<double, Rect, Color>;

// Timing curves (the toolkit's UIViewAnimationCurve order).
enum class AnimationCurve { easeInOut = 0, easeIn = 1, easeOut = 2, linear = 3 };

// One running presentation change of one property, kept on the view until it ends.
struct Transition {
    AnimatableProperty property = AnimatableProperty::alpha;
    AnimatableValue from;
    AnimatableValue to;
    double startTime = 0;  // when the animation was committed
    double delay = 0;
    double duration = 0;
    AnimationCurve curve = AnimationCurve::easeInOut;
    std::uint64_t group = 0;  // the animation block it belongs to

    double endTime() const { return startTime + delay + duration; }
};

class View : public std::enable_shared_from_this<View> {
  public:
    explicit View(Rect frame = {});
    virtual ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    // Geometry. The frame is in the superview's coordinates (in screen
    // coordinates for a window); the bounds origin is the scroll offset.
    Rect frame() const { return frame_; }
    virtual void setFrame(const Rect& frame);
    Rect bounds() const { return Rect(boundsOrigin_, frame_.size); }
    virtual void setBounds(const Rect& bounds);
    Point center() const { return Point{frame_.midX(), frame_.midY()}; }
    void setCenter(Point center);

    // Appearance.
    double alpha() const { return alpha_; }
    void setAlpha(double alpha);
    bool isHidden() const { return hidden_; }
    virtual void setHidden(bool hidden);
    std::optional<Color> backgroundColor() const { return backgroundColor_; }
    void setBackgroundColor(std::optional<Color> color);
    double cornerRadius() const { return cornerRadius_; }
    void setCornerRadius(double radius);
    bool clipsToBounds() const { return clipsToBounds_; }
    void setClipsToBounds(bool clips);
    double borderWidth() const { return borderWidth_; }
    void setBorderWidth(double width);
    Color borderColor() const { return borderColor_; }
    void setBorderColor(Color color);
    bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
    void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
    // Words the desktop shows while the pointer rests on the view; empty for none.
    const std::string& toolTip() const { return toolTip_; }
    void setToolTip(std::string text) { toolTip_ = std::move(text); }
    // What a screen reader says of the view. A view with the role none is
    // passed over (its subviews are still read).
    virtual AccessibilityRole accessibilityRole() const { return AccessibilityRole::none; }
    virtual std::string accessibilityLabel() const { return toolTip_; }
    virtual bool isAccessibilitySelected() const { return false; }
    // Does what a press does (a button's action); false when the view has none.
    virtual bool accessibilityActivate() { return false; }
    std::int64_t tag() const { return tag_; }
    void setTag(std::int64_t tag) { tag_ = tag; }

    // The tree. A view holds its subviews strongly; the superview link is a back link.
    const std::vector<std::shared_ptr<View>>& subviews() const {
        if (holes_ != 0) compactSubviews();
        return subviews_;
    }
    View* superview() const { return superview_; }
    // The window at the root of this view's tree, or null.
    Window* window() const;
    // Moves `view` to the top of this view's subviews (from wherever it was).
    void addSubview(const std::shared_ptr<View>& view);
    // Inserts at `index` (clamped to the count).
    void insertSubview(const std::shared_ptr<View>& view, std::size_t index);
    void insertSubviewAbove(const std::shared_ptr<View>& view, const View* sibling);
    void insertSubviewBelow(const std::shared_ptr<View>& view, const View* sibling);
    void bringSubviewToFront(const View* view);
    void sendSubviewToBack(const View* view);
    void removeFromSuperview();
    bool isDescendantOfView(const View* view) const;
    // This view or the first descendant (depth first) with that tag.
    View* viewWithTag(std::int64_t tag);

    // Layout: setNeedsLayout marks the view; the application lays out marked
    // views of visible windows on the next turn of the run loop, and
    // layoutIfNeeded does it at once for this view's subtree.
    void setNeedsLayout();
    void layoutIfNeeded();
    bool needsLayout() const { return needsLayout_; }
    virtual void layoutSubviews() {}
    virtual Size sizeThatFits(Size size) const { return size; }

    // Painting is pushed: a change to anything a view paints (its geometry,
    // looks, content, subviews or running transitions) marks its window as
    // needing display, and the platform's window host repaints marked windows
    // on its next frame. Views with content of their own call this from their
    // setters; a view outside any window marks nothing.
    void setNeedsDisplay();

    // Coordinates.
    Point convertPointToView(Point point, const View* view) const;
    Point convertPointFromView(Point point, const View* view) const;
    Rect convertRectToView(const Rect& rect, const View* view) const;
    Point convertPointToScreen(Point point) const;
    Point convertPointFromScreen(Point point) const;

    // Hit testing, in this view's coordinates: hidden views, views with alpha
    // below 0.01 and views with interaction disabled are skipped; a point outside
    // a view's bounds never reaches its subviews; later subviews are tried first.
    virtual View* hitTest(Point point);
    virtual bool pointInside(Point point) const;

    // Gesture recognizers, held strongly.
    void addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
    void removeGestureRecognizer(const GestureRecognizer* recognizer);
    const std::vector<std::shared_ptr<GestureRecognizer>>& gestureRecognizers() const {
        return recognizers_;
    }

    // Touches along the responder chain: by default a view passes them to its superview.
    virtual void touchesBegan(const Touch& touch);
    virtual void touchesMoved(const Touch& touch);
    virtual void touchesEnded(const Touch& touch);
    virtual void touchesCancelled(const Touch& touch);

    // Ends editing in this subtree (resigns first responders); true when nothing
    // is left editing.
    virtual bool endEditing(bool force);

    // Presentation state for the painter.
    const std::vector<Transition>& transitions() const { return transitions_; }
    bool hasAnimations() const { return !transitions_.empty(); }
    AnimatableValue modelValue(AnimatableProperty property) const;
    // The value the painter shows at `time`: the model value when no transition
    // of that property runs, else the transition's interpolated value.
    AnimatableValue presentationValue(AnimatableProperty property, double time) const;

    // Hooks called when the view joins or leaves a tree.
    virtual void didMoveToSuperview() {}
    virtual void didMoveToWindow() {}

  protected:
    // Called by the window when this view moves between windows.
    void notifyMovedToWindow();

  private:
    friend class Animator;
    // O(1) amortised: the removed view's place becomes a hole, and the holes
    // are closed in one sweep when the list is next read or half of it is holes.
    void detachSubview(View* view);
    void compactSubviews() const;
    // Gives each subview from `from` on its place in the list.
    void renumberSubviews(std::size_t from) const;

    Rect frame_;
    Point boundsOrigin_;
    double alpha_ = 1.0;
    bool hidden_ = false;
    std::optional<Color> backgroundColor_;
    double cornerRadius_ = 0;
    bool clipsToBounds_ = false;
    double borderWidth_ = 0;
    Color borderColor_ = Color::black();
    bool userInteractionEnabled_ = true;
    std::int64_t tag_ = 0;
    std::string toolTip_;
    bool needsLayout_ = true;

    // Holds null holes left by removals until compacted (see detachSubview).
    mutable std::vector<std::shared_ptr<View>> subviews_;
    mutable std::size_t holes_ = 0;
    // This view's place in its superview's list (kept while it is there).
    mutable std::size_t slot_ = 0;
    View* superview_ = nullptr;
    std::vector<std::shared_ptr<GestureRecognizer>> recognizers_;
    std::vector<Transition> transitions_;
};

}  // namespace kernova::ui
