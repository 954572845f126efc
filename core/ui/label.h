// Text views: the label and the editable text field.
#pragma once

#include <string>

#include "ui/font.h"
#include "ui/text_measurer.h"
#include "ui/view.h"

namespace kernova::ui {

// The toolkit's numbering (NSTextAlignment).
enum class TextAlignment { left = 0, center = 1, right = 2, justified = 3, natural = 4 };

// Labels do not take touches (interaction is off), so touches reach what is under them.
class Label : public View {
  public:
    explicit Label(Rect frame = {});

    const std::string& text() const { return text_; }
    void setText(std::string text);
    const Font& font() const { return font_; }
    void setFont(Font font);
    Color textColor() const { return textColor_; }
    void setTextColor(Color color);
    TextAlignment textAlignment() const { return alignment_; }
    void setTextAlignment(TextAlignment alignment);
    // 0 means as many lines as needed.
    int numberOfLines() const { return numberOfLines_; }
    void setNumberOfLines(int lines);

    AccessibilityRole accessibilityRole() const override {
        return text_.empty() ? AccessibilityRole::none : AccessibilityRole::staticText;
    }
    std::string accessibilityLabel() const override { return text_; }
    // The size the text needs, measured by the platform.
    Size textSize(const TextMeasurer& measurer) const;

  private:
    std::string text_;
    Font font_ = Font::systemFont(17);
    Color textColor_ = Color::black();
    TextAlignment alignment_ = TextAlignment::natural;
    int numberOfLines_ = 1;
};

// A one-line editable field (as alerts hold them). The platform edits `text`.
class TextField : public View {
  public:
    explicit TextField(Rect frame = {}) : View(frame) {}

    const std::string& text() const { return text_; }
    void setText(std::string text);
    const std::string& placeholder() const { return placeholder_; }
    void setPlaceholder(std::string text);
    const Font& font() const { return font_; }
    void setFont(Font font);
    Color textColor() const { return textColor_; }
    void setTextColor(Color color);
    bool isSecureTextEntry() const { return secure_; }
    void setSecureTextEntry(bool secure);

    bool isFirstResponder() const { return firstResponder_; }
    bool becomeFirstResponder() { return firstResponder_ = true; }
    bool resignFirstResponder() {
        firstResponder_ = false;
        return true;
    }
    bool endEditing(bool force) override;

  private:
    std::string text_;
    std::string placeholder_;
    Font font_ = Font::systemFont(17);
    Color textColor_ = Color::black();
    bool secure_ = false;
    bool firstResponder_ = false;
};

}  // namespace kernova::ui
