#pragma once

#include <string>

namespace kernova::ui {

struct Font {
    std::string family;  // empty: the system font
    double pointSize = 17;
    bool bold = false;

    static Font systemFont(double size) { return Font{"", size, false}; }
    static Font boldSystemFont(double size) { return Font{"", size, true}; }
    friend bool operator==(const Font&, const Font&) = default;
};

}  // namespace kernova::ui
