// Geometry in points, as doubles: frames keep their fractions.
#pragma once

#include <algorithm>
#include <cmath>

namespace kernova::ui {

struct Point {
    double x = 0, y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0, height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct EdgeInsets {
    double top = 0, left = 0, bottom = 0, right = 0;
    friend bool operator==(const EdgeInsets&, const EdgeInsets&) = default;
};

struct Rect {
    Point origin;
    Size size;

    Rect() = default;
    Rect(double x, double y, double w, double h) : origin{x, y}, size{w, h} {}
    Rect(Point o, Size s) : origin(o), size(s) {}

    double minX() const { return std::min(origin.x, origin.x + size.width); }
    double minY() const { return std::min(origin.y, origin.y + size.height); }
    double maxX() const { return std::max(origin.x, origin.x + size.width); }
    double maxY() const { return std::max(origin.y, origin.y + size.height); }
    double midX() const { return origin.x + size.width / 2; }
    double midY() const { return origin.y + size.height / 2; }
    double width() const { return std::abs(size.width); }
    double height() const { return std::abs(size.height); }
    bool isEmpty() const { return size.width == 0 || size.height == 0; }

    // Half-open, as the phone toolkit tests a point: [minX, maxX) x [minY, maxY).
    bool contains(Point p) const {
        return p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY();
    }
    bool intersects(const Rect& r) const {
        return !isEmpty() && !r.isEmpty() && minX() < r.maxX() && r.minX() < maxX() &&
               minY() < r.maxY() && r.minY() < maxY();
    }
    Rect offsetBy(double dx, double dy) const {
        return Rect(origin.x + dx, origin.y + dy, size.width, size.height);
    }
    Rect insetBy(const EdgeInsets& i) const {
        return Rect(origin.x + i.left, origin.y + i.top, size.width - i.left - i.right,
                    size.height - i.top - i.bottom);
    }
    friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace kernova::ui
