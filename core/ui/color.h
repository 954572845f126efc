#pragma once

namespace kernova::ui {

// RGBA components in 0..1.
struct Color {
    double red = 0, green = 0, blue = 0, alpha = 0;

    // Components given over 255, as colours are written throughout the system.
    static Color rgb255(double r, double g, double b, double a = 1.0) {
        return Color{r / 255.0, g / 255.0, b / 255.0, a};
    }
    static Color white(double w, double a = 1.0) { return Color{w, w, w, a}; }
    static Color clear() { return Color{}; }
    static Color black() { return Color{0, 0, 0, 1}; }
    Color withAlpha(double a) const { return Color{red, green, blue, a}; }
    friend bool operator==(const Color&, const Color&) = default;
};

}  // namespace kernova::ui
