#pragma once

#include <algorithm>
#include <tuple>

#include "platform/RecordFields.h"

namespace vantry {

/// Places and sizes in logical pixels, x to the right and y downwards.
struct Point {
    double x = 0;
    double y = 0;

    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;

    friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double right() const { return x + width; }
    double bottom() const { return y + height; }
    Point centre() const { return {x + width / 2, y + height / 2}; }
    Size size() const { return {width, height}; }

    bool contains(const Point& point) const {
        return point.x >= x && point.x < right() && point.y >= y && point.y < bottom();
    }
    bool contains(const Rect& other) const {
        return other.x >= x && other.right() <= right() && other.y >= y &&
               other.bottom() <= bottom();
    }

    friend bool operator==(const Rect&, const Rect&) = default;
};

template <>
struct RecordFields<Point> {
    static constexpr std::tuple list{field("x", &Point::x), field("y", &Point::y)};
};
template <>
struct RecordFields<Rect> {
    static constexpr std::tuple list{field("x", &Rect::x), field("y", &Rect::y),
                                     field("width", &Rect::width), field("height", &Rect::height)};
};

/// The rectangle made to fit into the area and moved wholly into it. What is too large begins at
/// the area's top and left.
inline Rect fittedInto(const Rect& area, Rect rect) {
    rect.width = std::min(rect.width, area.width);
    rect.height = std::min(rect.height, area.height);
    rect.x = std::clamp(rect.x, area.x, area.right() - rect.width);
    rect.y = std::clamp(rect.y, area.y, area.bottom() - rect.height);
    return rect;
}

}  // namespace vantry
