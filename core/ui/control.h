// Controls and the button: target-actions per control event, tracking of one
// touch, and touch-up-inside when the finger lifts within reach of the control.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "ui/image.h"
#include "ui/label.h"
#include "ui/view.h"

namespace kernova::ui {

class ImageView;

// Bit values as the toolkit numbers them (UIControlEvents).
enum ControlEvent : std::uint32_t {
    kControlEventTouchDown = 1u << 0,
    kControlEventTouchDragInside = 1u << 2,
    kControlEventTouchDragOutside = 1u << 3,
    kControlEventTouchUpInside = 1u << 6,
    kControlEventTouchUpOutside = 1u << 7,
    kControlEventTouchCancel = 1u << 8,
    kControlEventValueChanged = 1u << 12,
};

// UIControlState bits.
enum ControlState : std::uint32_t {
    kControlStateNormal = 0,
    kControlStateHighlighted = 1u << 0,
    kControlStateDisabled = 1u << 1,
    kControlStateSelected = 1u << 2,
};

class Control : public View {
  public:
    using Action = std::function<void(Control&)>;
    // How far outside its bounds a lifted finger still counts as inside.
    static constexpr double kTouchSlop = 70.0;

    explicit Control(Rect frame = {}) : View(frame) {}

    void addTarget(Action action, std::uint32_t events);
    void removeAllTargets() { targets_.clear(); }
    void sendActionsForControlEvents(std::uint32_t events);

    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);
    bool isHighlighted() const { return highlighted_; }
    virtual void setHighlighted(bool highlighted);
    bool isSelected() const { return selected_; }
    void setSelected(bool selected);
    bool isTracking() const { return tracking_; }
    std::uint32_t state() const;

    void touchesBegan(const Touch& touch) override;
    void touchesMoved(const Touch& touch) override;
    void touchesEnded(const Touch& touch) override;
    void touchesCancelled(const Touch& touch) override;

  private:
    bool withinReach(const Touch& touch) const;

    std::vector<std::pair<std::uint32_t, Action>> targets_;
    bool enabled_ = true;
    bool highlighted_ = false;
    bool selected_ = false;
    bool tracking_ = false;
    TouchId trackedTouch_ = 0;
};

// UIButtonType values.
enum class ButtonType { custom = 0, system = 1 };

class Button : public Control {
  public:
    explicit Button(Rect frame = {}, ButtonType type = ButtonType::custom);
    static std::shared_ptr<Button> buttonWithType(ButtonType type);

    ButtonType buttonType() const { return type_; }

    void setTitle(std::optional<std::string> title, std::uint32_t state = kControlStateNormal);
    void setTitleColor(std::optional<Color> color, std::uint32_t state = kControlStateNormal);
    void setImage(std::shared_ptr<const Image> image, std::uint32_t state = kControlStateNormal);
    void setBackgroundImage(std::shared_ptr<const Image> image,
                            std::uint32_t state = kControlStateNormal);
    // What was set for exactly that state.
    std::optional<std::string> titleForState(std::uint32_t state) const;
    std::optional<Color> titleColorForState(std::uint32_t state) const;
    std::shared_ptr<const Image> imageForState(std::uint32_t state) const;
    std::shared_ptr<const Image> backgroundImageForState(std::uint32_t state) const;
    // What shows now: the current state's value, falling back to the normal one.
    std::optional<std::string> currentTitle() const;
    Color currentTitleColor() const;
    std::shared_ptr<const Image> currentImage() const;
    std::shared_ptr<const Image> currentBackgroundImage() const;

    Label& titleLabel() { return *titleLabel_; }
    ImageView& imageView() { return *imageView_; }

    void setHighlighted(bool highlighted) override;
    void layoutSubviews() override;
    // A button reads as its tool tip, else its title; pressing it sends
    // touch-up-inside.
    AccessibilityRole accessibilityRole() const override { return AccessibilityRole::button; }
    std::string accessibilityLabel() const override;
    bool accessibilityActivate() override;

  private:
    void refresh();

    ButtonType type_;
    std::map<std::uint32_t, std::string> titles_;
    std::map<std::uint32_t, Color> titleColors_;
    std::map<std::uint32_t, std::shared_ptr<const Image>> images_;
    std::map<std::uint32_t, std::shared_ptr<const Image>> backgroundImages_;
    std::shared_ptr<Label> titleLabel_;
    std::shared_ptr<ImageView> imageView_;
};

}  // namespace kernova::ui
